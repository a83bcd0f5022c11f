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
    void setting(const QString &key, const QVariant &value)
    {
        Setting::instance().settings()->setValue(key, value);
    }
    QStringList rowTexts() const;
    // The names of the signals sent since the last call, in order.
    QStringList sent() { return std::exchange(signalNames, {}); }

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

QStringList TestClipboardModel::rowTexts() const
{
    QStringList texts;
    for (const ItemData &item : model->items())
        texts << item.text();
    return texts;
}

void TestClipboardModel::rowsAndRoles()
{
    QSignalSpy inserts(model.get(), &ClipboardModel::insertSignal);
    model->addLoadedItem(textItem(QStringLiteral("loaded")));
    QCOMPARE(sent(), QStringList{QStringLiteral("changed")});
    model->addItem(textItem(QStringLiteral("new")));
    QCOMPARE(sent(), QStringList({QStringLiteral("changed"), QStringLiteral("insert")}));
    QCOMPARE(inserts.at(0).at(0).value<ItemData>().text(), QStringLiteral("new"));
    QCOMPARE(rowTexts(), QStringList({QStringLiteral("new"), QStringLiteral("loaded")}));
    QVERIFY(model->contains(textItem(QStringLiteral("loaded")).hashValue));
    QVERIFY(!model->contains(textItem(QStringLiteral("other")).hashValue));

    const QModelIndex top = model->index(0);
    QCOMPARE(model->data(top, Qt::DisplayRole).value<ItemData>().text(), QStringLiteral("new"));
    QVERIFY(!model->data(top, Qt::DecorationRole).isValid());

    // setData replaces the record in memory only; anything but a record is refused.
    QVERIFY(!model->setData(top, QStringLiteral("not an item")));
    QVERIFY(model->setData(top, QVariant::fromValue(textItem(QStringLiteral("replaced")))));
    QCOMPARE(model->items().at(0).text(), QStringLiteral("replaced"));
    QVERIFY(!model->removeRows(-1, 1) && !model->removeRows(0, 0) && !model->removeRows(1, 2));

    const uint loadedHash = model->items().at(1).hashValue;
    sent();
    model->removeItem(loadedHash);
    QCOMPARE(sent(), QStringList{QStringLiteral("delete")});
    QVERIFY(!model->contains(loadedHash));
    model->removeItem(loadedHash);
    model->removeRow(5);
    QVERIFY(sent().isEmpty());
}

void TestClipboardModel::timesOfUse()
{
    const ItemData item = textItem(QStringLiteral("dup"), now() - kDay);
    model->addItem(item);
    sent();

    // A copy of a known item refreshes both times from the plain clock.
    QSignalSpy created(model.get(), &ClipboardModel::updateCreateActiveTimeSignal);
    QVERIFY(!model->updateItemCreateActiveTime(12345));
    const qulonglong before = now();
    QVERIFY(model->updateItemCreateActiveTime(item.hashValue));
    QCOMPARE(sent(), QStringList({QStringLiteral("changed"), QStringLiteral("createTime")}));
    QVERIFY(model->items().at(0).createTime >= before);
    QCOMPARE(created.at(0), QVariantList({item.hashValue, model->items().at(0).createTime,
                                          model->items().at(0).lastActiveTime}));

    // Many uses within one millisecond still rise.
    QSignalSpy times(model.get(), &ClipboardModel::updateActiveTimeSignal);
    for (int i = 0; i < 50; ++i)
        model->updateItemActiveTime(item.hashValue);
    for (int i = 1; i < times.size(); ++i)
        QVERIFY(times.at(i).at(1).toULongLong() > times.at(i - 1).at(1).toULongLong());
    QCOMPARE(model->items().at(0).lastActiveTime, times.last().at(1).toULongLong());
    QCOMPARE(sent().mid(0, 3),
             QStringList({QStringLiteral("changed"), QStringLiteral("time"), QStringLiteral("scroll")}));
    model->updateItemActiveTime(999);
    QCOMPARE(sent(), QStringList{QStringLiteral("scroll")});

    model->setItemActiveTime(model->index(0), 42);
    QCOMPARE(model->items().at(0).lastActiveTime, 42ULL);
    QCOMPARE(sent(), QStringList({QStringLiteral("changed"), QStringLiteral("time")}));
    model->setItemActiveTime(QModelIndex(), 43);
    QVERIFY(sent().isEmpty());
}

void TestClipboardModel::tabsAndAnnotations()
{
    const ItemData item = textItem(QStringLiteral("t"), 1000);
    model->addItem(item);
    model->addItem(textItem(QStringLiteral("in 21 and 22"), 1000, {21, 22}));
    sent();
    QSignalSpy withTime(model.get(), &ClipboardModel::updateDataMapAndTimeSignal);
    QSignalSpy maps(model.get(), &ClipboardModel::updateDataMapSignal);

    // Joining a tab is a use of the item; leaving it is not.
    model->setItemCustomId(item.hashValue, 20, false);
    QCOMPARE(sent(), QStringList({QStringLiteral("changed"), QStringLiteral("mapAndTime"),
                                  QStringLiteral("scroll")}));
    const qulonglong joined = model->items().at(1).lastActiveTime;
    QVERIFY(joined > 1000);
    QSet<uint> stored;
    QVERIFY(deserializeCustomIds(withTime.at(0).at(1).toMap().value(MIME_CUSTOM_ID).toByteArray(), stored));
    QCOMPARE(stored, QSet<uint>{20});
    model->setItemCustomId(item.hashValue, 20, true);
    QCOMPARE(sent(),
             QStringList({QStringLiteral("changed"), QStringLiteral("map"), QStringLiteral("scroll")}));
    QCOMPARE(model->items().at(1).lastActiveTime, joined);
    model->setItemCustomId(777, 20, false);
    QCOMPARE(sent(), QStringList{QStringLiteral("scroll")});

    model->removeCustomIdFromAll(21);
    QCOMPARE(sent(), QStringList({QStringLiteral("changed"), QStringLiteral("map")}));
    QCOMPARE(model->items().at(0).customIds, QSet<uint>{22});

    const QModelIndex row = model->index(1);
    const int size = model->items().at(1).dataSize();
    model->setItemRemark(row, QStringLiteral("note"));
    QCOMPARE(sent(), QStringList({QStringLiteral("changed"), QStringLiteral("mapAndTime"),
                                  QStringLiteral("scroll")}));
    QCOMPARE(model->items().at(1).remark(), QStringLiteral("note"));
    model->setItemRemark(model->index(7), QStringLiteral("nowhere"));

    const QList<OCRResult> results{{QPolygon({QPoint(0, 0), QPoint(4, 4)}), QStringLiteral("ocr")}};
    model->onFinishOcr(item.hashValue, results);
    QCOMPARE(model->items().at(1).ocrResults, results);
    QCOMPARE(deserializeOcrResults(maps.last().at(1).toMap().value(MIME_OCR_RESULT).toByteArray()), results);
    model->onFetchWebTitle(item.hashValue, QStringLiteral("Title"));
    QCOMPARE(model->items().at(1).webTitle(), QStringLiteral("Title"));
    QCOMPARE(sent(), QStringList({QStringLiteral("changed"), QStringLiteral("map"), QStringLiteral("changed"),
                                  QStringLiteral("map")}));
    // Late answers for items that are gone are dropped.
    model->onFinishOcr(555, results);
    model->onFetchWebTitle(555, QStringLiteral("late"));
    QVERIFY(sent().isEmpty());
    // Annotations leave the counted size as first seen.
    QCOMPARE(model->items().at(1).dataSize(), size);
}

void TestClipboardModel::editChangesIdentity()
{
    const ItemData item = textItem(QStringLiteral("before"), 1000, {20});
    model->addItem(item);
    model->addItem(textItem(QStringLiteral("newer")));
    sent();
    QSignalSpy changed(model.get(), &ClipboardModel::itemHashValueChanged);

    model->updateItemText(item.hashValue, QStringLiteral("after"));
    QCOMPARE(sent(),
             QStringList({QStringLiteral("delete"), QStringLiteral("changed"), QStringLiteral("insert"),
                          QStringLiteral("scroll"), QStringLiteral("hashChanged")}));
    const ItemData &edited = model->items().at(0);
    QCOMPARE(edited.text(), QStringLiteral("after"));
    QCOMPARE(edited.hashValue, textItem(QStringLiteral("after")).hashValue);
    QVERIFY(edited.createTime == 1000 && edited.lastActiveTime > 1000 && edited.hasCustomId(20));
    QVERIFY(!model->contains(item.hashValue) && model->contains(edited.hashValue));
    QCOMPARE(changed.at(0), QVariantList({item.hashValue, edited.hashValue}));

    model->updateItemText(4242, QStringLiteral("x"));
    QVERIFY(sent().isEmpty());
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
    model->addIcon(QStringLiteral("/usr/bin/one"), red, first);
    model->addIcon(QStringLiteral("/usr/bin/two"), alsoRed, second);
    model->addIcon(QStringLiteral("/usr/bin/none"), QPixmap(), none);
    QVERIFY(first != 0 && second == first && none == 0);
    QCOMPARE(iconSpy.size(), 1);
    QCOMPARE(iconSpy.at(0).at(1).toString(), QStringLiteral("/usr/bin/one"));
    QCOMPARE(iconSpy.at(0).at(0).toUInt(), hashBytes(iconSpy.at(0).at(2).toByteArray()));
    QCOMPARE(model->getIcon(first).size(), QSize(16, 16));
    QVERIFY(model->getIcon(0).isNull() && model->getIcon(31337).isNull());
    model->onLoadDbIcon({IconData{31337, QStringLiteral("/x"), blue}});
    QCOMPARE(model->getIcon(31337).size(), QSize(4, 4));

    // Everything goes, protected items too; the icons stay.
    const ItemData item = textItem(QStringLiteral("protected"), 1000, {21});
    model->addItem(item);
    model->addItem(textItem(QStringLiteral("b")));
    sent();
    model->onClearAllItem();
    QCOMPARE(sent(), QStringList{QStringLiteral("deleteAll")});
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

    setting(HistorySettings::keyAutoDeleteTime, QVariant::fromValue(AutoDeleteItem{qint64(kDay), 0}));
    const qulonglong old = now() - 2 * kDay;
    model->addItem(textItem(QStringLiteral("fresh")));
    model->addItem(textItem(QStringLiteral("old free"), old));
    model->addItem(textItem(QStringLiteral("old in auto tab"), old, {20}));
    model->addItem(textItem(QStringLiteral("old in both"), old, {20, 21}));
    model->addItem(textItem(QStringLiteral("old in unknown tab"), old, {30}));
    QSignalSpy maps(model.get(), &ClipboardModel::updateDataMapSignal);

    model->onCheckExpiredItem();
    const QStringList kept{QStringLiteral("old in unknown tab"), QStringLiteral("old in both"),
                           QStringLiteral("fresh")};
    QCOMPARE(rowTexts(), kept);
    QCOMPARE(model->items().at(1).customIds, QSet<uint>{21});
    // Kept old items are saved on every pass.
    QCOMPARE(maps.size(), 2);
    model->onCheckExpiredItem();
    QCOMPARE(maps.size(), 4);
    QCOMPARE(rowTexts(), kept);
}

void TestClipboardModel::expiryIsStrict()
{
    const qint64 keep = 3 * qint64(kDay);
    setting(HistorySettings::keyAutoDeleteTime, QVariant::fromValue(AutoDeleteItem{keep, 3}));
    // Retried until a pass ran within one millisecond, so that its clock is known.
    bool checked = false;
    for (int attempt = 0; attempt < 200 && !checked; ++attempt) {
        model->onClearAllItem();
        const qulonglong before = now();
        model->addItem(textItem(QStringLiteral("at the edge"), before - keep));
        model->addItem(textItem(QStringLiteral("one ms over"), before - keep - 1));
        model->onCheckExpiredItem();
        if (now() != before)
            continue;
        QCOMPARE(rowTexts(), QStringList{QStringLiteral("at the edge")});
        checked = true;
    }
    QVERIFY(checked);
}

void TestClipboardModel::expiryBudget()
{
    setting(HistorySettings::keyAutoDeleteTime, QVariant::fromValue(AutoDeleteItem{qint64(kDay), 0}));
    const qulonglong old = now() - 2 * kDay;
    for (int i = 0; i < 5; ++i)
        model->addItem(textItem(QStringLiteral("old %1").arg(i), old));
    const ItemData keptA = textItem(QStringLiteral("kept a"), old, {21});
    const ItemData keptB = textItem(QStringLiteral("kept b"), old, {21});
    model->addItem(keptA);
    model->addItem(keptB);

    // Slow saves of kept items do not end the pass before a removal, but count after it.
    connect(model.get(), &ClipboardModel::updateDataMapSignal, this, []() { spend(80); });
    model->onCheckExpiredItem();
    QCOMPARE(model->rowCount(), 6);
    QCOMPARE(model->items().at(2).text(), QStringLiteral("old 3"));

    // Removals of 70 ms each: the second one ends the pass.
    model->removeItem(keptA.hashValue);
    model->removeItem(keptB.hashValue);
    connect(model.get(), &ClipboardModel::deleteItemSignal, this, []() { spend(70); });
    model->onCheckExpiredItem();
    QCOMPARE(rowTexts(), QStringList({QStringLiteral("old 1"), QStringLiteral("old 0")}));
}

void TestClipboardModel::eviction()
{
    setting(HistorySettings::keyTotalSizeLimit, 1);
    setting(HistorySettings::keyTotalCntLimit, 3);
    const QString big(400 * 1024, QLatin1Char('x'));

    // At the count limit nothing goes; one above, the oldest unprotected item.
    model->addItem(textItem(QStringLiteral("protected oldest"), 100, {21}));
    model->addItem(textItem(QStringLiteral("oldest free"), 200));
    model->addItem(textItem(QStringLiteral("newer"), 300));
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    model->addItem(textItem(QStringLiteral("newest"), 400));
    model->onCheckTotalSizeCnt();
    QCOMPARE(rowTexts(), QStringList({QStringLiteral("newest"), QStringLiteral("newer"),
                                      QStringLiteral("protected oldest")}));

    // Only unprotected sizes count: 800 KiB free plus 400 KiB protected fits in 1 MiB.
    model->onClearAllItem();
    setting(HistorySettings::keyTotalCntLimit, 1000);
    model->addItem(textItem(QStringLiteral("a") + big, 100));
    model->addItem(textItem(QStringLiteral("b") + big, 200, {21}));
    model->addItem(textItem(QStringLiteral("c") + big, 300));
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    model->addItem(textItem(QStringLiteral("d") + big, 400));
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
    QVERIFY(model->items().at(2).text().startsWith(QLatin1Char('b')));

    // Equal times share a key: only the later row of the two can go in one pass.
    model->onClearAllItem();
    setting(HistorySettings::keyTotalCntLimit, 1);
    model->addItem(textItem(QStringLiteral("earlier row"), 500));
    model->addItem(textItem(QStringLiteral("later row"), 500));
    model->addItem(textItem(QStringLiteral("new"), 900));
    model->onCheckTotalSizeCnt();
    QCOMPARE(rowTexts(), QStringList{QStringLiteral("later row")});

    // All protected and over the count: nothing can go, pass after pass.
    model->onClearAllItem();
    for (int i = 0; i < 3; ++i)
        model->addItem(textItem(QString::number(i), 100 + i, {21}));
    model->onCheckTotalSizeCnt();
    model->onCheckTotalSizeCnt();
    QCOMPARE(model->rowCount(), 3);
}

void TestClipboardModel::evictionBudget()
{
    setting(HistorySettings::keyTotalCntLimit, 1);
    for (int i = 0; i < 5; ++i)
        model->addItem(textItem(QString::number(i), 100 + i));
    // Removals of 120 ms each: the second one ends the pass.
    connect(model.get(), &ClipboardModel::deleteItemSignal, this, []() { spend(120); });
    model->onCheckTotalSizeCnt();
    QCOMPARE(rowTexts(), QStringList({QStringLiteral("4"), QStringLiteral("3"), QStringLiteral("2")}));
}

QTEST_MAIN(TestClipboardModel)
#include "tst_clipboardmodel.moc"
