#include "ocr/ocranswer.h"

#include <QBuffer>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {
// Far above the answer for a full-page capture of some hundred lines.
constexpr qsizetype largestDocument = 16 * 1024 * 1024;
} // namespace

QList<QByteArray> OcrAnswerBuffer::append(const QByteArray &bytes)
{
    QList<QByteArray> documents;
    const auto finish = [&] {
        const QByteArray document = pending.trimmed();
        if (!document.isEmpty())
            documents.append(document);
        pending.clear();
        depth = 0;
        inString = false;
        escaped = false;
    };
    for (const char c : bytes) {
        // Compact JSON holds no raw line break, so one always ends a
        // document, also a broken one, which the parser then drops.
        if (c == '\n') {
            finish();
            continue;
        }
        pending += c;
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
        } else if (c == '"' && depth > 0) {
            inString = true;
        } else if (c == '{') {
            ++depth;
        } else if (c == '}' && depth > 0 && --depth == 0) {
            finish();
        }
        // An engine that never closes its document must not fill memory;
        // the parser drops the piece.
        if (pending.size() > largestDocument)
            finish();
    }
    return documents;
}

bool parseOcrAnswer(const QByteArray &document, uint &hashValue, QList<OCRResult> &results)
{
    if (!document.contains("code"))
        return false;
    const QJsonDocument json = QJsonDocument::fromJson(document);
    if (!json.isObject())
        return false;
    const QJsonObject object = json.object();
    if (!object.contains(QStringLiteral("code")) || object.value(QStringLiteral("code")).toInt(0) != 100)
        return false;
    const QJsonValue data = object.value(QStringLiteral("data"));
    if (!data.isArray())
        return false;

    // A number here reads as the empty string, hence as hash 0.
    hashValue = object.value(QStringLiteral("hashValue")).toString().toUInt(nullptr, 10);
    results.clear();
    const QJsonArray boxes = data.toArray();
    for (const QJsonValue &entry : boxes) {
        OCRResult result;
        const QJsonObject box = entry.toObject();
        result.text = box.value(QStringLiteral("text")).toString();
        const QJsonArray corners = box.value(QStringLiteral("box")).toArray();
        for (const QJsonValue &corner : corners) {
            const QJsonArray point = corner.toArray();
            result.box.append(QPoint(point.at(0).toInt(0), point.at(1).toInt(0)));
        }
        results.append(result);
    }
    return true;
}

QByteArray buildOcrRequest(uint hashValue, const QImage &image)
{
    // The engine gets no alpha channel: transparent pixels would read as
    // black behind black text.
    const QImage opaque = image.format() == QImage::Format_RGB32 ? image
                                                                  : image.convertToFormat(QImage::Format_RGB32);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!opaque.save(&buffer, "png", -1))
        return {};

    QJsonObject request;
    request.insert(QStringLiteral("hashValue"), QString::number(hashValue, 10));
    request.insert(QStringLiteral("image_base64"), QString::fromLatin1(png.toBase64()));
    return QJsonDocument(request).toJson(QJsonDocument::Compact);
}
