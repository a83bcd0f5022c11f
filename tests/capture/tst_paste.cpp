// Write-back, paste and source attribution on a real X server. Other
// processes own the clipboard or receive the paste; this one runs the
// capture window and the writer.

#include <cstdlib>
#include <memory>

#include <QBuffer>
#include <QScopeGuard>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QMimeData>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QWidget>
#include <QWindow>

#include "app/metatypes.h"
#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "item/itemcodec.h"
#include "platform/input.h"
#include "platform/windowicon.h"
#include "platform/x11/xconnection.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"

#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

namespace {

QByteArray pngOf(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

ItemData textItem(const QString &text)
{
    ItemData item;
    item.itemType = ItemTypeText;
    item.dataMap[MIME_TEXT] = text;
    return item;
}

ItemData fileItem(const QList<QUrl> &urls)
{
    ItemData item;
    item.itemType = ItemTypeFile;
    item.dataMap[MIME_URI_LIST] = serializeUrls(urls);
    return item;
}

using KeySymbols = std::unique_ptr<xcb_key_symbols_t, decltype(&xcb_key_symbols_free)>;

// The first key code that yields `keysym` now; 0 when none does.
xcb_keycode_t keycodeOf(xcb_connection_t *conn, xcb_keysym_t keysym)
{
    KeySymbols symbols(xcb_key_symbols_alloc(conn), &xcb_key_symbols_free);
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

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    // Attribution
    void ownerPathAndIconStoredOnce();
    void iconFromDesktopEntry();
    void nearestIconWidth();

    // Paste
    void nothingBeforeForeignWindow();
    void pasteIntoLastForeignWindow();
    void twoWindowsOfOneProgramKeepFirst();
    void pasteDespiteHeldModifiersAndMissingV();
    void closedTargetStaysUntilAnotherProgram();

    // Write-back
    void buildMimeDataKeepsPrivateEntriesBack();
    void multiTwoTexts();
    void multiTextAndImageReplacesOldTempFiles();
    void multiFilesOnlyHasNoHtml();
    void multiMissingFileAndText();
    void multiTempFolderCannotBeMade();
    void markedWritesAddNoRow();
    void unmarkedPartialCopiesAddRows();
    void passwordManagerSecretAddsNoRow();

private:
    QProcess *start(const QString &program, const QStringList &arguments, QByteArray *ready);
    bool bringToFront(platform::WindowHandle window);
    // Waits until the capture has added a row after `rows`, and returns it.
    ItemData waitForRow(int rows);
    bool logShows(const QString &text) const;

    ClipboardModel *model() { return window->clipboardModel(); }

    TempAppFolder folder;
    MainWindow *window = nullptr;
    QWidget *ownWindow = nullptr;
    QList<QProcess *> processes;
};

void TestPaste::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    QVERIFY2(QGuiApplication::platformName() == QLatin1String("xcb"), "needs an X server");
    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());
    window = new MainWindow;

    // Stands for our main window, which is in front when the user picks an item.
    ownWindow = new QWidget;
    ownWindow->setWindowTitle(QStringLiteral("own window"));
    ownWindow->resize(300, 100);
    // A window manager that is still starting may drop the first map
    // request; showing again asks anew.
    bool exposed = false;
    for (int attempt = 0; attempt < 4 && !exposed; ++attempt) {
        ownWindow->hide();
        ownWindow->show();
        exposed = QTest::qWaitForWindowExposed(ownWindow, 5000);
    }
    QVERIFY(exposed);
}

void TestPaste::init()
{
    platform::clearProgramIconCache();
}

void TestPaste::cleanup()
{
    for (QProcess *process : std::as_const(processes)) {
        process->kill();
        process->waitForFinished();
    }
    qDeleteAll(processes);
    processes.clear();
}

void TestPaste::cleanupTestCase()
{
    delete ownWindow;
    delete window;
}

QProcess *TestPaste::start(const QString &program, const QStringList &arguments, QByteArray *ready)
{
    auto *process = new QProcess;
    processes.append(process);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(program, arguments);
    QByteArray output;
    const bool done = QTest::qWaitFor(
        [&] {
            output += process->readAllStandardOutput();
            return output.contains('\n') || process->state() == QProcess::NotRunning;
        },
        10000);
    const int end = output.indexOf('\n');
    if (!done || !output.startsWith("ready") || end < 0)
        return nullptr;
    if (ready)
        *ready = output.left(end);
    return process;
}

bool TestPaste::bringToFront(platform::WindowHandle target)
{
    platform::requestActivation(target);
    return QTest::qWaitFor([target] { return platform::isActiveWindow(target); }, 10000);
}

ItemData TestPaste::waitForRow(int rows)
{
    if (!QTest::qWaitFor([&] { return model()->rowCount() > rows; }, 10000))
        return ItemData();
    return model()->items().constFirst();
}

bool TestPaste::logShows(const QString &text) const
{
    QFile log(folder.filePath(QStringLiteral("vorlik.log")));
    return log.open(QIODevice::ReadOnly) && QString::fromUtf8(log.readAll()).contains(text);
}

void TestPaste::ownerPathAndIconStoredOnce()
{
    const QString ownerPath = QFileInfo(QStringLiteral(ICONOWNER_PATH)).canonicalFilePath();
    QSignalSpy iconSpy(model(), &ClipboardModel::insertIconSignal);

    int rows = model()->rowCount();
    QVERIFY(start(QStringLiteral(ICONOWNER_PATH), {QStringLiteral("first icon copy")}, nullptr));
    const ItemData first = waitForRow(rows);
    QCOMPARE(first.text(), QStringLiteral("first icon copy"));
    QCOMPARE(first.dataMap.value(MIME_EXE_PATH).toString(), ownerPath);
    QVERIFY(first.iconHashValue != 0);
    // Of 16, 32 and 48 px the window offers, the 32 px one (green).
    const QImage icon = model()->getIcon(first.iconHashValue).toImage();
    QCOMPARE(icon.size(), QSize(32, 32));
    QCOMPARE(QColor(icon.pixel(16, 16)), QColor(Qt::green));

    rows = model()->rowCount();
    QVERIFY(start(QStringLiteral(ICONOWNER_PATH), {QStringLiteral("second icon copy")}, nullptr));
    const ItemData second = waitForRow(rows);
    QCOMPARE(second.text(), QStringLiteral("second icon copy"));
    QCOMPARE(second.iconHashValue, first.iconHashValue);
    QCOMPARE(iconSpy.count(), 1);
}

void TestPaste::iconFromDesktopEntry()
{
    const QString dataDir = folder.filePath(QStringLiteral("xdg"));
    QVERIFY(QDir().mkpath(dataDir + QStringLiteral("/applications")));
    const QString iconFile = dataDir + QStringLiteral("/probe.png");
    QImage picture(48, 48, QImage::Format_ARGB32);
    picture.fill(Qt::magenta);
    QVERIFY(picture.save(iconFile));
    QFile entry(dataDir + QStringLiteral("/applications/probe.desktop"));
    QVERIFY(entry.open(QIODevice::WriteOnly));
    entry.write("[Desktop Entry]\nType=Application\nName=Probe\n"
                "Exec=env PROBE=1 /opt/probe/vorlik-paste-probe --flag %U\nIcon=" +
                iconFile.toUtf8() +
                "\n[Desktop Action other]\nExec=vorlik-paste-other\nIcon=" + iconFile.toUtf8() + "\n");
    entry.close();

    const bool hadDirs = qEnvironmentVariableIsSet("XDG_DATA_DIRS");
    const QByteArray oldDirs = qgetenv("XDG_DATA_DIRS");
    qputenv("XDG_DATA_DIRS", dataDir.toUtf8());
    QPixmap pixmap;
    QString failure;
    // No window: neither a window icon nor a theme icon by that name exists.
    const bool found =
        platform::programIcon(0, QStringLiteral("/elsewhere/vorlik-paste-probe"), pixmap, failure);
    QPixmap none;
    QString noneFailure;
    const bool actionFound =
        platform::programIcon(0, QStringLiteral("/usr/bin/vorlik-paste-other"), none, noneFailure);
    if (hadDirs)
        qputenv("XDG_DATA_DIRS", oldDirs);
    else
        qunsetenv("XDG_DATA_DIRS");

    QVERIFY(found);
    QCOMPARE(pixmap.width(), 32);
    QCOMPARE(QColor(pixmap.toImage().pixel(8, 8)), QColor(Qt::magenta));
    // Actions are not programs of their own.
    QVERIFY(!actionFound);
    QVERIFY(noneFailure.contains(QStringLiteral("vorlik-paste-other")));
}

void TestPaste::nearestIconWidth()
{
    QCOMPARE(platform::nearestIconWidth({16, 32}), 1);
    // 16 and 48 are equally far from 32: the larger wins.
    QCOMPARE(platform::nearestIconWidth({16, 48}), 1);
    QCOMPARE(platform::nearestIconWidth({48, 16}), 0);
    QCOMPARE(platform::nearestIconWidth({256, 64, 24}), 2);
    QCOMPARE(platform::nearestIconWidth({32, 32}), 1);
    QCOMPARE(platform::nearestIconWidth({}), -1);
}

void TestPaste::nothingBeforeForeignWindow()
{
    ClipboardWriter writer(folder.filePath(QStringLiteral("temp")));
    QVERIFY(bringToFront(ownWindow->winId()));
    writer.trackActiveWnd();
    QCOMPARE(writer.activeWnd(), platform::WindowHandle(0));

    QGuiApplication::clipboard()->setText(QStringLiteral("kept content"));
    QSignalSpy finished(&writer, &ClipboardWriter::copyFinished);
    QSignalSpy keys(&writer, &ClipboardWriter::pasteKeysSent);
    writer.sendCopyMessage({{MIME_TEXT, QStringLiteral("never written")}});
    // Nothing is pending either: the writer starts no timer without a target.
    QCOMPARE(clipboardData()->text(), QStringLiteral("kept content"));
    QVERIFY(!clipboardData()->hasFormat(MIME_IGNORE));
    QCOMPARE(finished.count(), 0);
    QCOMPARE(keys.count(), 0);
}

void TestPaste::pasteIntoLastForeignWindow()
{
    QByteArray ready;
    QProcess *target = start(QStringLiteral(PASTETARGET_PATH), {}, &ready);
    QVERIFY(target);
    const platform::WindowHandle field = ready.split(' ').value(1).toULongLong();
    QVERIFY(field != 0);
    QVERIFY(bringToFront(field));

    ClipboardWriter writer(folder.filePath(QStringLiteral("temp")));
    writer.trackActiveWnd();
    QCOMPARE(writer.activeWnd(), field);
    // Our own window in front does not change the target.
    QVERIFY(bringToFront(ownWindow->winId()));
    writer.trackActiveWnd();
    QCOMPARE(writer.activeWnd(), field);

    QSignalSpy keys(&writer, &ClipboardWriter::pasteKeysSent);
    const QString text = QStringLiteral("pasted into the field");
    writer.sendCopyMessage({{MIME_TEXT, text}, {MIME_EXE_PATH, QStringLiteral("/usr/bin/elsewhere")}});
    QVERIFY(clipboardData()->hasFormat(MIME_IGNORE));
    QTRY_COMPARE_WITH_TIMEOUT(keys.count(), 1, 5000);
    QCOMPARE(keys.at(0).at(0).toBool(), true);
    const QByteArray expected = "text 0 " + text.toUtf8();
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += target->readAllStandardOutput()).contains(expected), 5000);
    QVERIFY(platform::isActiveWindow(field));
    QVERIFY(logShows(QStringLiteral("new active wnd paste target 0")));
    QVERIFY(logShows(QStringLiteral("send keys %1, %2").arg(MIME_EXE_PATH, MIME_TEXT)));
}

void TestPaste::twoWindowsOfOneProgramKeepFirst()
{
    QByteArray ready;
    QProcess *target =
        start(QStringLiteral(PASTETARGET_PATH), {QStringLiteral("--windows"), QStringLiteral("2")}, &ready);
    QVERIFY(target);
    const QList<QByteArray> ids = ready.split(' ');
    QCOMPARE(ids.size(), 3);
    const platform::WindowHandle firstWindow = ids.at(1).toULongLong();
    const platform::WindowHandle secondWindow = ids.at(2).toULongLong();

    ClipboardWriter writer(folder.filePath(QStringLiteral("temp")));
    QVERIFY(bringToFront(firstWindow));
    writer.trackActiveWnd();
    QVERIFY(bringToFront(secondWindow));
    writer.trackActiveWnd();
    QCOMPARE(writer.activeWnd(), firstWindow);

    QVERIFY(bringToFront(ownWindow->winId()));
    writer.sendCopyMessage({{MIME_TEXT, QStringLiteral("to the first")}});
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += target->readAllStandardOutput()).contains("text 0 to the first"),
                             5000);
    QVERIFY(!output.contains("text 1"));
}

void TestPaste::pasteDespiteHeldModifiersAndMissingV()
{
    xcb_connection_t *conn = platform::XConnection::instance()->connection();
    const xcb_keycode_t shift = keycodeOf(conn, 0xffe1);
    const xcb_keycode_t v = keycodeOf(conn, 0x76);
    QVERIFY(shift != 0 && v != 0);

    QByteArray ready;
    QProcess *target = start(QStringLiteral(PASTETARGET_PATH), {}, &ready);
    QVERIFY(target);
    const platform::WindowHandle field = ready.split(' ').value(1).toULongLong();
    QVERIFY(bringToFront(field));
    ClipboardWriter writer(folder.filePath(QStringLiteral("temp")));
    writer.trackActiveWnd();
    QByteArray output;

    // Modifiers still held from the hotkey: Shift would turn the keys into
    // Ctrl+Shift+V; a held Control must stay held afterwards.
    const xcb_keycode_t control = keycodeOf(conn, 0xffe3);
    QVERIFY(control != 0);
    const QList<QPair<xcb_keycode_t, QByteArray>> holds = {{shift, "shift held;"},
                                                           {control, "control held;"}};
    QByteArray pasted;
    for (const auto &hold : holds) {
        fakeKey(conn, XCB_KEY_PRESS, hold.first);
        auto release = qScopeGuard([&] { fakeKey(conn, XCB_KEY_RELEASE, hold.first); });
        QVERIFY(bringToFront(ownWindow->winId()));
        writer.sendCopyMessage({{MIME_TEXT, QString::fromLatin1(hold.second)}});
        pasted += hold.second;
        const QByteArray expected = "text 0 " + pasted + '\n';
        QTRY_VERIFY_WITH_TIMEOUT((output += target->readAllStandardOutput()).contains(expected), 5000);
        QVERIFY(isKeyDown(conn, hold.first));
    }

    // A layout without a Latin "v".
    const xcb_keysym_t none[2] = {0, 0};
    const xcb_keysym_t normal[2] = {0x76, 0x56};
    xcb_change_keyboard_mapping(conn, 1, v, 2, none);
    xcb_flush(conn);
    auto restoreV = qScopeGuard([&] {
        xcb_change_keyboard_mapping(conn, 1, v, 2, normal);
        xcb_flush(conn);
    });
    QTRY_COMPARE(keycodeOf(conn, 0x76), xcb_keycode_t(0));
    QVERIFY(bringToFront(ownWindow->winId()));
    writer.sendCopyMessage({{MIME_TEXT, QStringLiteral("no v;")}});
    const QByteArray expected = "text 0 " + pasted + "no v;\n";
    QTRY_VERIFY_WITH_TIMEOUT((output += target->readAllStandardOutput()).contains(expected), 5000);
    // The key code lent to "v" is given back.
    QTRY_COMPARE(keycodeOf(conn, 0x76), xcb_keycode_t(0));
}

void TestPaste::closedTargetStaysUntilAnotherProgram()
{
    QByteArray ready;
    QProcess *target = start(QStringLiteral(PASTETARGET_PATH), {}, &ready);
    QVERIFY(target);
    const platform::WindowHandle field = ready.split(' ').value(1).toULongLong();
    QVERIFY(bringToFront(field));
    ClipboardWriter writer(folder.filePath(QStringLiteral("temp")));
    writer.trackActiveWnd();
    target->kill();
    target->waitForFinished();
    QVERIFY(bringToFront(ownWindow->winId()));
    writer.trackActiveWnd();
    QCOMPARE(writer.activeWnd(), field);

    // The keys go wherever the focus is, without waiting for the dead window.
    QSignalSpy keys(&writer, &ClipboardWriter::pasteKeysSent);
    writer.sendCopyMessage({{MIME_TEXT, QStringLiteral("to nobody")}});
    QCOMPARE(keys.count(), 1);
    QCOMPARE(clipboardData()->text(), QStringLiteral("to nobody"));
}

void TestPaste::buildMimeDataKeepsPrivateEntriesBack()
{
    QImage image(7, 5, QImage::Format_RGB32);
    image.fill(Qt::yellow);
    const QList<QUrl> urls = {QUrl::fromLocalFile(QStringLiteral("/tmp/a b.txt"))};
    const QVariantMap map = {{MIME_TEXT, QStringLiteral("text")},
                             {MIME_HTML, QStringLiteral("<b>text</b>")},
                             {MIME_IMAGE_PNG, pngOf(image)},
                             {MIME_URI_LIST, serializeUrls(urls)},
                             {MIME_EXE_PATH, QStringLiteral("/usr/bin/x")},
                             {MIME_REMARK, QStringLiteral("remark")}};
    std::unique_ptr<QMimeData> data(ClipboardWriter::buildMimeData(map));
    QCOMPARE(data->text(), QStringLiteral("text"));
    QCOMPARE(data->html(), QStringLiteral("<b>text</b>"));
    QCOMPARE(data->urls(), urls);
    QCOMPARE(qvariant_cast<QImage>(data->imageData()).size(), QSize(7, 5));
    QVERIFY(!data->hasFormat(MIME_EXE_PATH));
    QVERIFY(!data->hasFormat(MIME_REMARK));
    QVERIFY(!data->hasFormat(MIME_IMAGE_PNG));
    QVERIFY(!data->hasFormat(MIME_IGNORE));

    // Broken PNG bytes: an empty image, no failure.
    std::unique_ptr<QMimeData> broken(
        ClipboardWriter::buildMimeData({{MIME_IMAGE_PNG, QByteArray("not a png")}}));
    QVERIFY(qvariant_cast<QImage>(broken->imageData()).isNull());
}

void TestPaste::multiTwoTexts()
{
    ClipboardWriter writer(folder.filePath(QStringLiteral("temp-texts")));
    QSignalSpy finished(&writer, &ClipboardWriter::copyFinished);
    writer.setClipBoardMultiData({textItem(QStringLiteral("alpha")), textItem(QStringLiteral("beta"))});
    QCOMPARE(finished.count(), 1);
    const QMimeData *data = clipboardData();
    QVERIFY(data->hasFormat(MIME_IGNORE));
    QVERIFY(!data->hasUrls());
    const QString html = data->html();
    // One separator, between the two, none after the last.
    QCOMPARE(html.count(QStringLiteral("<br />")), 1);
    QVERIFY(html.contains(QStringLiteral("alpha<br />beta</p>")));
}

void TestPaste::multiTextAndImageReplacesOldTempFiles()
{
    const QString temp = folder.filePath(QStringLiteral("temp-image"));
    QVERIFY(QDir().mkpath(temp));
    QFile old(temp + QStringLiteral("/image_1.png"));
    QVERIFY(old.open(QIODevice::WriteOnly) && old.write("old") == 3);
    old.close();

    QImage image(20, 10, QImage::Format_RGB32);
    image.fill(Qt::cyan);
    ItemData imageItem;
    imageItem.itemType = ItemTypeImage;
    imageItem.dataMap[MIME_IMAGE_PNG] = pngOf(image);
    ClipboardWriter writer(temp);
    writer.setClipBoardMultiData({textItem(QStringLiteral("caption")), imageItem});

    const QStringList files = QDir(temp).entryList(QDir::Files);
    QCOMPARE(files.size(), 1);
    QVERIFY(QRegularExpression(QStringLiteral("^image_\\d+\\.png$")).match(files.first()).hasMatch());
    QCOMPARE(QImage(temp + QLatin1Char('/') + files.first()).size(), QSize(20, 10));

    const QString html = clipboardData()->html();
    QVERIFY(html.contains(QStringLiteral("caption<br /><img src=\"%1/%2\"").arg(temp, files.first())));
    QVERIFY(clipboardData()->hasFormat(MIME_IGNORE));
}

void TestPaste::multiFilesOnlyHasNoHtml()
{
    const QString one = folder.filePath(QStringLiteral("one.txt"));
    const QString two = folder.filePath(QStringLiteral("two.txt"));
    for (const QString &path : {one, two}) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    const QUrl missing = QUrl::fromLocalFile(folder.filePath(QStringLiteral("missing.txt")));
    ClipboardWriter writer(folder.filePath(QStringLiteral("temp-files")));
    writer.setClipBoardMultiData(
        {fileItem({QUrl::fromLocalFile(one), missing}), fileItem({QUrl::fromLocalFile(two)})});
    const QMimeData *data = clipboardData();
    QVERIFY(!data->hasHtml());
    QCOMPARE(data->urls(), (QList<QUrl>{QUrl::fromLocalFile(one), QUrl::fromLocalFile(two)}));
    QVERIFY(data->hasFormat(MIME_IGNORE));
}

void TestPaste::multiMissingFileAndText()
{
    ClipboardWriter writer(folder.filePath(QStringLiteral("temp-missing")));
    writer.setClipBoardMultiData(
        {fileItem({QUrl::fromLocalFile(folder.filePath(QStringLiteral("gone.txt")))}),
         textItem(QStringLiteral("kept"))});
    const QMimeData *data = clipboardData();
    QVERIFY(!data->hasUrls());
    QVERIFY(data->html().contains(QStringLiteral(">kept</p>")));
    QVERIFY(!data->html().contains(QStringLiteral("<br />")));
}

void TestPaste::multiTempFolderCannotBeMade()
{
    const QString blocker = folder.filePath(QStringLiteral("blocker"));
    QFile file(blocker);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    ClipboardWriter writer(blocker + QStringLiteral("/temp"));
    QGuiApplication::clipboard()->setText(QStringLiteral("before the failed write"));
    QSignalSpy finished(&writer, &ClipboardWriter::copyFinished);
    writer.setClipBoardMultiData({textItem(QStringLiteral("nowhere"))});
    QCOMPARE(finished.count(), 0);
    QCOMPARE(clipboardData()->text(), QStringLiteral("before the failed write"));
    QVERIFY(logShows(QStringLiteral("create dir fail %1/temp").arg(blocker)));
}

void TestPaste::markedWritesAddNoRow()
{
    ClipboardWriter writer(folder.filePath(QStringLiteral("temp-marked")));
    const int rows = model()->rowCount();
    QImage image(4, 4, QImage::Format_RGB32);
    image.fill(Qt::red);
    writer.setClipBoardData({{MIME_TEXT, QStringLiteral("whole item")}}, true);
    writer.setClipBoardText(QStringLiteral("whole text"), true);
    writer.setClipBoardImage(image);
    writer.setClipBoardUrls({QUrl::fromLocalFile(folder.path())}, true);
    writer.setClipBoardMultiData({textItem(QStringLiteral("a")), textItem(QStringLiteral("b"))});
    // An unmarked write behind them shows that the capture has seen them all.
    writer.setClipBoardText(QStringLiteral("sentinel after marked"), false);
    const ItemData item = waitForRow(rows);
    QCOMPARE(item.text(), QStringLiteral("sentinel after marked"));
    QCOMPARE(model()->rowCount(), rows + 1);
}

void TestPaste::unmarkedPartialCopiesAddRows()
{
    ClipboardWriter writer(folder.filePath(QStringLiteral("temp-partial")));
    int rows = model()->rowCount();
    writer.setClipBoardText(QStringLiteral("text from an image"), false);
    ItemData item = waitForRow(rows);
    QCOMPARE(item.text(), QStringLiteral("text from an image"));
    // Attributed to this very program.
    QCOMPARE(item.dataMap.value(MIME_EXE_PATH).toString(),
             QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());

    rows = model()->rowCount();
    const QString path = folder.filePath(QStringLiteral("partial.txt"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    writer.setClipBoardUrls({QUrl::fromLocalFile(path)}, false);
    item = waitForRow(rows);
    QCOMPARE(item.itemType, uint(ItemTypeFile));
    QCOMPARE(item.urls(), QList<QUrl>{QUrl::fromLocalFile(path)});
}

void TestPaste::passwordManagerSecretAddsNoRow()
{
    const int rows = model()->rowCount();
    QVERIFY(start(QStringLiteral(CLIPOWNER_PATH),
                  {QStringLiteral("--text"), QStringLiteral("hunter2 secret"), QStringLiteral("--data"),
                   QStringLiteral("x-kde-passwordManagerHint=secret")},
                  nullptr));
    QTRY_VERIFY_WITH_TIMEOUT(logShows(QStringLiteral("ignore password manager secret")), 10000);
    QVERIFY(start(QStringLiteral(CLIPOWNER_PATH),
                  {QStringLiteral("--text"), QStringLiteral("plain after secret")}, nullptr));
    const ItemData item = waitForRow(rows);
    QCOMPARE(item.text(), QStringLiteral("plain after secret"));
    QCOMPARE(model()->rowCount(), rows + 1);
}

QTEST_MAIN(TestPaste)
#include "tst_paste.moc"
