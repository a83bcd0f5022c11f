#pragma once

#include "item/clipboardmodel.h"

#include <QMainWindow>

class QLabel;

// The program's one window. It owns the history model and runs the capture
// of every clipboard change.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    ClipboardModel *clipboardModel() { return &model; }

    void delayShow();
    // Brings the window up where it is; the tray's way back.
    void showMainWnd();
    void notify(const QString &text);

signals:
    void windowWasShown();

public slots:
    void onLoadTabData(QList<TabData> datas);
    void onLoadDbDaba(QList<ItemData> items);
    void onClipboardDataChanged();
    void onItemCountChanged(int size);
    void onSetWndOnTop();

protected:
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    TabAutoDeleteMap tabAutoDeleteMap() const;
    void updateCountLabel();

    bool isPinned = false;
    ClipboardModel model;
    QList<TabData> userTabs;
    QLabel *countLabel = nullptr;
};
