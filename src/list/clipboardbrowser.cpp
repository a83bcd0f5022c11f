#include "list/clipboardbrowser.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDateTime>
#include <QDrag>
#include <QFile>
#include <QIcon>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPersistentModelIndex>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSet>
#include <QTextDocument>

#include "capture/clipboardwriter.h"
#include "common/historysettings.h"
#include "common/log.h"
#include "common/mime.h"
#include "frame/custommenu.h"
#include "frame/remarkdialog.h"
#include "item/clipboardmodel.h"
#include "list/proxymodel.h"
#include "list/visiblerows.h"

namespace {
qulonglong now()
{
    return static_cast<qulonglong>(QDateTime::currentMSecsSinceEpoch());
}

QString readResourceText(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

// Menus and dialogs run nested event loops, during which a capture may move
// rows; persistent indexes follow those moves.
QList<QPersistentModelIndex> persistent(const QModelIndexList &indexes)
{
    QList<QPersistentModelIndex> result;
    result.reserve(indexes.size());
    for (const QModelIndex &index : indexes)
        result.append(index);
    return result;
}

QModelIndexList current(const QList<QPersistentModelIndex> &indexes)
{
    QModelIndexList result;
    for (const QPersistentModelIndex &index : indexes)
        if (index.isValid())
            result.append(index);
    return result;
}
} // namespace

ClipboardBrowser::ClipboardBrowser(ClipboardModel *model, ClipboardWriter *writer, const QList<uint> &itemTypes,
                                   uint tabId, QWidget *parent)
    : QListView(parent), historyModel(model), proxy(new ProxyModel(itemTypes, tabId)), tabId(tabId), writer(writer)
{
    setItemDelegate(&itemDelegate);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSpacing(8);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    // Every row has the same height, so the view never needs to measure one:
    // a resort of a long history then costs no layout pass over all rows.
    setUniformItemSizes(true);

    setStyleSheet(QStringLiteral("background-color: rgb(255, 255, 255);"));
    verticalScrollBar()->setStyleSheet(readResourceText(QStringLiteral(":/css/qss/css/scrollBar.qss")));

    proxy->setSourceModel(historyModel);
    setModel(proxy);

    connect(historyModel, &QAbstractItemModel::dataChanged, proxy, &ProxyModel::resort);
    // The digit hints count from the top row actually shown.
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [] { resetVisibleRows(); });
}

ClipboardBrowser::~ClipboardBrowser()
{
    setModel(nullptr);
    delete proxy;
}

void ClipboardBrowser::setCustomTabsProvider(CustomTabsProvider provider)
{
    customTabs = std::move(provider);
}

ItemData ClipboardBrowser::itemAt(const QModelIndex &sourceIndex) const
{
    return sourceIndex.data().value<ItemData>();
}

QModelIndexList ClipboardBrowser::selectedSourceIndexes() const
{
    QModelIndexList result;
    const QModelIndexList selected = selectedIndexes();
    for (const QModelIndex &index : selected)
        result.append(proxy->mapToSource(index));
    return result;
}

QList<uint> ClipboardBrowser::hashesOf(const QModelIndexList &sourceIndexes) const
{
    QList<uint> hashes;
    for (const QModelIndex &index : sourceIndexes)
        if (index.isValid())
            hashes.append(itemAt(index).hashValue);
    return hashes;
}

void ClipboardBrowser::copyRow(int row)
{
    const QModelIndex index = historyModel->index(row, 0);
    if (index.isValid())
        copyItem(index);
}

void ClipboardBrowser::selectFirstRow(bool force)
{
    if (!force && selectionModel() && selectionModel()->hasSelection())
        return;
    setCurrentIndex(proxy->index(0, 0));
}

bool ClipboardBrowser::canCopyItems(const QModelIndexList &indexes) const
{
    if (indexes.size() < 2)
        return true;
    int files = 0;
    for (const QModelIndex &index : indexes)
        if (index.data().value<ItemData>().itemType == ItemTypeFile)
            ++files;
    return files == 0 || files == indexes.size();
}

void ClipboardBrowser::finishCopy(const QModelIndex &sourceIndex)
{
    // The main window clears the search and hides on this signal; the row's
    // source index is not affected by either.
    const QPersistentModelIndex index(sourceIndex);
    emit finishCopyItemSignal();
    if (index.isValid())
        historyModel->setItemActiveTime(index, now());
    scrollToTop();
}

void ClipboardBrowser::copyItem(const QModelIndex &sourceIndex)
{
    if (!sourceIndex.isValid())
        return;
    writer->setClipBoardData(itemAt(sourceIndex).dataMap, true);
    finishCopy(sourceIndex);
}

void ClipboardBrowser::pasteItem(const QModelIndex &sourceIndex)
{
    if (!sourceIndex.isValid())
        return;
    writer->sendCopyMessage(itemAt(sourceIndex).dataMap);
    finishCopy(sourceIndex);
}

void ClipboardBrowser::copyAsPlainText(const QModelIndex &sourceIndex)
{
    if (!sourceIndex.isValid())
        return;
    ItemData item = itemAt(sourceIndex);
    if (item.itemType != ItemTypeRichText && item.itemType != ItemTypeText)
        return;
    // Only rich text has HTML to flatten; a plain text item has none and so
    // puts an empty text on the clipboard.
    QTextDocument document;
    document.setHtml(item.html());
    item.dataMap[MIME_TEXT] = document.toPlainText();
    writer->setClipBoardData(item.dataMap, true);
    finishCopy(sourceIndex);
}

void ClipboardBrowser::copyItems(const QModelIndexList &sourceIndexes)
{
    QList<ItemData> items;
    for (const QModelIndex &index : sourceIndexes)
        if (index.isValid())
            items.append(itemAt(index));
    writer->setClipBoardMultiData(items);

    const QList<uint> hashes = hashesOf(sourceIndexes);
    emit finishCopyItemSignal();
    // Last to first, so that the first of the selection ends up newest.
    for (auto it = hashes.crbegin(); it != hashes.crend(); ++it)
        historyModel->updateItemActiveTime(*it);
    scrollToTop();
}

void ClipboardBrowser::removeItems(const QModelIndexList &sourceIndexes)
{
    // Rows shift with every removal, so the items are named by hash first.
    const QList<uint> hashList = hashesOf(sourceIndexes);
    const QSet<uint> hashes(hashList.cbegin(), hashList.cend());
    for (uint hash : hashes)
        historyModel->removeItem(hash);
}

void ClipboardBrowser::previewSelectItem(const QModelIndex &index)
{
    // A proxy index places the preview by its row; any other index has no
    // rectangle in this view, which puts the preview by the top of the list.
    const bool ownIndex = index.model() == proxy;
    const QModelIndex sourceIndex = ownIndex ? proxy->mapToSource(index) : index;
    if (!sourceIndex.isValid())
        return;
    LOG_INFO(QStringLiteral("preview row %1").arg(sourceIndex.row()));
    const QRect rect = ownIndex ? visualRect(index) : QRect();
    const QPoint globalTop = viewport()->mapToGlobal(rect.topLeft());
    const QPoint globalBottom = viewport()->mapToGlobal(rect.bottomRight());
    emit previewRequested(itemAt(sourceIndex), (globalTop.y() + globalBottom.y()) / 2);
}

void ClipboardBrowser::addItemsToTab(uint targetTabId, const QModelIndexList &sourceIndexes)
{
    const QList<uint> hashes = hashesOf(sourceIndexes);
    for (uint hash : hashes)
        historyModel->setItemCustomId(hash, targetTabId, false);
}

void ClipboardBrowser::removeItemsFromTab(const QModelIndexList &sourceIndexes)
{
    const QList<uint> hashes = hashesOf(sourceIndexes);
    for (uint hash : hashes)
        historyModel->setItemCustomId(hash, tabId, true);
}

void ClipboardBrowser::editRemark(const QModelIndex &sourceIndex)
{
    if (!sourceIndex.isValid())
        return;
    const QPersistentModelIndex index(sourceIndex);
    const QString oldRemark = itemAt(sourceIndex).remark();
    RemarkDialog dialog(this);
    if (!oldRemark.isEmpty())
        dialog.setRemark(oldRemark);
    if (dialog.exec() != QDialog::Accepted || !index.isValid())
        return;
    const QString text = dialog.remark();
    if (text != oldRemark)
        historyModel->setItemRemark(index, text);
}

void ClipboardBrowser::keyPressEvent(QKeyEvent *event)
{
    LOG_INFO(QStringLiteral("press key %1").arg(QKeySequence(event->key()).toString(QKeySequence::NativeText)));

    const Qt::KeyboardModifiers modifiers =
        event->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier);
    const QKeySequence pressed(QKeyCombination(modifiers, Qt::Key(event->key())));
    const QKeySequence plainTextShortcut = HistorySettings::copyAsPlainTextShortcut();
    const bool isCopy = event->modifiers() == Qt::ControlModifier && event->key() == Qt::Key_C;
    const bool isPlainText = !plainTextShortcut.isEmpty() && pressed == plainTextShortcut;
    const int key = event->key();

    if (key != Qt::Key_Return && key != Qt::Key_Space && !isCopy && !isPlainText) {
        QAbstractItemView::keyPressEvent(event);
        // Unhandled keys travel on to the main window.
        if (key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_PageUp || key == Qt::Key_PageDown)
            event->accept();
        else
            event->ignore();
        return;
    }

    event->accept();
    const QModelIndexList selected = selectedIndexes();
    if (selected.isEmpty())
        return;
    const QModelIndex first = proxy->mapToSource(selected.first());
    LOG_INFO(QStringLiteral("row %1").arg(first.row()));
    const bool single = selected.size() == 1;

    if (isPlainText) {
        copyAsPlainText(first);
    } else if (key == Qt::Key_Return) {
        if (single)
            pasteItem(first);
    } else if (key == Qt::Key_Space) {
        if (single)
            previewSelectItem(selected.first());
    } else if (isCopy) {
        if (single) {
            copyItem(first);
        } else {
            const QModelIndexList sourceIndexes = selectedSourceIndexes();
            if (canCopyItems(sourceIndexes))
                copyItems(sourceIndexes);
        }
    }
}

void ClipboardBrowser::keyboardSearch(const QString &search)
{
    // Typing in the list is typing in the search box.
    emit startSearchSignal(search);
}

void ClipboardBrowser::onFilterTextChanged(QString text)
{
    proxy->setFilterRegularExpression(QRegularExpression(text, QRegularExpression::CaseInsensitiveOption));
    if (proxy->rowCount() > 0)
        setCurrentIndex(proxy->index(0, 0));
    repaint();
}

void ClipboardBrowser::mouseDoubleClickEvent(QMouseEvent *event)
{
    const QModelIndex index = indexAt(event->pos());
    if (event->button() != Qt::LeftButton || !index.isValid()) {
        QListView::mouseDoubleClickEvent(event);
        return;
    }
    LOG_INFO(QStringLiteral("double click"));
    copyItem(proxy->mapToSource(index));
}

void ClipboardBrowser::mousePressEvent(QMouseEvent *event)
{
    // (0, 0) means no drag is pending; a press anywhere else than on an item
    // also forgets an earlier press.
    dragStartPos = QPoint();
    if (event->button() == Qt::LeftButton && indexAt(event->pos()).isValid())
        dragStartPos = event->pos();
    QListView::mousePressEvent(event);
}

void ClipboardBrowser::mouseMoveEvent(QMouseEvent *event)
{
    if (dragStartPos.isNull() || !(event->buttons() & Qt::LeftButton)) {
        QListView::mouseMoveEvent(event);
        return;
    }
    if ((event->pos() - dragStartPos).manhattanLength() < QApplication::startDragDistance()) {
        event->ignore();
        return;
    }

    const QModelIndex index = indexAt(dragStartPos);
    const QPersistentModelIndex sourceIndex = proxy->mapToSource(index);
    dragStartPos = QPoint();
    if (!index.isValid() || !sourceIndex.isValid()) {
        event->accept();
        return;
    }

    auto *drag = new QDrag(this);
    drag->setMimeData(ClipboardWriter::buildMimeData(itemAt(sourceIndex).dataMap));
    drag->setPixmap(QIcon(QStringLiteral(":/images/icons/vorlik.ico")).pixmap(32, 32));
    if (drag->exec(Qt::CopyAction) == Qt::CopyAction) {
        emit finishCopyItemSignal();
        if (sourceIndex.isValid())
            historyModel->setItemActiveTime(sourceIndex, now());
        scrollToTop();
    }
    event->accept();
}

void ClipboardBrowser::fillAddToMenu(QMenu *menu, const QModelIndexList &sourceIndexes)
{
    const QList<TabData> tabs = customTabs ? customTabs() : QList<TabData>();
    if (tabs.isEmpty()) {
        menu->addAction(QStringLiteral("无自定义标签页"))->setEnabled(false);
        return;
    }
    if (tabs.size() == 1 && tabs.first().tabId == tabId) {
        menu->addAction(QStringLiteral("无其他自定义标签页"))->setEnabled(false);
        return;
    }
    const QList<QPersistentModelIndex> indexes = persistent(sourceIndexes);
    for (const TabData &tab : tabs) {
        if (tab.tabId == tabId)
            continue;
        const uint target = tab.tabId;
        connect(menu->addAction(tab.tabName), &QAction::triggered, this,
                [this, target, indexes] { addItemsToTab(target, current(indexes)); });
    }
}

void ClipboardBrowser::contextMenuEvent(QContextMenuEvent *event)
{
    const QModelIndex index = indexAt(event->pos());
    const QModelIndexList selected = selectedIndexes();
    if (!index.isValid() || selected.isEmpty())
        return;

    const bool single = selected.size() == 1;
    const QPersistentModelIndex row = proxy->mapToSource(index);
    const QModelIndexList sourceIndexes = single ? QModelIndexList{row} : selectedSourceIndexes();
    const QList<QPersistentModelIndex> rows = persistent(sourceIndexes);

    CustomMenu menu(QString(), 20, 20, this);

    QAction *copyAction = menu.addAction(QStringLiteral("复制"));
    copyAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_C));
    copyAction->setShortcutVisibleInContextMenu(true);
    if (single) {
        connect(copyAction, &QAction::triggered, this, [this, row] { copyItem(row); });
    } else {
        copyAction->setEnabled(canCopyItems(sourceIndexes));
        connect(copyAction, &QAction::triggered, this, [this, rows] { copyItems(current(rows)); });
    }

    QAction *deleteAction = menu.addAction(QStringLiteral("删除"));
    if (single)
        connect(deleteAction, &QAction::triggered, this, [this, row] {
            if (row.isValid())
                historyModel->removeRow(row.row());
        });
    else
        connect(deleteAction, &QAction::triggered, this, [this, rows] { removeItems(current(rows)); });

    QAction *previewAction = menu.addAction(QStringLiteral("预览"));
    previewAction->setShortcut(QKeySequence(Qt::Key_Space));
    previewAction->setShortcutVisibleInContextMenu(true);
    previewAction->setEnabled(single);
    connect(previewAction, &QAction::triggered, this, [this, row] { previewSelectItem(row); });

    menu.addSeparator();

    QAction *remarkAction = menu.addAction(QStringLiteral("编辑备注"));
    remarkAction->setEnabled(single);
    connect(remarkAction, &QAction::triggered, this, [this, row] { editRemark(row); });

    auto *addToMenu = new CustomMenu(QStringLiteral("添加到"), 20, 20, &menu);
    fillAddToMenu(addToMenu, sourceIndexes);
    menu.addMenu(addToMenu);

    QAction *removeFromTabAction = menu.addAction(QStringLiteral("移出标签页"));
    removeFromTabAction->setEnabled(tabId >= 20);
    connect(removeFromTabAction, &QAction::triggered, this, [this, rows] { removeItemsFromTab(current(rows)); });

    menu.exec(event->globalPos());
}
