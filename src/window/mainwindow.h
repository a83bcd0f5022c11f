#pragma once

#include "frame/qwkmainwindow.h"
#include "item/clipboardmodel.h"

#include <QIcon>

class ClipboardBrowser;
class ClipboardWriter;
class FilterLineEdit;
class PreviewBase;
class QLabel;
class QPushButton;
class SystemTray;
class TabWidget;

// The program's one window: the search box on top, the tabs of the history
// in the middle, the item count below. It owns the history model, runs the
// capture of every clipboard change, and merely hides when closed.
class MainWindow : public QWKMainWindow
{
    Q_OBJECT
public:
    // Without a writer the window makes its own, writing multi-item
    // payloads under the data folder.
    explicit MainWindow(QWidget *parent = nullptr, ClipboardWriter *writer = nullptr);
    ~MainWindow() override;

    ClipboardModel *clipboardModel() { return &model; }
    TabWidget *tabWidget() const { return tabs; }
    FilterLineEdit *filterLineEdit() const { return filterEdit; }
    SystemTray *tray() const { return systemTray; }
    ClipboardWriter *clipboardWriter() const { return writer; }
    bool pinned() const { return isPinned; }
    bool isQuickCopyMode() const { return quickCopyMode; }
    // The open preview, or null.
    PreviewBase *openPreview() const { return preview; }

    void createTab(uint tabType, uint tabId, const QString &tabName, bool autoDelete, bool save);
    void delayShow();
    // Brings the window up where it is; the tray's way back.
    void showMainWnd();
    void hideMainWnd();
    void notify(const QString &text);
    void setQuickCopyMode(bool on);
    void dealPreviewAction(const ItemData &itemData, int y);
    void showCopyFinished();
    // Deletes the tray icon, so that none stays behind after exit.
    void deleteTray();

signals:
    void windowWasShown();

public slots:
    void onLoadTabData(QList<TabData> datas);
    void onLoadDbDaba(QList<ItemData> items);
    void onClipboardDataChanged();
    void onItemCountChanged(int size);
    void onSetWndOnTop();
    void onShortcutActiveMainWnd();
    void onFinishCopyItem();
    void onScrollToTop();
    void onItemHashValueChanged(uint oldValue, uint newValue);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void createWidgets();
    // Fits the window to the free area of the screen under `anchor` and
    // moves it to `point`, pushed back from the right and bottom edges.
    void moveOnScreen(QPoint point, const QPoint &anchor);
    void updateCountLabel();
    // Clears the search, scrolls the current list to the top and selects
    // its first row: the state in which the window comes up.
    void resetCurrentList();
    // Makes the preview window for an item's type; none for a type that
    // has no preview.
    PreviewBase *createPreview(const ItemData &itemData);
    void closePreview();

    bool isPinned = false;
    ClipboardModel model;
    QIcon pinIcon;
    QIcon pinPressedIcon;
    SystemTray *systemTray = nullptr;
    QPushButton *pinButton = nullptr;
    FilterLineEdit *filterEdit = nullptr;
    TabWidget *tabs = nullptr;
    QPushButton *settingButton = nullptr;
    QLabel *countLabel = nullptr;
    bool quickCopyMode = false;
    ClipboardWriter *writer = nullptr;
    // The one open preview; it deletes itself on close and tells us first.
    PreviewBase *preview = nullptr;
    // The size the user gave the window, or the default. A smaller screen
    // shrinks the window, not this: a larger one gives it back.
    QSize userSize;
    // Set while the window shrinks itself to a screen, so that the size is
    // not taken for the user's.
    bool fittingToScreen = false;
};
