// The frameless frame and what stands on it: title bar, dialogs, the copy tip;
// and the resources the windows load. The search field is tried in the main window.

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTranslator>
#include <QVBoxLayout>

#include "common/log.h"
#include "frame/confirmdialog.h"
#include "frame/createtabdialog.h"
#include "frame/messagetip.h"
#include "frame/qwkmainwindow.h"
#include "frame/qwkwidget.h"
#include "frame/remarkdialog.h"
#include "frame/titlebar.h"
#include "frame/widgetwindowagent.h"

namespace {
QVariant maxState(const QWidget *window)
{
    return window->findChild<TitleBar *>()->maxButton()->property("MaxState");
}
} // namespace

class TestFrame : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void dialogs_data();
    void dialogs();
    void keyboardStaysInTheContent_data();
    void keyboardStaysInTheContent();
    void maximiseAndMinimise();
    void tipsGoAwayByThemselves();
    void resourcesAndTranslation();

private:
    QTemporaryDir dir;
};

void TestFrame::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(dir.isValid());
    initLog(LogDebug, dir.path());
}

void TestFrame::dialogs_data()
{
    QTest::addColumn<bool>("showCancel");
    QTest::addColumn<QString>("click"); // a button's text, or "close" for the bar's
    QTest::addColumn<int>("result");
    QTest::newRow("confirm ok") << true << "确定" << int(QDialog::Accepted);
    QTest::newRow("confirm cancel") << true << "取消" << int(QDialog::Rejected);
    QTest::newRow("notice only ok") << false << "确定" << int(QDialog::Accepted);
    QTest::newRow("notice closed") << false << "close" << int(QDialog::Rejected);
}

void TestFrame::dialogs()
{
    QFETCH(bool, showCancel);
    QFETCH(QString, click);
    QFETCH(int, result);

    ConfirmDialog dialog(QStringLiteral("删除?"), showCancel);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QVERIFY(dialog.windowFlags().testFlags(Qt::WindowStaysOnTopHint | Qt::FramelessWindowHint));

    // Only the close button stands in a dialog's bar, and its border resizes nothing.
    auto *bar = dialog.findChild<TitleBar *>();
    QVERIFY(!bar->minButton() && !bar->maxButton() && bar->closeButton());
    QCOMPARE(int(dialog.findChild<QWK::WidgetWindowAgent *>()->edgesAt({0, 100})), 0);
    const auto buttons = dialog.findChildren<QPushButton *>(QStringLiteral("okCancelBtn"));
    QCOMPARE(buttons.at(0)->text() + buttons.at(1)->text(), QStringLiteral("取消确定"));
    QVERIFY(buttons.at(1)->isVisible());
    QCOMPARE(buttons.at(0)->isVisible(), showCancel);

    QTest::mouseClick(click == QLatin1String("close") ? static_cast<QAbstractButton *>(bar->closeButton())
                                                      : buttons.at(click == QStringLiteral("确定")),
                      Qt::LeftButton);
    QCOMPARE(dialog.result(), result);
}

void TestFrame::keyboardStaysInTheContent_data()
{
    QTest::addColumn<QString>("window");
    QTest::addColumn<QString>("focused"); // the button's text; empty: an edit
    QTest::newRow("main window") << QStringLiteral("main") << QString();
    QTest::newRow("new tab") << QStringLiteral("tab") << QString();
    QTest::newRow("remark") << QStringLiteral("remark") << QString();
    QTest::newRow("notice") << QStringLiteral("confirm") << QStringLiteral("确定");
}

// A window opens with the keyboard in its first input, where Space types; Tab
// goes round the content and never onto the bar's buttons.
void TestFrame::keyboardStaysInTheContent()
{
    QFETCH(QString, window);
    QFETCH(QString, focused);
    QScopedPointer<QWidget> shown;
    if (window == "main") {
        auto *main = new QWKMainWindow;
        main->centralWidget()->layout()->addWidget(new QLineEdit(main));
        shown.reset(main);
    } else if (window == "tab") {
        shown.reset(new CreateTabDialog(QString(), false));
    } else if (window == "remark") {
        shown.reset(new RemarkDialog);
    } else {
        shown.reset(new ConfirmDialog(QStringLiteral("删除?"), true));
    }
    shown->show();
    QVERIFY(QTest::qWaitForWindowActive(shown.data()));

    auto *edit = qobject_cast<QLineEdit *>(QApplication::focusWidget());
    auto *button = qobject_cast<QAbstractButton *>(QApplication::focusWidget());
    QVERIFY(focused.isEmpty() ? edit != nullptr : button && button->text() == focused);
    if (edit) {
        QTest::keyClicks(edit, " x");
        QCOMPARE(edit->text(), QStringLiteral(" x"));
        QVERIFY(shown->isVisible());
    }
    for (int i = 0; i < 4; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QVERIFY(!shown->findChild<TitleBar *>()->isAncestorOf(QApplication::focusWidget()));
    }
}

void TestFrame::maximiseAndMinimise()
{
    QWKMainWindow window;
    // Content under the bar, as the real windows have, keeps the bar on top.
    qobject_cast<QVBoxLayout *>(window.centralWidget()->layout())->addStretch(1);
    window.resize(400, 300);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *bar = window.findChild<TitleBar *>();

    // The border band resizes, over the bar too.
    auto *agent = window.findChild<QWK::WidgetWindowAgent *>();
    QCOMPARE(int(agent->edgesAt({QWK::WidgetWindowAgent::resizeBorder, 150})), 0);
    QCOMPARE(int(agent->edgesAt({399, 1})), int(Qt::TopEdge | Qt::RightEdge));

    // The button and a double click on the empty bar both toggle, and the
    // button's look follows the state either way; a maximised window has no border.
    const QPoint onBar = bar->mapTo(&window, QPoint(100, 15));
    for (const bool button : {true, false, false, true}) {
        const bool maximised = window.isMaximized();
        if (button)
            bar->maxButton()->click();
        else
            QTest::mouseDClick(window.windowHandle(), Qt::LeftButton, {}, onBar);
        QTRY_COMPARE(window.isMaximized(), !maximised);
        QCOMPARE(maxState(&window), QVariant(!maximised));
        QCOMPARE(int(agent->edgesAt({0, 150})), maximised ? int(Qt::LeftEdge) : 0);
    }

    // Minimising hides the window: the tray brings it back.
    QTest::mouseClick(bar->minButton(), Qt::LeftButton);
    QVERIFY(!window.isVisible() && !window.isMinimized());

    QWKWidget widget;
    widget.showMaximized();
    QTRY_COMPARE(maxState(&widget), QVariant(true));
}

void TestFrame::tipsGoAwayByThemselves()
{
    // Two quick copies: the second tip leaves the first alone; each goes 600 ms after it came.
    QElapsedTimer clock;
    clock.start();
    QList<qint64> gone;
    const QObject context; // cuts the connections if the test ends early
    for (int i = 0; i < 2; ++i) {
        auto *tip = new MessageTip(QStringLiteral("复制完成"));
        connect(tip, &QObject::destroyed, &context, [&gone, &clock] { gone << clock.elapsed(); });
        tip->showTip();
    }
    QTRY_COMPARE_WITH_TIMEOUT(gone.size(), 2, 5000);
    QVERIFY2(gone.first() >= 600, qPrintable(QString::number(gone.first())));
}

void TestFrame::resourcesAndTranslation()
{
    const QStringList sheets = {
        QStringLiteral(":/css/qss/css/titleBar.qss"), QStringLiteral(":/css/qss/css/tabbar.qss"),
        QStringLiteral(":/css/qss/css/config.qss"), QStringLiteral(":/css/qss/css/global.qss")};
    QString joined;
    for (const QString &path : sheets + QStringList{QStringLiteral(":/css/qss/css/scrollBar.qss")}) {
        QFile file(path);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(path));
        const QString text = QString::fromUtf8(file.readAll());
        joined += sheets.contains(path) ? text : QString();
        // Every image a sheet names is there, but for the logo rule, which matches nothing.
        static const QRegularExpression url(QStringLiteral("url\\((:[^)]+)\\)"));
        for (auto it = url.globalMatch(text); it.hasNext();) {
            const QString image = it.next().captured(1);
            QVERIFY2(image.endsWith(QLatin1String("/logo.png")) || QImageReader(image).canRead(),
                     qPrintable(image));
        }
    }
    // Joined in order; a missing file is left out without a word.
    TitleBar::loadStyleSheet(QStringList{sheets.at(0), QStringLiteral(":/css/missing.qss")} + sheets.mid(1));
    QCOMPARE(qApp->styleSheet(), joined);
    qApp->setStyleSheet(QString());

    QTranslator translator;
    QVERIFY(translator.load(QStringLiteral(":/translations/qt_zh_cn.qm")));
    QCOMPARE(translator.translate("MainWindow", "all"), QStringLiteral("全部"));
    QCoreApplication::installTranslator(&translator);
    ConfirmDialog dialog(QStringLiteral("x"), false);
    QCOMPARE(dialog.findChild<TitleBar *>()->findChildren<QLabel *>().last()->text(), QStringLiteral("注意"));
    QCoreApplication::removeTranslator(&translator);
}

QTEST_MAIN(TestFrame)
#include "tst_frame.moc"
