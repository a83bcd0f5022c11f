#pragma once

#include "item/itemdata.h"
#include "platform/windowsystem.h"

#include <QElapsedTimer>
#include <QImage>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

class QMimeData;

// Every write of history data back to the system clipboard, and the paste
// into the program the user worked in last. Writes that must not come back
// as a new history item carry the MIME_IGNORE marker. GUI thread only.
class ClipboardWriter : public QObject
{
    Q_OBJECT
public:
    // `tempFolder` receives the images of a multi-item write; it is emptied
    // at the start of each such write.
    explicit ClipboardWriter(const QString &tempFolder, QObject *parent = nullptr);

    // The clipboard form of an item's data map: text, HTML, the decoded
    // image and the URLs. Private entries stay behind. The caller owns it.
    static QMimeData *buildMimeData(const QVariantMap &dataMap);

    void setClipBoardData(const QVariantMap &dataMap, bool marker);
    void setClipBoardText(const QString &text, bool marker);
    void setClipBoardImage(const QImage &image);
    void setClipBoardUrls(const QList<QUrl> &urls, bool marker);
    // Several items as one payload: rich text with the images inlined, plus
    // the existing files as URLs.
    void setClipBoardMultiData(const QList<ItemData> &items);
    // Writes the data and pastes it into the last foreign window. Does
    // nothing at all before such a window was seen.
    void sendCopyMessage(const QVariantMap &dataMap);
    // Remembers the window in front unless it is ours or belongs to the
    // program already remembered. Driven by a 100 ms timer.
    void trackActiveWnd();

    platform::WindowHandle activeWnd() const { return activeWindow; }
    QString tempFolder() const { return tempPath; }

signals:
    // A write has reached the clipboard; the window shows its copy tip.
    void copyFinished();
    // The Ctrl+V of a paste went out, or could not be synthesized.
    void pasteKeysSent(bool sent);

private:
    void write(QMimeData *data);
    void onActivationPoll();
    void sendKeys();

    QString tempPath;
    platform::WindowHandle activeWindow = 0;
    // A paste waiting for its target to come to the front.
    platform::WindowHandle pasteTarget = 0;
    QTimer activationPoll;
    QElapsedTimer activationWait;
};
