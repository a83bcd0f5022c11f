// The capture on a real X server: another process owns the clipboard, this
// one runs the window and the database thread, and the test looks at what
// reaches the model and the SQLite file.

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QProcess>
#include <QSettings>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "app/storagewiring.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "item/itemcodec.h"
#include "storage/sqlmanager.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"

namespace {
const QString kConnection = "capture-check";
} // namespace

class TestCapture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void kinds_data();
    void kinds();
    void noItem_data();
    void noItem();
    void sizeLimit();
    void sameTextRefreshesOldItem();
    void forkedOwnerLeavesNoPath();
    void terminalCopyCreditedToGitBash();
    void ownerExitAddsNothing();

    void windowSizeIsStored();

private:
    // Starts a clipboard owner and waits until it holds the clipboard.
    bool copy(const QStringList &arguments, const QString &program = CLIPOWNER_PATH);
    QString copyProgram(const QString &from, const QString &folderName);
    // Waits for the item that the last copy adds and returns it.
    ItemData takeNewItem();
    // Waits until the log has this text after the mark.
    bool logShows(const QString &text);
    void markLog() { logMark = QFileInfo(logFilePath()).size(); }
    // The row as the database holds it; a hash of 0 when there is none.
    ItemData stored(uint hashValue);
    int storedCount();
    QString writeFile(const QString &name, const QByteArray &content);

    ClipboardModel *model() { return window->clipboardModel(); }

    TempAppFolder folder;
    MainWindow *window = nullptr;
    QList<QProcess *> owners;
    int rowsBefore = 0;
    qint64 logMark = 0;
    QString ownerPath;
};

void TestCapture::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    QVERIFY2(QGuiApplication::platformName() == "xcb", "needs an X server");
    ownerPath = QFileInfo(CLIPOWNER_PATH).canonicalFilePath();
    QVERIFY(!ownerPath.isEmpty());

    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());

    window = new MainWindow;
    // Lives to the end of the process, as in the program.
    auto *sql = new SqlManager(folder.filePath("vorlik.db"));
    connectStorage(sql, window);
    QVERIFY(sql->initThread());

    QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", kConnection);
    db.setDatabaseName(folder.filePath("vorlik.db"));
    // The worker creates the file and its tables; reading waits for that.
    QTRY_VERIFY_WITH_TIMEOUT(db.open() && db.tables().contains("clipboard_history"), 10000);
}

void TestCapture::cleanupTestCase()
{
    for (QProcess *owner : std::as_const(owners)) {
        owner->kill();
        owner->waitForFinished();
    }
    qDeleteAll(owners);
    delete window;
    QSqlDatabase::database(kConnection).close();
    QSqlDatabase::removeDatabase(kConnection);
}

bool TestCapture::copy(const QStringList &arguments, const QString &program)
{
    rowsBefore = model()->rowCount();
    markLog();
    auto *owner = new QProcess(this);
    owners.append(owner);
    owner->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    owner->start(program, arguments);
    QByteArray output;
    [&] {
        QTRY_VERIFY_WITH_TIMEOUT((output += owner->readAllStandardOutput()).contains("ready") ||
                                     owner->state() == QProcess::NotRunning,
                                 10000);
    }();
    return output.contains("ready");
}

ItemData TestCapture::takeNewItem()
{
    [&] { QTRY_COMPARE_WITH_TIMEOUT(model()->rowCount(), rowsBefore + 1, 10000); }();
    return model()->rowCount() > rowsBefore ? model()->items().first() : ItemData();
}

bool TestCapture::logShows(const QString &text)
{
    QString log;
    const auto seen = [&] {
        QFile file(logFilePath());
        log = file.open(QIODevice::ReadOnly) && file.seek(logMark) ? QString::fromUtf8(file.readAll())
                                                                   : QString();
        return log.contains(text);
    };
    [&] { QTRY_VERIFY_WITH_TIMEOUT(seen(), 10000); }();
    if (!seen())
        qWarning("%s", qPrintable(log)); // what the capture said instead
    return seen();
}

ItemData TestCapture::stored(uint hashValue)
{
    ItemData row;
    QSqlQuery query(QSqlDatabase::database(kConnection));
    query.prepare(
        "SELECT itemType, createTime, lastActiveTime, content FROM clipboard_history WHERE hashValue = ?");
    query.addBindValue(hashValue);
    if (!query.exec() || !query.next())
        return row;
    row.hashValue = hashValue;
    row.itemType = query.value(0).toUInt();
    row.createTime = query.value(1).toULongLong();
    row.lastActiveTime = query.value(2).toULongLong();
    deserializeDataMap(query.value(3).toByteArray(), row.dataMap);
    return row;
}

int TestCapture::storedCount()
{
    QSqlQuery query("SELECT COUNT(*) FROM clipboard_history", QSqlDatabase::database(kConnection));
    return query.next() ? query.value(0).toInt() : -1;
}

QString TestCapture::writeFile(const QString &name, const QByteArray &content)
{
    QFile file(folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    file.write(content);
    return file.fileName();
}

void TestCapture::kinds_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<uint>("type");
    QTest::addColumn<QString>("payload"); // the one key kept beside the source path
    QTest::addColumn<QString>("content"); // its text, files, or image size

    QTest::newRow("text") << QStringList{"--text", "first capture ünïcode"} << uint(ItemTypeText) << MIME_TEXT
                          << "first capture ünïcode";
    QTest::newRow("html only") << QStringList{"--html", "<p>Only <b>rich</b> text</p>"} << uint(ItemTypeText)
                               << MIME_TEXT << "Only rich text";
    QTest::newRow("link") << QStringList{"--text", "https://example.org/capture"} << uint(ItemTypeLink)
                          << MIME_TEXT << "https://example.org/capture";
    QTest::newRow("link after a space") << QStringList{"--text", " https://example.org/capture"}
                                        << uint(ItemTypeText) << MIME_TEXT << " https://example.org/capture";
    const QString present = writeFile("kept file.txt", "here");
    QTest::newRow("only existing files")
        << QStringList{"--urls", present + ',' + folder.filePath("never written.txt")} << uint(ItemTypeFile)
        << MIME_URI_LIST << present;
    QTest::newRow("image") << QStringList{"--image", "64x48"} << uint(ItemTypeImage) << MIME_IMAGE_PNG
                           << "64x48";
    QTest::newRow("image with files")
        << QStringList{"--image", "20x10", "--urls", writeFile("shot.png", "not")} << uint(ItemTypeImage)
        << MIME_IMAGE_PNG << "20x10";
}

void TestCapture::kinds()
{
    QFETCH(QStringList, arguments);
    QFETCH(uint, type);
    QFETCH(QString, payload);
    QFETCH(QString, content);
    QVERIFY(copy(arguments));
    const ItemData item = takeNewItem();
    QCOMPARE(item.itemType, type);
    QCOMPARE(item.createTime, item.lastActiveTime);
    QTRY_VERIFY(stored(item.hashValue).hashValue);
    const ItemData row = stored(item.hashValue);
    QVERIFY(row.itemType == type && row.createTime == item.createTime);
    // Attributed to the process that owns the clipboard.
    QStringList keys{MIME_EXE_PATH, payload};
    keys.sort();
    QCOMPARE(row.dataMap.keys(), keys);
    QCOMPARE(QString::fromUtf8(row.dataMap.value(MIME_EXE_PATH).toByteArray()), ownerPath);

    const QByteArray bytes = row.dataMap.value(payload).toByteArray();
    QString found = QString::fromUtf8(bytes);
    if (payload == MIME_URI_LIST) {
        QStringList files;
        for (const QUrl &url : deserializeUrls(bytes))
            files << url.toLocalFile();
        found = files.join(',');
    } else if (payload == MIME_IMAGE_PNG) {
        const QSize size = QImage::fromData(bytes, "PNG").size();
        found = QString("%1x%2").arg(size.width()).arg(size.height());
    }
    QCOMPARE(found, content);
}

void TestCapture::noItem_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("logged");
    QTest::newRow("blanks") << QStringList{"--text", "  \t \n "} << "only contains space";
    QTest::newRow("empty text") << QStringList{"--empty-text"} << "clone data fail, ignore this copy";
    QTest::newRow("no file exists") << QStringList{"--urls", folder.filePath("gone-a") + ',' +
                                                                 folder.filePath("gone-b")}
                                    << "clone data fail, ignore this copy";
    QTest::newRow("own data") << QStringList{"--text", "written back by us", "--data", MIME_IGNORE + "=1"}
                              << "ignore own data";
    QTest::newRow("marked secret") << QStringList{"--text", "hunter2", "--data",
                                                  "x-kde-passwordManagerHint=secret"}
                                   << "ignore password manager secret";
}

void TestCapture::noItem()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, logged);
    const int count = storedCount();
    QVERIFY(copy(arguments));
    QVERIFY(logShows(logged));
    QCOMPARE(model()->rowCount(), rowsBefore);
    QCOMPARE(storedCount(), count);
}

void TestCapture::sizeLimit()
{
    QSettings *settings = Setting::instance().settings();
    settings->setValue("limit-singleSizeLimit", 1);
    settings->setValue("limit-exceedLimitNotify", true);
    const int limit = 1 << 20;
    // The source path counts against the limit as well.
    const int pathSize = ownerPath.toUtf8().size();

    QVERIFY(copy({"--text-file", writeFile("big.txt", QByteArray(2 * limit, 'b'))}));
    QVERIFY(logShows(QString("single size limit %1 byte").arg(limit)));
    QVERIFY(logShows("notify single paste exceed the limit size"));
    QCOMPARE(model()->rowCount(), rowsBefore);

    QVERIFY(copy({"--text-file", writeFile("over.txt", QByteArray(limit - pathSize + 1, 'o'))}));
    QVERIFY(logShows(QString("dataSize %1 byte").arg(limit + 1)));
    QCOMPARE(model()->rowCount(), rowsBefore);

    QVERIFY(copy({"--text-file", writeFile("exact.txt", QByteArray(limit - pathSize, 'e'))}));
    const ItemData item = takeNewItem();
    QCOMPARE(item.dataSize(), limit);
    QCOMPARE(item.dataMap.value(MIME_EXE_PATH).toString(), ownerPath);

    settings->remove("limit-singleSizeLimit");
    settings->remove("limit-exceedLimitNotify");
}

void TestCapture::sameTextRefreshesOldItem()
{
    QVERIFY(copy({"--text", "copied twice"}));
    const ItemData first = takeNewItem();
    QTRY_VERIFY(stored(first.hashValue).hashValue);
    const int count = storedCount();

    QVERIFY(copy({"--text", "something between"}));
    takeNewItem();
    QVERIFY(copy({"--text", "copied twice"}));
    const auto current = [&] {
        for (const ItemData &item : model()->items())
            if (item.hashValue == first.hashValue)
                return item;
        return ItemData();
    };
    QTRY_VERIFY(current().createTime > first.createTime);
    QCOMPARE(current().lastActiveTime, current().createTime);
    QCOMPARE(model()->rowCount(), rowsBefore);
    QTRY_COMPARE(stored(first.hashValue).createTime, current().createTime);
    QCOMPARE(stored(first.hashValue).lastActiveTime, current().createTime);
    QCOMPARE(storedCount(), count + 1);
}

QString TestCapture::copyProgram(const QString &from, const QString &folderName)
{
    const QString target = folder.filePath(folderName + '/' + QFileInfo(from).fileName());
    if (!QDir().mkpath(folder.filePath(folderName)) || !QFile::copy(from, target))
        return QString();
    return QFileInfo(target).canonicalFilePath();
}

void TestCapture::terminalCopyCreditedToGitBash()
{
    // Only the path matters: a copy of the owner in a "mintty" folder, and a
    // shell in a "git-bash" folder that starts it as a child.
    const QString terminal = copyProgram(CLIPOWNER_PATH, "mintty");
    const QString gitBash = copyProgram("/bin/sh", "git-bash");
    QVERIFY(!terminal.isEmpty() && !gitBash.isEmpty());

    QVERIFY(copy({"--text", "terminal on its own"}, terminal));
    QCOMPARE(takeNewItem().dataMap.value(MIME_EXE_PATH).toString(), terminal);

    // The trailing ":" keeps the shell from replacing itself with the owner.
    QVERIFY(copy({"-c", "\"$0\" \"$@\"; :", terminal, "--text", "terminal under git-bash"}, gitBash));
    QCOMPARE(takeNewItem().dataMap.value(MIME_EXE_PATH).toString(), gitBash);
}

void TestCapture::forkedOwnerLeavesNoPath()
{
    if (QStandardPaths::findExecutable("xclip").isEmpty())
        QSKIP("xclip is not installed");
    rowsBefore = model()->rowCount();
    markLog();
    // xclip forks after taking the clipboard: the process that made the
    // owner window has left by the time it is asked about.
    QProcess xclip;
    xclip.start("xclip", {"-selection", "clipboard"});
    QVERIFY(xclip.waitForStarted());
    xclip.write("from a forked owner");
    xclip.closeWriteChannel();
    QVERIFY(xclip.waitForFinished());
    const ItemData item = takeNewItem();
    QCOMPARE(item.text(), "from a forked owner");
    QVERIFY(item.dataMap.contains(MIME_EXE_PATH));
    QCOMPARE(item.dataMap.value(MIME_EXE_PATH).toString(), QString());
    QVERIFY(logShows("Failed to open process."));
}

void TestCapture::ownerExitAddsNothing()
{
    QVERIFY(copy({"--text", "owner about to leave"}));
    takeNewItem();
    const int rows = model()->rowCount();
    markLog();
    owners.last()->kill();
    QVERIFY(owners.last()->waitForFinished());
    QVERIFY(logShows("text 0 html 0 image 0 url 0 data format (  )"));
    QCOMPARE(model()->rowCount(), rows);
    QVERIFY(QGuiApplication::clipboard()->text().isEmpty());
}

void TestCapture::windowSizeIsStored()
{
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QCOMPARE(window->minimumSize(), QSize(450, 450));
    window->resize(700, 600);
    int width = 0, height = 0;
    QTRY_VERIFY(Setting::instance().getMainWindowSize(width, height) && width == 700 && height == 600);

    auto *countLabel = window->findChild<QLabel *>();
    QVERIFY(countLabel);
    QCOMPARE(countLabel->text(), QString::number(model()->rowCount()) + "个复制项");

    MainWindow second;
    QCOMPARE(second.size(), QSize(700, 600));
    window->hide();
}

QTEST_MAIN(TestCapture)
#include "tst_capture.moc"
