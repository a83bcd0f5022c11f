#pragma once

#include "item/itemdata.h"

#include <QSet>
#include <QWidget>

#include <functional>

class ClipboardBrowser;
class ClipboardModel;
class QPushButton;
class QStackedWidget;
class TabBar;

// The tabs of the history: a movable tab bar over a stack of lists, one list
// per tab, page order equal to tab order. Owns the rules for user tab ids,
// names, order and deletion; a tab holds no items of its own.
class TabWidget : public QWidget
{
    Q_OBJECT
public:
    // Makes the list of a new user tab and adds it through addTab.
    using UserTabFactory = std::function<void(uint tabId, const QString &tabName, bool autoDelete)>;

    explicit TabWidget(ClipboardModel *model, QWidget *parent = nullptr);

    void setUserTabFactory(UserTabFactory factory);

    void addTab(uint tabId, const QString &tabName, ClipboardBrowser *browser, bool autoDelete, bool saveOrder);
    // Empty, over 50 UTF-16 units, or equal to another tab's text is refused;
    // the last two with a message. `index` is the tab left out, or -1.
    bool isTabNameValid(const QString &name, int index);

    QList<ClipboardBrowser *> browsers() const;
    ClipboardBrowser *currentBrowser() const;
    QList<TabData> customTabs() const;
    QSet<uint> tabIds() const;
    void fillTabAutoDeleteMap(TabAutoDeleteMap &map) const;
    void restoreTabOrder();
    void saveTabOrder();

    TabBar *bar() const { return tabBar; }
    QPushButton *createTabButton() const { return newTabButton; }

signals:
    void currentChanged(int index);
    // Write-behind of user tabs to the database.
    void insertTabDataSignal(uint tabId, QString tabName, bool autoDelete);
    void deleteTabSignal(uint tabId);

public slots:
    void onTabMoved(int from, int to);
    void onIconActived();
    void onCreateNewTab();
    void onEditTab(uint index);
    void onDeleteTab(uint index);

private:
    TabData tabDataAt(int index) const;
    uint freeTabId() const;

    QStackedWidget *stackedWidget = nullptr;
    TabBar *tabBar = nullptr;
    QPushButton *newTabButton = nullptr;
    ClipboardModel *model = nullptr;
    UserTabFactory userTabFactory;
};
