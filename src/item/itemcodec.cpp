#include "item/itemcodec.h"

#include <QDataStream>
#include <QIODevice>
#include <QPoint>

#include "common/log.h"
#include "item/datastreamversion.h"

namespace {

// Reads one value; on a failed stream logs which part of the blob was bad.
template <typename T> bool readOrError(QDataStream &stream, T &value, const char *what)
{
    stream >> value;
    if (stream.status() == QDataStream::Ok)
        return true;
    LOG_ERROR(QStringLiteral("Corrupted data: %1").arg(QLatin1String(what)));
    return false;
}

} // namespace

void serializeDataMap(QDataStream &stream, const QVariantMap &map)
{
    stream.setVersion(kStoredStreamVersion);
    stream << qint32(map.size());
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        stream << it.key() << it.value().toByteArray();
}

QByteArray serializeDataMap(const QVariantMap &map)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    serializeDataMap(stream, map);
    return bytes;
}

bool deserializeDataMap(const QByteArray &bytes, QVariantMap &map)
{
    map.clear();
    QDataStream stream(bytes);
    stream.setVersion(kStoredStreamVersion);

    qint32 count = 0;
    if (!readOrError(stream, count, "Failed to read size"))
        return false;
    for (qint32 i = 0; i < count; ++i) {
        QString mime;
        if (!readOrError(stream, mime, "fail to read mime"))
            return false;
        QByteArray value;
        if (!readOrError(stream, value, "fail to read bytes"))
            return false;
        map.insert(mime, QVariant(value));
    }
    return true;
}

QByteArray serializeUrls(const QList<QUrl> &urls)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(kStoredStreamVersion);
    stream << qint32(urls.size());
    for (const QUrl &url : urls)
        stream << url;
    return bytes;
}

QList<QUrl> deserializeUrls(const QByteArray &bytes)
{
    QDataStream stream(bytes);
    stream.setVersion(kStoredStreamVersion);
    qint32 count = 0;
    stream >> count;
    QList<QUrl> urls;
    // The count comes from stored bytes, so it is not trusted for a reservation.
    for (qint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i) {
        QUrl url;
        stream >> url;
        urls.append(url);
    }
    if (stream.status() != QDataStream::Ok)
        return {};
    return urls;
}

QByteArray serializeCustomIds(const QSet<uint> &ids)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(kStoredStreamVersion);
    stream << qint32(ids.size());
    for (uint id : ids)
        stream << quint32(id);
    return bytes;
}

bool deserializeCustomIds(const QByteArray &bytes, QSet<uint> &ids)
{
    ids.clear();
    QDataStream stream(bytes);
    stream.setVersion(kStoredStreamVersion);
    qint32 count = 0;
    stream >> count;
    for (qint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i) {
        quint32 id = 0;
        stream >> id;
        if (stream.status() == QDataStream::Ok)
            ids.insert(id);
    }
    if (stream.status() != QDataStream::Ok) {
        ids.clear();
        return false;
    }
    return true;
}

QByteArray serializeOcrResults(const QList<OCRResult> &results)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(kStoredStreamVersion);
    stream << qint32(results.size());
    for (const OCRResult &result : results) {
        stream << qint32(result.box.size());
        for (const QPoint &point : result.box)
            stream << point;
        stream << result.text;
    }
    return bytes;
}

QList<OCRResult> deserializeOcrResults(const QByteArray &bytes)
{
    QDataStream stream(bytes);
    stream.setVersion(kStoredStreamVersion);
    qint32 count = 0;
    stream >> count;
    QList<OCRResult> results;
    for (qint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i) {
        OCRResult result;
        qint32 points = 0;
        stream >> points;
        for (qint32 p = 0; p < points && stream.status() == QDataStream::Ok; ++p) {
            QPoint point;
            stream >> point;
            result.box.append(point);
        }
        stream >> result.text;
        results.append(result);
    }
    if (stream.status() != QDataStream::Ok)
        return {};
    return results;
}

int sizeOfDataMap(const QVariantMap &map)
{
    int size = 0;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        size += int(it.value().toByteArray().size());
    return size;
}
