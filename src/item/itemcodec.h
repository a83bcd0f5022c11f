#pragma once

#include "item/ocrresult.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QUrl>
#include <QVariantMap>

class QDataStream;

// The stored binary forms of an item. All streams use kStoredStreamVersion.

// The database blob of a data map: count, then (mime, bytes) pairs in key order.
void serializeDataMap(QDataStream &stream, const QVariantMap &map);
QByteArray serializeDataMap(const QVariantMap &map);
// Keeps what was read before a failure; returns whether everything was read.
bool deserializeDataMap(const QByteArray &bytes, QVariantMap &map);

QByteArray serializeUrls(const QList<QUrl> &urls);
// Returns an empty list on any stream failure, never a partial one.
QList<QUrl> deserializeUrls(const QByteArray &bytes);

QByteArray serializeCustomIds(const QSet<uint> &ids);
// Returns false, with `ids` emptied, on a stream failure.
bool deserializeCustomIds(const QByteArray &bytes, QSet<uint> &ids);

QByteArray serializeOcrResults(const QList<OCRResult> &results);
// Returns an empty list on a stream failure.
QList<OCRResult> deserializeOcrResults(const QByteArray &bytes);

int sizeOfDataMap(const QVariantMap &map);
