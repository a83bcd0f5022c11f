#include "app/metatypes.h"
#include "common/autodeleteitem.h"
#include "common/historysettings.h"
#include "common/setting.h"

#include "support/tempappfolder.h"

#include <QFile>
#include <QKeySequence>
#include <QSequentialIterable>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

namespace {
QString iniPath(const TempAppFolder &folder)
{
    return folder.filePath(QStringLiteral("config/vorlik/vorlik.ini"));
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes a hand-edited INI file and points Setting at it.
void initWithIni(const TempAppFolder &folder, const QByteArray &text)
{
    Setting::instance().sync(); // pending writes of the previous file go first
    QDir().mkpath(folder.filePath(QStringLiteral("config/vorlik")));
    QFile file(iniPath(folder));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("[General]\n" + text);
    file.close();
    Setting::instance().init(folder.path());
}
} // namespace

class TestSetting : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void gettersBeforeInit();
    void fileLocation();
    void seedingWritesEveryKeyOnce();
    void autoDeleteItemRoundTrip();
    void retentionChoices();
    void mainWindowSize();
    void tabOrder();
    void limitGetters();
    void plainValues();
};

void TestSetting::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    registerMetaTypes();
    registerMetaTypes(); // a second call must be harmless
}

void TestSetting::gettersBeforeInit()
{
    QVERIFY(!Setting::instance().settings());
    QCOMPARE(HistorySettings::singleSizeLimitMb(), 3u);
    QCOMPARE(HistorySettings::totalSizeLimitMb(), 500u);
    QCOMPARE(HistorySettings::totalCntLimit(), 10000u);
    QCOMPARE(HistorySettings::autoDeleteTime(), 2592000000LL);
    QVERIFY(HistorySettings::autoStart());
    QVERIFY(!HistorySettings::exceedLimitNotify());
    QVERIFY(Setting::instance().isAutoCheckUpdate());
    QList<uint> order;
    QVERIFY(!Setting::instance().getTabOrder(order));
    int width = 0, height = 0;
    QVERIFY(!Setting::instance().getMainWindowSize(width, height));
}

void TestSetting::fileLocation()
{
    TempAppFolder folder;
    Setting::instance().init(folder.path());
    QSettings *settings = Setting::instance().settings();
    QVERIFY(settings);
    QCOMPARE(settings->fileName(), iniPath(folder));
    QCOMPARE(settings->format(), QSettings::IniFormat);
    Setting::instance().setMainWindowSize(640, 400);
    QVERIFY(QFile::exists(iniPath(folder)));
}

void TestSetting::seedingWritesEveryKeyOnce()
{
    TempAppFolder folder;
    // A value the user chose before must survive seeding.
    initWithIni(folder, "limit-totalCntLimit=42\n");
    QSettings *settings = Setting::instance().settings();
    HistorySettings::seedDefaults(settings);
    settings->sync();
    const QByteArray first = fileBytes(iniPath(folder));

    QSettings reread(iniPath(folder), QSettings::IniFormat);
    const QStringList keys = {
        "general-autoStart",       "general-runAsAdmin",     "general-autoDeleteTime",
        "limit-singleSizeLimit",   "limit-totalSizeLimit",   "limit-totalCntLimit",
        "limit-exceedLimitNotify", "shortcut-activeMainWnd", "shortcut-copyAsPlainText"};
    for (const QString &key : keys) {
        QVERIFY2(reread.contains(key), qPrintable(key));
        QCOMPARE(first.count(QByteArray(key.toUtf8() + '=')), 1);
    }
    QCOMPARE(reread.value("general-autoStart").toBool(), true);
    QCOMPARE(reread.value("general-runAsAdmin").toBool(), false);
    QCOMPARE(reread.value("general-autoDeleteTime").value<AutoDeleteItem>().index, 2);
    QCOMPARE(reread.value("limit-singleSizeLimit").toUInt(), 3u);
    QCOMPARE(reread.value("limit-totalSizeLimit").toUInt(), 500u);
    QCOMPARE(reread.value("limit-totalCntLimit").toUInt(), 42u);
    QCOMPARE(reread.value("limit-exceedLimitNotify").toBool(), false);
    QCOMPARE(reread.value("shortcut-activeMainWnd").value<QKeySequence>(),
             QKeySequence(QStringLiteral("Ctrl+T")));
    QCOMPARE(reread.value("shortcut-copyAsPlainText").value<QKeySequence>(),
             QKeySequence(QStringLiteral("Ctrl+Shift+C")));

    HistorySettings::seedDefaults(settings);
    settings->sync();
    QCOMPARE(fileBytes(iniPath(folder)), first);
}

void TestSetting::autoDeleteItemRoundTrip()
{
    TempAppFolder folder;
    Setting::instance().init(folder.path());
    const AutoDeleteItem stored = autoDeleteChoices().at(5);
    Setting::instance().settings()->setValue(HistorySettings::keyAutoDeleteTime, QVariant::fromValue(stored));
    Setting::instance().sync();

    QSettings reread(iniPath(folder), QSettings::IniFormat);
    QCOMPARE(reread.value(HistorySettings::keyAutoDeleteTime).value<AutoDeleteItem>(), stored);
    Setting::instance().init(folder.path());
    QCOMPARE(HistorySettings::autoDeleteItem(), stored);
    QCOMPARE(HistorySettings::autoDeleteTime(), 31536000000000LL);

    // Field order is part of the stored form: 64-bit time, then 32-bit index.
    QByteArray bytes;
    {
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << AutoDeleteItem{604800000LL, 1};
    }
    QCOMPARE(bytes.size(), 12);
    QDataStream probe(bytes);
    qint64 time = 0;
    qint32 index = 0;
    probe >> time >> index;
    QCOMPARE(time, 604800000LL);
    QCOMPARE(index, 1);

    // A short stream reports the error and leaves the target as it was.
    QDataStream truncated(bytes.left(10));
    AutoDeleteItem target{1, 4};
    truncated >> target;
    QVERIFY(truncated.status() != QDataStream::Ok);
    QCOMPARE(target, (AutoDeleteItem{1, 4}));

    // Garbage in the key falls back on thirty days.
    initWithIni(folder, "general-autoDeleteTime=soon\n");
    QCOMPARE(HistorySettings::autoDeleteItem().index, 2);
    QCOMPARE(HistorySettings::autoDeleteTime(), 2592000000LL);
}

void TestSetting::retentionChoices()
{
    const QList<qint64> times = {86400000LL,    604800000LL,   2592000000LL,
                                 15552000000LL, 31536000000LL, 31536000000000LL};
    const QList<AutoDeleteItem> &choices = autoDeleteChoices();
    QCOMPARE(choices.size(), times.size());
    for (int i = 0; i < choices.size(); ++i) {
        QCOMPARE(choices.at(i).index, i);
        QCOMPARE(choices.at(i).deleteTime, times.at(i));
    }
    QCOMPARE(AutoDeleteItem(), choices.at(2));
}

void TestSetting::mainWindowSize()
{
    TempAppFolder folder;
    int width = -1, height = -1;

    // Width alone is not enough: the window then keeps its built-in size.
    initWithIni(folder, "MainWindowWidth=800\n");
    QVERIFY(!Setting::instance().getMainWindowSize(width, height));
    QCOMPARE(width, -1);

    initWithIni(folder, "MainWindowWidth=800\nMainWindowHeight=tall\n");
    QVERIFY(!Setting::instance().getMainWindowSize(width, height));

    initWithIni(folder, "MainWindowWidth=800\nMainWindowHeight=494\n");
    QVERIFY(Setting::instance().getMainWindowSize(width, height));
    QCOMPARE(width, 800);
    QCOMPARE(height, 494);

    // The setter syncs at once, so another reader sees the new size.
    Setting::instance().setMainWindowSize(1400, 865);
    QSettings reread(iniPath(folder), QSettings::IniFormat);
    QCOMPARE(reread.value("MainWindowWidth").toInt(), 1400);
    QCOMPARE(reread.value("MainWindowHeight").toInt(), 865);
}

void TestSetting::tabOrder()
{
    TempAppFolder folder;
    Setting::instance().init(folder.path());
    QList<uint> order = {7};
    QVERIFY(!Setting::instance().getTabOrder(order));
    QCOMPARE(order, QList<uint>{7});

    const QList<uint> stored = {20, 0, 3, 21, 1, 2, 4};
    Setting::instance().setTabOrder(stored);
    Setting::instance().init(folder.path()); // read back from the file
    QVERIFY(Setting::instance().getTabOrder(order));
    QCOMPARE(order, stored);
    QVERIFY(fileBytes(iniPath(folder)).contains("@Variant("));

    Setting::instance().removeTabOrder();
    QVERIFY(!Setting::instance().getTabOrder(order));

    initWithIni(folder, "TabWidgetTabOrder=20, 0, 1\n");
    QVERIFY(Setting::instance().getTabOrder(order));
    QCOMPARE(order, (QList<uint>{20, 0, 1}));

    order = {9};
    initWithIni(folder, "TabWidgetTabOrder=20, first, 1\n");
    QVERIFY(!Setting::instance().getTabOrder(order));
    initWithIni(folder, "TabWidgetTabOrder=\n");
    QVERIFY(!Setting::instance().getTabOrder(order));
    QCOMPARE(order, QList<uint>{9});

    const QVariant asList = QVariant::fromValue(stored);
    QVERIFY(asList.canConvert<QSequentialIterable>());
}

void TestSetting::limitGetters()
{
    TempAppFolder folder;
    initWithIni(folder, "limit-exceedLimitNotify=true\n");
    QCOMPARE(HistorySettings::singleSizeLimitMb(), 3u);
    QCOMPARE(HistorySettings::totalSizeLimitMb(), 500u);
    QCOMPARE(HistorySettings::totalCntLimit(), 10000u);
    QVERIFY(HistorySettings::exceedLimitNotify());

    // Ranges are the dialog's business: hand-edited values come back raw.
    initWithIni(folder, "limit-singleSizeLimit=4096\nlimit-totalSizeLimit=50\nlimit-totalCntLimit=60000\n");
    QCOMPARE(HistorySettings::singleSizeLimitMb(), 4096u);
    QCOMPARE(HistorySettings::totalSizeLimitMb(), 50u);
    QCOMPARE(HistorySettings::totalCntLimit(), 60000u);

    // Text that is no number must not turn into a limit of 0.
    initWithIni(folder, "limit-totalCntLimit=many\nlimit-singleSizeLimit=-1\n");
    QCOMPARE(HistorySettings::totalCntLimit(), 10000u);
    QCOMPARE(HistorySettings::singleSizeLimitMb(), 3u);
}

void TestSetting::plainValues()
{
    TempAppFolder folder;
    Setting::instance().init(folder.path());
    Setting &setting = Setting::instance();
    QVERIFY(setting.isAutoCheckUpdate());
    QVERIFY(!setting.isParentAutoStart());
    setting.setAutoCheckUpdate(false);
    setting.setParentAutoStart(true);
    setting.sync();
    setting.init(folder.path());
    QVERIFY(!setting.isAutoCheckUpdate());
    QVERIFY(setting.isParentAutoStart());

    HistorySettings::seedDefaults(setting.settings());
    QCOMPARE(HistorySettings::activeMainWndShortcut(), QKeySequence(QStringLiteral("Ctrl+T")));
    setting.settings()->setValue(HistorySettings::keyCopyAsPlainText, QKeySequence(QStringLiteral("Alt+V")));
    setting.sync();
    setting.init(folder.path());
    QCOMPARE(HistorySettings::copyAsPlainTextShortcut(), QKeySequence(QStringLiteral("Alt+V")));
}

QTEST_GUILESS_MAIN(TestSetting)
#include "tst_setting.moc"
