#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QPointer>
#include <QProcess>
#include <QScopedPointer>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>
#include <QTextEdit>

#include "app/metatypes.h"
#include "app/storagewiring.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "list/clipboardbrowser.h"
#include "preview/previewbase.h"
#include "storage/sqlmanager.h"
#include "support/historyfixture.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"
#include "window/systemtray.h"
#include "window/tabwidget.h"

using namespace HistoryFixture;

namespace {
// Real keys through the X server, to whichever window has the keyboard.
void xdotool(const QStringList &args)
{
    QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), args), 0);
}

int visiblePreviews()
{
    int count = 0;
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *widget : windows)
        count += qobject_cast<PreviewBase *>(widget) && widget->isVisible() ? 1 : 0;
    return count;
}
} // namespace

// Previews opened from the main window on a real X server: Space beside the
// list, the toggle and the replacement, a copy from the image view, and an
// edit saved under a new identity down to the database.
class TestPreviewWindow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void spaceOpensBesideAndToggles();
    void ctrlCInTheImageViewCopiesTheImage();
    void savedTextTakesANewIdentity();

private:
    ClipboardBrowser *list() const { return window->tabWidget()->currentBrowser(); }
    // Selects the row of `hash` in the list and presses Space there; the
    // preview of the row opens, or the open one closes.
    void previewRow(uint hash, bool opens = true);
    QSet<uint> storedHashes() const;

    TempAppFolder folder;
    QScopedPointer<MainWindow> window;
    SqlManager *sql = nullptr;
};

void TestPreviewWindow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY2(QGuiApplication::platformName() == "xcb", "needs an X server");
    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());

    window.reset(new MainWindow);
    sql = new SqlManager(folder.filePath(QStringLiteral("vorlik.db")), qApp);
    connectStorage(sql, window.data());
    QVERIFY(sql->initThread());
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("preview-check"));
    db.setDatabaseName(folder.filePath(QStringLiteral("vorlik.db")));
    QVERIFY(db.open());

    ClipboardModel *model = window->clipboardModel();
    model->addItem(makeItem(1, ItemTypeText, QStringLiteral("first line of a text"), 1000));
    model->addItem(makeItem(2, ItemTypeText, QStringLiteral("second text"), 2000));
    model->addItem(makeItem(3, ItemTypeImage, QString(), 3000));
    QTRY_COMPARE(storedHashes(), (QSet<uint>{1, 2, 3}));
}

void TestPreviewWindow::init()
{
    // In the left half of the screen, so that previews open on its right.
    window->move(100, 100);
    // The X server takes the keyboard from a hidden window only later; shown
    // again before that, the window would be active with no widget in focus.
    QTRY_VERIFY(!QGuiApplication::focusWindow());
    emit window->tray()->activated(QSystemTrayIcon::Trigger);
    QVERIFY(QTest::qWaitForWindowActive(window.data()));
}

void TestPreviewWindow::cleanup()
{
    window->hideMainWnd();
    QTRY_COMPARE(visiblePreviews(), 0);
}

void TestPreviewWindow::cleanupTestCase()
{
    QSqlDatabase::database(QStringLiteral("preview-check")).close();
    window.reset();
}

void TestPreviewWindow::previewRow(uint hash, bool opens)
{
    const QAbstractItemModel *rows = list()->model();
    for (int row = 0; row < rows->rowCount(); ++row) {
        if (rows->index(row, 0).data().value<ItemData>().hashValue == hash)
            list()->setCurrentIndex(rows->index(row, 0));
    }
    QCOMPARE(list()->currentIndex().data().value<ItemData>().hashValue, hash);
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.data()));
    list()->setFocus();
    const QPointer<PreviewBase> open = window->openPreview();
    xdotool({"key", "space"});
    if (!opens) {
        QTRY_VERIFY(!open);
        return;
    }
    // The window manager gives a new window the keyboard.
    QTRY_VERIFY(window->openPreview() && window->openPreview()->isActiveWindow());
    QCOMPARE(window->openPreview()->hashValue(), hash);
}

QSet<uint> TestPreviewWindow::storedHashes() const
{
    QSet<uint> hashes;
    QSqlQuery query(QStringLiteral("SELECT hashValue FROM clipboard_history"),
                    QSqlDatabase::database(QStringLiteral("preview-check")));
    while (query.next())
        hashes.insert(query.value(0).toUInt());
    return hashes;
}

void TestPreviewWindow::spaceOpensBesideAndToggles()
{
    previewRow(2);
    QPointer<PreviewBase> first = window->openPreview();
    // Beside the list, the two frames sharing the main window's last column.
    QTRY_COMPARE(first->frameGeometry().left(), window->frameGeometry().right());
    QVERIFY(first->screen()->availableGeometry().contains(first->frameGeometry()));

    // Space in the preview closes it and frees it.
    xdotool({"key", "space"});
    QTRY_VERIFY(first.isNull());
    QVERIFY(!window->openPreview());

    // Another row replaces the open preview; never two at once.
    previewRow(2);
    QPointer<PreviewBase> second = window->openPreview();
    previewRow(1);
    QTRY_VERIFY(second.isNull());
    QCOMPARE(visiblePreviews(), 1);

    // The same row again only closes.
    previewRow(1, false);
    QVERIFY(!window->openPreview());
    QTRY_COMPARE(visiblePreviews(), 0);
}

void TestPreviewWindow::ctrlCInTheImageViewCopiesTheImage()
{
    const int rows = window->clipboardModel()->rowCount();
    previewRow(3);

    QSignalSpy changed(QGuiApplication::clipboard(), &QClipboard::dataChanged);
    xdotool({"key", "ctrl+c"});
    QTRY_COMPARE(changed.count(), 1);
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    QVERIFY(data->hasFormat(MIME_IGNORE));
    const QImage expected = makeItem(3, ItemTypeImage, QString(), 0).image();
    QCOMPARE(qvariant_cast<QImage>(data->imageData()).convertToFormat(expected.format()), expected);
    // Marked as the program's own: no new row.
    QCOMPARE(window->clipboardModel()->rowCount(), rows);
}

void TestPreviewWindow::savedTextTakesANewIdentity()
{
    previewRow(1);
    PreviewBase *preview = window->openPreview();
    auto *edit = preview->findChild<QTextEdit *>();
    QVERIFY(edit);

    uint hash = 1;
    for (const QString &added : {QStringLiteral(" edited"), QStringLiteral(" twice")}) {
        edit->setFocus();
        edit->moveCursor(QTextCursor::End);
        QTest::keyClicks(edit, added);
        xdotool({"key", "ctrl+s"});
        // The item, the open preview and the database all follow the new identity.
        QTRY_VERIFY(preview->hashValue() != hash);
        const ItemData top = window->clipboardModel()->items().first();
        QCOMPARE(top.hashValue, preview->hashValue());
        QCOMPARE(top.text(), edit->toPlainText());
        QVERIFY(!window->clipboardModel()->contains(hash));
        hash = preview->hashValue();
        QTRY_VERIFY(storedHashes().contains(hash));
        QCOMPARE(storedHashes().size(), 3);
    }
    QCOMPARE(window->clipboardModel()->items().first().text(), QStringLiteral("first line of a text edited twice"));
}

QTEST_MAIN(TestPreviewWindow)
#include "tst_previewwindow.moc"
