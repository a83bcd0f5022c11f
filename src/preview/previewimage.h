#pragma once

#include "item/ocrresult.h"
#include "preview/previewbase.h"

#include <QImage>
#include <QList>

class ImageLabel;
class QLabel;
class QToolButton;

// The preview of an image item: the picture under a toolbar in the title bar
// (turn, copy text, actual size or fit, zoom out, zoom in, the percentage).
class PreviewImage : public PreviewBase
{
    Q_OBJECT

public:
    PreviewImage(ClipboardModel *model, ClipboardWriter *writer, QWidget *mainWindow);

    // Sizes the window after the primary screen and shows `image` with the
    // item's recognised text.
    void setImage(const QImage &image, const QList<OCRResult> &results);
    // The window stays where the window manager put it.
    void adjustPosition(int y) override;
    // Also marks the search text in the recognised text over the picture.
    void setFilterText(const QString &text) override;

    ImageLabel *imageLabel() const { return label; }

public slots:
    void onImageScaleFactorChange(double factor);
    void onEnableState(bool enableZoomIn, bool enableZoomOut, bool enableOneOne, bool enableCopyText);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QToolButton *addToolButton(const QString &objectName, const QString &toolTip);

    QToolButton *rotateToolButton = nullptr;
    QToolButton *copyTextToolButton = nullptr;
    QToolButton *fitOrOriginalToolButton = nullptr;
    QToolButton *zoomOutToolButton = nullptr;
    QToolButton *zoomInToolButton = nullptr;
    QLabel *percentLabel = nullptr;
    ImageLabel *label = nullptr;
};
