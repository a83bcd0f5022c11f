#pragma once

#include "item/ocrresult.h"

#include <QImage>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QPixmap>
#include <QSet>
#include <QString>
#include <QUrl>
#include <QVariantMap>

class QWidget;

// User tab id -> whether the items of that tab may be deleted by expiry and eviction.
using TabAutoDeleteMap = QMap<uint, bool>;

enum ItemType : uint
{
    ItemTypeNone = 0,
    ItemTypeImage = 1,
    ItemTypeFile = 2,
    ItemTypeRichText = 3,
    ItemTypeText = 4,
    ItemTypeLink = 5,
};

// One entry of the clipboard history. A plain value: the containers are
// implicitly shared, so copies through queued signals cost no payload copy.
class ItemData
{
public:
    uint hashValue = 0;
    uint iconHashValue = 0;
    uint itemType = ItemTypeNone;
    qulonglong createTime = 0;
    qulonglong lastActiveTime = 0;
    QVariantMap dataMap;
    QList<OCRResult> ocrResults;
    QSet<uint> customIds;

    QString text() const;
    QString html() const;
    QString remark() const;
    void setRemark(const QString &text);
    QString webTitle() const;
    bool hasWebTitle() const;
    QList<QUrl> urls() const;
    QImage image() const;
    bool hasOcrResult() const { return !ocrResults.isEmpty(); }

    // Compares content and times; the size cache is not part of the value.
    bool operator==(const ItemData &other) const;
    bool operator!=(const ItemData &other) const { return !(*this == other); }

    // Cached on first use and deliberately not invalidated by the setters.
    int dataSize() const;
    void setDataSize(int size) { cachedDataSize = size; }

    void setLastActiveTime(qulonglong ms) { lastActiveTime = ms; }
    void updateLastActiveTime();

    bool hasCustomId(uint tabId) const { return customIds.contains(tabId); }
    void addCustomId(uint tabId);
    bool removeCustomId(uint tabId);
    bool removeCustomIds(const TabAutoDeleteMap &tabAutoDeleteMap);
    bool isAutoDelete(const TabAutoDeleteMap &tabAutoDeleteMap) const;

    // Writes the customid entry of dataMap from customIds.
    void writeCustomIdEntry();

    // Takes from `stored`, the same item as stored earlier, what this newer
    // copy of it lacks: tabs, remark, recognised text and other extras.
    // Returns whether anything was taken.
    bool takeStoredExtras(const ItemData &stored);

private:
    mutable int cachedDataSize = -1;
};

// A source program's icon, keyed by the hash of its PNG bytes.
struct IconData
{
    uint iconHashValue = 0;
    QString path;
    QPixmap pixmap;
};

// A user tab as stored in the database. `widget` is only filled by the tab widget.
struct TabData
{
    uint tabId = 0;
    QString tabName;
    QWidget *widget = nullptr;
    bool autoDelete = true;
};

Q_DECLARE_METATYPE(ItemData)
Q_DECLARE_METATYPE(IconData)
Q_DECLARE_METATYPE(TabData)
