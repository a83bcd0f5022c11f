#include "ocr/overlaytext.h"

#include <cmath>
#include <cstdlib>

#include <QColor>
#include <QFont>
#include <QFontMetrics>
#include <QPainter>

#include "common/log.h"

namespace {

// A box needs its top left, top right and bottom right corners, and a fourth
// point to be a box at all.
constexpr int kMinimumBoxPoints = 4;

const QColor kPatternColor(255, 255, 0, 25);
const QColor kSelectionColor(153, 204, 255, 128);

} // namespace

OverlayText::OverlayText(const OCRResult &result, QWidget *parent) : QLabel(parent)
{
    setStyleSheet(QStringLiteral("background-color: transparent;"));
    const QPolygon &box = result.box;
    if (box.size() >= kMinimumBoxPoints) {
        boxText = result.text;
        boxPos = box[0];
        // A tilted box becomes the upright rectangle of its top edge and
        // right side.
        baseWidth = std::abs(box[1].x() - box[0].x());
        baseHeight = std::abs(box[2].y() - box[1].y());
    }
    // A child starts with a default size; a broken box must stay out of reach.
    resize(baseWidth, baseHeight);
}

bool OverlayText::contains(const QPoint &parentPos) const
{
    return frameRect().contains(mapFromParent(parentPos), false);
}

QFontMetrics OverlayText::boxFontMetrics() const
{
    QFont font;
    font.setPixelSize(height());
    return QFontMetrics(font);
}

int OverlayText::charIndexAt(const QPoint &parentPos) const
{
    const QPoint p = mapFromParent(parentPos);
    if (!frameRect().contains(p, false))
        return 0;
    const QFontMetrics metrics = boxFontMetrics();
    const double total = metrics.horizontalAdvance(boxText);
    if (total <= 0)
        return boxText.isEmpty() ? -1 : 0;
    const double ratio = double(p.x()) / width();
    int best = -1;
    double bestDistance = 1.0;
    for (int i = 0; i < boxText.size(); ++i) {
        const double distance = std::abs(ratio - metrics.horizontalAdvance(boxText.left(i + 1)) / total);
        if (distance < bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}

bool OverlayText::hasSelection() const
{
    return selStart <= selEnd && selStart >= 0 && selEnd < boxText.size();
}

QString OverlayText::selectedText(bool all) const
{
    if (all)
        return boxText;
    return hasSelection() ? boxText.mid(selStart, selEnd - selStart + 1) : QString();
}

void OverlayText::setSelection(int start, int end)
{
    if (start < 0 || start > end || end >= boxText.size())
        return;
    selStart = start;
    selEnd = end;
    update();
}

void OverlayText::selectToEnd(int start)
{
    if (start < 0 || start >= boxText.size())
        return;
    selStart = start;
    selEnd = boxText.size() - 1;
    update();
}

void OverlayText::clearSelection()
{
    selStart = -1;
    selEnd = -1;
    update();
}

void OverlayText::setPattern(const QString &text)
{
    pattern = text;
    update();
}

void OverlayText::onImageScaleFactorChange(double factor)
{
    resize(int(baseWidth * factor), int(baseHeight * factor));
}

int OverlayText::prefixEnd(const QFontMetrics &metrics, int length, int total) const
{
    return int(double(width()) * metrics.horizontalAdvance(boxText.left(length)) / total);
}

void OverlayText::drawBand(QPainter &painter, int x1, int x2, const QColor &color) const
{
    painter.setBrush(QBrush(color, Qt::SolidPattern));
    painter.setPen(Qt::NoPen);
    painter.drawRect(x1, 0, x2 - x1, height());
}

void OverlayText::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event);
    // The label's own text stays unset and unpainted: the picture shows it.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QFontMetrics metrics = boxFontMetrics();
    const int total = metrics.horizontalAdvance(boxText);
    if (total <= 0)
        return;

    if (!pattern.isEmpty()) {
        LOG_INFO(QStringLiteral("draw pattern %1").arg(pattern));
        painter.save();
        // The search goes on from a multiple of the pattern length rather
        // than from behind each hit, so later hits are found again and
        // drawn over: the band deepens along the text.
        int from = 0;
        for (int idx = boxText.indexOf(pattern, from, Qt::CaseInsensitive); idx >= 0;
             idx = boxText.indexOf(pattern, from, Qt::CaseInsensitive)) {
            drawBand(painter, prefixEnd(metrics, idx, total), prefixEnd(metrics, idx + pattern.size(), total),
                     kPatternColor);
            from += pattern.size();
        }
        painter.restore();
    }

    const int last = boxText.size() - 1;
    if (selStart >= 0 && selStart <= last && selEnd >= 0 && selEnd <= last)
        drawBand(painter, prefixEnd(metrics, selStart, total), prefixEnd(metrics, selEnd + 1, total),
                 kSelectionColor);
}
