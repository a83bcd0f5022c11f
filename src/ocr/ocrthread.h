#pragma once

#include <QImage>
#include <QList>
#include <QProcess>
#include <QString>
#include <QThread>

#include "item/ocrresult.h"
#include "ocr/ocranswer.h"

class QTimer;

// Owns the recognition engine, a child process that lives as long as the
// program, and speaks its line protocol: one JSON request per image on the
// child's standard input, one JSON answer per image on its standard output,
// joined to the image by hash alone. All slots run on this thread once it
// has been moved onto itself.
class OcrThread : public QThread
{
    Q_OBJECT

public:
    explicit OcrThread(QObject *parent = nullptr);

    // Where the engine program is; the default is "ocr/ocr" beside the
    // executable. Set before the thread starts.
    void setEnginePath(const QString &path) { enginePath = path; }
    // How long the engine may leave a request unanswered before it counts
    // as hung and is killed.
    void setAnswerTimeout(int milliseconds);
    // The engine's state as this thread sees it; call on this thread.
    QProcess::ProcessState engineState() const { return process ? process->state() : QProcess::NotRunning; }

signals:
    void finishOcrSignal(uint hashValue, QList<OCRResult> ocrRes);

public slots:
    void onStartOcr(uint hashValue, QImage image);
    void onTimeout();
    void onProcessStandardOutput();
    void onProcessStandardErrOutput();
    void onProcessErrorOccurred(QProcess::ProcessError error);
    void onProcessStateChange(QProcess::ProcessState newState);

protected:
    void run() override;

private:
    void startProcess();
    void parseResult(const QByteArray &data);
    void onAnswerOverdue();

    QProcess *process = nullptr;
    QString enginePath;
    OcrAnswerBuffer answerBuffer;
    // Requests written to the running engine and not answered yet. While
    // there are any, the watchdog runs from the last request or answer.
    int unansweredRequests = 0;
    QTimer *answerWatchdog = nullptr;
};
