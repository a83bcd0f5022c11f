#include "gui/mainwindow.h"

#include <QClipboard>
#include <QDateTime>
#include <QGuiApplication>
#include <QLabel>
#include <QMimeData>
#include <QResizeEvent>
#include <QShowEvent>
#include <QTimer>
#include <QWindow>

#include "common/costtimer.h"
#include "common/historysettings.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "common/sourceapplication.h"
#include "gui/clipboardsnapshot.h"
#include "gui/clonedata.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"

MainWindow::MainWindow(QWidget *parent) : QMainWindow(parent)
{
    setMinimumSize(450, 450);
    int width = 0;
    int height = 0;
    if (Setting::instance().getMainWindowSize(width, height))
        resize(width, height);
    else
        resize(680, 850);
    setObjectName(QStringLiteral("MainWindow"));
    setStyleSheet(QStringLiteral("#MainWindow{background-color: white;}"));

    countLabel = new QLabel(this);
    countLabel->setAlignment(Qt::AlignCenter);
    setCentralWidget(countLabel);
    updateCountLabel();

    // Direct: each change is handled before the next one can arrive.
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this,
            &MainWindow::onClipboardDataChanged);
    connect(&model, &QAbstractItemModel::rowsInserted, this, &MainWindow::updateCountLabel);
    connect(&model, &QAbstractItemModel::rowsRemoved, this, &MainWindow::updateCountLabel);
    connect(&model, &QAbstractItemModel::modelReset, this, &MainWindow::updateCountLabel);
}

MainWindow::~MainWindow()
{
    LOG_INFO(QStringLiteral("MainWindow destruct"));
}

void MainWindow::delayShow()
{
    // Pinning twice right after the show lifts the window above others
    // without leaving it on top.
    QTimer::singleShot(9, this, [this] { show(); });
    QTimer::singleShot(10, this, &MainWindow::onSetWndOnTop);
    QTimer::singleShot(11, this, &MainWindow::onSetWndOnTop);
}

void MainWindow::showMainWnd()
{
    activateWindow();
    showNormal();
}

void MainWindow::notify(const QString &text)
{
    LOG_INFO(QStringLiteral("notify %1").arg(text));
}

void MainWindow::onLoadTabData(QList<TabData> datas)
{
    LOG_INFO(QStringLiteral("load tab data size %1").arg(datas.size()));
    userTabs = datas;
    model.setTabAutoDeleteProvider([this] { return tabAutoDeleteMap(); });
}

void MainWindow::onLoadDbDaba(QList<ItemData> items)
{
    LOG_INFO(QStringLiteral("size %1").arg(items.size()));
    for (const ItemData &item : std::as_const(items))
        model.addLoadedItem(item);
}

void MainWindow::onClipboardDataChanged()
{
    COST_TIMER_START(costTimer, LogDebug);
    const QMimeData *systemData = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!systemData) {
        LOG_WARNING(QStringLiteral("data is null"));
        return;
    }
    // Every question below is answered from one read of the system's data,
    // which also gets the payload before a fast next copy can replace it.
    const ClipboardSnapshot snapshot(systemData);
    const QMimeData *mimeData = &snapshot;

    const bool hasText = mimeData->hasText();
    const bool hasHtml = mimeData->hasHtml();
    const bool hasImage = mimeData->hasImage();
    const bool hasUrls = mimeData->hasUrls();
    if (logLevel >= LogInfo) {
        QString formats;
        for (const QString &format : mimeData->formats())
            formats += QStringLiteral("(%1)").arg(format);
        LOG_INFO(QStringLiteral("text %1 html %2 image %3 url %4 data format ( %5 )")
                     .arg(int(hasText))
                     .arg(int(hasHtml))
                     .arg(int(hasImage))
                     .arg(int(hasUrls))
                     .arg(formats));
    }

    // The marker on our own writes; its value does not matter.
    if (mimeData->hasFormat(MIME_IGNORE)) {
        LOG_INFO(QStringLiteral("ignore own data"));
        return;
    }
    // Password managers flag the secrets they copy; those never enter the history.
    static const QString passwordManagerHint = QStringLiteral("x-kde-passwordManagerHint");
    if (mimeData->hasFormat(passwordManagerHint) && mimeData->data(passwordManagerHint) == "secret") {
        LOG_INFO(QStringLiteral("ignore password manager secret"));
        return;
    }
    // An owner that went away leaves an empty clipboard; bare X targets are no data either.
    if (!hasHtml && !hasImage && !hasUrls && !hasText) {
        LOG_WARNING(QStringLiteral("text %1 html %2 image %3 url %4 data format ( %5 )")
                        .arg(int(hasText))
                        .arg(int(hasHtml))
                        .arg(int(hasImage))
                        .arg(int(hasUrls))
                        .arg(mimeData->formats().join(QLatin1Char(' '))));
        return;
    }

    QPixmap pixmap;
    QString exePath;
    uint iconHashValue = 0;
    if (getFrontProcessIcon(pixmap, exePath)) {
        LOG_INFO(QStringLiteral("icon exepath %1").arg(exePath));
        model.addIcon(exePath, pixmap, iconHashValue);
    }

    QVariantMap dataMap;
    dataMap[MIME_EXE_PATH] = exePath;
    uint itemType = ItemTypeNone;
    QImage image;
    if (!cloneData(mimeData, dataMap, itemType, image)) {
        LOG_ERROR(QStringLiteral("clone data fail, ignore this copy"));
        return;
    }

    // Held against the limit before hashing, so a refused payload costs no hash.
    const int dataSize = sizeOfDataMap(dataMap);
    const quint32 sizeLimit = static_cast<quint32>(HistorySettings::singleSizeLimitMb()) << 20;
    if (static_cast<quint32>(dataSize) > sizeLimit) {
        LOG_WARNING(QStringLiteral("dataSize %1 byte single size limit %2 byte")
                        .arg(static_cast<quint32>(dataSize))
                        .arg(sizeLimit));
        if (HistorySettings::exceedLimitNotify())
            notify(tr("single paste exceed the limit size"));
        return;
    }

    const uint hashValue = hashDataMap(dataMap, identityKeys());
    if (model.contains(hashValue)) {
        model.updateItemCreateActiveTime(hashValue);
        return;
    }

    ItemData itemData;
    itemData.hashValue = hashValue;
    itemData.iconHashValue = iconHashValue;
    itemData.itemType = itemType;
    const qulonglong now = static_cast<qulonglong>(QDateTime::currentMSecsSinceEpoch());
    itemData.createTime = now;
    itemData.lastActiveTime = now;
    itemData.dataMap = dataMap;
    itemData.setDataSize(dataSize);
    model.addItem(itemData);

    COST_TIMER_POINT(costTimer, QStringLiteral("total"));
    LOG_INFO(QStringLiteral("icon size %1*%2 itemType %3 exe %4 hash %5")
                 .arg(pixmap.width())
                 .arg(pixmap.height())
                 .arg(itemType)
                 .arg(exePath)
                 .arg(hashValue));
}

void MainWindow::onItemCountChanged(int size)
{
    countLabel->setText(QString::number(size) + tr("个复制项"));
}

void MainWindow::onSetWndOnTop()
{
    isPinned = !isPinned;
    // Only the native window's flags change: touching the widget's own flags
    // would re-create and hide the window.
    if (QWindow *window = windowHandle())
        window->setFlag(Qt::WindowStaysOnTopHint, isPinned);
}

void MainWindow::resizeEvent(QResizeEvent *event)
{
    // Stored at once, so that the size survives a crash.
    Setting::instance().setMainWindowSize(event->size().width(), event->size().height());
    QMainWindow::resizeEvent(event);
    updateCountLabel();
}

void MainWindow::showEvent(QShowEvent *event)
{
    LOG_INFO(QStringLiteral("show wnd is spontaneous %1").arg(event->spontaneous()));
    QMainWindow::showEvent(event);
    emit windowWasShown();
}

TabAutoDeleteMap MainWindow::tabAutoDeleteMap() const
{
    TabAutoDeleteMap map;
    for (const TabData &tab : userTabs)
        map.insert(tab.tabId, tab.autoDelete);
    return map;
}

void MainWindow::updateCountLabel()
{
    onItemCountChanged(model.rowCount());
}
