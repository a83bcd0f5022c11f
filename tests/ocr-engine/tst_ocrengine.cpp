#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QProcess>
#include <QTest>

#include <numeric>

namespace {
// Lines of text drawn at 18 px, 50 px apart; `drawn` gets where each went.
QImage render(const QStringList &lines, const QString &family, bool dark, QList<QRect> *drawn = nullptr)
{
    QImage image(900, 60 + 50 * int(lines.size()), QImage::Format_RGB32);
    image.fill(dark ? QColor(32, 33, 36) : Qt::white);
    QPainter painter(&image);
    QFont font(family);
    font.setPixelSize(18);
    painter.setFont(font);
    painter.setPen(dark ? QColor(225, 225, 225) : QColor(25, 25, 25));
    for (int i = 0; i < lines.size(); ++i) {
        painter.drawText(QPoint(40, 50 + 50 * i), lines.at(i));
        if (drawn)
            *drawn << painter.boundingRect(QRect(40, 50 + 50 * i - painter.fontMetrics().ascent(), 900, 50),
                                           Qt::AlignLeft | Qt::AlignTop, lines.at(i));
    }
    return image;
}

QByteArray pngBase64(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "png");
    return bytes.toBase64();
}

QByteArray request(const QString &hash, const QByteArray &base64)
{
    const QJsonObject object{{"hashValue", hash}, {"image_base64", QString::fromLatin1(base64)}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

const QStringList english = {QStringLiteral("The quarterly report was sent on Monday."),
                             QStringLiteral("Build 4711 fixes the crash in the editor.")};

QByteArray englishRequest(const QString &hash)
{
    return request(hash, pngBase64(render(english, "DejaVu Sans", false)));
}

// The share of `expected` read right: one less edits over its length.
double accuracy(const QString &found, const QString &expected)
{
    QList<int> row(found.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (int i = 1; i <= expected.size(); ++i) {
        int diagonal = std::exchange(row[0], i);
        for (int j = 1; j <= found.size(); ++j)
            diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1,
                                                       diagonal + int(expected[i - 1] != found[j - 1])}));
    }
    return 1.0 - double(row.last()) / expected.size();
}

void verifyEnglishAnswer(const QJsonObject &answer, const QString &hash)
{
    QCOMPARE(answer.value("code").toInt(), 100);
    QCOMPARE(answer.value("hashValue").toString(), hash);
    QCOMPARE(answer.value("data").toArray().at(1)["text"].toString(), english.at(1));
}
} // namespace

// The recognition engine as the program sees it: a child process that
// answers JSON lines on its standard input.
class TestOcrEngine : public QObject
{
    Q_OBJECT

    QProcess engine;
    int expectedErrorLines = 0;

    void start(const QString &idleMs)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("VORLIK_OCR_IDLE_MS"), idleMs);
        engine.setProcessEnvironment(environment);
        engine.start(QStringLiteral(OCR_ENGINE_PATH), {});
        QVERIFY(engine.waitForStarted());
        expectedErrorLines = 0;
    }

    // Writes one line and reads the one document that answers it.
    QJsonObject ask(const QByteArray &line)
    {
        engine.write(line);
        QByteArray answer;
        while (!answer.endsWith('\n') && engine.waitForReadyRead(60000))
            answer += engine.readAllStandardOutput();
        if (!QJsonDocument::fromJson(answer).isObject())
            qWarning("not one JSON document: %s", answer.left(200).constData());
        return QJsonDocument::fromJson(answer).object();
    }

private slots:
    void init() { start(QStringLiteral("60000")); }

    void cleanup()
    {
        // End of input is the engine's only signal to stop; it must end
        // cleanly and have said nothing on standard error but its faults.
        engine.closeWriteChannel();
        QVERIFY(engine.waitForFinished(30000));
        QCOMPARE(engine.exitStatus(), QProcess::NormalExit);
        QCOMPARE(engine.exitCode(), 0);
        QCOMPARE(engine.readAllStandardError().count('\n'), expectedErrorLines);
    }

    void recognisesLines_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("family");
        QTest::addColumn<bool>("dark");
        // Rare Han characters may be misread; a line read in the wrong
        // script is not.
        QTest::addColumn<double>("least");
        const QStringList chinese{QStringLiteral("请在十点半开会之前查看附件中的数据。"),
                                  QStringLiteral("剪贴板历史中的每一项都可以按文字搜索。"),
                                  QStringLiteral("新鲜面包、两升牛奶、苹果和一罐蜂蜜。")};
        QTest::newRow("english") << english << "DejaVu Sans" << false << 1.0;
        QTest::newRow("english dark") << english << "DejaVu Sans" << true << 1.0;
        QTest::newRow("chinese") << chinese << "Noto Sans CJK SC" << false << 0.8;
        QTest::newRow("chinese dark") << chinese << "Noto Sans CJK SC" << true << 0.8;
    }

    void recognisesLines()
    {
        QFETCH(QStringList, lines);
        QFETCH(QString, family);
        QFETCH(bool, dark);
        QFETCH(double, least);
        QList<QRect> drawn;
        const QJsonObject answer = ask(request("4294967295", pngBase64(render(lines, family, dark, &drawn))));
        QCOMPARE(answer.value("code").toInt(), 100);
        QCOMPARE(answer.value("hashValue").toString(), "4294967295");
        const QJsonArray data = answer.value("data").toArray();
        QCOMPARE(data.size(), lines.size());
        for (int i = 0; i < lines.size(); ++i) {
            const QString text = data.at(i)["text"].toString();
            QVERIFY2(accuracy(text, lines.at(i)) >= least, qPrintable(text));
            // Corners clockwise from the top left, in pixels of the picture
            // sent: about where the line was drawn.
            const QJsonArray box = data.at(i)["box"].toArray();
            const QRect found(QPoint(box[0][0].toInt(), box[0][1].toInt()),
                              QPoint(box[2][0].toInt(), box[2][1].toInt()));
            QCOMPARE(box, (QJsonArray{QJsonArray{found.left(), found.top()},
                                      QJsonArray{found.right(), found.top()},
                                      QJsonArray{found.right(), found.bottom()},
                                      QJsonArray{found.left(), found.bottom()}}));
            QVERIFY(found.contains(drawn.at(i).center()));
            QVERIFY(found.height() < 2 * drawn.at(i).height() && found.width() < drawn.at(i).width() + 20);
        }
    }

    void badRequestIsAnsweredAndSurvived_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("hash");
        QImage huge(10000, 10000, QImage::Format_Mono);
        huge.fill(0);
        const QByteArray picture = pngBase64(render(english, "DejaVu Sans", false));
        QTest::newRow("not json") << QByteArray("{\"hashValue\":\"3\",\"image_base64\":\n") << QString();
        QTest::newRow("no image") << QByteArray("{\"hashValue\":\"3\"}\n") << "3";
        QTest::newRow("not base64") << request("3", "iVBOR*w0K?GgoAAA") << "3";
        QTest::newRow("not an image") << request("3", QByteArray("plain words").toBase64()) << "3";
        QTest::newRow("cut off png") << request("3", picture.left(1200)) << "3";
        QTest::newRow("1x1") << request("3", pngBase64(QImage(1, 1, QImage::Format_RGB32))) << "3";
        QTest::newRow("10000x10000") << request("3", pngBase64(huge)) << "3";
    }

    void badRequestIsAnsweredAndSurvived()
    {
        QFETCH(QByteArray, line);
        QFETCH(QString, hash);
        const QJsonObject answer = ask(line);
        QVERIFY(answer.value("code").toInt() != 100 || answer.value("data").toArray().isEmpty());
        QCOMPARE(answer.value("hashValue").toString(), hash);
        expectedErrorLines = 1;
        verifyEnglishAnswer(ask(englishRequest("8")), "8");
    }

    void pingGetsNoAnswerAndIdleLetsModelsGo()
    {
        // With no idle time the models are let go after every answer.
        engine.closeWriteChannel();
        QVERIFY(engine.waitForFinished());
        start(QStringLiteral("0"));
        verifyEnglishAnswer(ask(englishRequest("7")), "7");
        // Were the ping answered, its reply would be read in place of the
        // next request's answer.
        engine.write("ping\n");
        verifyEnglishAnswer(ask(englishRequest("9")), "9");
    }
};

QTEST_MAIN(TestOcrEngine)
#include "tst_ocrengine.moc"
