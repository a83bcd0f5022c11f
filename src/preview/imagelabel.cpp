#include "preview/imagelabel.h"

#include <cstdlib>

#include <QAction>
#include <QContextMenuEvent>
#include <QHoverEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>
#include <QTransform>
#include <QWheelEvent>

#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "frame/custommenu.h"
#include "ocr/overlaytext.h"

namespace {

// One zoom step is a factor of 11/10.
constexpr int kStepLarge = 11;
constexpr int kStepSmall = 10;

int sign(int value)
{
    return value < 0 ? -1 : 1;
}

// A factor this close to 1 shows the picture at its actual size.
bool isAboutActualSize(double factor)
{
    return factor > 0.95 && factor < 1.05;
}

} // namespace

ImageLabel::ImageLabel(ClipboardWriter *writer, QWidget *parent) : QWidget(parent), writer(writer)
{
    setFocus(Qt::OtherFocusReason);
    setAttribute(Qt::WA_Hover);
}

void ImageLabel::setImage(const QImage &image, const QList<OCRResult> &results)
{
    if (image.isNull())
        LOG_WARNING(QStringLiteral("preview image is null"));
    this->image = image;
    ocrResults = results;
    clearOverlaySelection();
    qDeleteAll(overlays);
    overlays.clear();
    for (const OCRResult &result : results) {
        if (result.text.isEmpty())
            continue;
        auto *overlay = new OverlayText(result, this);
        // The boxes take the mouse only through this widget, which knows
        // the selection across all of them.
        overlay->setAttribute(Qt::WA_TransparentForMouseEvents);
        connect(this, &ImageLabel::imageScaleFactorChangeSignal, overlay,
                &OverlayText::onImageScaleFactorChange);
        overlays.append(overlay);
    }
    updateOverlayVisibility();
    needFit = true;
    update();
}

void ImageLabel::setPattern(const QString &pattern)
{
    for (OverlayText *overlay : overlays)
        overlay->setPattern(overlay->text().contains(pattern, Qt::CaseInsensitive) ? pattern : QString());
}

void ImageLabel::copyText(bool all)
{
    if (!selection.hasSelection())
        return;
    const QString text = selection.text(all);
    emit updateItemActiveTimeSignal();
    // Without the marker: the copied text comes back as an item of its own.
    if (writer)
        writer->setClipBoardText(text, false);
}

void ImageLabel::clearOverlaySelection()
{
    selection.clear();
    setCursor(Qt::ArrowCursor);
}

bool ImageLabel::textSelectable() const
{
    return rotation % 4 == 0 && !overlays.isEmpty();
}

void ImageLabel::updateOverlayVisibility()
{
    // The boxes are not turned with the picture; on a turned view they would
    // mark places where the text no longer is.
    for (OverlayText *overlay : overlays)
        overlay->setVisible(rotation % 4 == 0);
}

QPoint ImageLabel::widgetPosition(const QPoint &imagePoint) const
{
    const double f = scale.toDouble();
    return QPoint(int(offset.x() + (width() / 2 + (imagePoint.x() - image.width() / 2) * f)),
                  int(offset.y() + (height() / 2 + (imagePoint.y() - image.height() / 2) * f)));
}

QRect ImageLabel::imageRect() const
{
    return QRect(widgetPosition(QPoint(0, 0)), widgetPosition(QPoint(image.width(), image.height())));
}

QImage ImageLabel::capturedImage() const
{
    const int turns = rotation % 4;
    if (turns == 0)
        return image;
    return image.transformed(QTransform().rotate(turns * -90.0, Qt::ZAxis));
}

void ImageLabel::copyImage()
{
    emit updateItemActiveTimeSignal();
    if (writer)
        writer->setClipBoardImage(capturedImage());
}

void ImageLabel::onRotateImage()
{
    image = image.transformed(QTransform().rotate(90.0, Qt::ZAxis), Qt::FastTransformation);
    needFit = true;
    offset = QPoint(0, 0);
    ++rotation;
    updateOverlayVisibility();
    update();
    emitEnableState();
}

void ImageLabel::onZoomIn()
{
    zoom(true, nullptr);
}

void ImageLabel::onZoomOut()
{
    zoom(false, nullptr);
}

void ImageLabel::zoom(bool in, const QPoint *anchor)
{
    const double factor = scale.toDouble();
    if (in ? !(maxFactor > factor) : !canZoomOut())
        return;
    if (anchor) {
        // Steps that come faster than paints: the one still pending is
        // settled first, so that every step keeps its own pointer position.
        if (zoomAnchorPending)
            applyZoomAnchor();
        zoomAnchorPending = true;
        anchorPos = *anchor;
        oldFactor = factor;
        anchorOverImage = imageRect().contains(*anchor);
    }
    if (in)
        scale.multiply(kStepLarge, kStepSmall);
    else
        scale.multiply(kStepSmall, kStepLarge);
    emitScaleFactor();
    update();
    emitEnableState();
}

bool ImageLabel::canZoomOut() const
{
    const double f = scale.toDouble();
    return qRound(image.width() * f) > width() || qRound(image.height() * f) > height() || f > 1.0;
}

void ImageLabel::fitToWidget()
{
    // A picture or a widget without pixels has nothing to fit to.
    if (image.isNull() || width() <= 0 || height() <= 0) {
        scale.clear();
        return;
    }
    const double rw = double(image.width()) / width();
    const double rh = double(image.height()) / height();
    if (rw > rh)
        scale.set(width(), image.width());
    else
        scale.set(height(), image.height());
}

void ImageLabel::onOneOneBtnClicked()
{
    // The button offers the actual size unless the factor already is about
    // that; then it offers the fit.
    if (!isAboutActualSize(scale.toDouble()))
        scale.clear();
    else
        fitToWidget();
    offset = QPoint(0, 0);
    emitScaleFactor();
    update();
    emitEnableState();
}

void ImageLabel::onCopyAllText()
{
    // Copies only while some text is selected, but the click always counts
    // as a use of the item.
    copyText(true);
    emit updateItemActiveTimeSignal();
}

void ImageLabel::emitScaleFactor()
{
    emit imageScaleFactorChangeSignal(scale.toDouble());
}

void ImageLabel::emitEnableState()
{
    rotation %= 4;
    if (!textSelectable())
        clearOverlaySelection();
    const double f = scale.toDouble();
    emit enableStateSignal(maxFactor > f, canZoomOut(), !isAboutActualSize(f), !overlays.isEmpty());
}

bool ImageLabel::event(QEvent *event)
{
    if (event->type() == QEvent::HoverMove && textSelectable()) {
        const QPoint pos = static_cast<QHoverEvent *>(event)->position().toPoint();
        setCursor(overlayIndexAt(pos) >= 0 ? Qt::IBeamCursor : Qt::ArrowCursor);
    }
    return QWidget::event(event);
}

void ImageLabel::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    for (OverlayText *overlay : overlays)
        overlay->clearSelection();
    const QPoint pos = event->position().toPoint();
    lastPos = pos;
    pressed = true;
    if (!textSelectable())
        return;
    const int index = overlayIndexAt(pos);
    if (index < 0) {
        clearOverlaySelection();
        return;
    }
    selection.begin(index, pos);
    setCursor(Qt::IBeamCursor);
}

void ImageLabel::mouseReleaseEvent(QMouseEvent *event)
{
    pressed = false;
    QWidget::mouseReleaseEvent(event);
}

void ImageLabel::mouseDoubleClickEvent(QMouseEvent *event)
{
    Q_UNUSED(event);
    needFit = true;
    offset = QPoint(0, 0);
    update();
}

void ImageLabel::mouseMoveEvent(QMouseEvent *event)
{
    if (!pressed) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    if (selection.isSelecting() && textSelectable()) {
        selection.extendTo(event->position().toPoint());
        return;
    }
    const double f = scale.toDouble();
    // Only a picture larger than the view has somewhere to go.
    if (image.width() * f <= width() && image.height() * f <= height())
        return;
    const QPoint pos = event->position().toPoint();
    offset += pos - lastPos;
    lastPos = pos;
    update();
}

void ImageLabel::wheelEvent(QWheelEvent *event)
{
    const int degrees = event->angleDelta().y() / 8;
    if (degrees == 0)
        return;
    const QPoint pos = event->position().toPoint();
    zoom(degrees > 0, &pos);
}

void ImageLabel::applyZoomAnchor()
{
    zoomAnchorPending = false;
    if (oldFactor <= 0.0)
        oldFactor = 0.01;
    if (!anchorOverImage)
        return;
    const double ratio = scale.toDouble() / oldFactor;
    const int ax = anchorPos.x() - width() / 2;
    const int ay = anchorPos.y() - height() / 2;
    offset = QPoint(int(ax - (ax - offset.x()) * ratio), int(ay - (ay - offset.y()) * ratio));
}

void ImageLabel::clampOffset()
{
    const double f = scale.toDouble();
    const int sw = int(image.width() * f);
    const int sh = int(image.height() * f);
    if (sw > width()) {
        if (offset.x() != 0 && width() / 2 + std::abs(offset.x()) >= sw / 2)
            offset.setX(sign(offset.x()) * std::abs(width() / 2 - sw / 2));
    } else {
        offset.setX(0);
    }
    if (sh > height()) {
        if (offset.y() != 0 && height() / 2 + std::abs(offset.y()) >= sh / 2)
            offset.setY(sign(offset.y()) * std::abs(height() / 2 - sh / 2));
    } else {
        offset.setY(0);
    }
}

void ImageLabel::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event);
    QPainter painter(this);
    QStyleOption option;
    option.initFrom(this);
    style()->drawPrimitive(QStyle::PE_Widget, &option, &painter, this);

    if (needFit) {
        needFit = false;
        // A picture that fits opens at its actual size, never enlarged.
        if (image.width() <= width() && image.height() <= height())
            scale.clear();
        else
            fitToWidget();
        emitScaleFactor();
        emitEnableState();
    }
    if (zoomAnchorPending)
        applyZoomAnchor();
    clampOffset();

    const double f = scale.toDouble();
    painter.save();
    // Shrunk screenshots stay legible when filtered; enlarged ones show
    // their pixels.
    painter.setRenderHint(QPainter::SmoothPixmapTransform, f < 1.0);
    painter.translate(offset.x() + width() / 2, offset.y() + height() / 2);
    painter.scale(f, f);
    painter.drawImage(QRect(-image.width() / 2, -image.height() / 2, image.width(), image.height()), image);
    painter.restore();

    for (OverlayText *overlay : overlays)
        overlay->move(widgetPosition(overlay->imagePos()));
}

void ImageLabel::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    emitEnableState();
}

void ImageLabel::contextMenuEvent(QContextMenuEvent *event)
{
    CustomMenu menu(QString(), 0, 0, this);
    QAction *copyImageAction = menu.addAction(QStringLiteral("复制图像"));
    menu.addSeparator();
    QAction *copySelectedAction = menu.addAction(QStringLiteral("复制选择文字"));
    QAction *copyAllAction = menu.addAction(QStringLiteral("复制所有文字"));
    copySelectedAction->setEnabled(hasSelection());
    copyAllAction->setEnabled(!overlays.isEmpty());
    QAction *chosen = menu.exec(event->globalPos());
    if (!chosen) {
        LOG_INFO(QStringLiteral("select is nullptr"));
        return;
    }
    if (chosen == copyImageAction)
        copyImage();
    else if (chosen == copySelectedAction)
        copyText(false);
    else if (chosen == copyAllAction)
        copyText(true);
}
