#pragma once

#include "item/itemdata.h"

#include <QAbstractListModel>
#include <QList>
#include <QMap>
#include <QSet>
#include <QTimer>

#include <functional>

// The one live list of history items, newest insertion first. It is the only
// writer of item state: every change happens here and is then announced by
// the *Signal signals, which the database front relays to its thread.
class ClipboardModel : public QAbstractListModel
{
    Q_OBJECT
public:
    // Supplies the user tabs' auto-delete flags for the housekeeping passes.
    using TabAutoDeleteProvider = std::function<TabAutoDeleteMap()>;

    explicit ClipboardModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    bool removeRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;

    void setTabAutoDeleteProvider(TabAutoDeleteProvider provider);

    const QList<ItemData> &items() const { return itemList; }

    void addItem(const ItemData &itemData);
    void addLoadedItem(const ItemData &itemData);
    bool contains(uint hashValue) const { return hashSet.contains(hashValue); }
    void removeRow(int row);
    void removeItem(uint hashValue);
    void setItemActiveTime(const QModelIndex &index, qulonglong time);
    void updateItemActiveTime(uint hashValue);
    bool updateItemCreateActiveTime(uint hashValue);
    void setItemRemark(const QModelIndex &index, const QString &remark);
    void setItemCustomId(uint hashValue, uint tabId, bool remove);
    void removeCustomIdFromAll(uint tabId);
    void updateItemText(uint hashValue, const QString &text);
    void addIcon(const QString &exePath, const QPixmap &pixmap, uint &iconHashValue);
    QPixmap getIcon(uint iconHashValue) const;
    uint totalDataSize() const;

signals:
    void scrollToTopSignal();
    void itemHashValueChanged(uint oldValue, uint newValue);

    // Write-behind to the database, in the order of emission.
    void insertSignal(ItemData itemData);
    void updateActiveTimeSignal(uint hashValue, qulonglong newActiveTime);
    void updateCreateActiveTimeSignal(uint hashValue, qulonglong newCreateTime, qulonglong newActiveTime);
    void updateDataMapSignal(uint hashValue, QVariantMap dataMap);
    void updateDataMapAndTimeSignal(uint hashValue, QVariantMap dataMap, qulonglong newActiveTime);
    void deleteItemSignal(uint hashValue);
    void deleteAllItemsSignal();
    void insertIconSignal(uint iconHashValue, QString path, QByteArray icon);

public slots:
    void onLoadDbIcon(QList<IconData> icons);
    void onCheckTotalSizeCnt();
    void onCheckExpiredItem();
    void onFinishOcr(uint hashValue, QList<OCRResult> ocrResults);
    void onFetchWebTitle(uint hashValue, QString title);
    void onClearAllItem();

private:
    int rowOf(uint hashValue) const;
    // A valid index of this model whose row exists.
    bool isRowIndex(const QModelIndex &index) const;
    void insertAtTop(const ItemData &itemData);
    TabAutoDeleteMap tabAutoDeleteMap() const;

    QList<ItemData> itemList;
    QSet<uint> hashSet;
    QMap<uint, IconData> iconMap;
    QTimer expiredTimer;
    TabAutoDeleteProvider tabAutoDeleteProvider;
};
