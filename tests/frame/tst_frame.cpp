// The frameless frame and what stands on it: title bar, dialogs, the copy
// tip, the search field and the menu; and the resources the windows load.

#include <memory>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QFile>
#include <QHBoxLayout>
#include <QImageReader>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTranslator>
#include <QVBoxLayout>
#include <QWindow>

#include "common/log.h"
#include "frame/confirmdialog.h"
#include "frame/createtabdialog.h"
#include "frame/customgraphicsdropshadoweffect.h"
#include "frame/custommenu.h"
#include "frame/filterlineedit.h"
#include "frame/messagetip.h"
#include "frame/qwkmainwindow.h"
#include "frame/qwkwidget.h"
#include "frame/remarkdialog.h"
#include "frame/titlebar.h"
#include "frame/widgetwindowagent.h"
#include "platform/compositing.h"

namespace {
const QStringList appSheets = {
    QStringLiteral(":/css/qss/css/titleBar.qss"),
    QStringLiteral(":/css/qss/css/tabbar.qss"),
    QStringLiteral(":/css/qss/css/config.qss"),
    QStringLiteral(":/css/qss/css/global.qss"),
};

QPushButton *dialogButton(QDialog *dialog, const QString &text)
{
    const auto buttons = dialog->findChildren<QPushButton *>(QStringLiteral("okCancelBtn"));
    for (QPushButton *button : buttons)
        if (button->text() == text)
            return button;
    return nullptr;
}

QStringList labelTexts(const QWidget *bar)
{
    QStringList texts;
    const auto *box = bar->layout();
    for (int i = 0; i < box->count(); ++i)
        if (auto *label = qobject_cast<QLabel *>(box->itemAt(i)->widget()))
            texts << (label->pixmap().isNull() ? label->text() : QStringLiteral("<icon>"));
    return texts;
}

// Sends a key straight to the widget and tells whether it kept it.
bool keyAccepted(QWidget *widget, Qt::Key key, Qt::KeyboardModifiers modifiers, const QString &text = {})
{
    QKeyEvent event(QEvent::KeyPress, key, modifiers, text);
    QCoreApplication::sendEvent(widget, &event);
    return event.isAccepted();
}
} // namespace

class TestFrame : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void dialogs_data();
    void dialogs();
    void dialogValues();
    void titleBarButtonsAndLabels();
    void maxStateFollowsWindowState();
    void barButtonsAndDoubleClick();
    void resizeEdges_data();
    void resizeEdges();
    void filterLineEdit();
    void tipPosition_data();
    void tipPosition();
    void tipGoesAwayByItself();
    void menuShadow();
    void resourcesExist_data();
    void resourcesExist();
    void sheetsLoadAndPointAtResources();
    void translation();

private:
    QTemporaryDir dir;
};

void TestFrame::initTestCase()
{
    // Dialogs put the application icon into their bar.
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/images/icons/vorlik.ico")));
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(dir.isValid());
    initLog(LogDebug, dir.path());
}

void TestFrame::dialogs_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("click"); // "确定", "取消" or "close"
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QString>("title");
    QTest::addColumn<bool>("cancelShown");
    QTest::addColumn<int>("result");

    const QSize small(320, 200);
    QTest::newRow("confirm ok") << "confirm"
                                << "确定" << small << "notice" << true << int(QDialog::Accepted);
    QTest::newRow("confirm cancel") << "confirm"
                                    << "取消" << small << "notice" << true << int(QDialog::Rejected);
    QTest::newRow("notice only ok") << "notice"
                                    << "确定" << small << "notice" << false << int(QDialog::Accepted);
    QTest::newRow("notice closed") << "notice"
                                   << "close" << small << "notice" << false << int(QDialog::Rejected);
    QTest::newRow("tab ok") << "tab"
                            << "确定" << small << "新建标签页" << true << int(QDialog::Accepted);
    QTest::newRow("tab cancel") << "tab"
                                << "取消" << small << "新建标签页" << true << int(QDialog::Rejected);
    QTest::newRow("remark ok") << "remark"
                               << "确定" << QSize(320, 197) << "编辑备注" << true << int(QDialog::Accepted);
    QTest::newRow("remark closed") << "remark"
                                   << "close" << QSize(320, 197) << "编辑备注" << true
                                   << int(QDialog::Rejected);
}

void TestFrame::dialogs()
{
    QFETCH(QString, kind);
    QFETCH(QString, click);
    QFETCH(QSize, size);
    QFETCH(QString, title);
    QFETCH(bool, cancelShown);
    QFETCH(int, result);

    std::unique_ptr<QWKDialog> dialog;
    if (kind == QLatin1String("confirm") || kind == QLatin1String("notice"))
        dialog = std::make_unique<ConfirmDialog>(QStringLiteral("删除?"), kind == QLatin1String("confirm"));
    else if (kind == QLatin1String("tab"))
        dialog = std::make_unique<CreateTabDialog>(QStringLiteral("工作"), false);
    else
        dialog = std::make_unique<RemarkDialog>();

    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
    QCOMPARE(dialog->size(), size);
    QVERIFY(dialog->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    QVERIFY(dialog->windowFlags().testFlag(Qt::FramelessWindowHint));

    // Only the close button stands in a dialog's bar, after the icon and title.
    auto *bar = dialog->findChild<TitleBar *>(QStringLiteral("titleBar"));
    QVERIFY(bar);
    QVERIFY(!bar->minButton() && !bar->maxButton() && bar->closeButton());
    QCOMPARE(labelTexts(bar), (QStringList{QStringLiteral("<icon>"), title}));

    QVERIFY(dialogButton(dialog.get(), QStringLiteral("确定"))->isVisible());
    QCOMPARE(dialogButton(dialog.get(), QStringLiteral("取消"))->isVisible(), cancelShown);

    QSignalSpy finished(dialog.get(), &QDialog::finished);
    if (click == QLatin1String("close"))
        QTest::mouseClick(bar->closeButton(), Qt::LeftButton);
    else
        QTest::mouseClick(dialogButton(dialog.get(), click), Qt::LeftButton);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(dialog->result(), result);
    QVERIFY(!dialog->isVisible());
}

void TestFrame::dialogValues()
{
    CreateTabDialog tab(QStringLiteral("工作"), true);
    QCOMPARE(tab.name(), QStringLiteral("工作"));
    QVERIFY(tab.isAutoDelete());
    auto *edit = tab.findChild<QLineEdit *>();
    tab.show();
    QVERIFY(QTest::qWaitForWindowActive(&tab));
    QTRY_VERIFY(edit->hasFocus());
    edit->selectAll();
    QTest::keyClicks(edit, QStringLiteral("notes"));
    tab.findChild<QCheckBox *>()->click();
    QCOMPARE(tab.name(), QStringLiteral("notes"));
    QVERIFY(!tab.isAutoDelete());

    RemarkDialog remark;
    QCOMPARE(remark.remark(), QString());
    remark.setRemark(QStringLiteral("备注一"));
    QCOMPARE(remark.remark(), QStringLiteral("备注一"));
    QCOMPARE(remark.findChild<QLineEdit *>()->placeholderText(), QStringLiteral("输入备注"));
}

void TestFrame::titleBarButtonsAndLabels()
{
    for (const bool withMin : {false, true}) {
        for (const bool withMax : {false, true}) {
            TitleBar bar(withMin, withMax);
            QCOMPARE(bool(bar.minButton()), withMin);
            QCOMPARE(bool(bar.maxButton()), withMax);
            QVERIFY(bar.closeButton());
            QCOMPARE(bar.height(), 31);
        }
    }

    // Each call adds a label; the earlier one stays, and both come after an icon.
    TitleBar bar(false, false);
    bar.setTitle(QStringLiteral("one"));
    bar.setTitle(QStringLiteral("two"));
    QCOMPARE(labelTexts(&bar), (QStringList{QStringLiteral("two"), QStringLiteral("one")}));
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::red);
    TitleBar iconBar(false, false);
    iconBar.setIcon(QIcon(pixmap));
    iconBar.setTitle(QStringLiteral("one"));
    QCOMPARE(labelTexts(&iconBar), (QStringList{QStringLiteral("<icon>"), QStringLiteral("one")}));
    QCOMPARE(iconBar.findChild<QLabel *>()->pixmap().size(), QSize(16, 16));
}

void TestFrame::maxStateFollowsWindowState()
{
    QWKMainWindow window;
    window.resize(400, 300);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *maxButton = window.findChild<QToolButton *>(QStringLiteral("maxToolButton"));
    QCOMPARE(maxButton->property("MaxState"), QVariant(false));

    maxButton->click();
    QTRY_VERIFY(window.isMaximized());
    QCOMPARE(maxButton->property("MaxState"), QVariant(true));
    maxButton->click();
    QTRY_VERIFY(!window.isMaximized());
    QCOMPARE(maxButton->property("MaxState"), QVariant(false));

    // A state change that does not come from the button moves the property too.
    QWKWidget widget;
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    widget.showMaximized();
    QTRY_COMPARE(widget.findChild<QToolButton *>(QStringLiteral("maxToolButton"))->property("MaxState"),
                 QVariant(true));
}

void TestFrame::barButtonsAndDoubleClick()
{
    QWKMainWindow window;
    window.setTitle(QStringLiteral("vorlik"));
    // Content under the bar, as the real windows have, keeps the bar on top.
    qobject_cast<QVBoxLayout *>(window.centralWidget()->layout())->addStretch(1);
    window.resize(400, 300);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QWindow *handle = window.windowHandle();
    auto *bar = window.findChild<TitleBar *>(QStringLiteral("titleBar"));
    const QPoint onBar = bar->mapTo(&window, QPoint(100, 15));

    // A double click on the empty bar maximises and restores through the agent.
    QTest::mouseDClick(handle, Qt::LeftButton, {}, onBar);
    QTRY_VERIFY(window.isMaximized());
    QCOMPARE(bar->maxButton()->property("MaxState"), QVariant(true));
    QTest::mouseDClick(handle, Qt::LeftButton, {}, onBar);
    QTRY_VERIFY(!window.isMaximized());

    // On a button it is the button's: two clicks on close, no maximising.
    auto *agent = window.findChild<QWK::WidgetWindowAgent *>();
    QVERIFY(agent->isHitTestVisible(bar->closeButton()));
    QCOMPARE(agent->systemButton(QWK::WidgetWindowAgent::Maximize), bar->maxButton());

    // Minimising hides the window instead.
    QTest::mouseClick(bar->minButton(), Qt::LeftButton);
    QVERIFY(!window.isVisible());
    QVERIFY(!window.isMinimized());
}

void TestFrame::resizeEdges_data()
{
    QTest::addColumn<QPoint>("pos");
    QTest::addColumn<int>("edges");
    const int b = QWK::WidgetWindowAgent::resizeBorder;
    QTest::newRow("inside") << QPoint(200, 150) << 0;
    QTest::newRow("left") << QPoint(0, 150) << int(Qt::LeftEdge);
    QTest::newRow("just past left band") << QPoint(b, 150) << 0;
    QTest::newRow("right") << QPoint(399, 150) << int(Qt::RightEdge);
    QTest::newRow("top over bar") << QPoint(200, 1) << int(Qt::TopEdge);
    QTest::newRow("bottom") << QPoint(200, 300 - b) << int(Qt::BottomEdge);
    QTest::newRow("top left") << QPoint(1, 1) << int(Qt::TopEdge | Qt::LeftEdge);
    QTest::newRow("bottom right") << QPoint(399, 299) << int(Qt::BottomEdge | Qt::RightEdge);
    QTest::newRow("outside") << QPoint(400, 150) << 0;
}

void TestFrame::resizeEdges()
{
    QFETCH(QPoint, pos);
    QFETCH(int, edges);

    QWidget window;
    QWK::WidgetWindowAgent agent(&window);
    agent.setup(&window);
    window.resize(400, 300);
    QCOMPARE(int(agent.edgesAt(pos)), edges);

    // Neither a fixed-size nor a maximised window is resized from its border.
    window.setFixedSize(400, 300);
    QCOMPARE(int(agent.edgesAt(pos)), 0);
    window.setMinimumSize(100, 100);
    window.setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    window.setWindowState(Qt::WindowMaximized);
    QCOMPARE(int(agent.edgesAt(pos)), 0);
}

void TestFrame::filterLineEdit()
{
    QWidget window;
    auto *layout = new QHBoxLayout(&window);
    auto *edit = new FilterLineEdit(&window);
    layout->addWidget(edit);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *clear = edit->findChild<QPushButton *>();

    QVERIFY(!clear->isVisible());
    QCOMPARE(edit->textMargins().right(), clear->width());
    QVERIFY(clear->width() > 6);

    edit->appendText(QStringLiteral("ab"));
    edit->appendText(QStringLiteral("c"));
    QCOMPARE(edit->text(), QStringLiteral("abc"));
    QTRY_VERIFY(edit->hasFocus());
    QVERIFY(clear->isVisible());

    // Ctrl+C without a selection is left to the window; with one it copies.
    QVERIFY(!keyAccepted(edit, Qt::Key_C, Qt::ControlModifier));
    edit->setSelection(1, 2);
    QGuiApplication::clipboard()->clear();
    QVERIFY(keyAccepted(edit, Qt::Key_C, Qt::ControlModifier));
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("bc"));
    QVERIFY(keyAccepted(edit, Qt::Key_X, Qt::NoModifier, QStringLiteral("x")));
    QCOMPARE(edit->text(), QStringLiteral("ax"));

    QTest::mouseClick(clear, Qt::LeftButton);
    QCOMPARE(edit->text(), QString());
    QVERIFY(!clear->isVisible());
}

void TestFrame::tipPosition_data()
{
    QTest::addColumn<QRect>("window");
    QTest::addColumn<QSize>("tip");
    QTest::addColumn<QPoint>("expected");
    // Centred horizontally; the tip's middle 0.382 of the height from the top.
    QTest::newRow("500x309") << QRect(100, 200, 500, 309) << QSize(120, 60) << QPoint(289, 287);
    QTest::newRow("odd tip") << QRect(0, 0, 1000, 1000) << QSize(121, 61) << QPoint(439, 351);
    QTest::newRow("negative screen") << QRect(-800, -600, 400, 300) << QSize(100, 40) << QPoint(-650, -506);
}

void TestFrame::tipPosition()
{
    QFETCH(QRect, window);
    QFETCH(QSize, tip);
    QFETCH(QPoint, expected);
    QCOMPARE(MessageTip::tipPosition(window, tip), expected);
}

void TestFrame::tipGoesAwayByItself()
{
    QPointer<MessageTip> first = new MessageTip(QStringLiteral("复制完成"));
    QVERIFY(first->testAttribute(Qt::WA_ShowWithoutActivating));
    QVERIFY(first->windowFlags().testFlag(Qt::Tool));
    first->showTip();
    QTest::qWait(300);
    QPointer<MessageTip> second = new MessageTip(QStringLiteral("复制完成"));
    second->showTip();
    QVERIFY(first && second && first->isVisible() && second->isVisible());
    // Each goes 600 ms after its own start.
    QTRY_VERIFY_WITH_TIMEOUT(!first, 2000);
    QVERIFY(second);
    QTRY_VERIFY_WITH_TIMEOUT(!second, 2000);
}

void TestFrame::menuShadow()
{
    CustomMenu menu(QString(), 20, 20);
    QVERIFY(menu.windowFlags().testFlag(Qt::FramelessWindowHint));
    QVERIFY(menu.windowFlags().testFlag(Qt::NoDropShadowWindowHint));
    if (!platform::isCompositingActive()) {
        // Nothing blends: an opaque menu without the shadow's margin.
        QVERIFY(!menu.testAttribute(Qt::WA_TranslucentBackground));
        QVERIFY(!menu.graphicsEffect());
        return;
    }
    QVERIFY(menu.testAttribute(Qt::WA_TranslucentBackground));
    auto *shadow = qobject_cast<CustomGraphicsDropShadowEffect *>(menu.graphicsEffect());
    QVERIFY(shadow);
    QCOMPARE(shadow->blurRadius(), 10.0);
    const QRectF rect(3, 4, 50, 60);
    QCOMPARE(shadow->boundingRectFor(rect), rect);
}

void TestFrame::resourcesExist_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QSize>("size"); // empty: any size, just readable

    const QString icons = QStringLiteral(":/images/icons/");
    for (const char *name :
         {"setting.svg", "plus.svg", "pin.svg", "pin-pressed.svg", "search.svg", "clearText.svg", "save.svg",
          "up_line.png", "down_line.png", "smartphone.svg", "smartphone.png", "dogFace.svg", "dogFace.png"})
        QTest::newRow(name) << icons + QLatin1String(name) << QSize();

    const QString qss = QStringLiteral(":/images/qss/images/");
    for (const char *name : {"min", "max", "restore", "close"})
        QTest::newRow(name) << qss + QLatin1String(name) + QStringLiteral(".png") << QSize(99, 31);
    for (const char *name : {"rotate", "copy-text", "autofit", "oneone", "zoom-in", "zoom-out"})
        for (const char *form : {"", "-hover", "-press"})
            QTest::addRow("%s%s", name, form)
                << qss + QLatin1String(name) + QLatin1String(form) + QStringLiteral(".png") << QSize(33, 31);
    for (const char *name : {"copy-text-disable", "zoom-in-disable", "zoom-out-disable"})
        QTest::newRow(name) << qss + QLatin1String(name) + QStringLiteral(".png") << QSize(33, 31);
    for (const char *name : {"save", "chevron-right", "drop-down"})
        QTest::newRow(name) << qss + QLatin1String(name) + QStringLiteral(".png") << QSize();
}

void TestFrame::resourcesExist()
{
    QFETCH(QString, path);
    QFETCH(QSize, size);
    QImageReader reader(path);
    const QImage image = reader.read();
    QVERIFY2(!image.isNull(), qPrintable(reader.errorString()));
    if (size.isValid())
        QCOMPARE(image.size(), size);
}

void TestFrame::sheetsLoadAndPointAtResources()
{
    // The icon: several sizes, the small ones among them.
    QImageReader ico(QStringLiteral(":/images/icons/vorlik.ico"));
    QVERIFY(ico.imageCount() >= 4);
    QVERIFY(!QIcon(QStringLiteral(":/images/icons/vorlik.ico")).pixmap(16, 16).isNull());

    QFile key(QStringLiteral(":/pem/package/dsa_pub.pem"));
    QVERIFY(key.open(QIODevice::ReadOnly));
    QVERIFY(key.readAll().startsWith("-----BEGIN PUBLIC KEY-----"));

    QString joined;
    for (const QString &path : appSheets + QStringList{QStringLiteral(":/css/qss/css/scrollBar.qss")}) {
        QFile file(path);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(path));
        const QString text = QString::fromUtf8(file.readAll());
        if (appSheets.contains(path))
            joined += text;

        // Every image a sheet names is in the resources, but for the logo
        // rule, which is known to match nothing.
        static const QRegularExpression url(QStringLiteral("url\\((:[^)]+)\\)"));
        for (auto it = url.globalMatch(text); it.hasNext();) {
            const QString image = it.next().captured(1);
            if (!image.endsWith(QLatin1String("/logo.png")))
                QVERIFY2(QFile::exists(image), qPrintable(path + QStringLiteral(" names ") + image));
        }
    }

    // In order, a missing file left out without a word.
    TitleBar::loadStyleSheet(QStringList{appSheets.at(0), QStringLiteral(":/css/missing.qss")} +
                             appSheets.mid(1));
    QCOMPARE(qApp->styleSheet(), joined);
    qApp->setStyleSheet(QString());
}

void TestFrame::translation()
{
    QTranslator translator;
    QVERIFY(translator.load(QStringLiteral(":/translations/qt_zh_cn.qm")));
    QCOMPARE(translator.translate("MainWindow", "all"), QStringLiteral("全部"));
    QCOMPARE(translator.translate("MainWindow", "single paste exceed the limit size"),
             QStringLiteral("剪切板内容超过大小限制"));
    QCOMPARE(translator.translate("ConfirmDialog", "notice"), QStringLiteral("注意"));
    // Contexts are kept apart, and the key editor's text is not in the file.
    QCOMPARE(translator.translate("ConfirmDialog", "all"), QString());
    QCOMPARE(translator.translate("QKeySequenceEdit", "Press shortcut"), QString());

    QCoreApplication::installTranslator(&translator);
    ConfirmDialog dialog(QStringLiteral("x"), false);
    QCOMPARE(labelTexts(dialog.findChild<TitleBar *>()).last(), QStringLiteral("注意"));
    QCoreApplication::removeTranslator(&translator);
}

QTEST_MAIN(TestFrame)
#include "tst_frame.moc"
