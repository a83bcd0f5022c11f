#include "preview/previewimage.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QToolButton>

#include "frame/titlebar.h"
#include "frame/widgetwindowagent.h"
#include "preview/imagelabel.h"
#include "preview/previewplacement.h"

namespace {

const QSize kMinimumSize(500, 309);

} // namespace

PreviewImage::PreviewImage(ClipboardModel *model, ClipboardWriter *writer, QWidget *mainWindow)
    : PreviewBase(model, writer, mainWindow)
{
    // Named like the text previews, for the window manager's lists.
    setWindowTitle(QStringLiteral("image"));
    rotateToolButton = addToolButton(QStringLiteral("rotateToolButton"), QStringLiteral("旋转图片"));
    copyTextToolButton = addToolButton(QStringLiteral("copyTextToolButton"), QStringLiteral("复制所有文字"));
    copyTextToolButton->setProperty("enableCopyText", true);
    fitOrOriginalToolButton = addToolButton(QStringLiteral("fitOrOriginalToolButton"), QString());
    fitOrOriginalToolButton->setProperty("enableOneOne", true);
    zoomOutToolButton = addToolButton(QStringLiteral("zoomOutToolButton"), QStringLiteral("缩小"));
    zoomOutToolButton->setProperty("enable", true);
    zoomInToolButton = addToolButton(QStringLiteral("zoomInToolButton"), QStringLiteral("放大"));
    zoomInToolButton->setProperty("enable", true);
    percentLabel = new QLabel(QStringLiteral("test"), this);

    if (auto *bar = qobject_cast<QHBoxLayout *>(titleBar->layout())) {
        bar->insertSpacing(0, 99);
        bar->insertStretch(1, 1);
        bar->insertWidget(2, rotateToolButton);
        bar->insertWidget(3, copyTextToolButton);
        bar->insertWidget(4, fitOrOriginalToolButton);
        bar->insertWidget(5, zoomOutToolButton);
        bar->insertWidget(6, zoomInToolButton);
        bar->insertSpacing(7, 10);
        bar->insertWidget(8, percentLabel);
    }

    label = new ImageLabel(writer, this);
    layout()->addWidget(label);
    setStyleSheet(QStringLiteral("background-color: white;"));

    connect(rotateToolButton, &QToolButton::clicked, label, &ImageLabel::onRotateImage);
    connect(copyTextToolButton, &QToolButton::clicked, label, &ImageLabel::onCopyAllText);
    connect(fitOrOriginalToolButton, &QToolButton::clicked, label, &ImageLabel::onOneOneBtnClicked);
    connect(zoomOutToolButton, &QToolButton::clicked, label, &ImageLabel::onZoomOut);
    connect(zoomInToolButton, &QToolButton::clicked, label, &ImageLabel::onZoomIn);
    connect(label, &ImageLabel::imageScaleFactorChangeSignal, this, &PreviewImage::onImageScaleFactorChange);
    connect(label, &ImageLabel::enableStateSignal, this, &PreviewImage::onEnableState);
    connect(label, &ImageLabel::updateItemActiveTimeSignal, this, &PreviewBase::onUpdateItemActiveTime);
}

QToolButton *PreviewImage::addToolButton(const QString &objectName, const QString &toolTip)
{
    auto *button = new QToolButton(this);
    button->setObjectName(objectName);
    button->setToolTip(toolTip);
    // Focus on a button would take Space and Ctrl+C from the window.
    button->setFocusPolicy(Qt::NoFocus);
    // Inside the title bar a button gets its clicks only when the agent
    // leaves them to it.
    windowAgent->setHitTestVisible(button, true);
    return button;
}

void PreviewImage::setImage(const QImage &image, const QList<OCRResult> &results)
{
    const QSize size = defaultPreviewSize();
    if (!size.isEmpty())
        resize(size);
    setMinimumSize(kMinimumSize);
    label->setImage(image, results);
}

void PreviewImage::adjustPosition(int y)
{
    Q_UNUSED(y);
}

void PreviewImage::setFilterText(const QString &text)
{
    PreviewBase::setFilterText(text);
    label->setPattern(text);
}

void PreviewImage::onImageScaleFactorChange(double factor)
{
    percentLabel->setText(QStringLiteral("%1%").arg(int(factor * 100)));
}

void PreviewImage::onEnableState(bool enableZoomIn, bool enableZoomOut, bool enableOneOne,
                                 bool enableCopyText)
{
    TitleBar::setWidgetProperty(zoomInToolButton, "enable", enableZoomIn);
    zoomInToolButton->setEnabled(enableZoomIn);
    TitleBar::setWidgetProperty(zoomOutToolButton, "enable", enableZoomOut);
    zoomOutToolButton->setEnabled(enableZoomOut);
    // The fit button and the copy button stay clickable in either look.
    TitleBar::setWidgetProperty(fitOrOriginalToolButton, "enableOneOne", enableOneOne);
    fitOrOriginalToolButton->setToolTip(enableOneOne ? QStringLiteral("原始大小")
                                                     : QStringLiteral("适应窗口"));
    TitleBar::setWidgetProperty(copyTextToolButton, "enableCopyText", enableCopyText);
}

void PreviewImage::keyPressEvent(QKeyEvent *event)
{
    // Ctrl+C copies the selected text, or the whole picture while no text
    // over it is selected.
    if (event->modifiers() == Qt::ControlModifier && event->key() == Qt::Key_C) {
        if (label->hasSelection())
            label->copyText(false);
        else
            label->copyImage();
    }
    PreviewBase::keyPressEvent(event);
}
