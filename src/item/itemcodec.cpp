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

// The list forms: a signed 32-bit count, then each element.
template <typename Container, typename WriteOne>
QByteArray writeCounted(const Container &items, WriteOne writeOne)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(kStoredStreamVersion);
    stream << qint32(items.size());
    for (const auto &item : items)
        writeOne(stream, item);
    return bytes;
}

// Reads the count, then the elements while the stream stays good. The count
// comes from stored bytes, so it is never trusted for a reservation.
template <typename ReadOne> bool readCounted(const QByteArray &bytes, ReadOne readOne)
{
    QDataStream stream(bytes);
    stream.setVersion(kStoredStreamVersion);
    qint32 count = 0;
    stream >> count;
    for (qint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i)
        readOne(stream);
    return stream.status() == QDataStream::Ok;
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
    return writeCounted(urls, [](QDataStream &stream, const QUrl &url) { stream << url; });
}

QList<QUrl> deserializeUrls(const QByteArray &bytes)
{
    QList<QUrl> urls;
    const bool ok = readCounted(bytes, [&urls](QDataStream &stream) {
        QUrl url;
        stream >> url;
        urls.append(url);
    });
    // Never a partial list.
    if (!ok)
        urls.clear();
    return urls;
}

QByteArray serializeCustomIds(const QSet<uint> &ids)
{
    return writeCounted(ids, [](QDataStream &stream, uint id) { stream << quint32(id); });
}

bool deserializeCustomIds(const QByteArray &bytes, QSet<uint> &ids)
{
    ids.clear();
    const bool ok = readCounted(bytes, [&ids](QDataStream &stream) {
        quint32 id = 0;
        stream >> id;
        ids.insert(id);
    });
    if (!ok)
        ids.clear();
    return ok;
}

QByteArray serializeOcrResults(const QList<OCRResult> &results)
{
    return writeCounted(results, [](QDataStream &stream, const OCRResult &result) {
        stream << qint32(result.box.size());
        for (const QPoint &point : result.box)
            stream << point;
        stream << result.text;
    });
}

QList<OCRResult> deserializeOcrResults(const QByteArray &bytes)
{
    QList<OCRResult> results;
    const bool ok = readCounted(bytes, [&results](QDataStream &stream) {
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
    });
    if (!ok)
        results.clear();
    return results;
}

int sizeOfDataMap(const QVariantMap &map)
{
    int size = 0;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        size += int(it.value().toByteArray().size());
    return size;
}
