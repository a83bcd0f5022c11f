#include "capture/clipboardsnapshot.h"

#include <QImage>
#include <QPixmap>
#include <QUrl>

#include "common/log.h"
#include "platform/windowsystem.h"

namespace {
const QString kTextUtf8 = QStringLiteral("text/plain;charset=utf-8");
const QString kText = QStringLiteral("text/plain");
const QString kHtml = QStringLiteral("text/html");
const QString kUriList = QStringLiteral("text/uri-list");
const QString kImage = QStringLiteral("application/x-qt-image");

bool isEmptyAnswer(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QString:
        return value.toString().isEmpty();
    case QMetaType::QByteArray:
        return value.toByteArray().isEmpty();
    case QMetaType::QVariantList:
        return value.toList().isEmpty();
    case QMetaType::QImage:
        return value.value<QImage>().isNull();
    case QMetaType::QPixmap:
        return value.value<QPixmap>().isNull();
    default:
        return !value.isValid();
    }
}
} // namespace

ClipboardSnapshot::ClipboardSnapshot(const QMimeData *source)
    : source(source), cachedFormats(source->formats())
{
    if (cachedFormats.isEmpty() && mayReadAgain())
        cachedFormats = source->formats();
}

QVariant ClipboardSnapshot::retrieveData(const QString &mimeType, QMetaType type) const
{
    // text() asks for the UTF-8 flavour first; the source's text() covers it.
    if (type.id() == QMetaType::QString && mimeType == kTextUtf8)
        return QVariant();
    const QString key = mimeType + QLatin1Char('\n') + QString::number(type.id());
    auto it = cache.constFind(key);
    if (it == cache.constEnd()) {
        QVariant value = readFromSource(mimeType, type);
        if (isEmptyAnswer(value) && mayReadAgain())
            value = readFromSource(mimeType, type);
        it = cache.insert(key, value);
    }
    return it.value();
}

bool ClipboardSnapshot::mayReadAgain() const
{
    // No owner: the clipboard is empty indeed.
    if (platform::clipboardOwnerWindow() == 0)
        return false;
    if (!platform::advanceClipboardTime()) {
        LOG_WARNING(QStringLiteral("clipboard read came back empty, and the present time is not to be had"));
        return false;
    }
    LOG_INFO(QStringLiteral("clipboard read came back empty, reading again as of now"));
    return true;
}

// Each typed read is answered by the source's own accessor for it, so that
// its conversions (text encodings, image decoding, URL lists offered as
// text) stay exactly Qt's.
QVariant ClipboardSnapshot::readFromSource(const QString &mimeType, QMetaType type) const
{
    if (type.id() == QMetaType::QString) {
        if (mimeType == kText)
            return source->text();
        if (mimeType == kHtml)
            return source->html();
    }
    if (mimeType == kImage)
        return source->imageData();
    if (mimeType == kUriList && type.id() == QMetaType::QVariantList) {
        QVariantList urls;
        for (const QUrl &url : source->urls())
            urls.append(url);
        return urls;
    }
    return source->data(mimeType);
}
