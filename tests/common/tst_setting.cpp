#include <memory>

#include <QKeySequence>
#include <QtTest>

#include "app/metatypes.h"
#include "common/autodeleteitem.h"
#include "common/historysettings.h"
#include "common/setting.h"
#include "support/tempappfolder.h"

namespace {
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
    using namespace HistorySettings;
    return QString::asprintf(
        "start %d admin %d limits %u/%u/%u notify %d keep %d parent %d update %d keys %s %s size %s%dx%d "
        "order %s%s",
        autoStart(), runAsAdmin(), singleSizeLimitMb(), totalSizeLimitMb(), totalCntLimit(),
        exceedLimitNotify(), autoDeleteItem().index, setting.isParentAutoStart(), setting.isAutoCheckUpdate(),
        qPrintable(activeMainWndShortcut().toString()), qPrintable(copyAsPlainTextShortcut().toString()),
        size ? "" : "!", width, height, ordered ? "" : "!", qPrintable(ids.join(',')));
}

const QString defaults = "start 1 admin 0 limits 3/500/10000 notify 0 keep 2 parent 0 update 1 "
                         "keys Ctrl+T Ctrl+Shift+C size !-1x-1 order !9";
} // namespace

class TestSetting : public QObject
{
    Q_OBJECT
    std::unique_ptr<TempAppFolder> folder;

    QString iniPath() const { return folder->filePath("config/vorlik/vorlik.ini"); }
    QByteArray iniBytes() const
    {
        QFile file(iniPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // Writes an INI file, keys in its general section, in a fresh folder and points Setting at it:
    // the start of a program that finds the file as a user or a former run left it.
    void start(const QByteArray &text)
    {
        Setting::instance().sync(); // pending writes go before their folder does
        folder = std::make_unique<TempAppFolder>();
        QDir().mkpath(folder->filePath("config/vorlik"));
        QFile file(iniPath());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush());
        Setting::instance().init(folder->path());
    }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        registerMetaTypes();
        // Before init every getter answers with its default.
        QVERIFY(!Setting::instance().settings());
        QCOMPARE(readBack(), defaults);
    }

    void cleanupTestCase() { Setting::instance().sync(); }

    // Each row shows the part of the read-back that differs from the defaults.
    void handEditedValues_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("read");
        QTest::newRow("flags") << QByteArray("general-autoStart=false\ngeneral-runAsAdmin=true\n"
                                             "limit-exceedLimitNotify=true\nSettingAutoStart=true\n"
                                             "about-autoCheckUpdate=false\n")
                               << "start 0 admin 1 limits 3/500/10000 notify 1 keep 2 parent 1 update 0 ";
        // Ranges are the dialog's business: hand-edited values come back raw,
        // but text that is no number must not become a limit of 0.
        QTest::newRow("limits") << QByteArray("limit-singleSizeLimit=4096\nlimit-totalSizeLimit=50\n"
                                              "limit-totalCntLimit=many\ngeneral-autoDeleteTime=soon\n")
                                << " limits 4096/50/10000 notify 0 keep 2 ";
        // Width alone is not enough: the window then keeps its built-in size.
        QTest::newRow("width only") << QByteArray("MainWindowWidth=800\n") << defaults;
        QTest::newRow("bad height") << QByteArray("MainWindowWidth=800\nMainWindowHeight=tall\n") << defaults;
        QTest::newRow("size") << QByteArray("MainWindowWidth=800\nMainWindowHeight=494\n") << "size 800x494 ";
        QTest::newRow("order") << QByteArray("TabWidgetTabOrder=20, 0, 1\n") << " order 20,0,1";
        QTest::newRow("order with a word") << QByteArray("TabWidgetTabOrder=20, first, 1\n") << defaults;
        QTest::newRow("empty order") << QByteArray("TabWidgetTabOrder=\n") << defaults;
    }

    void handEditedValues()
    {
        QFETCH(QByteArray, ini);
        QFETCH(QString, read);
        start(ini);
        QVERIFY2(readBack().contains(read), qPrintable(readBack()));
    }

    // A first start seeds every missing key once; what a run stores, the next start reads back.
    void restart()
    {
        start("limit-totalCntLimit=42\n"); // chosen before: must survive
        Setting &setting = Setting::instance();
        QCOMPARE(setting.settings()->fileName(), iniPath());
        HistorySettings::seedDefaults(setting.settings());
        setting.settings()->setValue(HistorySettings::keyAutoDeleteTime,
                                     QVariant::fromValue(AutoDeleteItem{31536000000000LL, 5}));
        setting.setTabOrder({20, 0, 3, 21, 1, 2, 4});
        setting.setParentAutoStart(true);
        setting.setAutoCheckUpdate(false);
        // The size goes to disk at once, with all before it, whatever happens to the program next.
        setting.setMainWindowSize(1400, 865);
        const QByteArray written = iniBytes();
        for (const char *key :
             {"general-autoStart", "general-runAsAdmin", "general-autoDeleteTime", "limit-singleSizeLimit",
              "limit-totalSizeLimit", "limit-totalCntLimit", "limit-exceedLimitNotify",
              "shortcut-activeMainWnd", "shortcut-copyAsPlainText", "MainWindowHeight"})
            QVERIFY2(written.count(QByteArray(key).append('=')) == 1, key);

        start(written);
        QCOMPARE(readBack(), "start 1 admin 0 limits 3/500/42 notify 0 keep 5 parent 1 update 0 keys Ctrl+T "
                             "Ctrl+Shift+C size 1400x865 order 20,0,3,21,1,2,4");
        QCOMPARE(HistorySettings::autoDeleteTime(), 31536000000000LL);
        HistorySettings::seedDefaults(setting.settings());
        setting.sync();
        QCOMPARE(iniBytes(), written);
        setting.removeTabOrder();
        QVERIFY(readBack().endsWith("order !9"));
        // A retention of no time would empty the history at once.
        setting.settings()->setValue(HistorySettings::keyAutoDeleteTime,
                                     QVariant::fromValue(AutoDeleteItem{0, 0}));
        QCOMPARE(HistorySettings::autoDeleteTime(), 2592000000LL);
    }
};

QTEST_GUILESS_MAIN(TestSetting)
#include "tst_setting.moc"
