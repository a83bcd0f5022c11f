#include "gui/clonedata.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImageWriter>
#include <QMetaType>
#include <QMimeData>
#include <QTextDocument>
#include <QUrl>

#include "common/log.h"
#include "common/mime.h"
#include "common/textutils.h"
#include "item/itemdata.h"
#include "item/itemcodec.h"

namespace {

QImage toImage(const QVariant &imageData)
{
    if (imageData.metaType() == QMetaType::fromType<QImage>())
        return imageData.value<QImage>();
    QImage converted;
    if (imageData.isValid())
        QMetaType::convert(imageData.metaType(), imageData.constData(), QMetaType::fromType<QImage>(),
                           &converted);
    return converted;
}

void cloneImage(const QMimeData *mimeData, QVariantMap &dataMap, uint &itemType, QImage &image)
{
    const QString format = imageFormatOf(MIME_IMAGE_PNG);
    const QImage source = toImage(mimeData->imageData());
    if (source.isNull() || source.width() <= 0 || source.height() <= 0)
        return;
    const QByteArray formatName = format.toLatin1();
    if (!QImageWriter::supportedImageFormats().contains(formatName)) {
        LOG_INFO(QStringLiteral("not supported"));
        return;
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!source.save(&buffer, formatName.constData(), -1)) {
        LOG_ERROR(QStringLiteral("image save fail"));
        return;
    }
    dataMap[MIME_IMAGE_PNG] = bytes;
    if (itemType == ItemTypeNone)
        itemType = ItemTypeImage;
    image = source;
}

void cloneFiles(const QMimeData *mimeData, QVariantMap &dataMap, uint &itemType)
{
    QString names;
    QList<QUrl> existing;
    const QList<QUrl> urls = mimeData->urls();
    for (const QUrl &url : urls) {
        names += url.toString(QUrl::FullyDecoded) + QLatin1Char(' ');
        // Web addresses and files deleted since the copy make no file item.
        if (QFileInfo(url.toLocalFile()).exists())
            existing.append(url);
    }
    LOG_INFO(QStringLiteral("filenames %1").arg(names));
    if (existing.isEmpty())
        return;
    dataMap[MIME_URI_LIST] = serializeUrls(existing);
    itemType = ItemTypeFile;
}

QString cloneText(const QMimeData *mimeData, QVariantMap &dataMap, uint &itemType)
{
    QString text;
    if (mimeData->hasText()) {
        text = mimeData->text();
    } else {
        // The system's HTML is never kept, only what it reads as.
        QTextDocument document;
        document.setHtml(mimeData->html());
        text = document.toPlainText();
    }
    if (isNotBlank(text)) {
        dataMap[MIME_TEXT] = text;
        itemType = ItemTypeText;
    } else {
        LOG_WARNING(QStringLiteral("only contains space"));
    }
    return text;
}

} // namespace

bool cloneData(const QMimeData *mimeData, QVariantMap &dataMap, uint &itemType, QImage &image)
{
    if (!mimeData)
        return false;
    // Fixed order whatever the source prefers: an image beats files, files beat text.
    if (mimeData->hasImage())
        cloneImage(mimeData, dataMap, itemType, image);
    if (mimeData->hasUrls() && itemType == ItemTypeNone)
        cloneFiles(mimeData, dataMap, itemType);
    QString text;
    if ((mimeData->hasHtml() || mimeData->hasText()) && itemType == ItemTypeNone)
        text = cloneText(mimeData, dataMap, itemType);

    // Taken as it is: surrounding spaces keep it plain text.
    if (!text.isEmpty() && isUrl(text)) {
        itemType = ItemTypeLink;
        if (!dataMap.contains(MIME_TEXT))
            dataMap[MIME_TEXT] = text;
    }
    return itemType != ItemTypeNone;
}
