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
#include "app/sqlmanager.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "gui/mainwindow.h"
#include "item/itemcodec.h"
#include "support/tempappfolder.h"

namespace {

const QString kConnection = QStringLiteral("capture-check");

struct StoredRow
{
    bool found = false;
    uint itemType = 0;
    qulonglong createTime = 0;
    qulonglong lastActiveTime = 0;
    QVariantMap dataMap;
};

} // namespace

class TestCapture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void textKinds_data();
    void textKinds();
    void noItem_data();
    void noItem();
    void onlyExistingFilesKept();
    void image();
    void imageWithFilesIsImage();
    void sizeLimit();
    void sameTextRefreshesOldItem();
    void forkedOwnerLeavesNoPath();
    void terminalCopyCreditedToGitBash();
    void ownerExitAddsNothing();

    void windowSizeIsStored();

private:
    // Starts a clipboard owner and waits until it holds the clipboard.
    bool copy(const QStringList &arguments, const QString &program = QStringLiteral(CLIPOWNER_PATH));
    QString copyProgram(const QString &from, const QString &folderName);
    // Waits for the item that the last copy adds and returns it.
    ItemData takeNewItem();
    // Waits until the log has this text after the mark.
    bool logShows(const QString &text);
    void markLog();
    StoredRow storedRow(uint hashValue);
    int storedCount();
    QString writeFile(const QString &name, const QByteArray &content);

    ClipboardModel *model() { return window->clipboardModel(); }

    TempAppFolder folder;
    MainWindow *window = nullptr;
    SqlManager *sql = nullptr;
    QList<QProcess *> owners;
    int rowsBefore = 0;
    qint64 logMark = 0;
    QString ownerPath;
};

void TestCapture::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    QVERIFY2(QGuiApplication::platformName() == QLatin1String("xcb"), "needs an X server");
    ownerPath = QFileInfo(QStringLiteral(CLIPOWNER_PATH)).canonicalFilePath();
    QVERIFY(!ownerPath.isEmpty());

    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());

    window = new MainWindow;
    sql = new SqlManager(folder.filePath(QStringLiteral("vorlik.db")));
    sql->attach(window);
    QVERIFY(sql->initThread());

    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), kConnection);
    db.setDatabaseName(folder.filePath(QStringLiteral("vorlik.db")));
    // The worker creates the file and its tables; reading waits for that.
    QTRY_VERIFY_WITH_TIMEOUT(db.open() && db.tables().contains(QStringLiteral("clipboard_history")), 10000);
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
    // The database front lives to the end of the process, as in the program.
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

void TestCapture::markLog()
{
    logMark = QFileInfo(logFilePath()).size();
}

bool TestCapture::logShows(const QString &text)
{
    auto seen = [&] {
        QFile file(logFilePath());
        if (!file.open(QIODevice::ReadOnly) || !file.seek(logMark))
            return false;
        return QString::fromUtf8(file.readAll()).contains(text);
    };
    [&] { QTRY_VERIFY_WITH_TIMEOUT(seen(), 10000); }();
    if (!seen()) {
        // What the capture said instead, for the failure report.
        QFile file(logFilePath());
        file.open(QIODevice::ReadOnly);
        file.seek(logMark);
        qWarning("%s", file.readAll().constData());
    }
    return seen();
}

StoredRow TestCapture::storedRow(uint hashValue)
{
    StoredRow row;
    QSqlQuery query(QSqlDatabase::database(kConnection));
    query.prepare(
        QStringLiteral("SELECT itemType, createTime, lastActiveTime, content FROM clipboard_history "
                       "WHERE hashValue = :hash"));
    query.bindValue(QStringLiteral(":hash"), hashValue);
    if (!query.exec() || !query.next())
        return row;
    row.found = true;
    row.itemType = query.value(0).toUInt();
    row.createTime = query.value(1).toULongLong();
    row.lastActiveTime = query.value(2).toULongLong();
    deserializeDataMap(query.value(3).toByteArray(), row.dataMap);
    return row;
}

int TestCapture::storedCount()
{
    QSqlQuery query(QStringLiteral("SELECT COUNT(*) FROM clipboard_history"),
                    QSqlDatabase::database(kConnection));
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

void TestCapture::textKinds_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<uint>("type");
    QTest::addColumn<QString>("text");
    QTest::newRow("text") << QStringList{QStringLiteral("--text"), QStringLiteral("first capture ünïcode")}
                          << uint(ItemTypeText) << QStringLiteral("first capture ünïcode");
    QTest::newRow("html only") << QStringList{QStringLiteral("--html"),
                                              QStringLiteral("<p>Only <b>rich</b> text</p>")}
                               << uint(ItemTypeText) << QStringLiteral("Only rich text");
    QTest::newRow("link") << QStringList{QStringLiteral("--text"),
                                         QStringLiteral("https://example.org/capture")}
                          << uint(ItemTypeLink) << QStringLiteral("https://example.org/capture");
    QTest::newRow("link after a space")
        << QStringList{QStringLiteral("--text"), QStringLiteral(" https://example.org/capture")}
        << uint(ItemTypeText) << QStringLiteral(" https://example.org/capture");
}

void TestCapture::textKinds()
{
    QFETCH(QStringList, arguments);
    QFETCH(uint, type);
    QFETCH(QString, text);
    QVERIFY(copy(arguments));
    const ItemData item = takeNewItem();
    QCOMPARE(item.itemType, type);
    QCOMPARE(item.text(), text);
    QCOMPARE(item.createTime, item.lastActiveTime);
    QTRY_VERIFY(storedRow(item.hashValue).found);
    const StoredRow row = storedRow(item.hashValue);
    QCOMPARE(row.itemType, type);
    QCOMPARE(row.createTime, item.createTime);
    QCOMPARE(QString::fromUtf8(row.dataMap.value(MIME_TEXT).toByteArray()), text);
    QVERIFY(!row.dataMap.contains(MIME_HTML));
    // Attributed to the process that owns the clipboard.
    QCOMPARE(QString::fromUtf8(row.dataMap.value(MIME_EXE_PATH).toByteArray()), ownerPath);
}

void TestCapture::noItem_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("logged");
    QTest::newRow("blanks") << QStringList{QStringLiteral("--text"), QStringLiteral("  \t \n ")}
                            << QStringLiteral("only contains space");
    QTest::newRow("empty text") << QStringList{QStringLiteral("--empty-text")}
                                << QStringLiteral("clone data fail, ignore this copy");
    QTest::newRow("no file exists") << QStringList{QStringLiteral("--urls"),
                                                   folder.filePath(QStringLiteral("gone-a")) +
                                                       QLatin1Char(',') +
                                                       folder.filePath(QStringLiteral("gone-b"))}
                                    << QStringLiteral("clone data fail, ignore this copy");
    QTest::newRow("own data") << QStringList{QStringLiteral("--text"), QStringLiteral("written back by us"),
                                             QStringLiteral("--data"), MIME_IGNORE + QStringLiteral("=1")}
                              << QStringLiteral("ignore own data");
    QTest::newRow("marked secret") << QStringList{QStringLiteral("--text"), QStringLiteral("hunter2"),
                                                  QStringLiteral("--data"),
                                                  QStringLiteral("x-kde-passwordManagerHint=secret")}
                                   << QStringLiteral("ignore password manager secret");
}

void TestCapture::noItem()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, logged);
    const int stored = storedCount();
    QVERIFY(copy(arguments));
    QVERIFY(logShows(logged));
    QCOMPARE(model()->rowCount(), rowsBefore);
    QCOMPARE(storedCount(), stored);
}

void TestCapture::onlyExistingFilesKept()
{
    const QString present = writeFile(QStringLiteral("kept file.txt"), "here");
    const QString missing = folder.filePath(QStringLiteral("never written.txt"));
    QVERIFY(copy({QStringLiteral("--urls"), present + QLatin1Char(',') + missing}));
    const ItemData item = takeNewItem();
    QCOMPARE(item.itemType, uint(ItemTypeFile));
    QTRY_VERIFY(storedRow(item.hashValue).found);
    QCOMPARE(deserializeUrls(storedRow(item.hashValue).dataMap.value(MIME_URI_LIST).toByteArray()),
             QList<QUrl>{QUrl::fromLocalFile(present)});
}

void TestCapture::image()
{
    QVERIFY(copy({QStringLiteral("--image"), QStringLiteral("64x48")}));
    const ItemData item = takeNewItem();
    QCOMPARE(item.itemType, uint(ItemTypeImage));
    QTRY_VERIFY(storedRow(item.hashValue).found);
    const QByteArray png = storedRow(item.hashValue).dataMap.value(MIME_IMAGE_PNG).toByteArray();
    QCOMPARE(QImage::fromData(png, "PNG").size(), QSize(64, 48));
}

void TestCapture::imageWithFilesIsImage()
{
    const QString file = writeFile(QStringLiteral("shot.png"), "not really");
    QVERIFY(copy({QStringLiteral("--image"), QStringLiteral("20x10"), QStringLiteral("--urls"), file}));
    const ItemData item = takeNewItem();
    QCOMPARE(item.itemType, uint(ItemTypeImage));
    QVERIFY(!item.dataMap.contains(MIME_URI_LIST));
}

void TestCapture::sizeLimit()
{
    QSettings *settings = Setting::instance().settings();
    QVERIFY(settings);
    settings->setValue(QStringLiteral("limit-singleSizeLimit"), 1);
    settings->setValue(QStringLiteral("limit-exceedLimitNotify"), true);
    const int limit = 1 << 20;
    // The source path counts against the limit as well.
    const int pathSize = ownerPath.toUtf8().size();

    const QString big = writeFile(QStringLiteral("big.txt"), QByteArray(2 * limit, 'b'));
    QVERIFY(copy({QStringLiteral("--text-file"), big}));
    QVERIFY(logShows(QStringLiteral("single size limit %1 byte").arg(limit)));
    QVERIFY(logShows(QStringLiteral("notify single paste exceed the limit size")));
    QCOMPARE(model()->rowCount(), rowsBefore);

    const QString over = writeFile(QStringLiteral("over.txt"), QByteArray(limit - pathSize + 1, 'o'));
    QVERIFY(copy({QStringLiteral("--text-file"), over}));
    QVERIFY(logShows(QStringLiteral("dataSize %1 byte").arg(limit + 1)));
    QCOMPARE(model()->rowCount(), rowsBefore);

    const QString exact = writeFile(QStringLiteral("exact.txt"), QByteArray(limit - pathSize, 'e'));
    QVERIFY(copy({QStringLiteral("--text-file"), exact}));
    const ItemData item = takeNewItem();
    QCOMPARE(item.dataSize(), limit);
    QCOMPARE(item.dataMap.value(MIME_EXE_PATH).toString(), ownerPath);

    settings->remove(QStringLiteral("limit-singleSizeLimit"));
    settings->remove(QStringLiteral("limit-exceedLimitNotify"));
}

void TestCapture::sameTextRefreshesOldItem()
{
    QVERIFY(copy({QStringLiteral("--text"), QStringLiteral("copied twice")}));
    const ItemData first = takeNewItem();
    QTRY_VERIFY(storedRow(first.hashValue).found);
    const int stored = storedCount();

    QVERIFY(copy({QStringLiteral("--text"), QStringLiteral("something between")}));
    takeNewItem();
    QVERIFY(copy({QStringLiteral("--text"), QStringLiteral("copied twice")}));
    auto current = [&] {
        for (const ItemData &item : model()->items())
            if (item.hashValue == first.hashValue)
                return item;
        return ItemData();
    };
    QTRY_VERIFY(current().createTime > first.createTime);
    QCOMPARE(current().lastActiveTime, current().createTime);
    QCOMPARE(model()->rowCount(), rowsBefore);
    QTRY_COMPARE(storedRow(first.hashValue).createTime, current().createTime);
    QCOMPARE(storedRow(first.hashValue).lastActiveTime, current().createTime);
    QCOMPARE(storedCount(), stored + 1);
}

QString TestCapture::copyProgram(const QString &from, const QString &folderName)
{
    const QString target = folder.filePath(folderName + QLatin1Char('/') + QFileInfo(from).fileName());
    if (!QDir().mkpath(folder.filePath(folderName)) || !QFile::copy(from, target))
        return QString();
    return QFileInfo(target).canonicalFilePath();
}

void TestCapture::terminalCopyCreditedToGitBash()
{
    // Only the path matters: a copy of the owner in a "mintty" folder, and a
    // shell in a "git-bash" folder that starts it as a child.
    const QString terminal = copyProgram(QStringLiteral(CLIPOWNER_PATH), QStringLiteral("mintty"));
    const QString gitBash = copyProgram(QStringLiteral("/bin/sh"), QStringLiteral("git-bash"));
    QVERIFY(!terminal.isEmpty() && !gitBash.isEmpty());

    QVERIFY(copy({QStringLiteral("--text"), QStringLiteral("terminal on its own")}, terminal));
    QCOMPARE(takeNewItem().dataMap.value(MIME_EXE_PATH).toString(), terminal);

    // The trailing ":" keeps the shell from replacing itself with the owner.
    QVERIFY(copy({QStringLiteral("-c"), QStringLiteral("\"$0\" \"$@\"; :"), terminal,
                  QStringLiteral("--text"), QStringLiteral("terminal under git-bash")},
                 gitBash));
    QCOMPARE(takeNewItem().dataMap.value(MIME_EXE_PATH).toString(), gitBash);
}

void TestCapture::forkedOwnerLeavesNoPath()
{
    if (QStandardPaths::findExecutable(QStringLiteral("xclip")).isEmpty())
        QSKIP("xclip is not installed");
    rowsBefore = model()->rowCount();
    markLog();
    // xclip forks after taking the clipboard: the process that made the
    // owner window has left by the time it is asked about.
    QProcess xclip;
    xclip.start(QStringLiteral("xclip"), {QStringLiteral("-selection"), QStringLiteral("clipboard")});
    QVERIFY(xclip.waitForStarted());
    xclip.write("from a forked owner");
    xclip.closeWriteChannel();
    QVERIFY(xclip.waitForFinished());
    const ItemData item = takeNewItem();
    QCOMPARE(item.text(), QStringLiteral("from a forked owner"));
    QVERIFY(item.dataMap.contains(MIME_EXE_PATH));
    QCOMPARE(item.dataMap.value(MIME_EXE_PATH).toString(), QString());
    QVERIFY(logShows(QStringLiteral("Failed to open process.")));
}

void TestCapture::ownerExitAddsNothing()
{
    QVERIFY(copy({QStringLiteral("--text"), QStringLiteral("owner about to leave")}));
    takeNewItem();
    const int rows = model()->rowCount();
    markLog();
    QProcess *owner = owners.last();
    owner->kill();
    QVERIFY(owner->waitForFinished());
    QVERIFY(logShows(QStringLiteral("text 0 html 0 image 0 url 0 data format (  )")));
    QCOMPARE(model()->rowCount(), rows);
    QVERIFY(QGuiApplication::clipboard()->text().isEmpty());
}

void TestCapture::windowSizeIsStored()
{
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QCOMPARE(window->minimumSize(), QSize(450, 450));
    window->resize(700, 600);
    int width = 0;
    int height = 0;
    QTRY_VERIFY(Setting::instance().getMainWindowSize(width, height) && width == 700 && height == 600);

    auto *countLabel = window->findChild<QLabel *>();
    QVERIFY(countLabel);
    QCOMPARE(countLabel->text(), QString::number(model()->rowCount()) + QStringLiteral("个复制项"));

    MainWindow second;
    QCOMPARE(second.size(), QSize(700, 600));
    QCOMPARE(second.objectName(), QStringLiteral("MainWindow"));
    window->hide();
}

QTEST_MAIN(TestCapture)
#include "tst_capture.moc"
