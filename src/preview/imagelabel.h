#pragma once

#include "item/ocrresult.h"
#include "preview/fraction.h"
#include "preview/overlayselection.h"

#include <QImage>
#include <QList>
#include <QPoint>
#include <QRect>
#include <QWidget>

class ClipboardWriter;
class OverlayText;

// The picture of an image preview and all of its view logic: opening at the
// actual size or fitted, zoom by buttons and wheel on an exact ladder of 1.1
// steps, panning by drag, quarter turns, copying the image, and the
// recognised text laid over it to be searched, selected and copied.
class ImageLabel : public QWidget
{
    Q_OBJECT

public:
    // `writer` receives the copies of the image.
    explicit ImageLabel(ClipboardWriter *writer, QWidget *parent = nullptr);

    void setImage(const QImage &image, const QList<OCRResult> &results);

    double scaleFactor() const { return scale.toDouble(); }
    QPoint panOffset() const { return offset; }
    // Where the image pixel `imagePoint` of the picture as turned now lies in
    // this widget.
    QPoint widgetPosition(const QPoint &imagePoint) const;
    // The picture as it was captured, whatever turns the view made.
    QImage capturedImage() const;
    // Puts the captured picture on the clipboard as the program's own data.
    void copyImage();

    // Marks `pattern` in the boxes whose text holds it.
    void setPattern(const QString &pattern);
    // Copies the selected text, or all text when `all`, as a new item; does
    // nothing while no text is selected.
    void copyText(bool all);
    bool hasSelection() const { return selection.hasSelection(); }
    int overlayIndexAt(const QPoint &pos) const { return selection.overlayIndexAt(pos); }
    void applySelection() { selection.apply(); }
    void clearOverlaySelection();

signals:
    void imageScaleFactorChangeSignal(double factor);
    void enableStateSignal(bool enableZoomIn, bool enableZoomOut, bool enableOneOne, bool enableCopyText);
    // Something of the item was used here.
    void updateItemActiveTimeSignal();

public slots:
    void onRotateImage();
    void onZoomIn();
    void onZoomOut();
    // Toggles between the actual size and the fit to the widget.
    void onOneOneBtnClicked();
    void onCopyAllText();

protected:
    bool event(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    // The zoom of buttons and wheel; `anchor` is the wheel's pointer position.
    void zoom(bool in, const QPoint *anchor);
    bool canZoomOut() const;
    void fitToWidget();
    // The widget rectangle the picture covers at the present factor and
    // offset, both corners included.
    QRect imageRect() const;
    // Turns a pending wheel zoom into the offset that keeps the image point
    // under the pointer where it was.
    void applyZoomAnchor();
    // Keeps a picture that fits centred and a larger one from being dragged
    // past its edges.
    void clampOffset();
    void emitEnableState();
    void emitScaleFactor();
    bool textSelectable() const;
    void updateOverlayVisibility();

    ClipboardWriter *writer = nullptr;

    QImage image;
    bool needFit = true;
    Fraction scale;
    double maxFactor = 50.0;
    QPoint offset;
    QPoint lastPos;
    bool pressed = false;
    bool zoomAnchorPending = false;
    bool anchorOverImage = false;
    double oldFactor = 0;
    QPoint anchorPos;
    // The item's recognised text, for the text layer over the picture.
    QList<OCRResult> ocrResults;
    // One box per result with text, children of this widget.
    QList<OverlayText *> overlays;
    OverlaySelection selection{overlays};
    int rotation = 0;
};
