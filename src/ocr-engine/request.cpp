#include "request.h"

#include <QBuffer>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "imageprep.h"
#include "platform/mutedstderr.h"

namespace {
// Below this a picture cannot hold a legible character.
constexpr int smallestSide = 8;
} // namespace

Request parseRequest(const QByteArray &line)
{
    Request request;
    QJsonParseError parseError;
    const QJsonDocument json = QJsonDocument::fromJson(line, &parseError);
    if (!json.isObject()) {
        request.code = AnswerBadRequest;
        request.error = QStringLiteral("request is not a JSON object: %1").arg(parseError.errorString());
        return request;
    }
    const QJsonObject object = json.object();
    request.hashValue = object.value(QStringLiteral("hashValue")).toString();
    const QJsonValue encoded = object.value(QStringLiteral("image_base64"));
    if (!encoded.isString()) {
        request.code = AnswerBadRequest;
        request.error = QStringLiteral("request %1 has no image_base64").arg(request.hashValue);
        return request;
    }
    const auto decoded = QByteArray::fromBase64Encoding(encoded.toString().toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded) {
        request.code = AnswerBadImage;
        request.error = QStringLiteral("request %1: image_base64 is not Base64").arg(request.hashValue);
        return request;
    }
    QByteArray bytes = *decoded;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    // The PNG decoder prints a line of its own for a broken picture; the
    // engine tells of it once, in its own words.
    const platform::MutedStandardError muted;
    QImageReader reader(&buffer);
    // Decoded as 32-bit pixels, the largest picture read needs more than
    // the reader's own default limit allows.
    reader.setAllocationLimit(int(largestPixels * 4 / (1024 * 1024)) + 1);
    // The size comes from the header, so that a huge picture is refused
    // before it is decoded into memory.
    const QSize size = reader.size();
    if (size.isValid() && (size.width() < smallestSide || size.height() < smallestSide ||
                           qint64(size.width()) * size.height() > largestPixels)) {
        request.code = AnswerImageSize;
        request.error = QStringLiteral("request %1: an image of %2x%3 pixels is not read")
                            .arg(request.hashValue)
                            .arg(size.width())
                            .arg(size.height());
        return request;
    }
    const QImage image = reader.read();
    if (image.isNull()) {
        request.code = AnswerBadImage;
        request.error = QStringLiteral("request %1: the image cannot be decoded (%2)")
                            .arg(request.hashValue, reader.errorString());
        return request;
    }
    request.image = image;
    return request;
}

QByteArray answerDocument(AnswerCode code, const QString &hashValue, const QList<RecognisedLine> &lines)
{
    QJsonArray data;
    for (const RecognisedLine &line : lines) {
        const QRect &r = line.box;
        // Corners clockwise from the top left, the right and bottom edges
        // outside the box as the engine's boxes are.
        const QJsonArray box{QJsonArray{r.left(), r.top()}, QJsonArray{r.right() + 1, r.top()},
                             QJsonArray{r.right() + 1, r.bottom() + 1}, QJsonArray{r.left(), r.bottom() + 1}};
        data.append(QJsonObject{{QStringLiteral("box"), box}, {QStringLiteral("text"), line.text}});
    }
    QJsonObject answer{{QStringLiteral("code"), int(code)},
                       {QStringLiteral("data"), data},
                       {QStringLiteral("hashValue"), hashValue}};
    return QJsonDocument(answer).toJson(QJsonDocument::Compact) + '\n';
}
