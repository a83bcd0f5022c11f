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
    return folder.filePath("config/vorlik/vorlik.ini");
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
    QDir().mkpath(folder.filePath("config/vorlik"));
    QFile file(iniPath(folder));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("[General]\n" + text);
    file.close();
    Setting::instance().init(folder.path());
}

// Every typed getter in one line; a failed read shows "!" and the untouched target.
QString readBack()
{
    const Setting &setting = Setting::instance();
    int width = -1, height = -1;
    QList<uint> order{9};
    const bool size = setting.getMainWindowSize(width, height);
    const bool ordered = setting.getTabOrder(order);
    QStringList ids;
    for (uint id : order)
        ids << QString::number(id);
    return QString("limits %1/%2/%3 notify %4 keep %5 parent %6 update %7 size %8%9x%10 order %11%12")
        .arg(HistorySettings::singleSizeLimitMb())
        .arg(HistorySettings::totalSizeLimitMb())
        .arg(HistorySettings::totalCntLimit())
        .arg(HistorySettings::exceedLimitNotify())
        .arg(HistorySettings::autoDeleteItem().index)
        .arg(setting.isParentAutoStart())
        .arg(setting.isAutoCheckUpdate())
        .arg(size ? "" : "!")
        .arg(width)
        .arg(height)
        .arg(ordered ? "" : "!")
        .arg(ids.join(','));
}
} // namespace

class TestSetting : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void seedingWritesEveryKeyOnce();
    void handEditedValues_data();
    void handEditedValues();
    void storedForms();
};

void TestSetting::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    registerMetaTypes();
    registerMetaTypes(); // a second call must be harmless

    // Before init every getter answers with its default.
    QVERIFY(!Setting::instance().settings());
    QCOMPARE(readBack(), "limits 3/500/10000 notify 0 keep 2 parent 0 update 1 size !-1x-1 order !9");
    QCOMPARE(HistorySettings::autoDeleteTime(), 2592000000LL);
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

    QSettings reread(iniPath(folder), QSettings::IniFormat);
    const QVariantMap seeded{{"general-autoStart", true},
                             {"general-runAsAdmin", false},
                             {"limit-singleSizeLimit", 3},
                             {"limit-totalSizeLimit", 500},
                             {"limit-totalCntLimit", 42},
                             {"limit-exceedLimitNotify", false},
                             {"shortcut-activeMainWnd", QKeySequence("Ctrl+T")},
                             {"shortcut-copyAsPlainText", QKeySequence("Ctrl+Shift+C")}};
    for (auto it = seeded.cbegin(); it != seeded.cend(); ++it) {
        QVERIFY2(first.count(QByteArray(it.key().toUtf8() + '=')) == 1, qPrintable(it.key()));
        QVariant value = reread.value(it.key());
        QVERIFY2(value.convert(it->metaType()) && value == *it, qPrintable(it.key()));
    }
    QVERIFY(first.count("general-autoDeleteTime=") == 1);
    QCOMPARE(reread.value("general-autoDeleteTime").value<AutoDeleteItem>().index, 2);

    HistorySettings::seedDefaults(settings);
    settings->sync();
    QCOMPARE(fileBytes(iniPath(folder)), first);
}

void TestSetting::handEditedValues_data()
{
    QTest::addColumn<QByteArray>("ini");
    QTest::addColumn<QString>("read");
    const QString defaults = "limits 3/500/10000 notify 0 keep 2 parent 0 update 1 ";
    QTest::newRow("empty") << QByteArray() << defaults + "size !-1x-1 order !9";
    QTest::newRow("flags") << QByteArray("limit-exceedLimitNotify=true\nSettingAutoStart=true\n"
                                         "about-autoCheckUpdate=false\n")
                           << "limits 3/500/10000 notify 1 keep 2 parent 1 update 0 size !-1x-1 order !9";
    // Ranges are the dialog's business: hand-edited values come back raw,
    // but text that is no number must not become a limit of 0.
    QTest::newRow("limits") << QByteArray("limit-singleSizeLimit=4096\nlimit-totalSizeLimit=50\n"
                                          "limit-totalCntLimit=many\ngeneral-autoDeleteTime=soon\n")
                            << "limits 4096/50/10000 notify 0 keep 2 parent 0 update 1 size !-1x-1 order !9";
    // Width alone is not enough: the window then keeps its built-in size.
    QTest::newRow("width only") << QByteArray("MainWindowWidth=800\n") << defaults + "size !-1x-1 order !9";
    QTest::newRow("bad height") << QByteArray("MainWindowWidth=800\nMainWindowHeight=tall\n")
                                << defaults + "size !-1x-1 order !9";
    QTest::newRow("size") << QByteArray("MainWindowWidth=800\nMainWindowHeight=494\n")
                          << defaults + "size 800x494 order !9";
    QTest::newRow("order") << QByteArray("TabWidgetTabOrder=20, 0, 1\n")
                           << defaults + "size !-1x-1 order 20,0,1";
    QTest::newRow("order with a word")
        << QByteArray("TabWidgetTabOrder=20, first, 1\n") << defaults + "size !-1x-1 order !9";
    QTest::newRow("empty order") << QByteArray("TabWidgetTabOrder=\n") << defaults + "size !-1x-1 order !9";
}

void TestSetting::handEditedValues()
{
    QFETCH(QByteArray, ini);
    QFETCH(QString, read);
    TempAppFolder folder;
    initWithIni(folder, ini);
    QCOMPARE(readBack(), read);
}

void TestSetting::storedForms()
{
    TempAppFolder folder;
    Setting::instance().init(folder.path());
    const AutoDeleteItem longest{31536000000000LL, 5};
    Setting::instance().settings()->setValue(HistorySettings::keyAutoDeleteTime,
                                             QVariant::fromValue(longest));
    const QList<uint> order = {20, 0, 3, 21, 1, 2, 4};
    Setting::instance().setTabOrder(order);
    QVERIFY(fileBytes(iniPath(folder)).contains("@Variant("));
    // The setter syncs at once, so another reader sees the new size.
    Setting::instance().setMainWindowSize(1400, 865);
    QCOMPARE(QSettings(iniPath(folder), QSettings::IniFormat).value("MainWindowHeight").toInt(), 865);

    Setting::instance().init(folder.path()); // flushes, then reads the file anew
    QCOMPARE(HistorySettings::autoDeleteItem(), longest);
    QCOMPARE(HistorySettings::autoDeleteTime(), 31536000000000LL);
    QCOMPARE(readBack(),
             "limits 3/500/10000 notify 0 keep 5 parent 0 update 1 size 1400x865 order 20,0,3,21,1,2,4");
    Setting::instance().removeTabOrder();
    QVERIFY(readBack().endsWith("order !9"));

    // The retention: 64-bit time, then 32-bit index; a short stream changes nothing.
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << AutoDeleteItem{604800000LL, 1};
    QCOMPARE(bytes.toHex(), QByteArray("00000000240c840000000001"));
    QDataStream truncated(bytes.left(10));
    AutoDeleteItem target{1, 4};
    truncated >> target;
    QVERIFY(truncated.status() != QDataStream::Ok);
    QCOMPARE(target, (AutoDeleteItem{1, 4}));
}

QTEST_GUILESS_MAIN(TestSetting)
#include "tst_setting.moc"
