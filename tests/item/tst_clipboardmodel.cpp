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

// The names of the model's signals in the order they went out.
class SignalLog : public QObject
{
public:
    explicit SignalLog(ClipboardModel *model)
    {
        const auto record = [this](const char *name) {
            return [this, name]() { names << QLatin1String(name); };
        };
        connect(model, &ClipboardModel::dataChanged, this, record("dataChanged"));
        connect(model, &ClipboardModel::scrollToTopSignal, this, record("scroll"));
        connect(model, &ClipboardModel::itemHashValueChanged, this, record("hashChanged"));
        connect(model, &ClipboardModel::insertSignal, this, record("insert"));
        connect(model, &ClipboardModel::updateActiveTimeSignal, this, record("activeTime"));
        connect(model, &ClipboardModel::updateCreateActiveTimeSignal, this, record("createActiveTime"));
        connect(model, &ClipboardModel::updateDataMapSignal, this, record("dataMap"));
        connect(model, &ClipboardModel::updateDataMapAndTimeSignal, this, record("dataMapAndTime"));
        connect(model, &ClipboardModel::deleteItemSignal, this, record("delete"));
        connect(model, &ClipboardModel::deleteAllItemsSignal, this, record("deleteAll"));
        connect(model, &ClipboardModel::insertIconSignal, this, record("insertIcon"));
    }
    QStringList take() { return std::exchange(names, {}); }

private:
    QStringList names;
};

// Makes every announced removal cost `ms` of the GUI thread.
void slowDownRemovals(ClipboardModel *model, int ms)
{
    QObject::connect(model, &ClipboardModel::deleteItemSignal, model, [ms]() {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < ms) {
        }
    });
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
    void duplicateRefreshesTimes();
    void activeTimeRises();
    void tabMembership();
    void remarkAndLateResults();
    void editChangesIdentity();
    void icons();
    void clearAll();

    void timersNeverRunAtStart();
    void expiry();
    void expiryIsStrict();
    void expiryBudgetAfterRemoval();
    void evictionByCount();
    void evictionBySize();
    void evictionEqualTimes();
    void evictionBudget();

private:
    void setKeep(qint64 ms);
    void setLimits(uint sizeMb, uint count);
    QStringList hashesOfRows() const;

    TempAppFolder folder;
    std::unique_ptr<ClipboardModel> model;
    std::unique_ptr<QAbstractItemModelTester> tester;
    TabAutoDeleteMap tabs;
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
}

void TestClipboardModel::cleanup()
{
    tester.reset();
    model.reset();
}

void TestClipboardModel::setKeep(qint64 ms)
{
    Setting::instance().settings()->setValue(HistorySettings::keyAutoDeleteTime,
                                             QVariant::fromValue(AutoDeleteItem{ms, 0}));
    QCOMPARE(HistorySettings::autoDeleteTime(), ms);
}

void TestClipboardModel::setLimits(uint sizeMb, uint count)
{
    Setting::instance().settings()->setValue(HistorySettings::keyTotalSizeLimit, sizeMb);
    Setting::instance().settings()->setValue(HistorySettings::keyTotalCntLimit, count);
}

QStringList TestClipboardModel::hashesOfRows() const
{
    QStringList texts;
    for (const ItemData &item : model->items())
        texts << item.text();
    return texts;
}

void TestClipboardModel::rowsAndRoles()
{
    SignalLog log(model.get());
    QSignalSpy inserts(model.get(), &ClipboardModel::insertSignal);
    model->addLoadedItem(textItem(QStringLiteral("loaded")));
    QCOMPARE(log.take(), QStringList{QStringLiteral("dataChanged")});
    model->addItem(textItem(QStringLiteral("new")));
    QCOMPARE(log.take(), QStringList({QStringLiteral("dataChanged"), QStringLiteral("insert")}));
    QCOMPARE(inserts.size(), 1);
    QCOMPARE(inserts.at(0).at(0).value<ItemData>().text(), QStringLiteral("new"));

    QCOMPARE(hashesOfRows(), QStringList({QStringLiteral("new"), QStringLiteral("loaded")}));
    QVERIFY(model->contains(textItem(QStringLiteral("loaded")).hashValue));
    QVERIFY(!model->contains(textItem(QStringLiteral("other")).hashValue));

    const QModelIndex top = model->index(0);
    QCOMPARE(model->data(top, Qt::DisplayRole).value<ItemData>().text(), QStringLiteral("new"));
    QVERIFY(!model->data(top, Qt::DecorationRole).isValid());
    QVERIFY(!model->data(QModelIndex()).isValid());

    // setData replaces the record in memory only.
    QVERIFY(!model->setData(top, QStringLiteral("not an item")));
    QVERIFY(model->setData(top, QVariant::fromValue(textItem(QStringLiteral("replaced")))));
    QCOMPARE(model->items().at(0).text(), QStringLiteral("replaced"));
    QVERIFY(!model->setData(QModelIndex(), QVariant::fromValue(ItemData())));

    QVERIFY(!model->removeRows(-1, 1));
    QVERIFY(!model->removeRows(0, 0));
    QVERIFY(!model->removeRows(1, 2));
    QCOMPARE(model->rowCount(), 2);

    const uint loadedHash = model->items().at(1).hashValue;
    log.take();
    model->removeItem(loadedHash);
    QCOMPARE(log.take(), QStringList{QStringLiteral("delete")});
    QVERIFY(!model->contains(loadedHash));
    model->removeItem(loadedHash);
    model->removeRow(5);
    QVERIFY(log.take().isEmpty());
}

void TestClipboardModel::duplicateRefreshesTimes()
{
    const ItemData old = textItem(QStringLiteral("dup"), now() - kDay);
    model->addItem(old);
    QSignalSpy spy(model.get(), &ClipboardModel::updateCreateActiveTimeSignal);
    SignalLog log(model.get());

    QVERIFY(!model->updateItemCreateActiveTime(12345));
    const qulonglong before = now();
    QVERIFY(model->contains(old.hashValue));
    QVERIFY(model->updateItemCreateActiveTime(old.hashValue));
    QCOMPARE(log.take(), QStringList({QStringLiteral("dataChanged"), QStringLiteral("createActiveTime")}));

    const ItemData &item = model->items().at(0);
    QVERIFY(item.createTime >= before);
    QCOMPARE(item.lastActiveTime, item.createTime);
    QCOMPARE(spy.at(0).at(0).toUInt(), old.hashValue);
    QCOMPARE(spy.at(0).at(1).toULongLong(), item.createTime);
    QCOMPARE(spy.at(0).at(2).toULongLong(), item.createTime);
    QCOMPARE(model->rowCount(), 1);
}

void TestClipboardModel::activeTimeRises()
{
    const ItemData item = textItem(QStringLiteral("x"));
    model->addItem(item);
    SignalLog log(model.get());
    QSignalSpy times(model.get(), &ClipboardModel::updateActiveTimeSignal);

    // Many calls land in one millisecond; each must still be later.
    for (int i = 0; i < 50; ++i)
        model->updateItemActiveTime(item.hashValue);
    QCOMPARE(times.size(), 50);
    for (int i = 1; i < times.size(); ++i)
        QVERIFY(times.at(i).at(1).toULongLong() > times.at(i - 1).at(1).toULongLong());
    QCOMPARE(model->items().at(0).lastActiveTime, times.last().at(1).toULongLong());
    QCOMPARE(log.take().mid(0, 3), QStringList({QStringLiteral("dataChanged"), QStringLiteral("activeTime"),
                                                QStringLiteral("scroll")}));

    model->updateItemActiveTime(999);
    QCOMPARE(log.take(), QStringList{QStringLiteral("scroll")});

    model->setItemActiveTime(model->index(0), 42);
    QCOMPARE(model->items().at(0).lastActiveTime, 42ULL);
    QCOMPARE(log.take(), QStringList({QStringLiteral("dataChanged"), QStringLiteral("activeTime")}));
    model->setItemActiveTime(QModelIndex(), 43);
    QVERIFY(log.take().isEmpty());
}

void TestClipboardModel::tabMembership()
{
    const ItemData item = textItem(QStringLiteral("t"), 1000);
    model->addItem(item);
    SignalLog log(model.get());
    QSignalSpy withTime(model.get(), &ClipboardModel::updateDataMapAndTimeSignal);
    QSignalSpy mapOnly(model.get(), &ClipboardModel::updateDataMapSignal);

    model->setItemCustomId(item.hashValue, 20, false);
    QCOMPARE(log.take(), QStringList({QStringLiteral("dataChanged"), QStringLiteral("dataMapAndTime"),
                                      QStringLiteral("scroll")}));
    const qulonglong added = model->items().at(0).lastActiveTime;
    QVERIFY(added > 1000);
    QCOMPARE(withTime.at(0).at(2).toULongLong(), added);
    QSet<uint> stored;
    QVERIFY(deserializeCustomIds(withTime.at(0).at(1).toMap().value(MIME_CUSTOM_ID).toByteArray(), stored));
    QCOMPARE(stored, QSet<uint>{20});

    // Leaving a tab keeps the time.
    model->setItemCustomId(item.hashValue, 20, true);
    QCOMPARE(log.take(), QStringList({QStringLiteral("dataChanged"), QStringLiteral("dataMap"),
                                      QStringLiteral("scroll")}));
    QCOMPARE(model->items().at(0).lastActiveTime, added);
    QVERIFY(!model->items().at(0).hasCustomId(20));

    model->setItemCustomId(777, 20, false);
    QCOMPARE(log.take(), QStringList{QStringLiteral("scroll")});

    model->addItem(textItem(QStringLiteral("in 21"), 1000, {21, 22}));
    model->addItem(textItem(QStringLiteral("in 22"), 1000, {22}));
    log.take();
    mapOnly.clear();
    model->removeCustomIdFromAll(21);
    QCOMPARE(log.take(), QStringList({QStringLiteral("dataChanged"), QStringLiteral("dataMap")}));
    QCOMPARE(model->items().at(1).customIds, QSet<uint>{22});
    QCOMPARE(model->items().at(0).customIds, QSet<uint>{22});
}

void TestClipboardModel::remarkAndLateResults()
{
    const ItemData item = textItem(QStringLiteral("r"), 1000);
    model->addItem(item);
    const int size = model->items().at(0).dataSize();
    SignalLog log(model.get());
    QSignalSpy maps(model.get(), &ClipboardModel::updateDataMapSignal);

    model->setItemRemark(model->index(0), QStringLiteral("note"));
    QCOMPARE(log.take(), QStringList({QStringLiteral("dataChanged"), QStringLiteral("dataMapAndTime"),
                                      QStringLiteral("scroll")}));
    QCOMPARE(model->items().at(0).remark(), QStringLiteral("note"));
    QVERIFY(model->items().at(0).lastActiveTime > 1000);
    model->setItemRemark(model->index(3), QStringLiteral("nowhere"));
    QVERIFY(log.take().isEmpty());

    const QList<OCRResult> results{{QPolygon({QPoint(0, 0), QPoint(4, 4)}), QStringLiteral("ocr")}};
    model->onFinishOcr(item.hashValue, results);
    QCOMPARE(model->items().at(0).ocrResults, results);
    QCOMPARE(deserializeOcrResults(maps.last().at(1).toMap().value(MIME_OCR_RESULT).toByteArray()), results);

    model->onFetchWebTitle(item.hashValue, QStringLiteral("Title"));
    QCOMPARE(model->items().at(0).webTitle(), QStringLiteral("Title"));
    QCOMPARE(maps.size(), 2);

    // Late answers for items that are gone are dropped.
    log.take();
    model->onFinishOcr(555, results);
    model->onFetchWebTitle(555, QStringLiteral("late"));
    QVERIFY(log.take().isEmpty());

    // Annotations do not change the size the model adds up.
    QCOMPARE(model->totalDataSize(), uint(size));
}

void TestClipboardModel::editChangesIdentity()
{
    const ItemData item = textItem(QStringLiteral("before"), 1000, {20});
    model->addItem(item);
    model->addItem(textItem(QStringLiteral("newer")));
    SignalLog log(model.get());
    QSignalSpy changed(model.get(), &ClipboardModel::itemHashValueChanged);
    QSignalSpy inserts(model.get(), &ClipboardModel::insertSignal);

    model->updateItemText(item.hashValue, QStringLiteral("after"));
    QCOMPARE(log.take(),
             QStringList({QStringLiteral("delete"), QStringLiteral("dataChanged"), QStringLiteral("insert"),
                          QStringLiteral("scroll"), QStringLiteral("hashChanged")}));
    const ItemData &edited = model->items().at(0);
    QCOMPARE(edited.text(), QStringLiteral("after"));
    QCOMPARE(edited.hashValue, textItem(QStringLiteral("after")).hashValue);
    QCOMPARE(edited.createTime, 1000ULL);
    QVERIFY(edited.lastActiveTime > 1000);
    QVERIFY(edited.hasCustomId(20));
    QVERIFY(!model->contains(item.hashValue));
    QVERIFY(model->contains(edited.hashValue));
    QCOMPARE(changed.at(0).at(0).toUInt(), item.hashValue);
    QCOMPARE(changed.at(0).at(1).toUInt(), edited.hashValue);
    QCOMPARE(inserts.at(0).at(0).value<ItemData>().hashValue, edited.hashValue);

    model->updateItemText(4242, QStringLiteral("x"));
    QVERIFY(log.take().isEmpty());
}

void TestClipboardModel::icons()
{
    QPixmap red(16, 16), alsoRed(16, 16);
    red.fill(Qt::red);
    alsoRed.fill(Qt::red);
    QSignalSpy spy(model.get(), &ClipboardModel::insertIconSignal);

    uint first = 0, second = 0, none = 7;
    model->addIcon(QStringLiteral("/usr/bin/one"), red, first);
    model->addIcon(QStringLiteral("/usr/bin/two"), alsoRed, second);
    model->addIcon(QStringLiteral("/usr/bin/none"), QPixmap(), none);
    QVERIFY(first != 0);
    QCOMPARE(second, first);
    QCOMPARE(none, 0U);
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0).at(1).toString(), QStringLiteral("/usr/bin/one"));
    QCOMPARE(spy.at(0).at(0).toUInt(), hashBytes(spy.at(0).at(2).toByteArray()));
    QCOMPARE(model->getIcon(first).size(), QSize(16, 16));
    QVERIFY(model->getIcon(0).isNull());
    QVERIFY(model->getIcon(31337).isNull());

    QPixmap blue(4, 4);
    blue.fill(Qt::blue);
    model->onLoadDbIcon({IconData{31337, QStringLiteral("/x"), blue}});
    QCOMPARE(model->getIcon(31337).size(), QSize(4, 4));
}

void TestClipboardModel::clearAll()
{
    const ItemData item = textItem(QStringLiteral("keep?"), 1000, {21});
    model->addItem(item);
    model->addItem(textItem(QStringLiteral("b")));
    uint icon = 0;
    QPixmap pixmap(2, 2);
    pixmap.fill(Qt::green);
    model->addIcon(QString(), pixmap, icon);
    SignalLog log(model.get());

    model->onClearAllItem();
    QCOMPARE(log.take(), QStringList{QStringLiteral("deleteAll")});
    QCOMPARE(model->rowCount(), 0);
    QVERIFY(!model->contains(item.hashValue));
    QVERIFY(!model->getIcon(icon).isNull());

    // The same copy again is a new item, not a refresh.
    QVERIFY(!model->updateItemCreateActiveTime(item.hashValue));
    model->onClearAllItem();
    QCOMPARE(log.take(), QStringList{QStringLiteral("deleteAll")});
}

void TestClipboardModel::timersNeverRunAtStart()
{
    QList<int> intervals;
    const QList<QTimer *> timers = model->findChildren<QTimer *>();
    for (const QTimer *timer : timers) {
        QVERIFY(timer->isActive());
        QVERIFY(!timer->isSingleShot());
        intervals << timer->interval();
    }
    std::sort(intervals.begin(), intervals.end());
    QCOMPARE(intervals, QList<int>({900000, 3600000}));
}

void TestClipboardModel::expiry()
{
    setKeep(kDay);
    const qulonglong old = now() - 2 * kDay;
    model->addItem(textItem(QStringLiteral("fresh"), now()));
    model->addItem(textItem(QStringLiteral("old free"), old));
    model->addItem(textItem(QStringLiteral("old in auto tab"), old, {20}));
    model->addItem(textItem(QStringLiteral("old in both"), old, {20, 21}));
    model->addItem(textItem(QStringLiteral("old in unknown tab"), old, {30}));
    QSignalSpy maps(model.get(), &ClipboardModel::updateDataMapSignal);
    QSignalSpy deletes(model.get(), &ClipboardModel::deleteItemSignal);

    model->onCheckExpiredItem();
    QCOMPARE(hashesOfRows(), QStringList({QStringLiteral("old in unknown tab"), QStringLiteral("old in both"),
                                          QStringLiteral("fresh")}));
    QCOMPARE(deletes.size(), 2);
    QCOMPARE(model->items().at(1).customIds, QSet<uint>{21});
    QCOMPARE(model->items().at(0).customIds, QSet<uint>{30});
    // Kept old items are saved on every pass.
    QCOMPARE(maps.size(), 2);
    model->onCheckExpiredItem();
    QCOMPARE(maps.size(), 4);
    QCOMPARE(deletes.size(), 2);

    // Without tabs every old item goes by age alone.
    tabs.clear();
    model->onCheckExpiredItem();
    QCOMPARE(hashesOfRows(), QStringList({QStringLiteral("old in unknown tab"), QStringLiteral("old in both"),
                                          QStringLiteral("fresh")}));
}

void TestClipboardModel::expiryIsStrict()
{
    const qint64 keep = 3 * qint64(kDay);
    setKeep(keep);
    // Retry until the pass ran within one millisecond, so that its clock is known.
    bool checked = false;
    for (int attempt = 0; attempt < 200 && !checked; ++attempt) {
        model->onClearAllItem();
        const qulonglong before = now();
        model->addItem(textItem(QStringLiteral("at the edge"), before - keep));
        model->addItem(textItem(QStringLiteral("one ms over"), before - keep - 1));
        model->onCheckExpiredItem();
        if (now() != before)
            continue;
        QCOMPARE(hashesOfRows(), QStringList{QStringLiteral("at the edge")});
        checked = true;
    }
    QVERIFY(checked);
}

void TestClipboardModel::expiryBudgetAfterRemoval()
{
    setKeep(kDay);
    const qulonglong old = now() - 2 * kDay;
    for (int i = 0; i < 5; ++i)
        model->addItem(textItem(QStringLiteral("old %1").arg(i), old));
    const ItemData keptA = textItem(QStringLiteral("kept a"), old, {21});
    const ItemData keptB = textItem(QStringLiteral("kept b"), old, {21});
    model->addItem(keptA);
    model->addItem(keptB);
    // Slow saves of kept items do not end the pass before a removal, but count after it.
    connect(model.get(), &ClipboardModel::updateDataMapSignal, model.get(), []() {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 80) {
        }
    });
    model->onCheckExpiredItem();
    QCOMPARE(model->rowCount(), 6);
    QCOMPARE(model->items().at(2).text(), QStringLiteral("old 3"));

    // Without kept items, removals of 70 ms each: the second one ends the pass.
    model->removeItem(keptA.hashValue);
    model->removeItem(keptB.hashValue);
    slowDownRemovals(model.get(), 70);
    model->onCheckExpiredItem();
    QCOMPARE(hashesOfRows(), QStringList({QStringLiteral("old 1"), QStringLiteral("old 0")}));
}

void TestClipboardModel::evictionByCount()
{
    setLimits(1000, 3);
    const qulonglong t = now();
    model->addItem(textItem(QStringLiteral("protected oldest"), t - 400, {21}));
    model->addItem(textItem(QStringLiteral("oldest free"), t - 300));
    model->addItem(textItem(QStringLiteral("newer"), t - 200));
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);

    model->addItem(textItem(QStringLiteral("newest"), t - 100));
    QSignalSpy deletes(model.get(), &ClipboardModel::deleteItemSignal);
    model->onCheckTotalSizeCnt();
    QCOMPARE(hashesOfRows(), QStringList({QStringLiteral("newest"), QStringLiteral("newer"),
                                          QStringLiteral("protected oldest")}));
    QCOMPARE(deletes.size(), 1);

    // All protected and over the count: nothing can go, every time.
    model->onClearAllItem();
    for (int i = 0; i < 5; ++i)
        model->addItem(textItem(QString::number(i), t - i, {21}));
    model->onCheckTotalSizeCnt();
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 5);
}

void TestClipboardModel::evictionBySize()
{
    setLimits(1, 1000);
    const qulonglong t = now();
    const QString big(400 * 1024, QLatin1Char('x'));
    model->addItem(textItem(QStringLiteral("a") + big, t - 30));
    model->addItem(textItem(QStringLiteral("b") + big, t - 20, {21}));
    model->addItem(textItem(QStringLiteral("c") + big, t - 10));
    QVERIFY(model->totalDataSize() > (1U << 20));

    // Only the unprotected sizes count: a + c is 800 KiB and fits.
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);

    model->addItem(textItem(QStringLiteral("d") + big, t));
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    QStringList first;
    for (const ItemData &item : model->items())
        first << item.text().left(1);
    QCOMPARE(first, QStringList({QStringLiteral("d"), QStringLiteral("c"), QStringLiteral("b")}));
}

void TestClipboardModel::evictionEqualTimes()
{
    setLimits(1000, 1);
    model->addItem(textItem(QStringLiteral("earlier row"), 500));
    model->addItem(textItem(QStringLiteral("later row"), 500));
    model->addItem(textItem(QStringLiteral("new"), 900));

    // Equal times share a key: the later row of the walk stands for both.
    model->onCheckTotalSizeCnt();
    QCOMPARE(hashesOfRows(), QStringList{QStringLiteral("later row")});
}

void TestClipboardModel::evictionBudget()
{
    setLimits(1000, 1);
    for (int i = 0; i < 5; ++i)
        model->addItem(textItem(QString::number(i), 100 + i));
    // Removals of 120 ms each: the second one ends the pass.
    slowDownRemovals(model.get(), 120);
    model->onCheckTotalSizeCnt();
    QCOMPARE(hashesOfRows(), QStringList({QStringLiteral("4"), QStringLiteral("3"), QStringLiteral("2")}));
}

QTEST_MAIN(TestClipboardModel)
#include "tst_clipboardmodel.moc"
