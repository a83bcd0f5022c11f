#include "ocr/ocrthread.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>

#include "common/log.h"
#include "platform/executablename.h"

namespace {
constexpr int keepAliveInterval = 10000;
constexpr int defaultAnswerTimeout = 60000;
constexpr int startTimeout = 30000;
} // namespace

OcrThread::OcrThread(QObject *parent) : QThread(parent)
{
    // Both timers are children, so they move with the thread object onto
    // its own thread.
    auto *keepAlive = new QTimer(this);
    connect(keepAlive, &QTimer::timeout, this, &OcrThread::onTimeout);
    keepAlive->start(keepAliveInterval);

    answerWatchdog = new QTimer(this);
    answerWatchdog->setSingleShot(true);
    answerWatchdog->setInterval(defaultAnswerTimeout);
    connect(answerWatchdog, &QTimer::timeout, this, &OcrThread::onAnswerOverdue);
}

void OcrThread::setAnswerTimeout(int milliseconds)
{
    answerWatchdog->setInterval(milliseconds);
}

void OcrThread::run()
{
    LOG_INFO(QStringLiteral("ocr thread start run"));
    startProcess();
    exec();
    LOG_INFO(QStringLiteral("ocr thread finish run"));
}

void OcrThread::startProcess()
{
    // The old child is neither killed nor waited for: it is gone already
    // or ends when its standard input closes.
    if (process) {
        process->deleteLater();
        process = nullptr;
    }
    unansweredRequests = 0;
    answerWatchdog->stop();
    answerBuffer = OcrAnswerBuffer();

    process = new QProcess(this);
    process->setReadChannel(QProcess::StandardOutput);
    connect(process, &QProcess::readyReadStandardOutput, this, &OcrThread::onProcessStandardOutput);
    connect(process, &QProcess::readyReadStandardError, this, &OcrThread::onProcessStandardErrOutput);
    connect(process, &QProcess::errorOccurred, this, &OcrThread::onProcessErrorOccurred);
    connect(process, &QProcess::stateChanged, this, &OcrThread::onProcessStateChange);

    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/ocr");
    const QString program =
        enginePath.isEmpty() ? folder + QLatin1Char('/') + platform::executableFileName(QStringLiteral("ocr"))
                             : enginePath;
    process->setProgram(program);
    // The engine finds its data files relative to its own folder.
    process->setWorkingDirectory(enginePath.isEmpty() ? folder : QFileInfo(program).absolutePath());
    process->start(QIODevice::ReadWrite);
    process->waitForStarted(startTimeout);
}

void OcrThread::onStartOcr(uint hashValue, QImage image)
{
    const QByteArray request = buildOcrRequest(hashValue, image);
    if (request.isEmpty()) {
        LOG_ERROR(QStringLiteral("save data fail"));
        return;
    }

    if (!process || process->state() != QProcess::Running)
        startProcess();
    process->write(request);
    process->write("\n");
    if (process->state() != QProcess::Running)
        return;
    if (unansweredRequests++ == 0)
        answerWatchdog->start();
}

void OcrThread::onTimeout()
{
    if (process && process->state() == QProcess::Running)
        process->write("ping\n");
}

void OcrThread::onProcessStandardOutput()
{
    if (sender() != process)
        return;
    const QByteArray bytes = process->readAllStandardOutput();
    LOG_INFO(QStringLiteral("data %1").arg(QString::fromUtf8(bytes)));
    const QList<QByteArray> documents = answerBuffer.append(bytes);
    for (const QByteArray &document : documents)
        parseResult(document);
}

void OcrThread::parseResult(const QByteArray &data)
{
    // Every answer, good or not, shows the engine is alive.
    if (data.contains("code") && unansweredRequests > 0) {
        if (--unansweredRequests > 0)
            answerWatchdog->start();
        else
            answerWatchdog->stop();
    }

    uint hashValue = 0;
    QList<OCRResult> results;
    if (parseOcrAnswer(data, hashValue, results))
        emit finishOcrSignal(hashValue, results);
}

void OcrThread::onProcessStandardErrOutput()
{
    if (sender() != process)
        return;
    LOG_ERROR(QStringLiteral("data %1").arg(QString::fromUtf8(process->readAllStandardError())));
}

void OcrThread::onProcessErrorOccurred(QProcess::ProcessError error)
{
    LOG_ERROR(QStringLiteral("error %1").arg(int(error)));
}

void OcrThread::onProcessStateChange(QProcess::ProcessState newState)
{
    LOG_INFO(QStringLiteral("new state %1").arg(int(newState)));
    if (newState != QProcess::NotRunning)
        return;
    LOG_ERROR(QStringLiteral("ocr stop"));
    // The requests in flight are lost with the child.
    if (sender() == process) {
        unansweredRequests = 0;
        answerWatchdog->stop();
    }
}

void OcrThread::onAnswerOverdue()
{
    if (!process || process->state() != QProcess::Running)
        return;
    LOG_ERROR(QStringLiteral("ocr engine answered nothing in %1 ms with %2 requests waiting, kill it")
                  .arg(answerWatchdog->interval())
                  .arg(unansweredRequests));
    // The next image starts a new engine.
    process->kill();
}
