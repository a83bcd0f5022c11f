#pragma once

#include "frame/qwkwidget.h"

#include <QPointer>
#include <QString>

class ClipboardModel;
class ClipboardWriter;

// What every preview window shares: the item it shows, its place beside the
// main window, its end (Space, the close button, or the main window), and
// that using its content counts as using the item. A preview has no parent
// and deletes itself when closed.
class PreviewBase : public QWKWidget
{
    Q_OBJECT

public:
    // `mainWindow` is the window the preview is placed against; `model`
    // receives the item's use and edits, `writer` the preview's copies.
    PreviewBase(ClipboardModel *model, ClipboardWriter *writer, QWidget *mainWindow);
    ~PreviewBase() override;

    uint hashValue() const { return itemHash; }
    virtual void setHashValue(uint hashValue);
    QString filterText() const { return searchText; }
    virtual void setFilterText(const QString &text);
    // Places the window beside the main window, centred on the global
    // height `y`; needs the frame, so it runs after show().
    virtual void adjustPosition(int y);
    int anchorY() const { return anchorHeight; }

    // The item took a new identity (its text was edited and saved).
    void updateHash(uint oldHash, uint newHash);

signals:
    // The window is closing; whoever holds a pointer to it lets go.
    void closing(PreviewBase *preview);

public slots:
    void onUpdateItemActiveTime();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

    ClipboardModel *model() const { return clipboardModel; }
    ClipboardWriter *writer() const { return clipboardWriter; }

private:
    ClipboardModel *clipboardModel = nullptr;
    ClipboardWriter *clipboardWriter = nullptr;
    QPointer<QWidget> mainWindow;
    uint itemHash = 0;
    QString searchText;
    int anchorHeight = 0;
};
