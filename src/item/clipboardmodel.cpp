#include "item/clipboardmodel.h"

#include <utility>

#include <QDateTime>
#include <QElapsedTimer>

#include "common/historysettings.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/textutils.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"
#include "item/nextactivetime.h"

namespace {

constexpr int kExpiryIntervalMs = 3600000;
constexpr int kEvictionIntervalMs = 900000;
// Each housekeeping pass yields the GUI thread after this long; the rest waits for the next run.
constexpr qint64 kExpiryBudgetMs = 100;
constexpr qint64 kEvictionBudgetMs = 200;

qulonglong currentTime()
{
    return qulonglong(QDateTime::currentMSecsSinceEpoch());
}

} // namespace

ClipboardModel::ClipboardModel(QObject *parent) : QAbstractListModel(parent), expiredTimer(this)
{
    // The display value is the whole record; views that only want a string get its text.
    static const bool textConverter = QMetaType::registerConverter<ItemData, QString>(&ItemData::text);
    Q_UNUSED(textConverter)

    // Neither pass runs at start: the first expiry comes after an hour, the
    // first eviction after fifteen minutes, and a new item triggers neither.
    expiredTimer.setInterval(kExpiryIntervalMs);
    connect(&expiredTimer, &QTimer::timeout, this, &ClipboardModel::onCheckExpiredItem);
    expiredTimer.start();

    auto *sizeCntTimer = new QTimer(this);
    sizeCntTimer->setInterval(kEvictionIntervalMs);
    connect(sizeCntTimer, &QTimer::timeout, this, &ClipboardModel::onCheckTotalSizeCnt);
    sizeCntTimer->start();
}

int ClipboardModel::rowCount(const QModelIndex &parent) const
{
    // A flat list: rows hang only under the invisible root.
    return parent.isValid() ? 0 : int(itemList.size());
}

QVariant ClipboardModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !isRowIndex(index))
        return QVariant();
    return QVariant::fromValue(itemList.at(index.row()));
}

bool ClipboardModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    Q_UNUSED(role)
    if (!isRowIndex(index))
        return false;
    if (!value.canConvert<ItemData>()) {
        LOG_WARNING(
            QStringLiteral("setData with a value of type %1 ignored").arg(QLatin1String(value.typeName())));
        return false;
    }
    itemList[index.row()] = value.value<ItemData>();
    emit dataChanged(index, index, {});
    return true;
}

bool ClipboardModel::removeRows(int row, int count, const QModelIndex &parent)
{
    if (parent.isValid() || row < 0 || count < 1 || row + count > itemList.size())
        return false;
    beginRemoveRows(parent, row, row + count - 1);
    itemList.remove(row, count);
    endRemoveRows();
    return true;
}

void ClipboardModel::setTabAutoDeleteProvider(TabAutoDeleteProvider provider)
{
    tabAutoDeleteProvider = std::move(provider);
}

void ClipboardModel::addItem(const ItemData &itemData)
{
    insertAtTop(itemData);
    emit insertSignal(itemData);
}

void ClipboardModel::addLoadedItem(const ItemData &itemData)
{
    if (!contains(itemData.hashValue)) {
        insertAtTop(itemData);
        return;
    }
    // A copy made while the history was loading repeated a stored item. Its
    // row is the newer one and stays; it takes over what only the stored row
    // knew (tabs, remark, recognised text). Its own insert found the stored
    // row in the way, so the stored row is replaced by it.
    const int row = rowOf(itemData.hashValue);
    ItemData &item = itemList[row];
    if (item.takeStoredExtras(itemData)) {
        const QModelIndex changed = index(row);
        emit dataChanged(changed, changed, {});
    }
    emit deleteItemSignal(item.hashValue);
    emit insertSignal(item);
}

void ClipboardModel::removeRow(int row)
{
    if (row < 0 || row >= itemList.size())
        return;
    const uint hashValue = itemList.at(row).hashValue;
    if (!hashSet.isEmpty())
        hashSet.remove(hashValue);
    removeRows(row, 1, QModelIndex());
    emit deleteItemSignal(hashValue);
    LOG_INFO(QStringLiteral("hashSize %1 list size %2").arg(hashSet.size()).arg(itemList.size()));
}

void ClipboardModel::removeItem(uint hashValue)
{
    removeRow(rowOf(hashValue));
}

void ClipboardModel::setItemActiveTime(const QModelIndex &index, qulonglong time)
{
    if (!isRowIndex(index))
        return;
    ItemData &item = itemList[index.row()];
    item.setLastActiveTime(time);
    emit dataChanged(index, index, {});
    emit updateActiveTimeSignal(item.hashValue, time);
}

void ClipboardModel::updateItemActiveTime(uint hashValue)
{
    const int row = rowOf(hashValue);
    if (row >= 0) {
        ItemData &item = itemList[row];
        const qulonglong now = nextActiveTime();
        LOG_DEBUG(QStringLiteral("(%1, %2)-->(%3, %4)")
                      .arg(item.createTime)
                      .arg(item.lastActiveTime)
                      .arg(now)
                      .arg(now));
        item.lastActiveTime = now;
        const QModelIndex changed = index(row);
        emit dataChanged(changed, changed, {});
        emit updateActiveTimeSignal(hashValue, now);
    }
    emit scrollToTopSignal();
}

bool ClipboardModel::updateItemCreateActiveTime(uint hashValue)
{
    const int row = rowOf(hashValue);
    if (row < 0)
        return false;
    ItemData &item = itemList[row];
    const qulonglong now = currentTime();
    LOG_DEBUG(QStringLiteral("(%1, %2)-->(%3, %4)")
                  .arg(item.createTime)
                  .arg(item.lastActiveTime)
                  .arg(now)
                  .arg(now));
    item.createTime = now;
    item.lastActiveTime = now;
    const QModelIndex changed = index(row);
    emit dataChanged(changed, changed, {});
    emit updateCreateActiveTimeSignal(hashValue, now, now);
    return true;
}

void ClipboardModel::setItemRemark(const QModelIndex &index, const QString &remark)
{
    if (!isRowIndex(index))
        return;
    ItemData &item = itemList[index.row()];
    item.setRemark(remark);
    item.updateLastActiveTime();
    emit dataChanged(index, index, {});
    emit updateDataMapAndTimeSignal(item.hashValue, item.dataMap, item.lastActiveTime);
    emit scrollToTopSignal();
}

void ClipboardModel::setItemCustomId(uint hashValue, uint tabId, bool remove)
{
    const int row = rowOf(hashValue);
    if (row >= 0) {
        ItemData &item = itemList[row];
        const QModelIndex changed = index(row);
        if (remove) {
            // Leaving a tab is not a use of the item: its time stays.
            item.removeCustomId(tabId);
            emit dataChanged(changed, changed, {});
            emit updateDataMapSignal(hashValue, item.dataMap);
        } else {
            item.lastActiveTime = nextActiveTime();
            item.addCustomId(tabId);
            emit dataChanged(changed, changed, {});
            emit updateDataMapAndTimeSignal(hashValue, item.dataMap, item.lastActiveTime);
        }
    }
    emit scrollToTopSignal();
}

void ClipboardModel::removeCustomIdFromAll(uint tabId)
{
    for (int row = 0; row < itemList.size(); ++row) {
        if (!itemList.at(row).hasCustomId(tabId))
            continue;
        ItemData &item = itemList[row];
        item.removeCustomId(tabId);
        const QModelIndex changed = index(row);
        emit dataChanged(changed, changed, {});
        emit updateDataMapSignal(item.hashValue, item.dataMap);
    }
}

void ClipboardModel::updateItemText(uint hashValue, const QString &text)
{
    const int row = rowOf(hashValue);
    if (row < 0)
        return;
    ItemData edited = itemList.at(row);
    edited.dataMap.insert(MIME_TEXT, text);
    edited.lastActiveTime = currentTime();
    edited.hashValue = hashDataMap(edited.dataMap, identityKeys());

    // The identity is the primary key of the stored row, so an edit is a
    // delete and a fresh insert rather than an update in place.
    removeRow(row);
    addItem(edited);
    emit scrollToTopSignal();
    if (edited.hashValue != 0)
        emit itemHashValueChanged(hashValue, edited.hashValue);
}

void ClipboardModel::addIcon(const QString &exePath, const QPixmap &pixmap, uint &iconHashValue)
{
    QByteArray png;
    if (!pixmapToPng(pixmap, png)) {
        iconHashValue = 0;
        return;
    }
    iconHashValue = hashBytes(png);
    // Programs that share an icon image share one record, under the first path seen.
    if (iconMap.contains(iconHashValue))
        return;
    iconMap.insert(iconHashValue, IconData{iconHashValue, exePath, pixmap});
    emit insertIconSignal(iconHashValue, exePath, png);
}

QPixmap ClipboardModel::getIcon(uint iconHashValue) const
{
    const auto it = iconMap.constFind(iconHashValue);
    if (it != iconMap.cend())
        return it->pixmap;
    if (iconHashValue != 0)
        LOG_WARNING(QStringLiteral("no pixmap for hash %1").arg(iconHashValue));
    return QPixmap();
}

uint ClipboardModel::totalDataSize() const
{
    uint total = 0;
    for (const ItemData &item : itemList)
        total += uint(item.dataSize());
    return total;
}

void ClipboardModel::onLoadDbIcon(QList<IconData> icons)
{
    LOG_DEBUG(QStringLiteral("size %1").arg(icons.size()));
    for (const IconData &icon : std::as_const(icons))
        iconMap.insert(icon.iconHashValue, icon);
}

void ClipboardModel::onCheckTotalSizeCnt()
{
    const TabAutoDeleteMap autoDeleteMap = tabAutoDeleteMap();

    // Oldest use first. Items sharing a time share a key, so only the later
    // row of them is a candidate in this pass, yet every size counts.
    struct Candidate
    {
        uint hashValue;
        int dataSize;
    };
    QMap<qulonglong, Candidate> candidates;
    uint total = 0;
    for (const ItemData &item : std::as_const(itemList)) {
        if (!item.isAutoDelete(autoDeleteMap))
            continue;
        candidates.insert(item.lastActiveTime, Candidate{item.hashValue, item.dataSize()});
        total += uint(item.dataSize());
    }

    const uint sizeLimit = HistorySettings::totalSizeLimitMb() << 20;
    const uint countLimit = HistorySettings::totalCntLimit();
    // The count limit holds for all rows, protected ones included.
    const auto withinLimits = [&]() { return total <= sizeLimit && uint(itemList.size()) <= countLimit; };
    if (withinLimits())
        return;

    QElapsedTimer timer;
    timer.start();
    for (auto it = candidates.cbegin(); it != candidates.cend(); ++it) {
        removeRow(rowOf(it->hashValue));
        total -= uint(it->dataSize);
        LOG_INFO(QStringLiteral("active time %1 datasize %2").arg(it.key()).arg(it->dataSize));
        if (withinLimits() || timer.elapsed() > kEvictionBudgetMs)
            break;
    }
}

void ClipboardModel::onCheckExpiredItem()
{
    QElapsedTimer timer;
    timer.start();
    const qint64 keep = HistorySettings::autoDeleteTime();
    LOG_INFO(QStringLiteral("start check and delete Item delete time %1 day").arg(keep / 86400000));
    const TabAutoDeleteMap autoDeleteMap = tabAutoDeleteMap();
    const qulonglong now = currentTime();
    if (itemList.isEmpty())
        return;

    for (int row = 0; row < itemList.size(); ++row) {
        if (itemList.at(row).lastActiveTime + qulonglong(keep) >= now)
            continue;
        ItemData &item = itemList[row];
        const QModelIndex changed = index(row);
        if (item.removeCustomIds(autoDeleteMap))
            emit dataChanged(changed, changed, {});
        if (item.customIds.isEmpty()) {
            removeRow(row);
            --row;
            if (timer.elapsed() > kExpiryBudgetMs)
                break;
        } else {
            // Kept by a tab that does not auto-delete; its tab set may have shrunk.
            emit updateDataMapSignal(item.hashValue, item.dataMap);
        }
    }
}

void ClipboardModel::onFinishOcr(uint hashValue, QList<OCRResult> ocrResults)
{
    const QByteArray bytes = serializeOcrResults(ocrResults);
    const int row = rowOf(hashValue);
    if (row < 0)
        return;
    ItemData &item = itemList[row];
    item.ocrResults = ocrResults;
    item.dataMap.insert(MIME_OCR_RESULT, bytes);
    const QModelIndex changed = index(row);
    emit dataChanged(changed, changed, {});
    emit updateDataMapSignal(hashValue, item.dataMap);
}

void ClipboardModel::onFetchWebTitle(uint hashValue, QString title)
{
    LOG_INFO(QStringLiteral("hash value %1 title %2").arg(hashValue).arg(title));
    const int row = rowOf(hashValue);
    if (row < 0)
        return;
    ItemData &item = itemList[row];
    item.dataMap.insert(MIME_WEB_TITLE, title);
    const QModelIndex changed = index(row);
    emit dataChanged(changed, changed, {});
    emit updateDataMapSignal(hashValue, item.dataMap);
}

void ClipboardModel::onClearAllItem()
{
    hashSet.clear();
    removeRows(0, int(itemList.size()), QModelIndex());
    emit deleteAllItemsSignal();
}

int ClipboardModel::rowOf(uint hashValue) const
{
    for (int row = 0; row < itemList.size(); ++row) {
        if (itemList.at(row).hashValue == hashValue)
            return row;
    }
    return -1;
}

bool ClipboardModel::isRowIndex(const QModelIndex &index) const
{
    return index.isValid() && index.model() == this && index.column() == 0 && index.row() < itemList.size();
}

void ClipboardModel::insertAtTop(const ItemData &itemData)
{
    hashSet.insert(itemData.hashValue);
    beginInsertRows(QModelIndex(), 0, 0);
    itemList.prepend(itemData);
    endInsertRows();
    // Tells the views that the new top row is ready to be filtered and sorted.
    const QModelIndex top = index(0);
    emit dataChanged(top, top, {});
}

TabAutoDeleteMap ClipboardModel::tabAutoDeleteMap() const
{
    return tabAutoDeleteProvider ? tabAutoDeleteProvider() : TabAutoDeleteMap();
}
