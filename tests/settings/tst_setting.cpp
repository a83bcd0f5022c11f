#include <QFile>
#include <QKeySequence>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "common/autodeleteitem.h"
#include "common/historysettings.h"
#include "common/setting.h"
#include "support/tempappfolder.h"

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
    void seedingWritesEveryKeyOnce();
    void retentionRoundTrip();
    void mainWindowSize();
    void tabOrder();
    void limitGetters();
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
    QCOMPARE(HistorySettings::autoDeleteTime(), 2592000000LL);
    QVERIFY(Setting::instance().isAutoCheckUpdate());
    QList<uint> order;
    QVERIFY(!Setting::instance().getTabOrder(order));
}

void TestSetting::seedingWritesEveryKeyOnce()
{
    TempAppFolder folder;
    initWithIni(folder, "limit-totalCntLimit=42\n"); // chosen before: must survive
    QSettings *settings = Setting::instance().settings();
    QCOMPARE(settings->fileName(), iniPath(folder));
    HistorySettings::seedDefaults(settings);
    settings->sync();
    const QByteArray first = fileBytes(iniPath(folder));

    const QStringList keys = {
        "general-autoStart",       "general-runAsAdmin",     "general-autoDeleteTime",
        "limit-singleSizeLimit",   "limit-totalSizeLimit",   "limit-totalCntLimit",
        "limit-exceedLimitNotify", "shortcut-activeMainWnd", "shortcut-copyAsPlainText"};
    for (const QString &key : keys)
        QVERIFY2(first.count(QByteArray(key.toUtf8() + '=')) == 1, qPrintable(key));
    QSettings reread(iniPath(folder), QSettings::IniFormat);
    QCOMPARE(reread.value("general-autoStart").toBool(), true);
    QCOMPARE(reread.value("general-runAsAdmin").toBool(), false);
    QCOMPARE(reread.value("general-autoDeleteTime").value<AutoDeleteItem>().index, 2);
    QCOMPARE(reread.value("limit-singleSizeLimit").toUInt(), 3u);
    QCOMPARE(reread.value("limit-totalSizeLimit").toUInt(), 500u);
    QCOMPARE(reread.value("limit-totalCntLimit").toUInt(), 42u);
    QCOMPARE(reread.value("limit-exceedLimitNotify").toBool(), false);
    QCOMPARE(reread.value("shortcut-activeMainWnd").value<QKeySequence>(), QKeySequence("Ctrl+T"));
    QCOMPARE(reread.value("shortcut-copyAsPlainText").value<QKeySequence>(), QKeySequence("Ctrl+Shift+C"));

    HistorySettings::seedDefaults(settings);
    settings->sync();
    QCOMPARE(fileBytes(iniPath(folder)), first);
}

void TestSetting::retentionRoundTrip()
{
    const QList<qint64> times = {86400000LL,    604800000LL,   2592000000LL,
                                 15552000000LL, 31536000000LL, 31536000000000LL};
    QCOMPARE(autoDeleteChoices().size(), times.size());
    for (int i = 0; i < times.size(); ++i)
        QCOMPARE(autoDeleteChoices().at(i), (AutoDeleteItem{times.at(i), i}));

    TempAppFolder folder;
    Setting::instance().init(folder.path());
    const AutoDeleteItem stored = autoDeleteChoices().at(5);
    Setting::instance().settings()->setValue(HistorySettings::keyAutoDeleteTime, QVariant::fromValue(stored));
    Setting::instance().init(folder.path()); // flushes, then reads the file anew
    QCOMPARE(HistorySettings::autoDeleteItem(), stored);
    QCOMPARE(HistorySettings::autoDeleteTime(), 31536000000000LL);

    // The stored form: 64-bit time, then 32-bit index; a short stream changes nothing.
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << AutoDeleteItem{604800000LL, 1};
    QCOMPARE(bytes.toHex(), QByteArray("00000000240c840000000001"));
    QDataStream truncated(bytes.left(10));
    AutoDeleteItem target{1, 4};
    truncated >> target;
    QVERIFY(truncated.status() != QDataStream::Ok);
    QCOMPARE(target, (AutoDeleteItem{1, 4}));

    initWithIni(folder, "general-autoDeleteTime=soon\n");
    QCOMPARE(HistorySettings::autoDeleteItem().index, 2);
}

void TestSetting::mainWindowSize()
{
    TempAppFolder folder;
    int width = -1, height = -1;
    // Width alone is not enough: the window then keeps its built-in size.
    initWithIni(folder, "MainWindowWidth=800\n");
    QVERIFY(!Setting::instance().getMainWindowSize(width, height));
    initWithIni(folder, "MainWindowWidth=800\nMainWindowHeight=tall\n");
    QVERIFY(!Setting::instance().getMainWindowSize(width, height));
    QCOMPARE(width, -1);
    initWithIni(folder, "MainWindowWidth=800\nMainWindowHeight=494\n");
    QVERIFY(Setting::instance().getMainWindowSize(width, height));
    QCOMPARE(QSize(width, height), QSize(800, 494));

    // The setter syncs at once, so another reader sees the new size.
    Setting::instance().setMainWindowSize(1400, 865);
    QSettings reread(iniPath(folder), QSettings::IniFormat);
    QCOMPARE(reread.value("MainWindowHeight").toInt(), 865);
}

void TestSetting::tabOrder()
{
    TempAppFolder folder;
    Setting::instance().init(folder.path());
    const QList<uint> stored = {20, 0, 3, 21, 1, 2, 4};
    Setting::instance().setTabOrder(stored);
    QVERIFY(fileBytes(iniPath(folder)).contains("@Variant("));
    Setting::instance().init(folder.path());
    QList<uint> order;
    QVERIFY(Setting::instance().getTabOrder(order));
    QCOMPARE(order, stored);
    QVERIFY(QVariant::fromValue(stored).canConvert<QVariantList>());

    Setting::instance().removeTabOrder();
    order = {9};
    QVERIFY(!Setting::instance().getTabOrder(order));
    initWithIni(folder, "TabWidgetTabOrder=20, first, 1\n");
    QVERIFY(!Setting::instance().getTabOrder(order));
    initWithIni(folder, "TabWidgetTabOrder=\n");
    QVERIFY(!Setting::instance().getTabOrder(order));
    QCOMPARE(order, QList<uint>{9});
    initWithIni(folder, "TabWidgetTabOrder=20, 0, 1\n");
    QVERIFY(Setting::instance().getTabOrder(order));
    QCOMPARE(order, (QList<uint>{20, 0, 1}));
}

void TestSetting::limitGetters()
{
    TempAppFolder folder;
    initWithIni(folder, "limit-exceedLimitNotify=true\nSettingAutoStart=true\nabout-autoCheckUpdate=false\n");
    QCOMPARE(HistorySettings::totalSizeLimitMb(), 500u);
    QCOMPARE(HistorySettings::totalCntLimit(), 10000u);
    QVERIFY(HistorySettings::exceedLimitNotify());
    QVERIFY(Setting::instance().isParentAutoStart());
    QVERIFY(!Setting::instance().isAutoCheckUpdate());
    QCOMPARE(HistorySettings::copyAsPlainTextShortcut(), QKeySequence("Ctrl+Shift+C"));

    // Ranges are the dialog's business: hand-edited values come back raw,
    // but text that is no number must not become a limit of 0.
    initWithIni(folder, "limit-singleSizeLimit=4096\nlimit-totalSizeLimit=50\nlimit-totalCntLimit=many\n");
    QCOMPARE(HistorySettings::singleSizeLimitMb(), 4096u);
    QCOMPARE(HistorySettings::totalSizeLimitMb(), 50u);
    QCOMPARE(HistorySettings::totalCntLimit(), 10000u);
}

QTEST_GUILESS_MAIN(TestSetting)
#include "tst_setting.moc"
