#include "capture/clipboardwriter.h"

#include <QBuffer>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QMimeData>
#include <QRandomGenerator>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextImageFormat>

#include "common/log.h"
#include "common/mime.h"
#include "common/textutils.h"
#include "item/itemcodec.h"
#include "platform/input.h"
#include "platform/processinfo.h"
#include "platform/windowtitle.h"

namespace {

// Only the presence of the marker counts; the value is never read.
const QByteArray kMarkerValue = QByteArrayLiteral("vorilk");
// While a paste target comes to the front, how often it is checked and how
// long it may take before the keys go out regardless.
constexpr int kActivationPollMs = 5;
constexpr qint64 kActivationTimeoutMs = 1000;

void addMarker(QMimeData *data)
{
    data->setData(MIME_IGNORE, kMarkerValue);
}

} // namespace

ClipboardWriter::ClipboardWriter(const QString &tempFolder, QObject *parent)
    : QObject(parent), tempPath(tempFolder)
{
    activationPoll.setInterval(kActivationPollMs);
    connect(&activationPoll, &QTimer::timeout, this, &ClipboardWriter::onActivationPoll);
}

QMimeData *ClipboardWriter::buildMimeData(const QVariantMap &dataMap)
{
    auto *data = new QMimeData;
    if (dataMap.contains(MIME_TEXT))
        data->setText(dataMap.value(MIME_TEXT).toString());
    if (dataMap.contains(MIME_HTML))
        data->setHtml(dataMap.value(MIME_HTML).toString());
    if (dataMap.contains(MIME_IMAGE_PNG)) {
        QByteArray bytes = dataMap.value(MIME_IMAGE_PNG).toByteArray();
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        // Unreadable bytes give a null image: the clipboard gets an empty
        // image rather than the write failing.
        QImage image;
        image.load(&buffer, imageFormatOf(MIME_IMAGE_PNG).toLatin1().constData());
        data->setImageData(QVariant(image));
    }
    if (dataMap.contains(MIME_URI_LIST))
        data->setUrls(deserializeUrls(dataMap.value(MIME_URI_LIST).toByteArray()));
    return data;
}

void ClipboardWriter::setClipBoardData(const QVariantMap &dataMap, bool marker)
{
    QMimeData *data = buildMimeData(dataMap);
    if (marker)
        addMarker(data);
    write(data);
}

void ClipboardWriter::setClipBoardText(const QString &text, bool marker)
{
    auto *data = new QMimeData;
    data->setText(text);
    if (marker)
        addMarker(data);
    write(data);
}

void ClipboardWriter::setClipBoardImage(const QImage &image)
{
    auto *data = new QMimeData;
    data->setImageData(QVariant(image));
    addMarker(data);
    write(data);
}

void ClipboardWriter::setClipBoardUrls(const QList<QUrl> &urls, bool marker)
{
    auto *data = new QMimeData;
    if (marker)
        addMarker(data);
    data->setUrls(urls);
    write(data);
}

void ClipboardWriter::setClipBoardMultiData(const QList<ItemData> &items)
{
    QDir dir(tempPath);
    if (!dir.exists() && !dir.mkpath(QStringLiteral("."))) {
        LOG_ERROR(QStringLiteral("create dir fail %1").arg(tempPath));
        return;
    }
    if (!dir.exists()) {
        LOG_ERROR(QStringLiteral("dir not exist"));
        return;
    }
    // The images of the previous multi write are no longer on the clipboard.
    const QStringList oldFiles = dir.entryList(QDir::Files);
    for (const QString &name : oldFiles) {
        if (!dir.remove(name))
            LOG_ERROR(QStringLiteral("fail to remove %1").arg(dir.filePath(name)));
    }

    QTextDocument document;
    QTextCursor cursor(&document);
    QList<QUrl> urls;
    bool hasContent = false;
    for (int i = 0; i < items.size(); ++i) {
        const ItemData &item = items.at(i);
        // The separator goes by the place in the whole list, not by what
        // actually made it into the document.
        const bool isLast = i == items.size() - 1;
        switch (item.itemType) {
        case ItemTypeText:
        case ItemTypeLink:
            cursor.insertText(item.text());
            if (!isLast)
                cursor.insertHtml(QStringLiteral("<br/> "));
            hasContent = true;
            break;
        case ItemTypeImage: {
            const QString name = tempPath + QStringLiteral("/image_") +
                                 QString::number(QRandomGenerator::global()->generate()) +
                                 QStringLiteral(".png");
            if (!item.image().save(name, nullptr, -1))
                break;
            QTextImageFormat format;
            format.setName(name);
            cursor.insertImage(format);
            if (!isLast)
                cursor.insertHtml(QStringLiteral("<br/> "));
            hasContent = true;
            break;
        }
        case ItemTypeFile: {
            const QList<QUrl> itemUrls = item.urls();
            for (const QUrl &url : itemUrls) {
                if (QFileInfo(url.toLocalFile()).exists())
                    urls.append(url);
            }
            break;
        }
        default:
            break;
        }
    }

    auto *data = new QMimeData;
    addMarker(data);
    if (hasContent)
        data->setHtml(document.toHtml());
    if (!urls.isEmpty())
        data->setUrls(urls);
    write(data);
}

void ClipboardWriter::sendCopyMessage(const QVariantMap &dataMap)
{
    if (activeWindow == 0)
        return;
    platform::requestActivation(activeWindow);

    QMimeData *data = buildMimeData(dataMap);
    addMarker(data);
    write(data);
    LOG_INFO(QStringLiteral("send keys %1").arg(dataMap.keys().join(QStringLiteral(", "))));

    // Where the window system activates later, the keys wait for the target
    // to be in front; otherwise they would land in our own window.
    pasteTarget = activeWindow;
    // A target that has closed since will never come to the front.
    const bool targetAlive = platform::windowProcessId(pasteTarget) != 0;
    if (platform::activationIsAsynchronous() && targetAlive && !platform::isActiveWindow(pasteTarget)) {
        activationWait.start();
        activationPoll.start();
        return;
    }
    sendKeys();
}

void ClipboardWriter::trackActiveWnd()
{
    const platform::WindowHandle window = platform::foregroundWindow();
    if (window == 0 || window == activeWindow)
        return;
    const platform::ProcessId pid = platform::windowProcessId(window);
    if (pid == 0 || pid == platform::currentProcessId())
        return;
    // By process: moving between two windows of one program keeps the first
    // as the target.
    if (activeWindow != 0 && platform::windowProcessId(activeWindow) == pid)
        return;

    activeWindow = window;
    LOG_INFO(QStringLiteral("new active wnd %1").arg(platform::windowTitle(window)));
}

void ClipboardWriter::write(QMimeData *data)
{
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
    emit copyFinished();
}

void ClipboardWriter::onActivationPoll()
{
    // A refused activation sends the keys wherever the focus is, as a
    // synchronous activation would.
    if (platform::isActiveWindow(pasteTarget) || activationWait.elapsed() >= kActivationTimeoutMs) {
        if (!platform::isActiveWindow(pasteTarget))
            LOG_DEBUG(QStringLiteral("paste target did not come to the front"));
        sendKeys();
    }
}

void ClipboardWriter::sendKeys()
{
    activationPoll.stop();
    pasteTarget = 0;
    const bool sent = platform::sendPasteKeys();
    if (!sent)
        LOG_WARNING(QStringLiteral("cannot synthesize the paste keys"));
    emit pasteKeysSent(sent);
}
