// Write-back and paste on a real X server: the writer puts history items on
// the clipboard, and pastes them into the text field of another process.

#include <cstdlib>
#include <memory>

#include <QBuffer>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QMimeData>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QWidget>

#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "common/mime.h"
#include "item/itemcodec.h"
#include "platform/input.h"
#include "platform/x11/xconnection.h"
#include "support/tempappfolder.h"

#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

namespace {
QByteArray pngOf(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::cyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    return buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "PNG") ? bytes : QByteArray();
}

ItemData item(ItemType type, const QString &key, const QVariant &value)
{
    ItemData result;
    result.itemType = type;
    result.dataMap[key] = value;
    return result;
}

// The first key code that yields `keysym` now; 0 when none does.
xcb_keycode_t keycodeOf(xcb_connection_t *conn, xcb_keysym_t keysym)
{
    std::unique_ptr<xcb_key_symbols_t, decltype(&xcb_key_symbols_free)> symbols(xcb_key_symbols_alloc(conn),
                                                                                &xcb_key_symbols_free);
    std::unique_ptr<xcb_keycode_t, decltype(&std::free)> codes(
        xcb_key_symbols_get_keycode(symbols.get(), keysym), &std::free);
    return codes ? codes.get()[0] : 0;
}

bool isKeyDown(xcb_connection_t *conn, xcb_keycode_t code)
{
    std::unique_ptr<xcb_query_keymap_reply_t, decltype(&std::free)> keymap(
        xcb_query_keymap_reply(conn, xcb_query_keymap(conn), nullptr), &std::free);
    return keymap && (keymap->keys[code / 8] & (1 << (code % 8)));
}

void fakeKey(xcb_connection_t *conn, uint8_t type, xcb_keycode_t code)
{
    xcb_test_fake_input(conn, type, code, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    xcb_flush(conn);
}

const QMimeData *clipboardData()
{
    return QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
}
} // namespace

class TestPaste : public QObject
{
    Q_OBJECT
    TempAppFolder folder;
    QWidget ownWindow; // stands for our main window, in front when the user picks an item
    QProcess target;   // prints "ready <window ids>", then "text <window> <field>" on each change
    QByteArray targetOutput;

    QList<platform::WindowHandle> startTarget(int windows)
    {
        target.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        target.start(PASTETARGET_PATH, {"--windows", QString::number(windows)});
        QList<platform::WindowHandle> ids;
        if (targetShows("\n") && targetOutput.startsWith("ready "))
            for (const QByteArray &id : targetOutput.left(targetOutput.indexOf('\n')).split(' ').mid(1))
                ids.append(id.toULongLong());
        return ids.size() == windows ? ids : QList<platform::WindowHandle>();
    }
    bool targetShows(const QByteArray &line)
    {
        return QTest::qWaitFor(
            [&] { return (targetOutput += target.readAllStandardOutput()).contains(line); }, 10000);
    }
    bool bringToFront(platform::WindowHandle window)
    {
        platform::requestActivation(window);
        return QTest::qWaitFor([window] { return platform::isActiveWindow(window); }, 10000);
    }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(folder.isValid());
        QVERIFY2(QGuiApplication::platformName() == "xcb", "needs an X server");
        initLog(LogDebug, folder.path());
        ownWindow.show();
        QVERIFY(QTest::qWaitForWindowExposed(&ownWindow, 10000));
    }

    void cleanup()
    {
        // Our window in front first, so that the target's windows going moves no focus later.
        QVERIFY(bringToFront(ownWindow.winId()));
        target.kill();
        target.waitForFinished();
        targetOutput.clear();
    }

    void multiData()
    {
        // Several items as one: text and images as rich text, one separator
        // after each text or image but the last item, and the files that still exist.
        const QString temp = folder.filePath("temp-multi");
        const QUrl one = QUrl::fromLocalFile(folder.filePath("one")),
                   two = QUrl::fromLocalFile(folder.filePath("two"));
        QVERIFY(QDir().mkpath(temp) && QFile(temp + "/image_1.png").open(QIODevice::WriteOnly));
        QVERIFY(QFile(one.toLocalFile()).open(QIODevice::WriteOnly) &&
                QFile(two.toLocalFile()).open(QIODevice::WriteOnly));
        ClipboardWriter writer(temp);
        writer.setClipBoardMultiData(
            {item(ItemTypeFile, MIME_URI_LIST, serializeUrls({two})), item(ItemTypeText, MIME_TEXT, "alpha"),
             item(ItemTypeImage, MIME_IMAGE_PNG, pngOf({20, 10})),
             item(ItemTypeFile, MIME_URI_LIST,
                  serializeUrls({one, QUrl::fromLocalFile(folder.filePath("missing"))})),
             item(ItemTypeText, MIME_TEXT, "beta")});
        const QMimeData *data = clipboardData();
        QCOMPARE(data->urls(), (QList<QUrl>{two, one}));
        // The image of the previous write is gone; this one is in the folder.
        const QStringList images = QDir(temp).entryList(QDir::Files);
        QCOMPARE(images.size(), 1);
        QCOMPARE(QImage(temp + '/' + images[0]).size(), QSize(20, 10));
        const QString html = data->html();
        QVERIFY2(
            html.contains(QString(">alpha<br /><img src=\"%1/%2\" /><br />beta</p>").arg(temp, images[0])),
            qPrintable(html));
        QCOMPARE(html.count("<br />"), 2);
        // Files alone make no rich text.
        writer.setClipBoardMultiData({item(ItemTypeFile, MIME_URI_LIST, serializeUrls({one}))});
        QVERIFY(!clipboardData()->hasHtml() && clipboardData()->urls() == QList<QUrl>{one});

        // A temp folder that cannot be made leaves the clipboard as it was.
        ClipboardWriter blocked(one.toLocalFile() + "/temp");
        QGuiApplication::clipboard()->setText("before the failed write");
        blocked.setClipBoardMultiData({item(ItemTypeText, MIME_TEXT, "nowhere")});
        QCOMPARE(clipboardData()->text(), "before the failed write");
        QFile log(logFilePath());
        QVERIFY(log.open(QIODevice::ReadOnly) &&
                QString::fromUtf8(log.readAll()).contains("create dir fail " + one.toLocalFile()));
    }

    void pasteIntoForeignField()
    {
        // Before any foreign window was in front there is nowhere to paste:
        // nothing is written, and nothing waits either.
        ClipboardWriter writer(folder.filePath("temp"));
        QVERIFY(bringToFront(ownWindow.winId()));
        writer.trackActiveWnd();
        QCOMPARE(writer.activeWnd(), platform::WindowHandle(0));
        QGuiApplication::clipboard()->setText("kept content");
        QSignalSpy keys(&writer, &ClipboardWriter::pasteKeysSent);
        writer.sendCopyMessage({{MIME_TEXT, "never written"}});
        QCOMPARE(clipboardData()->text(), "kept content");
        QCOMPARE(keys.count(), 0);

        // Moving between two windows of one program keeps the first as the
        // target; our own window in front does not change it either.
        const QList<platform::WindowHandle> windows = startTarget(2);
        QVERIFY(!windows.isEmpty());
        for (platform::WindowHandle window : {windows[0], windows[1], ownWindow.winId()}) {
            QVERIFY(bringToFront(window));
            writer.trackActiveWnd();
            QCOMPARE(writer.activeWnd(), windows[0]);
        }
        // The clipboard gets what other programs read; the private entries stay behind.
        const QUrl file = QUrl::fromLocalFile("/tmp/a b");
        writer.sendCopyMessage({{MIME_TEXT, "pasted;"},
                                {MIME_HTML, "<b>pasted</b>"},
                                {MIME_IMAGE_PNG, pngOf({7, 5})},
                                {MIME_URI_LIST, serializeUrls({file})},
                                {MIME_EXE_PATH, "/usr/bin/elsewhere"},
                                {MIME_REMARK, "remark"}});
        const QMimeData *data = clipboardData();
        QVERIFY(data->hasFormat(MIME_IGNORE) && !data->hasFormat(MIME_EXE_PATH) &&
                !data->hasFormat(MIME_REMARK));
        QVERIFY(data->html() == "<b>pasted</b>" && data->urls() == QList<QUrl>{file});
        QCOMPARE(qvariant_cast<QImage>(data->imageData()).size(), QSize(7, 5));
        QByteArray pasted = "text 0 pasted;";
        QVERIFY(targetShows(pasted + '\n'));
        QVERIFY(keys.count() == 1 && keys[0][0].toBool());
        QVERIFY(!targetOutput.contains("text 1"));

        // Modifiers still held from the hotkey: Shift would turn the keys into
        // Ctrl+Shift+V; a held Control must stay held afterwards.
        xcb_connection_t *conn = platform::XConnection::instance()->connection();
        const xcb_keycode_t shift = keycodeOf(conn, 0xffe1), control = keycodeOf(conn, 0xffe3);
        const xcb_keycode_t v = keycodeOf(conn, 0x76);
        QVERIFY(shift != 0 && control != 0 && v != 0);
        const QList<QPair<xcb_keycode_t, QByteArray>> holds = {{shift, "shift held;"},
                                                               {control, "control held;"}};
        for (const auto &hold : holds) {
            fakeKey(conn, XCB_KEY_PRESS, hold.first);
            auto release = qScopeGuard([&] { fakeKey(conn, XCB_KEY_RELEASE, hold.first); });
            QVERIFY(bringToFront(ownWindow.winId()));
            writer.sendCopyMessage({{MIME_TEXT, QString::fromLatin1(hold.second)}});
            pasted += hold.second;
            QVERIFY(targetShows(pasted + '\n'));
            QVERIFY(isKeyDown(conn, hold.first));
        }

        // A layout without a Latin "v".
        const xcb_keysym_t none[2] = {0, 0}, normal[2] = {0x76, 0x56};
        xcb_change_keyboard_mapping(conn, 1, v, 2, none);
        xcb_flush(conn);
        auto restoreV = qScopeGuard([&] {
            xcb_change_keyboard_mapping(conn, 1, v, 2, normal);
            xcb_flush(conn);
        });
        QTRY_COMPARE(keycodeOf(conn, 0x76), xcb_keycode_t(0));
        QVERIFY(bringToFront(ownWindow.winId()));
        writer.sendCopyMessage({{MIME_TEXT, "no v;"}});
        QVERIFY(targetShows(pasted + "no v;\n"));
        // The key code lent to "v" is given back.
        QTRY_COMPARE(keycodeOf(conn, 0x76), xcb_keycode_t(0));
    }

    void targetThatCannotComeToFront()
    {
        const QList<platform::WindowHandle> windows = startTarget(1);
        QVERIFY(!windows.isEmpty() && bringToFront(windows[0]));
        ClipboardWriter writer(folder.filePath("temp"));
        writer.trackActiveWnd();
        QCOMPARE(writer.activeWnd(), windows[0]);
        QVERIFY(bringToFront(ownWindow.winId()));
        QSignalSpy keys(&writer, &ClipboardWriter::pasteKeysSent);

        // A window its program has withdrawn is not put in front: after a
        // while the keys go wherever the focus is.
        xcb_connection_t *conn = platform::XConnection::instance()->connection();
        xcb_unmap_window(conn, windows[0]);
        xcb_flush(conn);
        writer.sendCopyMessage({{MIME_TEXT, "after a wait"}});
        QCOMPARE(keys.count(), 0);
        QVERIFY(keys.wait(10000));

        // A closed one is not waited for at all.
        target.kill();
        target.waitForFinished();
        QTRY_COMPARE_WITH_TIMEOUT(platform::windowProcessId(windows[0]), 0, 10000);
        // Asked about no window at all, the server would name this very process.
        QCOMPARE(platform::windowProcessId(0), 0);
        writer.trackActiveWnd();
        QCOMPARE(writer.activeWnd(), windows[0]);
        writer.sendCopyMessage({{MIME_TEXT, "to nobody"}});
        QCOMPARE(keys.count(), 2);
        QCOMPARE(clipboardData()->text(), "to nobody");
    }

    // A program may claim any pid and host for its window (a forwarded or
    // sandboxed one names a number that is not its process here); the
    // server's own answer counts first.
    void processOfWindowFromServer()
    {
        xcb_connection_t *conn = platform::XConnection::instance()->connection();
        const auto window = xcb_window_t(ownWindow.winId());
        const quint32 claimedPid = 1;
        xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, platform::XConnection::instance()->wmPidAtom(),
                            XCB_ATOM_CARDINAL, 32, 1, &claimedPid);
        xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, 8,
                            9, "elsewhere");
        QCOMPARE(platform::windowProcessId(window), QCoreApplication::applicationPid());
    }
};

QTEST_MAIN(TestPaste)
#include "tst_paste.moc"
