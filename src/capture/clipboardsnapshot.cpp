#include "capture/clipboardsnapshot.h"

#include <QUrl>

namespace {
const QString kTextUtf8 = QStringLiteral("text/plain;charset=utf-8");
const QString kText = QStringLiteral("text/plain");
const QString kHtml = QStringLiteral("text/html");
const QString kUriList = QStringLiteral("text/uri-list");
const QString kImage = QStringLiteral("application/x-qt-image");
} // namespace

ClipboardSnapshot::ClipboardSnapshot(const QMimeData *source)
    : source(source), cachedFormats(source->formats())
{
}

QVariant ClipboardSnapshot::retrieveData(const QString &mimeType, QMetaType type) const
{
    const QString key = mimeType + QLatin1Char('\n') + QString::number(type.id());
    auto it = cache.constFind(key);
    if (it == cache.constEnd())
        it = cache.insert(key, readFromSource(mimeType, type));
    return it.value();
}

// Each typed read is answered by the source's own accessor for it, so that
// its conversions (text encodings, image decoding, URL lists offered as
// text) stay exactly Qt's.
QVariant ClipboardSnapshot::readFromSource(const QString &mimeType, QMetaType type) const
{
    if (type.id() == QMetaType::QString) {
        // text() asks for the UTF-8 flavour first; the source's text() covers it.
        if (mimeType == kTextUtf8)
            return QVariant();
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
