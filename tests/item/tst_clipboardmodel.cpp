#include <memory>

#include <QAbstractItemModelTester>
#include <QDateTime>
#include <QElapsedTimer>
#include <QPixmap>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTimer>
#include <QtTest>

#include "common/autodeleteitem.h"
#include "common/historysettings.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "item/clipboardmodel.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"
#include "support/tempappfolder.h"

namespace {

constexpr qulonglong kDay = 86400000ULL;

qulonglong now()
{
    return qulonglong(QDateTime::currentMSecsSinceEpoch());
}

ItemData textItem(const QString &text, qulonglong activeTime = now(), const QSet<uint> &tabs = {})
{
    ItemData item;
    item.itemType = ItemTypeText;
    item.createTime = item.lastActiveTime = activeTime;
    item.dataMap = {{MIME_TEXT, text}, {MIME_EXE_PATH, QString()}};
    for (uint tab : tabs)
        item.addCustomId(tab);
    item.hashValue = hashDataMap(item.dataMap, identityKeys());
    return item;
}

void setting(const QString &key, const QVariant &value)
{
    Setting::instance().settings()->setValue(key, value);
}

void keepFor(qulonglong ms)
{
    setting(HistorySettings::keyAutoDeleteTime, QVariant::fromValue(AutoDeleteItem{qint64(ms), 0}));
}

// Busy, so that a pass's own clock sees the time go by.
void spend(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
    }
}

} // namespace

class TestClipboardModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void rowsAndRoles();
    void timesOfUse();
    void tabsAndAnnotations();
    void editChangesIdentity();
    void iconsAndClearAll();
    void expiry();
    void expiryIsStrict();
    void expiryBudget();
    void eviction();
    void evictionBudget();

private:
    void add(const QString &text, qulonglong time, const QSet<uint> &tabs = {})
    {
        model->addItem(textItem(text, time, tabs));
    }
    // The texts of the rows, top first, joined by "|".
    QString rows() const;
    // The signals sent since the last call, in order, joined by spaces.
    QString sent() { return std::exchange(signalNames, {}).join(' '); }

    TempAppFolder folder;
    std::unique_ptr<ClipboardModel> model;
    std::unique_ptr<QAbstractItemModelTester> tester;
    TabAutoDeleteMap tabs;
    QStringList signalNames;
};

void TestClipboardModel::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(folder.isValid());
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());
}

void TestClipboardModel::init()
{
    Setting::instance().settings()->clear();
    tabs = {{20, true}, {21, false}};
    model = std::make_unique<ClipboardModel>();
    model->setTabAutoDeleteProvider([this]() { return tabs; });
    tester = std::make_unique<QAbstractItemModelTester>(model.get());

    const auto record = [this](const char *name) {
        return [this, name]() { signalNames << QLatin1String(name); };
    };
    ClipboardModel *m = model.get();
    connect(m, &ClipboardModel::dataChanged, this, record("changed"));
    connect(m, &ClipboardModel::scrollToTopSignal, this, record("scroll"));
    connect(m, &ClipboardModel::itemHashValueChanged, this, record("hashChanged"));
    connect(m, &ClipboardModel::insertSignal, this, record("insert"));
    connect(m, &ClipboardModel::updateActiveTimeSignal, this, record("time"));
    connect(m, &ClipboardModel::updateCreateActiveTimeSignal, this, record("createTime"));
    connect(m, &ClipboardModel::updateDataMapSignal, this, record("map"));
    connect(m, &ClipboardModel::updateDataMapAndTimeSignal, this, record("mapAndTime"));
    connect(m, &ClipboardModel::deleteItemSignal, this, record("delete"));
    connect(m, &ClipboardModel::deleteAllItemsSignal, this, record("deleteAll"));
    connect(m, &ClipboardModel::insertIconSignal, this, record("icon"));
}

void TestClipboardModel::cleanup()
{
    tester.reset();
    model.reset();
    signalNames.clear();
}

QString TestClipboardModel::rows() const
{
    QStringList texts;
    for (const ItemData &item : model->items())
        texts << item.text();
    return texts.join('|');
}

void TestClipboardModel::rowsAndRoles()
{
    QSignalSpy inserts(model.get(), &ClipboardModel::insertSignal);
    model->addLoadedItem(textItem("loaded"));
    QCOMPARE(sent(), "changed");
    model->addItem(textItem("new"));
    QCOMPARE(sent(), "changed insert");
    QCOMPARE(inserts.at(0).at(0).value<ItemData>().text(), "new");
    QCOMPARE(rows(), "new|loaded");
    QVERIFY(model->contains(textItem("loaded").hashValue) && !model->contains(textItem("other").hashValue));

    const QModelIndex top = model->index(0);
    QCOMPARE(model->data(top, Qt::DisplayRole).value<ItemData>().text(), "new");
    QVERIFY(!model->data(top, Qt::DecorationRole).isValid());

    // setData replaces the record in memory only; anything but a record is refused.
    QVERIFY(!model->setData(top, "not an item"));
    QVERIFY(model->setData(top, QVariant::fromValue(textItem("replaced"))));
    QCOMPARE(rows(), "replaced|loaded");
    QVERIFY(!model->removeRows(-1, 1) && !model->removeRows(0, 0) && !model->removeRows(1, 2));

    const uint loadedHash = model->items().at(1).hashValue;
    sent();
    model->removeItem(loadedHash);
    QCOMPARE(sent(), "delete");
    QVERIFY(!model->contains(loadedHash));
    model->removeItem(loadedHash);
    model->removeRow(5);
    QCOMPARE(sent(), "");
}

void TestClipboardModel::timesOfUse()
{
    const ItemData item = textItem("dup", now() - kDay);
    model->addItem(item);
    sent();

    // A copy of a known item refreshes both times from the plain clock.
    QSignalSpy created(model.get(), &ClipboardModel::updateCreateActiveTimeSignal);
    QVERIFY(!model->updateItemCreateActiveTime(12345));
    const qulonglong before = now();
    QVERIFY(model->updateItemCreateActiveTime(item.hashValue));
    QCOMPARE(sent(), "changed createTime");
    const ItemData &row = model->items().at(0);
    QVERIFY(row.createTime >= before);
    QCOMPARE(created.at(0), QVariantList({item.hashValue, row.createTime, row.lastActiveTime}));

    // Many uses within one millisecond still rise.
    QSignalSpy times(model.get(), &ClipboardModel::updateActiveTimeSignal);
    for (int i = 0; i < 50; ++i)
        model->updateItemActiveTime(item.hashValue);
    for (int i = 1; i < times.size(); ++i)
        QVERIFY(times.at(i).at(1).toULongLong() > times.at(i - 1).at(1).toULongLong());
    QCOMPARE(model->items().at(0).lastActiveTime, times.last().at(1).toULongLong());
    QVERIFY(sent().startsWith("changed time scroll changed"));
    model->updateItemActiveTime(999);
    QCOMPARE(sent(), "scroll");

    model->setItemActiveTime(model->index(0), 42);
    QCOMPARE(model->items().at(0).lastActiveTime, 42ULL);
    QCOMPARE(sent(), "changed time");
    model->setItemActiveTime(QModelIndex(), 43);
    QCOMPARE(sent(), "");
}

void TestClipboardModel::tabsAndAnnotations()
{
    const ItemData item = textItem("t", 1000);
    model->addItem(item);
    add("in 21 and 22", 1000, {21, 22});
    sent();
    QSignalSpy withTime(model.get(), &ClipboardModel::updateDataMapAndTimeSignal);
    QSignalSpy maps(model.get(), &ClipboardModel::updateDataMapSignal);

    // Joining a tab is a use of the item; leaving it is not.
    model->setItemCustomId(item.hashValue, 20, false);
    QCOMPARE(sent(), "changed mapAndTime scroll");
    const qulonglong joined = model->items().at(1).lastActiveTime;
    QVERIFY(joined > 1000);
    QSet<uint> stored;
    QVERIFY(deserializeCustomIds(withTime.at(0).at(1).toMap().value(MIME_CUSTOM_ID).toByteArray(), stored));
    QCOMPARE(stored, QSet<uint>{20});
    model->setItemCustomId(item.hashValue, 20, true);
    QCOMPARE(sent(), "changed map scroll");
    QCOMPARE(model->items().at(1).lastActiveTime, joined);
    model->setItemCustomId(777, 20, false);
    QCOMPARE(sent(), "scroll");

    model->removeCustomIdFromAll(21);
    QCOMPARE(sent(), "changed map");
    QCOMPARE(model->items().at(0).customIds, QSet<uint>{22});

    const int size = model->items().at(1).dataSize();
    model->setItemRemark(model->index(1), "note");
    QCOMPARE(sent(), "changed mapAndTime scroll");
    QCOMPARE(model->items().at(1).remark(), "note");
    model->setItemRemark(model->index(7), "nowhere");

    const QList<OCRResult> results{{QPolygon({QPoint(0, 0), QPoint(4, 4)}), QStringLiteral("ocr")}};
    model->onFinishOcr(item.hashValue, results);
    QCOMPARE(model->items().at(1).ocrResults, results);
    QCOMPARE(deserializeOcrResults(maps.last().at(1).toMap().value(MIME_OCR_RESULT).toByteArray()), results);
    model->onFetchWebTitle(item.hashValue, "Title");
    QCOMPARE(model->items().at(1).webTitle(), "Title");
    QCOMPARE(sent(), "changed map changed map");
    // Late answers for items that are gone are dropped.
    model->onFinishOcr(555, results);
    model->onFetchWebTitle(555, "late");
    QCOMPARE(sent(), "");
    // Annotations leave the counted size as first seen.
    QCOMPARE(model->items().at(1).dataSize(), size);
}

void TestClipboardModel::editChangesIdentity()
{
    const ItemData item = textItem("before", 1000, {20});
    model->addItem(item);
    model->addItem(textItem("newer"));
    sent();
    QSignalSpy changed(model.get(), &ClipboardModel::itemHashValueChanged);

    model->updateItemText(item.hashValue, "after");
    QCOMPARE(sent(), "delete changed insert scroll hashChanged");
    const ItemData &edited = model->items().at(0);
    QCOMPARE(edited.text(), "after");
    QCOMPARE(edited.hashValue, textItem("after").hashValue);
    QVERIFY(edited.createTime == 1000 && edited.lastActiveTime > 1000 && edited.hasCustomId(20));
    QVERIFY(!model->contains(item.hashValue) && model->contains(edited.hashValue));
    QCOMPARE(changed.at(0), QVariantList({item.hashValue, edited.hashValue}));

    model->updateItemText(4242, "x");
    QCOMPARE(sent(), "");
}

void TestClipboardModel::iconsAndClearAll()
{
    QPixmap red(16, 16), alsoRed(16, 16), blue(4, 4);
    red.fill(Qt::red);
    alsoRed.fill(Qt::red);
    blue.fill(Qt::blue);
    QSignalSpy iconSpy(model.get(), &ClipboardModel::insertIconSignal);

    // Icons are keyed by their image: the first path stays.
    uint first = 0, second = 0, none = 7;
    model->addIcon("/usr/bin/one", red, first);
    model->addIcon("/usr/bin/two", alsoRed, second);
    model->addIcon("/usr/bin/none", QPixmap(), none);
    QVERIFY(first != 0 && second == first && none == 0);
    QCOMPARE(iconSpy.size(), 1);
    QCOMPARE(iconSpy.at(0).at(1).toString(), "/usr/bin/one");
    QCOMPARE(iconSpy.at(0).at(0).toUInt(), hashBytes(iconSpy.at(0).at(2).toByteArray()));
    QCOMPARE(model->getIcon(first).size(), QSize(16, 16));
    QVERIFY(model->getIcon(0).isNull() && model->getIcon(31337).isNull());
    model->onLoadDbIcon({IconData{31337, "/x", blue}});
    QCOMPARE(model->getIcon(31337).size(), QSize(4, 4));

    // Everything goes, protected items too; the icons stay.
    const ItemData item = textItem("protected", 1000, {21});
    model->addItem(item);
    model->addItem(textItem("b"));
    sent();
    model->onClearAllItem();
    QCOMPARE(sent(), "deleteAll");
    QCOMPARE(model->rowCount(), 0);
    QVERIFY(!model->contains(item.hashValue) && !model->updateItemCreateActiveTime(item.hashValue));
    QVERIFY(!model->getIcon(first).isNull());
}

void TestClipboardModel::expiry()
{
    // Both passes run on timers only, never at start.
    QList<int> intervals;
    for (const QTimer *timer : model->findChildren<QTimer *>()) {
        QVERIFY(timer->isActive() && !timer->isSingleShot());
        intervals << timer->interval();
    }
    std::sort(intervals.begin(), intervals.end());
    QCOMPARE(intervals, QList<int>({900000, 3600000}));

    keepFor(kDay);
    const qulonglong old = now() - 2 * kDay;
    model->addItem(textItem("fresh"));
    add("old free", old);
    add("old in auto tab", old, {20});
    add("old in both", old, {20, 21});
    add("old in unknown tab", old, {30});
    QSignalSpy maps(model.get(), &ClipboardModel::updateDataMapSignal);

    model->onCheckExpiredItem();
    QCOMPARE(rows(), "old in unknown tab|old in both|fresh");
    QCOMPARE(model->items().at(1).customIds, QSet<uint>{21});
    // Kept old items are saved on every pass.
    QCOMPARE(maps.size(), 2);
    model->onCheckExpiredItem();
    QCOMPARE(maps.size(), 4);
    QCOMPARE(rows(), "old in unknown tab|old in both|fresh");
}

void TestClipboardModel::expiryIsStrict()
{
    const qulonglong keep = 3 * kDay;
    keepFor(keep);
    // Retried until a pass ran within one millisecond, so that its clock is known.
    bool checked = false;
    for (int attempt = 0; attempt < 200 && !checked; ++attempt) {
        model->onClearAllItem();
        const qulonglong before = now();
        add("at the edge", before - keep);
        add("one ms over", before - keep - 1);
        model->onCheckExpiredItem();
        if (now() != before)
            continue;
        QCOMPARE(rows(), "at the edge");
        checked = true;
    }
    QVERIFY(checked);
}

void TestClipboardModel::expiryBudget()
{
    keepFor(kDay);
    const qulonglong old = now() - 2 * kDay;
    for (int i = 0; i < 5; ++i)
        add(QString("old %1").arg(i), old);
    const ItemData keptA = textItem("kept a", old, {21});
    const ItemData keptB = textItem("kept b", old, {21});
    model->addItem(keptA);
    model->addItem(keptB);

    // Slow saves of kept items do not end the pass before a removal, but count after it.
    connect(model.get(), &ClipboardModel::updateDataMapSignal, this, []() { spend(80); });
    model->onCheckExpiredItem();
    QCOMPARE(rows(), "kept b|kept a|old 3|old 2|old 1|old 0");

    // Removals of 70 ms each: the second one ends the pass.
    model->removeItem(keptA.hashValue);
    model->removeItem(keptB.hashValue);
    connect(model.get(), &ClipboardModel::deleteItemSignal, this, []() { spend(70); });
    model->onCheckExpiredItem();
    QCOMPARE(rows(), "old 1|old 0");
}

void TestClipboardModel::eviction()
{
    setting(HistorySettings::keyTotalSizeLimit, 1);
    setting(HistorySettings::keyTotalCntLimit, 3);
    const QString big(400 * 1024, 'x');

    // At the count limit nothing goes; one above, the oldest unprotected item.
    add("protected oldest", 100, {21});
    add("oldest free", 200);
    add("newer", 300);
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    add("newest", 400);
    model->onCheckTotalSizeCnt();
    QCOMPARE(rows(), "newest|newer|protected oldest");

    // Only unprotected sizes count: 800 KiB free plus 400 KiB protected fits in 1 MiB.
    model->onClearAllItem();
    setting(HistorySettings::keyTotalCntLimit, 1000);
    add("a" + big, 100);
    add("b" + big, 200, {21});
    add("c" + big, 300);
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    add("d" + big, 400);
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    QVERIFY(model->items().at(2).text().startsWith('b'));

    // Equal times share a key: only the later row of the two can go in one pass.
    model->onClearAllItem();
    setting(HistorySettings::keyTotalCntLimit, 1);
    add("earlier row", 500);
    add("later row", 500);
    add("new", 900);
    model->onCheckTotalSizeCnt();
    QCOMPARE(rows(), "later row");

    // All protected and over the count: nothing can go, pass after pass.
    model->onClearAllItem();
    for (int i = 0; i < 3; ++i)
        add(QString::number(i), 100 + i, {21});
    model->onCheckTotalSizeCnt();
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
}

void TestClipboardModel::evictionBudget()
{
    setting(HistorySettings::keyTotalCntLimit, 1);
    for (int i = 0; i < 5; ++i)
        add(QString::number(i), 100 + i);
    // Removals of 120 ms each: the second one ends the pass.
    connect(model.get(), &ClipboardModel::deleteItemSignal, this, []() { spend(120); });
    model->onCheckTotalSizeCnt();
    QCOMPARE(rows(), "4|3|2");
}

QTEST_MAIN(TestClipboardModel)
#include "tst_clipboardmodel.moc"
