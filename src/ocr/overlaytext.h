#pragma once

#include "item/ocrresult.h"

#include <QLabel>
#include <QPoint>
#include <QString>

class QColor;
class QFontMetrics;
class QPainter;

// One recognised text box laid transparently over the picture it was read
// from. It draws nothing of the text itself, only translucent bands for the
// search hits and the selection. Positions of characters inside the box are
// estimated from the proportions of a font scaled to the box height.
class OverlayText : public QLabel
{
    Q_OBJECT

public:
    OverlayText(const OCRResult &result, QWidget *parent);

    // Top left of the box in image pixels; the parent moves the widget there.
    QPoint imagePos() const { return boxPos; }
    QString text() const { return boxText; }
    // `parentPos` lies on the box, its borders included.
    bool contains(const QPoint &parentPos) const;
    // The character whose right edge lies nearest to `parentPos`; 0 outside
    // the box, -1 for a box without text.
    int charIndexAt(const QPoint &parentPos) const;

    bool hasSelection() const;
    // The whole text when `all`, else the selected part or nothing.
    QString selectedText(bool all) const;
    // Selects `start` to `end`, both included; ignored unless both lie in
    // the text in that order.
    void setSelection(int start, int end);
    void selectToEnd(int start);
    void clearSelection();
    void setPattern(const QString &text);

public slots:
    void onImageScaleFactorChange(double factor);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    // The x in the widget where the first `length` characters end.
    int prefixEnd(const QFontMetrics &metrics, int length, int total) const;
    void drawBand(QPainter &painter, int x1, int x2, const QColor &color) const;
    QFontMetrics boxFontMetrics() const;

    QString boxText;
    QPoint boxPos;
    int baseWidth = 0;
    int baseHeight = 0;
    int selStart = -1;
    int selEnd = -1;
    QString pattern;
};
