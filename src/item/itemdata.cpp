#include "item/itemdata.h"

#include <QDateTime>

#include "common/mime.h"
#include "item/itemcodec.h"

QString ItemData::text() const
{
    return dataMap.value(MIME_TEXT).toString();
}

QString ItemData::html() const
{
    return dataMap.value(MIME_HTML).toString();
}

QString ItemData::remark() const
{
    return dataMap.value(MIME_REMARK).toString();
}

void ItemData::setRemark(const QString &text)
{
    // An emptied remark keeps its key, so the stored map says it was cleared.
    dataMap.insert(MIME_REMARK, text);
}

QString ItemData::webTitle() const
{
    return dataMap.value(MIME_WEB_TITLE).toString();
}

bool ItemData::hasWebTitle() const
{
    const auto it = dataMap.constFind(MIME_WEB_TITLE);
    if (it == dataMap.cend())
        return false;
    // A loaded title is bytes; its emptiness needs no decoding.
    if (it->typeId() == QMetaType::QByteArray)
        return !it->toByteArray().isEmpty();
    return !it->toString().isEmpty();
}

QList<QUrl> ItemData::urls() const
{
    const auto it = dataMap.constFind(MIME_URI_LIST);
    if (it == dataMap.cend())
        return {};
    return deserializeUrls(it->toByteArray());
}

QImage ItemData::image() const
{
    const auto it = dataMap.constFind(MIME_IMAGE_PNG);
    if (it == dataMap.cend())
        return QImage();
    QImage result;
    if (!result.loadFromData(it->toByteArray(), "image/png"))
        return QImage();
    return result;
}

bool ItemData::operator==(const ItemData &other) const
{
    return hashValue == other.hashValue && iconHashValue == other.iconHashValue &&
           itemType == other.itemType && createTime == other.createTime &&
           lastActiveTime == other.lastActiveTime && dataMap == other.dataMap &&
           ocrResults == other.ocrResults && customIds == other.customIds;
}

int ItemData::dataSize() const
{
    if (cachedDataSize == -1)
        cachedDataSize = sizeOfDataMap(dataMap);
    return cachedDataSize;
}

void ItemData::updateLastActiveTime()
{
    lastActiveTime = qulonglong(QDateTime::currentMSecsSinceEpoch());
}

void ItemData::addCustomId(uint tabId)
{
    customIds.insert(tabId);
    writeCustomIdEntry();
}

bool ItemData::removeCustomId(uint tabId)
{
    if (!customIds.remove(tabId))
        return false;
    writeCustomIdEntry();
    return true;
}

bool ItemData::removeCustomIds(const TabAutoDeleteMap &tabAutoDeleteMap)
{
    // The answer is about the last auto-delete tab tried, which is what the
    // housekeeping pass relies on to announce a change.
    bool removed = false;
    for (auto it = tabAutoDeleteMap.cbegin(); it != tabAutoDeleteMap.cend(); ++it) {
        if (it.value())
            removed = removeCustomId(it.key());
    }
    return removed;
}

bool ItemData::isAutoDelete(const TabAutoDeleteMap &tabAutoDeleteMap) const
{
    for (uint tabId : customIds) {
        const auto it = tabAutoDeleteMap.constFind(tabId);
        if (it != tabAutoDeleteMap.cend() && !it.value())
            return false;
    }
    return true;
}

void ItemData::writeCustomIdEntry()
{
    dataMap.insert(MIME_CUSTOM_ID, serializeCustomIds(customIds));
}

bool ItemData::takeStoredExtras(const ItemData &stored)
{
    bool taken = false;
    for (auto it = stored.dataMap.cbegin(); it != stored.dataMap.cend(); ++it) {
        if (!dataMap.contains(it.key())) {
            dataMap.insert(it.key(), it.value());
            taken = true;
        }
    }
    if (ocrResults.isEmpty() && !stored.ocrResults.isEmpty()) {
        ocrResults = stored.ocrResults;
        taken = true;
    }
    const QSet<uint> ownIds = customIds;
    customIds.unite(stored.customIds);
    if (customIds != ownIds) {
        writeCustomIdEntry();
        taken = true;
    }
    if (taken)
        cachedDataSize = -1;
    return taken;
}
