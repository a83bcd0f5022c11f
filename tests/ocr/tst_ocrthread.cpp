#include <QBuffer>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "ocr/ocranswer.h"
#include "ocr/ocrmanager.h"

Q_DECLARE_METATYPE(QList<uint>)

namespace {
// JSON written with single quotes, for legibility.
QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}
} // namespace

// The program's side of the engine protocol against a scripted engine whose
// first answer goes wrong in a chosen way.
class TestOcrThread : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void answers_data();
    void answers();
    void parseAnswer_data();
    void parseAnswer();
    void requestDropsAlpha();

private:
    void startManager(const QByteArray &mode);
    QList<uint> waitForHashes(int count);
    QProcess::ProcessState engineState();

    QTemporaryDir folder;
    OcrManager *manager = nullptr;
    QSignalSpy *finished = nullptr;
};

void TestOcrThread::init()
{
    qRegisterMetaType<QList<OCRResult>>();
    qputenv("VORLIK_SCRIPTED_ONCE", folder.filePath(QStringLiteral("once")).toLocal8Bit());
    QFile::remove(folder.filePath(QStringLiteral("once")));
}

void TestOcrThread::cleanup()
{
    delete finished;
    finished = nullptr;
    if (!manager)
        return;
    // The program never stops its worker; a test does, on the worker's own
    // thread: the engine ends when its standard input closes.
    OcrThread *worker = manager->worker();
    QMetaObject::invokeMethod(
        worker,
        [worker] {
            for (QProcess *engine : worker->findChildren<QProcess *>()) {
                engine->closeWriteChannel();
                engine->waitForFinished(5000);
            }
            qDeleteAll(worker->children());
            worker->quit();
        },
        Qt::BlockingQueuedConnection);
    worker->wait();
    delete manager;
    manager = nullptr;
}

void TestOcrThread::startManager(const QByteArray &mode)
{
    qputenv("VORLIK_SCRIPTED_ENGINE", mode);
    manager = new OcrManager();
    manager->worker()->setEnginePath(QStringLiteral(SCRIPTED_ENGINE_PATH));
    // Short only where the hang is the point, so that a slow machine does
    // not count as a hung engine.
    manager->worker()->setAnswerTimeout(mode == "hang" ? 300 : 30000);
    finished = new QSignalSpy(manager->worker(), &OcrThread::finishOcrSignal);
    manager->start(nullptr);
}

QList<uint> TestOcrThread::waitForHashes(int count)
{
    QList<uint> hashes;
    for (int i = 0; i < count; ++i) {
        if (finished->size() <= i && !finished->wait(5000))
            break;
        hashes.append(finished->at(i).at(0).toUInt());
    }
    return hashes;
}

QProcess::ProcessState TestOcrThread::engineState()
{
    QProcess::ProcessState state = QProcess::Running;
    OcrThread *worker = manager->worker();
    QMetaObject::invokeMethod(
        worker, [worker] { return worker->engineState(); }, Qt::BlockingQueuedConnection, &state);
    return state;
}

void TestOcrThread::answers_data()
{
    QTest::addColumn<QByteArray>("mode");
    QTest::addColumn<QList<uint>>("delivered");

    // Hashes 7 and 8 are sent one after the other; the engine gets the
    // first answer wrong. The last hash always arrives last.
    QTest::newRow("good") << QByteArray() << QList<uint>{7, 8};
    QTest::newRow("split over two reads") << QByteArray("split") << QList<uint>{7, 8};
    QTest::newRow("two in one read") << QByteArray("double") << QList<uint>{7, 8};
    QTest::newRow("no newline") << QByteArray("nonewline") << QList<uint>{7, 8};
    QTest::newRow("code 101 dropped") << QByteArray("nocode") << QList<uint>{8};
    QTest::newRow("numeric hash reads as 0") << QByteArray("numeric") << QList<uint>{0, 8};
    QTest::newRow("broken line before the answer") << QByteArray("malformed") << QList<uint>{7, 8};
    // The next image starts a new engine.
    QTest::newRow("hung engine killed") << QByteArray("hang") << QList<uint>{8};
    QTest::newRow("engine ends") << QByteArray("die") << QList<uint>{8};
}

void TestOcrThread::answers()
{
    QFETCH(QByteArray, mode);
    QFETCH(QList<uint>, delivered);
    startManager(mode);

    QImage image(40, 20, QImage::Format_ARGB32);
    image.fill(Qt::white);
    emit manager->startOcrSignal(7, image);
    if (mode == "hang" || mode == "die")
        QTRY_COMPARE(engineState(), QProcess::NotRunning);
    emit manager->startOcrSignal(8, image);

    QCOMPARE(waitForHashes(delivered.size()), delivered);
    const auto results = finished->last().at(1).value<QList<OCRResult>>();
    QCOMPARE(results.size(), 1);
    QCOMPARE(results.first().text, QStringLiteral("hash 8"));
    QCOMPARE(results.first().box, QPolygon({QPoint(1, 2), QPoint(30, 2), QPoint(30, 12), QPoint(1, 12)}));
}

void TestOcrThread::parseAnswer_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("boxes");

    QTest::newRow("fraction and short point read as 0")
        << json("{'code':100,'hashValue':'5','data':[{'text':'a','box':[[1.5,2],[3]]}]}") << true
        << "a:0,2 3,0";
    QTest::newRow("entry that is no object kept empty")
        << json("{'code':100,'hashValue':'5','data':[7,{'text':'b','box':[]}]}") << true << ": b:";
    QTest::newRow("ping reply with the word") << QByteArray("pong code") << false << "";
    QTest::newRow("data no array") << json("{'code':100,'hashValue':'5','data':{}}") << false << "";
}

void TestOcrThread::parseAnswer()
{
    QFETCH(QByteArray, document);
    QFETCH(bool, accepted);
    QFETCH(QString, boxes);

    uint hash = 0;
    QList<OCRResult> results;
    QCOMPARE(parseOcrAnswer(document, hash, results), accepted);
    QStringList shown;
    for (const OCRResult &result : results) {
        QStringList points;
        for (const QPoint &point : result.box)
            points << QStringLiteral("%1,%2").arg(point.x()).arg(point.y());
        shown << result.text + QLatin1Char(':') + points.join(QLatin1Char(' '));
    }
    QCOMPARE(shown.join(QLatin1Char(' ')), boxes);
    QCOMPARE(hash, accepted ? 5u : 0u);
}

void TestOcrThread::requestDropsAlpha()
{
    QImage image(3, 2, QImage::Format_ARGB32);
    image.fill(QColor(10, 200, 30, 0));

    const QByteArray request = buildOcrRequest(4294967295u, image);
    QVERIFY(request.startsWith(json("{'hashValue':'4294967295','image_base64':'")));
    QVERIFY(!request.contains(' ') && !request.contains('\n'));
    const QByteArray png =
        QByteArray::fromBase64(QJsonDocument::fromJson(request).object().value("image_base64").toString().toLatin1());
    const QImage sent = QImage::fromData(png, "png");
    QVERIFY(!sent.hasAlphaChannel());
    QCOMPARE(sent.size(), image.size());
    QCOMPARE(sent.pixel(2, 1), image.convertToFormat(QImage::Format_RGB32).pixel(2, 1));
}

QTEST_GUILESS_MAIN(TestOcrThread)
#include "tst_ocrthread.moc"
