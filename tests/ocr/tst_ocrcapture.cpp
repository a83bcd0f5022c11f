// A picture with words in it, copied by another program on a real X server,
// goes through the real engine: its text reaches the item, the database and
// the search.

#include <QFont>
#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTest>

#include "app/metatypes.h"
#include "app/storagewiring.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "frame/filterlineedit.h"
#include "item/itemcodec.h"
#include "list/clipboardbrowser.h"
#include "list/proxymodel.h"
#include "ocr/ocrmanager.h"
#include "storage/sqlmanager.h"
#include "support/historyfixture.h"
#include "support/tempappfolder.h"
#include "window/mainwindow.h"
#include "window/tabwidget.h"

class TestOcrCapture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void copiedPictureIsFoundByItsWords();

private:
    QString storedOcrText(uint hash) const;

    TempAppFolder folder;
    MainWindow *window = nullptr;
    SqlManager *sql = nullptr;
    QProcess owner;
};

void TestOcrCapture::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY2(QGuiApplication::platformName() == "xcb", "needs an X server");
    registerMetaTypes();
    initLog(LogDebug, folder.path());
    Setting::instance().init(folder.path());

    window = new MainWindow;
    sql = new SqlManager(folder.filePath(QStringLiteral("vorlik.db")));
    connectStorage(sql, window);
    QVERIFY(sql->initThread());
    ocrManager = new OcrManager();
    ocrManager->worker()->setEnginePath(QStringLiteral(OCR_ENGINE_PATH));
    ocrManager->start(window->clipboardModel());
}

void TestOcrCapture::cleanupTestCase()
{
    owner.kill();
    owner.waitForFinished();
    delete window;
    delete sql;
    QSqlDatabase::removeDatabase(QStringLiteral("ocr-check"));
    // The engine ends with this process, as it does with the program.
}

QString TestOcrCapture::storedOcrText(uint hash) const
{
    QSqlDatabase db = QSqlDatabase::contains(QStringLiteral("ocr-check"))
                          ? QSqlDatabase::database(QStringLiteral("ocr-check"))
                          : QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("ocr-check"));
    db.setDatabaseName(folder.filePath(QStringLiteral("vorlik.db")));
    QSqlQuery query(db);
    if (!db.open() || !query.exec(QStringLiteral("SELECT content FROM clipboard_history WHERE hashValue = %1")
                                      .arg(hash)) || !query.next())
        return {};
    QVariantMap dataMap;
    if (!deserializeDataMap(query.value(0).toByteArray(), dataMap))
        return {};
    QStringList texts;
    for (const OCRResult &result : deserializeOcrResults(dataMap.value(MIME_OCR_RESULT).toByteArray()))
        texts << result.text;
    return texts.join(QLatin1Char('\n'));
}

void TestOcrCapture::copiedPictureIsFoundByItsWords()
{
    QImage picture(640, 160, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(28);
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.drawText(QRect(20, 20, 600, 50), Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("Quarterly marmalade report"));
    painter.drawText(QRect(20, 90, 600, 50), Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("signed by the harbour office"));
    painter.end();
    const QString file = folder.filePath(QStringLiteral("words.png"));
    QVERIFY(picture.save(file));

    // A text so that the search has something to leave out.
    ClipboardModel *model = window->clipboardModel();
    model->addItem(HistoryFixture::makeItem(1, ItemTypeText, QStringLiteral("unrelated words"), 1000));
    owner.start(QStringLiteral(CLIPOWNER_PATH), {QStringLiteral("--image"), file});
    QTRY_COMPARE_WITH_TIMEOUT(model->rowCount(), 2, 10000);
    const uint hash = model->items().first().hashValue;
    QCOMPARE(model->items().first().itemType, uint(ItemTypeImage));

    // The first answer may wait for the engine to load its models.
    QTRY_VERIFY_WITH_TIMEOUT(model->items().first().hasOcrResult(), 30000);
    QTRY_VERIFY_WITH_TIMEOUT(storedOcrText(hash).contains(QStringLiteral("marmalade")), 10000);
    QVERIFY(storedOcrText(hash).contains(QStringLiteral("harbour office")));

    QTest::keyClicks(window->filterLineEdit(), QStringLiteral("marmalade"));
    QSortFilterProxyModel *shown = window->tabWidget()->currentBrowser()->proxyModel();
    QTRY_COMPARE(shown->rowCount(), 1);
    QCOMPARE(shown->index(0, 0).data().value<ItemData>().hashValue, hash);
}

QTEST_MAIN(TestOcrCapture)
#include "tst_ocrcapture.moc"
