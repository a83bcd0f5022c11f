#include "capture/clonedata.h"

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
#include "item/itemcodec.h"
#include "item/itemdata.h"

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

// Returns the URLs when every one is a local file and none exists any more.
QList<QUrl> cloneFiles(const QMimeData *mimeData, QVariantMap &dataMap, uint &itemType)
{
    QString names;
    QList<QUrl> existing;
    bool allLocal = true;
    const QList<QUrl> urls = mimeData->urls();
    for (const QUrl &url : urls) {
        // Decoded for reading; QUrl refuses FullyDecoded for a whole URL with a
        // warning and falls back on this very form.
        names += url.toString(QUrl::PrettyDecoded) + QLatin1Char(' ');
        // Web addresses and files deleted since the copy make no file item.
        if (QFileInfo(url.toLocalFile()).exists())
            existing.append(url);
        allLocal = allLocal && url.isLocalFile();
    }
    LOG_INFO(QStringLiteral("filenames %1").arg(names));
    if (existing.isEmpty())
        return allLocal ? urls : QList<QUrl>();
    dataMap[MIME_URI_LIST] = serializeUrls(existing);
    itemType = ItemTypeFile;
    return QList<QUrl>();
}

// Qt programs and file managers on X offer a file list a second time as text,
// one URL or path a line. That text is the list, not something the user wrote.
bool isTextOfUrls(const QString &text, const QList<QUrl> &urls)
{
    QStringList forms;
    for (const QUrl &url : urls)
        forms << url.toString() << url.toString(QUrl::FullyEncoded) << url.toLocalFile();
    const QStringList lines = text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty() && !forms.contains(trimmed))
            return false;
    }
    return !lines.isEmpty();
}

// Qt also reads a bare URL list as text; only a real text format counts
// here, so that a list of missing files makes no item.
bool hasPlainText(const QMimeData *mimeData)
{
    return mimeData->hasFormat(MIME_TEXT) || mimeData->hasFormat(MIME_TEXT_UTF8);
}

QString cloneText(const QMimeData *mimeData, const QList<QUrl> &goneFiles, QVariantMap &dataMap,
                  uint &itemType)
{
    QString text;
    if (hasPlainText(mimeData)) {
        text = mimeData->text();
    } else {
        // The system's HTML is never kept, only what it reads as.
        QTextDocument document;
        document.setHtml(mimeData->html());
        text = document.toPlainText();
    }
    // GTK programs offer the UTF-8 flavour of text with CRLF line ends beside
    // UTF8_STRING with LF; the text the program holds, and what Qt gives on
    // Windows, has LF. So one text is one item whichever program it came from.
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    if (!goneFiles.isEmpty() && isTextOfUrls(text, goneFiles)) {
        LOG_INFO(QStringLiteral("text only names files that are gone"));
        return QString();
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
    QList<QUrl> goneFiles;
    if (mimeData->hasUrls() && itemType == ItemTypeNone)
        goneFiles = cloneFiles(mimeData, dataMap, itemType);
    QString text;
    if ((mimeData->hasHtml() || hasPlainText(mimeData)) && itemType == ItemTypeNone)
        text = cloneText(mimeData, goneFiles, dataMap, itemType);

    // Taken as it is: surrounding spaces keep it plain text.
    if (!text.isEmpty() && isUrl(text)) {
        itemType = ItemTypeLink;
        if (!dataMap.contains(MIME_TEXT))
            dataMap[MIME_TEXT] = text;
    }
    return itemType != ItemTypeNone;
}
