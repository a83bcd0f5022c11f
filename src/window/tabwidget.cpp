#include "window/tabwidget.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "common/log.h"
#include "common/setting.h"
#include "frame/confirmdialog.h"
#include "frame/createtabdialog.h"
#include "item/clipboardmodel.h"
#include "list/clipboardbrowser.h"
#include "window/tabbar.h"

namespace {
constexpr uint kFirstUserTabId = 20;
constexpr int kMaxTabNameLength = 50;
} // namespace

TabWidget::TabWidget(ClipboardModel *model, QWidget *parent) : QWidget(parent), model(model)
{
    setFocusPolicy(Qt::NoFocus);

    stackedWidget = new QStackedWidget(this);
    stackedWidget->setStyleSheet(QStringLiteral("border: none;"));

    tabBar = new TabBar(this);
    tabBar->setMovable(true);

    newTabButton = new QPushButton(this);
    newTabButton->setFixedSize(20, 20);
    newTabButton->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    newTabButton->setFocusPolicy(Qt::NoFocus);
    newTabButton->setIcon(QIcon(QStringLiteral(":/images/icons/plus.svg")));
    newTabButton->setToolTip(QStringLiteral("新建标签页"));

    auto *barLayout = new QHBoxLayout();
    barLayout->setContentsMargins(0, 6, 0, 2);
    barLayout->addWidget(tabBar);
    barLayout->addWidget(newTabButton);
    barLayout->addStretch(1);
    barLayout->addSpacing(5);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(barLayout);
    layout->addWidget(stackedWidget);

    connect(tabBar, &QTabBar::currentChanged, stackedWidget, &QStackedWidget::setCurrentIndex);
    connect(tabBar, &QTabBar::currentChanged, this, &TabWidget::currentChanged);
    connect(tabBar, &QTabBar::tabMoved, this, &TabWidget::onTabMoved);
    connect(newTabButton, &QPushButton::clicked, this, &TabWidget::onCreateNewTab);
    connect(tabBar, &TabBar::editTabSignal, this, &TabWidget::onEditTab);
    connect(tabBar, &TabBar::deleteTabSignal, this, &TabWidget::onDeleteTab);
}

void TabWidget::setUserTabFactory(UserTabFactory factory)
{
    userTabFactory = std::move(factory);
}

void TabWidget::addTab(uint tabId, const QString &tabName, ClipboardBrowser *browser, bool autoDelete,
                       bool saveOrder)
{
    stackedWidget->addWidget(browser);
    const int index = tabBar->addTab(tabName);
    TabData data;
    data.tabId = tabId;
    data.autoDelete = autoDelete;
    tabBar->setTabData(index, QVariant::fromValue(data));
    if (saveOrder)
        saveTabOrder();
}

TabData TabWidget::tabDataAt(int index) const
{
    return tabBar->tabData(index).value<TabData>();
}

bool TabWidget::isTabNameValid(const QString &name, int index)
{
    if (name.isEmpty())
        return false;
    bool duplicate = false;
    for (int i = 0; i < tabBar->count(); ++i)
        if (i != index && tabBar->tabText(i) == name)
            duplicate = true;
    if (name.size() <= kMaxTabNameLength && !duplicate)
        return true;

    ConfirmDialog dialog(name.size() > kMaxTabNameLength ? QStringLiteral("标签页名字超过50个字符")
                                                         : QStringLiteral("重复的标签页名字"),
                         false);
    dialog.exec();
    return false;
}

QList<ClipboardBrowser *> TabWidget::browsers() const
{
    QList<ClipboardBrowser *> result;
    for (int i = 0; i < stackedWidget->count(); ++i)
        if (auto *browser = qobject_cast<ClipboardBrowser *>(stackedWidget->widget(i)))
            result.append(browser);
    return result;
}

ClipboardBrowser *TabWidget::currentBrowser() const
{
    return qobject_cast<ClipboardBrowser *>(stackedWidget->currentWidget());
}

QList<TabData> TabWidget::customTabs() const
{
    QList<TabData> tabs;
    for (int i = 0; i < tabBar->count(); ++i) {
        TabData data = tabDataAt(i);
        if (data.tabId < kFirstUserTabId)
            continue;
        data.tabName = tabBar->tabText(i);
        tabs.append(data);
    }
    return tabs;
}

QSet<uint> TabWidget::tabIds() const
{
    QSet<uint> ids;
    for (int i = 0; i < tabBar->count(); ++i)
        ids.insert(tabDataAt(i).tabId);
    return ids;
}

void TabWidget::fillTabAutoDeleteMap(TabAutoDeleteMap &map) const
{
    for (int i = 0; i < tabBar->count(); ++i) {
        const TabData data = tabDataAt(i);
        if (data.tabId >= kFirstUserTabId)
            map.insert(data.tabId, data.autoDelete);
    }
}

void TabWidget::saveTabOrder()
{
    QList<uint> order;
    for (int i = 0; i < tabBar->count(); ++i)
        order.append(tabDataAt(i).tabId);
    Setting::instance().setTabOrder(order);
}

void TabWidget::restoreTabOrder()
{
    QList<uint> order;
    if (!Setting::instance().getTabOrder(order)) {
        LOG_ERROR(QStringLiteral("get config fail"));
        order.clear();
    }
    const QSet<uint> savedIds(order.cbegin(), order.cend());
    if (savedIds != tabIds()) {
        // The database and the settings disagree; the default order wins
        // until the user moves or makes a tab.
        LOG_ERROR(QStringLiteral("ids not equal"));
        Setting::instance().removeTabOrder();
        return;
    }

    struct TabRecord
    {
        uint tabId;
        QString text;
        QWidget *page;
        bool autoDelete;
    };
    QList<TabRecord> records;
    for (int i = 0; i < tabBar->count(); ++i) {
        const TabData data = tabDataAt(i);
        records.append({data.tabId, tabBar->tabText(i), stackedWidget->widget(i), data.autoDelete});
    }
    // The pages stay alive while they are out of the stack.
    while (tabBar->count() > 0)
        tabBar->removeTab(tabBar->count() - 1);
    for (const TabRecord &record : records)
        stackedWidget->removeWidget(record.page);

    for (uint id : order) {
        const auto record = std::find_if(records.cbegin(), records.cend(),
                                         [id](const TabRecord &r) { return r.tabId == id; });
        if (record == records.cend())
            continue;
        stackedWidget->addWidget(record->page);
        const int index = tabBar->addTab(record->text);
        TabData data;
        data.tabId = record->tabId;
        data.autoDelete = record->autoDelete;
        tabBar->setTabData(index, QVariant::fromValue(data));
    }
    tabBar->setCurrentIndex(0);
    stackedWidget->setCurrentIndex(0);
}

uint TabWidget::freeTabId() const
{
    const QSet<uint> ids = tabIds();
    uint id = kFirstUserTabId;
    while (ids.contains(id)) {
        if (id == 4294967295u)
            return 666;
        ++id;
    }
    return id;
}

void TabWidget::onCreateNewTab()
{
    CreateTabDialog dialog(QString(), false);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QString name = dialog.name();
    const bool autoDelete = dialog.isAutoDelete();
    if (!isTabNameValid(name, -1))
        return;
    // The lowest free id is reused: a deleted tab's id was taken off every
    // item before the tab went.
    if (userTabFactory)
        userTabFactory(freeTabId(), name, autoDelete);
}

void TabWidget::onEditTab(uint index)
{
    const int tabIndex = static_cast<int>(index);
    TabData data = tabDataAt(tabIndex);
    LOG_INFO(QStringLiteral("edit tab %1 tabId %2 autoDelete %3")
                 .arg(QString::number(index), QString::number(data.tabId), QString::number(data.autoDelete)));
    const QString oldName = tabBar->tabText(tabIndex);
    CreateTabDialog dialog(oldName, data.autoDelete);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QString name = dialog.name();
    const bool autoDelete = dialog.isAutoDelete();
    if (name == oldName && autoDelete == data.autoDelete)
        return;
    if (!isTabNameValid(name, tabIndex))
        return;
    tabBar->setTabText(tabIndex, name);
    data.autoDelete = autoDelete;
    tabBar->setTabData(tabIndex, QVariant::fromValue(data));
    emit insertTabDataSignal(data.tabId, name, autoDelete);
}

void TabWidget::onDeleteTab(uint index)
{
    ConfirmDialog dialog(QStringLiteral("删除后无法恢复！"), true);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const int tabIndex = static_cast<int>(index);
    const TabData data = tabDataAt(tabIndex);
    QWidget *browser = stackedWidget->widget(tabIndex);

    // The page goes first: the bar then announces its new current tab with
    // an index that already points at the right page, and whatever reads the
    // current list on that signal (the count under it) reads the one shown.
    stackedWidget->removeWidget(browser);
    tabBar->removeTab(tabIndex);
    stackedWidget->setCurrentIndex(tabBar->currentIndex());
    saveTabOrder();
    // The tab goes from the database before its items are updated; the
    // one write queue keeps that order.
    emit deleteTabSignal(data.tabId);
    model->removeCustomIdFromAll(data.tabId);
    delete browser;
}

void TabWidget::onTabMoved(int from, int to)
{
    LOG_INFO(QStringLiteral("tab move from %1 to %2").arg(from).arg(to));
    QWidget *page = stackedWidget->widget(from);
    stackedWidget->removeWidget(page);
    stackedWidget->insertWidget(to, page);
    stackedWidget->setCurrentIndex(tabBar->currentIndex());
    saveTabOrder();
}

void TabWidget::onIconActived()
{
    if (ClipboardBrowser *browser = currentBrowser())
        browser->selectFirstRow(true);
}
