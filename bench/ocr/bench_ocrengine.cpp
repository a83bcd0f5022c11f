// Speed, accuracy and memory of the recognition engine on rendered
// 1920x1080 screenshots of 20 lines each, through its own protocol:
//   variant, median time from request to answer, lines found, character
//   accuracy (one minus edit distance over length, blanks counted);
// then the engine's peak resident memory and its memory once idle.
// An argument picks the variants whose names contain it, e.g. "12px".

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "screenshots.h"

namespace {

int editDistance(const QString &a, const QString &b)
{
    std::vector<int> row(size_t(b.size()) + 1);
    for (int j = 0; j <= b.size(); ++j)
        row[size_t(j)] = j;
    for (int i = 1; i <= a.size(); ++i) {
        int diagonal = row[0];
        row[0] = i;
        for (int j = 1; j <= b.size(); ++j) {
            const int above = row[size_t(j)];
            row[size_t(j)] = std::min({above + 1, row[size_t(j) - 1] + 1,
                                       diagonal + (a.at(i - 1) == b.at(j - 1) ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[size_t(b.size())];
}

qint64 statusKiB(qint64 pid, const char *field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith(field))
            return line.mid(qstrlen(field) + 1).trimmed().split(' ').first().toLongLong();
    return -1;
}

QByteArray request(const QImage &image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "png");
    return QJsonDocument(QJsonObject{{QStringLiteral("hashValue"), QStringLiteral("1")},
                                     {QStringLiteral("image_base64"), QString::fromLatin1(png.toBase64())}})
               .toJson(QJsonDocument::Compact) +
           '\n';
}

QByteArray readAnswer(QProcess &engine)
{
    QByteArray answer;
    while (!answer.endsWith('\n') && engine.waitForReadyRead(60000))
        answer += engine.readAllStandardOutput();
    return answer;
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);

    QProcess engine;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VORLIK_OCR_IDLE_MS"), QStringLiteral("2000"));
    engine.setProcessEnvironment(environment);
    engine.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    engine.start(QStringLiteral(OCR_ENGINE_PATH), QStringList());
    if (!engine.waitForStarted()) {
        std::fprintf(stderr, "cannot start %s\n", OCR_ENGINE_PATH);
        return 1;
    }

    const std::vector<ScreenshotStyle> styles = {
        {Script::Chinese, 16, false, false}, {Script::English, 16, false, false}, {Script::Mixed, 16, false, false},
        {Script::Chinese, 12, false, false}, {Script::English, 12, false, false}, {Script::Mixed, 12, false, false},
        {Script::Chinese, 16, true, false},  {Script::English, 16, true, false},  {Script::Mixed, 16, true, false},
        {Script::Chinese, 16, false, true},  {Script::English, 16, false, true},
    };
    const int runs = 3;
    std::printf("%-22s %10s %7s %9s\n", "variant", "median ms", "lines", "accuracy");
    // An argument that does not start with "-" picks the variants whose
    // names contain it.
    const QString only = application.arguments().value(1).startsWith('-') ? QString() : application.arguments().value(1);
    for (const ScreenshotStyle &style : styles) {
        const Screenshot shot = renderScreenshot(style);
        if (!shot.name.contains(only))
            continue;
        const QByteArray line = request(shot.image);
        std::vector<qint64> times;
        QByteArray answer;
        for (int run = 0; run < runs; ++run) {
            QElapsedTimer timer;
            timer.start();
            engine.write(line);
            answer = readAnswer(engine);
            times.push_back(timer.elapsed());
        }
        std::sort(times.begin(), times.end());

        // Only the document's lines count; the window's title is not part
        // of the ground truth.
        QStringList found;
        const QJsonArray data = QJsonDocument::fromJson(answer).object().value(QStringLiteral("data")).toArray();
        for (const QJsonValue &entry : data) {
            const QJsonArray topLeft = entry.toObject().value(QStringLiteral("box")).toArray().at(0).toArray();
            if (topLeft.at(0).toInt() >= 220 && topLeft.at(1).toInt() >= 40)
                found << entry.toObject().value(QStringLiteral("text")).toString();
        }
        const QString truth = shot.lines.join(QLatin1Char('\n'));
        const double accuracy = 1.0 - double(editDistance(found.join(QLatin1Char('\n')), truth)) / truth.size();
        std::printf("%-22s %10lld %4lld/20 %8.2f%%\n", qPrintable(shot.name), times[size_t(runs / 2)],
                    qint64(found.size()), accuracy * 100);
        if (qEnvironmentVariableIsSet("VORLIK_BENCH_SHOW"))
            for (const QString &text : found)
                std::printf("    %s\n", qPrintable(text));
    }

    std::printf("peak resident %lld MiB\n", statusKiB(engine.processId(), "VmHWM:") / 1024);
    // The engine lets go of its models after two idle seconds here.
    QThread::msleep(3000);
    std::printf("idle resident %lld MiB\n", statusKiB(engine.processId(), "VmRSS:") / 1024);
    engine.closeWriteChannel();
    engine.waitForFinished();
    return 0;
}
