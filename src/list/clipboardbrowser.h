#pragma once

#include "item/itemdata.h"
#include "list/itemdelegate.h"

#include <QListView>
#include <QPoint>

#include <functional>

class ClipboardModel;
class ClipboardWriter;
class ProxyModel;

// The list of one tab: the shared history model seen through the tab's
// filter, painted by the row delegate. Turns keys, clicks, drags and the
// context menu into model operations and clipboard writes.
class ClipboardBrowser : public QListView
{
    Q_OBJECT
public:
    // Lists the user tabs, in tab order, for the "add to" menu.
    using CustomTabsProvider = std::function<QList<TabData>()>;

    ClipboardBrowser(ClipboardModel *model, ClipboardWriter *writer, const QList<uint> &itemTypes, uint tabId,
                     QWidget *parent = nullptr);
    ~ClipboardBrowser() override;

    uint browserTabId() const { return tabId; }
    ProxyModel *proxyModel() const { return proxy; }
    void setCustomTabsProvider(CustomTabsProvider provider);

    // `row` is a row of the source model, as the digit hints record it.
    void copyRow(int row);
    void selectFirstRow(bool force);

    // Several items go on the clipboard together only if they are all files
    // or none is.
    bool canCopyItems(const QModelIndexList &indexes) const;

signals:
    void startSearchSignal(QString text);
    void finishCopyItemSignal();
    // The item and the global vertical centre of its row, for placing the
    // preview beside it.
    void previewRequested(ItemData itemData, int y);

public slots:
    void onFilterTextChanged(QString text);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void keyboardSearch(const QString &search) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    ItemData itemAt(const QModelIndex &sourceIndex) const;
    QModelIndexList selectedSourceIndexes() const;
    QList<uint> hashesOf(const QModelIndexList &sourceIndexes) const;
    void finishCopy(const QModelIndex &sourceIndex);

    void copyItem(const QModelIndex &sourceIndex);
    void pasteItem(const QModelIndex &sourceIndex);
    void copyAsPlainText(const QModelIndex &sourceIndex);
    void copyItems(const QModelIndexList &sourceIndexes);
    void removeItems(const QModelIndexList &sourceIndexes);
    void previewSelectItem(const QModelIndex &index);
    void addItemsToTab(uint targetTabId, const QModelIndexList &sourceIndexes);
    void removeItemsFromTab(const QModelIndexList &sourceIndexes);
    void editRemark(const QModelIndex &sourceIndex);
    void fillAddToMenu(QMenu *menu, const QModelIndexList &sourceIndexes);

    ItemDelegate itemDelegate;
    // The shared history; named apart from QAbstractItemView::model(), the proxy.
    ClipboardModel *historyModel = nullptr;
    ProxyModel *proxy = nullptr;
    QPoint dragStartPos;
    uint tabId = 0;
    ClipboardWriter *writer = nullptr;
    CustomTabsProvider customTabs;
};
