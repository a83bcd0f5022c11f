#include "window/mainwindow.h"

#include <QClipboard>
#include <QCursor>
#include <QDateTime>
#include <QDesktopServices>
#include <QFocusEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QResizeEvent>
#include <QShowEvent>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>
#include <QWindow>

#include "capture/clipboardsnapshot.h"
#include "capture/clipboardwriter.h"
#include "capture/clonedata.h"
#include "common/costtimer.h"
#include "common/datadirectory.h"
#include "common/historysettings.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "common/sourceapplication.h"
#include "frame/buttonstyle.h"
#include "frame/filterlineedit.h"
#include "ocr/ocrmanager.h"
#include "frame/messagetip.h"
#include "frame/screenfit.h"
#include "frame/titlebar.h"
#include "item/itemcodec.h"
#include "item/itemhash.h"
#include "list/clipboardbrowser.h"
#include "list/proxymodel.h"
#include "list/visiblerows.h"
#include "platform/input.h"
#include "preview/previewbase.h"
#include "preview/previewfile.h"
#include "preview/previewimage.h"
#include "preview/previewtext.h"
#include "window/systemtray.h"
#include "window/tabbar.h"
#include "window/tabwidget.h"

namespace {
const QSize kMinimumSize(450, 450);
// How far the window keeps from the right and bottom edges of the screen
// when it would pass them.
constexpr int kScreenEdgeGap = 30;

// Tab type to the item types its list shows; user tabs (20) show by tab id.
QList<uint> itemTypesOfTab(uint tabType, bool &known)
{
    known = true;
    switch (tabType) {
    case 0:
        return {ItemTypeImage, ItemTypeFile, ItemTypeText, ItemTypeRichText, ItemTypeLink};
    case 1:
        return {ItemTypeImage};
    case 2:
        return {ItemTypeFile};
    case 3:
        return {ItemTypeText, ItemTypeRichText};
    case 4:
        return {ItemTypeLink};
    case 20:
        return {};
    default:
        known = false;
        return {};
    }
}
} // namespace

MainWindow::MainWindow(QWidget *parent, ClipboardWriter *clipboardWriter)
    : QWKMainWindow(parent), writer(clipboardWriter)
{
    if (!writer)
        writer = new ClipboardWriter(dataDirectory() + QStringLiteral("/temp"), this);

    setMinimumSize(kMinimumSize);
    int width = 0;
    int height = 0;
    if (Setting::instance().getMainWindowSize(width, height))
        userSize = QSize(width, height);
    else
        userSize = QSize(680, 850);
    resize(userSize);
    setObjectName(QStringLiteral("MainWindow"));
    // What window lists and switchers show; the frame draws no title.
    setWindowTitle(QStringLiteral("vorlik"));
    setStyleSheet(QStringLiteral("#MainWindow{background-color: white;}"));
    if (titleBar)
        titleBar->setIcon(QIcon(QStringLiteral(":/images/icons/vorlik.ico")));

    createWidgets();

    // Text before file, unlike the order of the type numbers.
    createTab(0, 0, tr("all"), true, false);
    createTab(1, 1, tr("image"), true, false);
    createTab(3, 3, tr("text"), true, false);
    createTab(2, 2, tr("file"), true, false);
    createTab(4, 4, tr("link"), true, false);

    // Direct: each change is handled before the next one can arrive.
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this,
            &MainWindow::onClipboardDataChanged);
    connect(&model, &ClipboardModel::scrollToTopSignal, this, &MainWindow::onScrollToTop);
    connect(&model, &ClipboardModel::itemHashValueChanged, this, &MainWindow::onItemHashValueChanged);
    connect(writer, &ClipboardWriter::copyFinished, this, &MainWindow::showCopyFinished);
    model.setTabAutoDeleteProvider([this] {
        TabAutoDeleteMap map;
        tabs->fillTabAutoDeleteMap(map);
        return map;
    });

    systemTray = new SystemTray(this);
    connect(systemTray, &SystemTray::iconActivedSignal, tabs, &TabWidget::onIconActived);
    QTimer::singleShot(0, this, [this] {
        if (systemTray)
            systemTray->show();
    });

    updateCountLabel();
}

MainWindow::~MainWindow()
{
    LOG_INFO(QStringLiteral("MainWindow destruct"));
    // A preview has no parent; it must not outlive the window it belongs to.
    delete preview;
}

void MainWindow::createWidgets()
{
    pinIcon = QIcon(QStringLiteral(":/images/icons/pin.svg"));
    pinPressedIcon = QIcon(QStringLiteral(":/images/icons/pin-pressed.svg"));

    pinButton = new QPushButton(this);
    pinButton->setFixedSize(24, 24);
    filterEdit = new FilterLineEdit(this);
    filterEdit->setFixedHeight(24);
    tabs = new TabWidget(&model, this);
    settingButton = new QPushButton(this);
    settingButton->setFixedSize(24, 24);
    countLabel = new QLabel(this);
    countLabel->setFixedHeight(28);
    filterEdit->installEventFilter(this);

    auto *topRow = new QHBoxLayout();
    topRow->addSpacing(5);
    topRow->addWidget(pinButton);
    topRow->addSpacing(5);
    topRow->addWidget(filterEdit);
    topRow->addSpacing(30);

    auto *bottomRow = new QHBoxLayout();
    bottomRow->addSpacing(5);
    bottomRow->addWidget(settingButton);
    bottomRow->addWidget(countLabel);
    bottomRow->addSpacing(24);

    mainLayout->addLayout(topRow);
    mainLayout->addWidget(tabs);
    mainLayout->addLayout(bottomRow);

    countLabel->setAlignment(Qt::AlignCenter);
    pinButton->setIcon(pinIcon);
    pinButton->setFocusPolicy(Qt::NoFocus);
    pinButton->setStyleSheet(roundIconButtonStyle());
    connect(pinButton, &QPushButton::clicked, this, &MainWindow::onSetWndOnTop);
    settingButton->setIcon(QIcon(QStringLiteral(":/images/icons/setting.svg")));
    settingButton->setFocusPolicy(Qt::NoFocus);
    settingButton->setStyleSheet(roundIconButtonStyle());
    // Stays disabled until the program has a settings dialog to open.
    settingButton->setEnabled(false);

    tabs->setUserTabFactory([this](uint tabId, const QString &tabName, bool autoDelete) {
        createTab(20, tabId, tabName, autoDelete, true);
    });
    connect(tabs, &TabWidget::currentChanged, this, [this] {
        // The digit hints count the rows of the list now shown.
        resetVisibleRows();
        updateCountLabel();
        if (ClipboardBrowser *browser = tabs->currentBrowser())
            browser->setFocus();
    });
}

void MainWindow::createTab(uint tabType, uint tabId, const QString &tabName, bool autoDelete, bool save)
{
    bool known = false;
    const QList<uint> itemTypes = itemTypesOfTab(tabType, known);
    if (!known) {
        LOG_WARNING(QStringLiteral("create tab name %1 fail").arg(tabName));
        return;
    }
    auto *browser = new ClipboardBrowser(&model, writer, itemTypes, tabId);
    browser->installEventFilter(tabs->bar());
    browser->setCustomTabsProvider([this] { return tabs->customTabs(); });
    browser->installEventFilter(this);
    connect(browser, &ClipboardBrowser::startSearchSignal, filterEdit, &FilterLineEdit::appendText);
    connect(filterEdit, &QLineEdit::textChanged, browser, &ClipboardBrowser::onFilterTextChanged);
    connect(browser, &ClipboardBrowser::finishCopyItemSignal, this, &MainWindow::onFinishCopyItem);
    connect(browser, &ClipboardBrowser::previewRequested, this, &MainWindow::dealPreviewAction);
    connect(browser->proxyModel(), &QAbstractItemModel::rowsInserted, this, &MainWindow::updateCountLabel);
    connect(browser->proxyModel(), &QAbstractItemModel::rowsRemoved, this, &MainWindow::updateCountLabel);
    connect(browser->proxyModel(), &QAbstractItemModel::layoutChanged, this, &MainWindow::updateCountLabel);
    connect(browser->proxyModel(), &QAbstractItemModel::modelReset, this, &MainWindow::updateCountLabel);
    tabs->addTab(tabId, tabName, browser, autoDelete, save);
    if (save)
        emit tabs->insertTabDataSignal(tabId, tabName, autoDelete);
    if (tabs->currentBrowser() == browser)
        browser->setFocus();
}

void MainWindow::delayShow()
{
    // Pinning twice right after the show lifts the window above others
    // without leaving it on top.
    QTimer::singleShot(9, this, [this] { show(); });
    QTimer::singleShot(10, this, &MainWindow::onSetWndOnTop);
    QTimer::singleShot(11, this, &MainWindow::onSetWndOnTop);
}

void MainWindow::resetCurrentList()
{
    filterEdit->clear();
    if (ClipboardBrowser *browser = tabs->currentBrowser()) {
        browser->scrollToTop();
        browser->selectFirstRow(true);
        browser->setFocus();
    }
}

void MainWindow::showMainWnd()
{
    resetCurrentList();
    activateWindow();
    showNormal();
}

void MainWindow::onShortcutActiveMainWnd()
{
    resetCurrentList();
    activateWindow();
    showNormal();
    const QPoint cursor = QCursor::pos();
    moveOnScreen(cursor + QPoint(40, 30), cursor);
}

void MainWindow::hideMainWnd()
{
    LOG_INFO(QStringLiteral("hide main wnd"));
    const QList<ClipboardBrowser *> browsers = tabs->browsers();
    for (ClipboardBrowser *browser : browsers)
        browser->selectFirstRow(true);
    closePreview();
    hide();
}

void MainWindow::moveOnScreen(QPoint point, const QPoint &anchor)
{
    fittingToScreen = true;
    fitOnScreen(this, userSize, kMinimumSize, point, availableGeometryAt(anchor, this), kScreenEdgeGap);
    fittingToScreen = false;
}

void MainWindow::notify(const QString &text)
{
    LOG_INFO(QStringLiteral("notify %1").arg(text));
    if (systemTray)
        systemTray->showMessage(tr("注意"), text, QIcon(QStringLiteral(":/images/icons/vorlik.ico")), 10000);
}

void MainWindow::deleteTray()
{
    delete systemTray;
    systemTray = nullptr;
}

void MainWindow::showCopyFinished()
{
    auto *tip = new MessageTip(tr("复制完成"), nullptr);
    tip->showTip();
    const QPoint place = MessageTip::tipPosition(geometry(), tip->size());
    tip->move(fittedTopLeft(place, tip->size(), availableGeometryAt(geometry().center(), this)));
}

void MainWindow::setQuickCopyMode(bool on)
{
    if (quickCopyMode == on)
        return;
    quickCopyMode = on;
    quickCopyModeOn = on;
    firstVisibleRow = 0x7FFFFFFF;
    if (ClipboardBrowser *browser = tabs->currentBrowser())
        browser->viewport()->update();
    visibleRowMap.clear();
    LOG_INFO(QStringLiteral("quick mode %1").arg(on));
}

void MainWindow::dealPreviewAction(const ItemData &itemData, int y)
{
    // The same item a second time only closes its preview.
    const bool sameItem = preview && preview->hashValue() == itemData.hashValue;
    closePreview();
    if (sameItem)
        return;

    if (itemData.itemType == ItemTypeLink) {
        QDesktopServices::openUrl(QUrl(itemData.text()));
        return;
    }
    preview = createPreview(itemData);
    if (!preview)
        return;
    connect(preview, &PreviewBase::closing, this, [this](PreviewBase *closed) {
        if (preview == closed)
            preview = nullptr;
    });
    preview->setHashValue(itemData.hashValue);
    preview->setFilterText(filterEdit->text());
    preview->show();
    preview->adjustPosition(y);
    preview->setFocus(Qt::OtherFocusReason);
}

PreviewBase *MainWindow::createPreview(const ItemData &itemData)
{
    switch (itemData.itemType) {
    case ItemTypeImage: {
        auto *imagePreview = new PreviewImage(&model, writer, this);
        imagePreview->setImage(itemData.image(), itemData.ocrResults);
        return imagePreview;
    }
    case ItemTypeFile: {
        auto *filePreview = new PreviewFile(&model, writer, this);
        filePreview->setUrls(itemData.urls());
        return filePreview;
    }
    case ItemTypeRichText: {
        auto *textPreview = new PreviewText(&model, writer, this);
        textPreview->setHtml(itemData.html());
        return textPreview;
    }
    case ItemTypeText: {
        LOG_INFO(QStringLiteral("hasText %1 hasHtml %2")
                     .arg(itemData.dataMap.contains(MIME_TEXT))
                     .arg(itemData.dataMap.contains(MIME_HTML)));
        auto *textPreview = new PreviewText(&model, writer, this);
        textPreview->setPlainText(itemData.text());
        return textPreview;
    }
    default:
        return nullptr;
    }
}

void MainWindow::closePreview()
{
    if (!preview)
        return;
    PreviewBase *closing = preview;
    preview = nullptr;
    closing->close();
}

void MainWindow::onLoadTabData(QList<TabData> datas)
{
    LOG_INFO(QStringLiteral("load tab data size %1").arg(datas.size()));
    for (const TabData &data : std::as_const(datas))
        createTab(20, data.tabId, data.tabName, data.autoDelete, false);
    tabs->restoreTabOrder();
}

void MainWindow::onLoadDbDaba(QList<ItemData> items)
{
    LOG_INFO(QStringLiteral("size %1").arg(items.size()));
    for (const ItemData &item : std::as_const(items))
        model.addLoadedItem(item);
    if (ClipboardBrowser *browser = tabs->currentBrowser())
        browser->selectFirstRow(false);
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
    // Started before the item enters the model; the answer finds it by hash.
    if (itemType == ItemTypeImage && ocrManager)
        emit ocrManager->startOcrSignal(hashValue, image);
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

void MainWindow::updateCountLabel()
{
    ClipboardBrowser *browser = tabs ? tabs->currentBrowser() : nullptr;
    onItemCountChanged(browser ? browser->proxyModel()->rowCount() : 0);
}

void MainWindow::onSetWndOnTop()
{
    isPinned = !isPinned;
    // Only the native window's flags change: touching the widget's own flags
    // would re-create and hide the window.
    if (QWindow *window = windowHandle())
        window->setFlag(Qt::WindowStaysOnTopHint, isPinned);
    pinButton->setIcon(isPinned ? pinPressedIcon : pinIcon);
}

void MainWindow::onFinishCopyItem()
{
    filterEdit->clear();
    if (!isPinned)
        hideMainWnd();
}

void MainWindow::onScrollToTop()
{
    if (ClipboardBrowser *browser = tabs->currentBrowser())
        browser->scrollToTop();
}

void MainWindow::onItemHashValueChanged(uint oldValue, uint newValue)
{
    if (preview)
        preview->updateHash(oldValue, newValue);
}

void MainWindow::keyPressEvent(QKeyEvent *event)
{
    LOG_INFO(QStringLiteral("press key %1").arg(QKeySequence(event->key()).toString(QKeySequence::NativeText)));
    const int key = event->key();
    if (key == Qt::Key_Control)
        setQuickCopyMode(true);

    // The release of Ctrl may have gone to another window or a menu; the
    // keyboard itself says whether the digits still copy.
    if (quickCopyMode && key != Qt::Key_Control && !platform::isControlKeyDown())
        setQuickCopyMode(false);

    ClipboardBrowser *browser = tabs->currentBrowser();
    if (quickCopyMode && key >= Qt::Key_1 && key <= Qt::Key_9 && visibleRowMap.contains(key - Qt::Key_0)) {
        if (browser)
            browser->copyRow(visibleRowMap.value(key - Qt::Key_0));
        event->accept();
        return;
    }
    if (browser && (key == Qt::Key_Return || key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_PageUp ||
                    key == Qt::Key_PageDown)) {
        event->accept();
        QCoreApplication::sendEvent(browser, event);
        return;
    }

    const Qt::KeyboardModifiers modifiers =
        event->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier);
    const QKeySequence pressed(QKeyCombination(modifiers, Qt::Key(key)));
    const QKeySequence plainTextShortcut = HistorySettings::copyAsPlainTextShortcut();
    const bool isCopy = event->modifiers() == Qt::ControlModifier && key == Qt::Key_C;
    if (browser && (isCopy || (!plainTextShortcut.isEmpty() && pressed == plainTextShortcut))) {
        event->accept();
        QCoreApplication::sendEvent(browser, event);
        return;
    }
    QWKMainWindow::keyPressEvent(event);
}

bool MainWindow::eventFilter(QObject *watched, QEvent *event)
{
    // A menu takes the keyboard without taking the activation from this
    // window, so Ctrl let go over it would never reach us: the focus going to
    // a menu ends the digit hints, as the focus going anywhere else does.
    if (event->type() == QEvent::FocusOut) {
        const Qt::FocusReason reason = static_cast<QFocusEvent *>(event)->reason();
        if (reason == Qt::PopupFocusReason || reason == Qt::ActiveWindowFocusReason)
            setQuickCopyMode(false);
    }
    return QWKMainWindow::eventFilter(watched, event);
}

void MainWindow::keyReleaseEvent(QKeyEvent *event)
{
    // Ctrl let go in this window ends the digit hints at once; a release
    // elsewhere is caught by losing the focus.
    if (event->key() == Qt::Key_Control)
        setQuickCopyMode(false);
    QWKMainWindow::keyReleaseEvent(event);
}

void MainWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::ActivationChange && !isActiveWindow())
        setQuickCopyMode(false);
    QWKMainWindow::changeEvent(event);
}

void MainWindow::resizeEvent(QResizeEvent *event)
{
    // Stored at once, so that the size survives a crash. A size the screen
    // forced is not the user's, and is not kept.
    if (!fittingToScreen) {
        userSize = event->size();
        Setting::instance().setMainWindowSize(userSize.width(), userSize.height());
    }
    QWKMainWindow::resizeEvent(event);
    updateCountLabel();
}

void MainWindow::showEvent(QShowEvent *event)
{
    LOG_INFO(QStringLiteral("show wnd is spontaneous %1").arg(event->spontaneous()));
    QWKMainWindow::showEvent(event);
    // On the screen the window is on; the hotkey's move then takes it to
    // the cursor's.
    moveOnScreen(frameGeometry().topLeft(), frameGeometry().center());
    emit windowWasShown();
}
