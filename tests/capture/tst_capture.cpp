// The capture on a real X server: other processes own the clipboard, this
// one runs the window and the database thread, and the test looks at what
// reaches the model and the SQLite file, and which program it is credited to.

#include <algorithm>

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "app/storagewiring.h"
#include "capture/clipboardwriter.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "item/itemcodec.h"
#include "storage/sqlmanager.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"

class TestCapture : public QObject
{
    Q_OBJECT
    TempAppFolder folder;
    MainWindow *window = nullptr;
    SqlManager *sql = nullptr;
    QProcess *owner = nullptr; // the last one started
    int rowsBefore = 0;
    qint64 logMark = 0;
    const QString ownerPath = QFileInfo(CLIPOWNER_PATH).canonicalFilePath();
    const int limit = 1 << 20; // on the size of one item, for the whole run

    ClipboardModel *model() { return window->clipboardModel(); }
    void mark()
    {
        rowsBefore = model()->rowCount();
        logMark = QFileInfo(logFilePath()).size();
    }
    // Starts a clipboard owner and waits until it holds the clipboard.
    bool copy(const QStringList &arguments, const QString &program = CLIPOWNER_PATH)
    {
        mark();
        owner = new QProcess(this);
        owner->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        owner->start(program, arguments);
        QByteArray output;
        const auto started = [&] {
            return (output += owner->readAllStandardOutput()).contains("ready") ||
                   owner->state() == QProcess::NotRunning;
        };
        return QTest::qWaitFor(started, 10000) && output.contains("ready");
    }
    // Waits for the one item that the last copy adds and returns it.
    ItemData takeNewItem()
    {
        [&] { QTRY_COMPARE_WITH_TIMEOUT(model()->rowCount(), rowsBefore + 1, 10000); }();
        return model()->rowCount() > rowsBefore ? model()->items().first() : ItemData();
    }
    // Waits until the log has this text after the mark.
    bool logShows(const QString &text)
    {
        const auto seen = [&] {
            QFile file(logFilePath());
            return file.open(QIODevice::ReadOnly) && file.seek(logMark) &&
                   file.readAll().contains(text.toUtf8());
        };
        return QTest::qWaitFor(seen, 10000);
    }
    // Whether the database holds the item with its type and times.
    bool isStored(const ItemData &item)
    {
        const QString sql =
            QString::asprintf("SELECT 1 FROM clipboard_history WHERE hashValue = %u AND itemType = %u "
                              "AND createTime = %llu AND lastActiveTime = %llu",
                              item.hashValue, item.itemType, item.createTime, item.lastActiveTime);
        QSqlQuery query(sql, QSqlDatabase::database("capture-check"));
        return query.next();
    }
    QString writeFile(const QString &name, const QByteArray &content)
    {
        QFile file(folder.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(content) >= 0 ? file.fileName() : "";
    }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(folder.isValid());
        QVERIFY2(QGuiApplication::platformName() == "xcb", "needs an X server");
        registerMetaTypes();
        initLog(LogDebug, folder.path());
        Setting::instance().init(folder.path());
        Setting::instance().settings()->setValue("limit-singleSizeLimit", limit >> 20);
        Setting::instance().settings()->setValue("limit-exceedLimitNotify", true);
        window = new MainWindow;
        sql = new SqlManager(folder.filePath("vorlik.db"));
        connectStorage(sql, window);
        QVERIFY(sql->initThread());
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "capture-check");
        db.setDatabaseName(folder.filePath("vorlik.db"));
        // The worker creates the file and its tables; reading waits for that.
        QTRY_VERIFY_WITH_TIMEOUT(db.open() && db.tables().contains("clipboard_history"), 10000);
    }

    void cleanupTestCase()
    {
        for (QProcess *process : findChildren<QProcess *>()) {
            process->kill();
            process->waitForFinished();
        }
        delete window;
        // Stopped here, or the application object closes its connection under the running thread.
        delete sql;
        QSqlDatabase::removeDatabase("capture-check");
    }

    void copies_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<uint>("type"); // 0: no item
        QTest::addColumn<QString>(
            "content"); // the text, the files or the image size kept; else the log lines
        const auto row = [](const char *name, const QStringList &arguments, uint type,
                            const QString &content) { QTest::newRow(name) << arguments << type << content; };
        row("text", {"--text", "first capture ünïcode"}, ItemTypeText, "first capture ünïcode");
        // GTK programs offer the UTF-8 flavour with CRLF beside UTF8_STRING with LF.
        row("crlf flavour", {"--text", "two\nlines", "--data", "text/plain;charset=utf-8=two\r\nlines"},
            ItemTypeText, "two\nlines");
        row("text wins over html", {"--text", "plain", "--html", "<b>rich</b>"}, ItemTypeText, "plain");
        row("html only", {"--html", "<p>Only <b>rich</b> text</p>"}, ItemTypeText, "Only rich text");
        row("blank html", {"--html", "<p>  </p>"}, 0, "only contains space");
        row("blanks", {"--text", "  \t \n "}, 0, "only contains space");
        row("nothing known", {"--data", "application/x-unknown=bytes"}, 0, "text 0 html 0 image 0 url 0");
        row("link", {"--text", "https://a.org/c"}, ItemTypeLink, "https://a.org/c");
        row("ftp link", {"--text", "ftp://a.org/c"}, ItemTypeLink, "ftp://a.org/c");
        row("link after a space", {"--text", " https://a.org/c"}, ItemTypeText, " https://a.org/c");
        for (const char *text : {"https://a.org https://b.org", "example.org", "https://a.org/a b", "mailto:x@y.org",
                                 "http://.x"})
            row(text, {"--text", text}, ItemTypeText, text); // not one address: stays text
        // X programs offer a list of addresses as text as well.
        row("web url", {"--urls", "https://a.org/w"}, ItemTypeLink, "https://a.org/w");
        const QString kept = writeFile("kept file.txt", "here");
        row("only existing files", {"--urls", kept + ",https://a.org/," + folder.filePath("gone")},
            ItemTypeFile, QUrl::fromLocalFile(kept).toString());
        // Files that are all gone: text that only names them makes no item either.
        const QString a = folder.filePath("gone a.txt"), b = folder.filePath("gone-b.txt");
        const QUrl urlA = QUrl::fromLocalFile(a), urlB = QUrl::fromLocalFile(b);
        const auto gone = [&](const char *name, const QString &text, uint type) {
            row(name, {"--urls", a + ',' + b, "--text", text}, type,
                type ? text : "only names files that are gone");
        };
        row("gone, no text", {"--urls", a + ',' + b}, 0, "clone data fail");
        gone("gone, urls", urlA.toString() + '\n' + urlB.toString() + '\n', 0);
        gone("gone, encoded urls", urlA.toString(QUrl::FullyEncoded) + "\r\n" + urlB.toString(), 0);
        gone("gone, paths", a + '\n' + b, 0);
        gone("gone, other words", "notes about the files", ItemTypeText);
        gone("gone, a path and more", a + "\nand more", ItemTypeText);
        row("image", {"--image", "64x48"}, ItemTypeImage, "64x48");
        row("image beats files and text", {"--image", "20x10", "--urls", kept, "--text", "https://a.org/"},
            ItemTypeImage, "20x10");
        // The source path counts against the limit as well.
        const int room = limit - ownerPath.toUtf8().size();
        row("at the size limit", {"--text-file", writeFile("exact", QByteArray(room, 'e'))}, ItemTypeText,
            QString(room, 'e'));
        row("over the size limit", {"--text-file", writeFile("over", QByteArray(room + 1, 'o'))}, 0,
            QString("dataSize %1 byte single size limit %2 byte\nnotify single paste")
                .arg(limit + 1)
                .arg(limit));
        row("own data", {"--text", "written back by us", "--data", MIME_IGNORE + "=1"}, 0, "ignore own data");
        row("marked secret", {"--text", "hunter2", "--data", "x-kde-passwordManagerHint=secret"}, 0,
            "ignore password manager secret");
    }

    void copies()
    {
        QFETCH(QStringList, arguments);
        QFETCH(uint, type);
        QFETCH(QString, content);
        QVERIFY(copy(arguments));
        if (!type) {
            for (const QString &line : content.split('\n'))
                QVERIFY2(logShows(line), qPrintable(line));
            QCOMPARE(model()->rowCount(), rowsBefore);
            return;
        }
        const ItemData item = takeNewItem();
        QVERIFY(item.itemType == type && item.createTime == item.lastActiveTime);
        QTRY_VERIFY_WITH_TIMEOUT(isStored(item), 10000);
        // Kept: the payload and the program that owns the clipboard, nothing else.
        QCOMPARE(item.dataMap.size(), 2);
        QCOMPARE(item.dataMap.value(MIME_EXE_PATH).toString(), ownerPath);
        const QSize size = item.image().size();
        QCOMPARE(type == ItemTypeImage  ? QString("%1x%2").arg(size.width()).arg(size.height())
                 : type == ItemTypeFile ? QUrl::toStringList(item.urls()).join(',')
                                        : item.text(),
                 content);
    }

    void sameTextRefreshesOldItem()
    {
        QVERIFY(copy({"--text", "copied\ntwice"}));
        const ItemData first = takeNewItem();
        QTRY_VERIFY_WITH_TIMEOUT(isStored(first), 10000);
        QVERIFY(copy({"--text", "something between"}));
        takeNewItem();
        // The same text again, from a program that adds CRLF line ends, makes
        // the old item new, in the model and the database, and adds no row.
        QVERIFY(copy({"--text", "copied\ntwice", "--data", "text/plain;charset=utf-8=copied\r\ntwice"}));
        const auto again = [&] {
            for (const ItemData &item : model()->items())
                if (item.hashValue == first.hashValue)
                    return item;
            return ItemData();
        };
        QTRY_VERIFY_WITH_TIMEOUT(again().createTime > first.createTime, 10000);
        QCOMPARE(again().lastActiveTime, again().createTime);
        QCOMPARE(model()->rowCount(), rowsBefore);
        QTRY_VERIFY_WITH_TIMEOUT(isStored(again()), 10000);
    }

    void ownWrites()
    {
        // What the writer puts back carries the marker and adds no row; an
        // unmarked write behind them shows that the capture has seen them all.
        ClipboardWriter writer(folder.filePath("temp-writes"));
        mark();
        QImage image(4, 4, QImage::Format_RGB32);
        image.fill(Qt::red);
        ItemData part;
        part.itemType = ItemTypeText;
        part.dataMap[MIME_TEXT] = "part";
        writer.setClipBoardData({{MIME_TEXT, "whole item"}}, true);
        writer.setClipBoardText("whole text", true);
        writer.setClipBoardImage(image);
        writer.setClipBoardUrls({QUrl::fromLocalFile(folder.path())}, true);
        writer.setClipBoardMultiData({part, part});
        // Unmarked parts of an item (text read from an image, say) are new items, credited to us.
        writer.setClipBoardText("text from an image", false);
        const ItemData item = takeNewItem();
        QCOMPARE(item.text(), "text from an image");
        QCOMPARE(item.dataMap.value(MIME_EXE_PATH).toString(),
                 QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());
    }

    void windowIconStoredOnce()
    {
        QSignalSpy iconSpy(model(), &ClipboardModel::insertIconSignal);
        QVERIFY(copy({"first icon copy"}, ICONOWNER_PATH));
        const ItemData first = takeNewItem();
        QCOMPARE(first.text(), "first icon copy");
        QCOMPARE(first.dataMap.value(MIME_EXE_PATH).toString(),
                 QFileInfo(ICONOWNER_PATH).canonicalFilePath());
        // Of 16, 32 and 48 px the window offers, the 32 px one (green).
        const QImage icon = model()->getIcon(first.iconHashValue).toImage();
        QCOMPARE(icon.size(), QSize(32, 32));
        QCOMPARE(QColor(icon.pixel(16, 16)), QColor(Qt::green));
        QVERIFY(copy({"second icon copy"}, ICONOWNER_PATH));
        QCOMPARE(takeNewItem().iconHashValue, first.iconHashValue);
        QCOMPARE(iconSpy.count(), 1);

        // The program leaves and takes its clipboard along: no item.
        mark();
        owner->kill();
        QVERIFY(owner->waitForFinished());
        QVERIFY(logShows("text 0 html 0 image 0 url 0 data format (  )"));
        QCOMPARE(model()->rowCount(), rowsBefore);
        QVERIFY(QGuiApplication::clipboard()->text().isEmpty());
    }

    void terminalCopyCreditedToGitBash()
    {
        // Only the path matters: a copy of the owner in a "mintty" folder, and a
        // shell in a "git-bash" folder that starts it as a child.
        const auto install = [&](const QString &from, const QString &folderName) {
            const QString target = folder.filePath(folderName + '/' + QFileInfo(from).fileName());
            const bool done = QDir().mkpath(folder.filePath(folderName)) && QFile::copy(from, target);
            return done ? QFileInfo(target).canonicalFilePath() : QString();
        };
        const QString terminal = install(CLIPOWNER_PATH, "mintty"), gitBash = install("/bin/sh", "git-bash");
        QVERIFY(!terminal.isEmpty() && !gitBash.isEmpty());
        QVERIFY(copy({"--text", "terminal on its own"}, terminal));
        QCOMPARE(takeNewItem().dataMap.value(MIME_EXE_PATH).toString(), terminal);
        // The trailing ":" keeps the shell from replacing itself with the owner.
        QVERIFY(copy({"-c", "\"$0\" \"$@\"; :", terminal, "--text", "terminal under git-bash"}, gitBash));
        QCOMPARE(takeNewItem().dataMap.value(MIME_EXE_PATH).toString(), gitBash);
    }

    void forkedOwnerLeavesNoPath()
    {
        // xclip forks after taking the clipboard and its first process exits.
        // Waiting for that exit runs no events here, so the capture asks about
        // the owner only once the process that made its window has left.
        mark();
        QProcess xclip;
        xclip.start("xclip", {"-selection", "clipboard"});
        QVERIFY(xclip.waitForStarted());
        xclip.write("from a forked owner");
        xclip.closeWriteChannel();
        QVERIFY(xclip.waitForFinished());
        const ItemData item = takeNewItem();
        QCOMPARE(item.text(), "from a forked owner");
        QCOMPARE(item.dataMap.value(MIME_EXE_PATH, "absent").toString(), QString());
        QVERIFY(logShows("Failed to open process."));
    }

    void copyBetweenBursts()
    {
        // Each time, another program sets the clipboard every 5 ms and the
        // capture falls behind; a copy made in between holds the clipboard
        // until it is read, and sets it anew after each question for its
        // formats, so that a read stamped with the time of the change being
        // handled is refused. It is recorded all the same, every time. Owners
        // end when the next burst takes the clipboard, with no read left open.
        const auto start = [&](const QStringList &arguments) {
            auto *process = new QProcess(this);
            process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            process->start(CLIPOWNER_PATH, arguments);
            return process->waitForReadyRead(10000);
        };
        for (int trial = 0; trial < 20; ++trial) {
            const QString text = QString("copied between bursts %1").arg(trial);
            QVERIFY(start({"--burst", "--text", "burst"}));
            QVERIFY(start({"--until-asked", "--text", text}));
            const auto recorded = [&] {
                const QList<ItemData> &items = model()->items();
                return std::any_of(items.begin(), items.end(),
                                   [&](const ItemData &item) { return item.text() == text; });
            };
            QTRY_VERIFY2_WITH_TIMEOUT(recorded(), qPrintable(text), 10000);
        }
    }
};

QTEST_MAIN(TestCapture)
#include "tst_capture.moc"
