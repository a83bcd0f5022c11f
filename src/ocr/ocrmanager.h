#pragma once

#include <QImage>
#include <QObject>

#include "ocr/ocrthread.h"

class ClipboardModel;

// Front of text recognition on the main thread: images go in by
// `startOcrSignal`, and the recognised boxes reach the model by hash.
class OcrManager : public QObject
{
    Q_OBJECT

public:
    explicit OcrManager(QObject *parent = nullptr);

    // Names the worker "ocr ", moves it onto itself, starts it (which
    // launches the engine) and wires it to `model`, when there is one.
    void start(ClipboardModel *model);

    OcrThread *worker() { return &ocrThread; }

signals:
    void startOcrSignal(uint hashValue, QImage image);

private:
    OcrThread ocrThread;
};

// Created once during start and never deleted; null before that.
extern OcrManager *ocrManager;
