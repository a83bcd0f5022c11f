#include "ocr/ocrmanager.h"

#include "item/clipboardmodel.h"

OcrManager *ocrManager = nullptr;

OcrManager::OcrManager(QObject *parent) : QObject(parent) {}

void OcrManager::start(ClipboardModel *model)
{
    ocrThread.setObjectName(QStringLiteral("ocr "));
    ocrThread.moveToThread(&ocrThread);
    ocrThread.start(QThread::InheritPriority);
    // Queued both ways: encoding and the pipe stay off the GUI thread, and
    // the model is only touched on its own.
    connect(this, &OcrManager::startOcrSignal, &ocrThread, &OcrThread::onStartOcr, Qt::QueuedConnection);
    if (model)
        connect(&ocrThread, &OcrThread::finishOcrSignal, model, &ClipboardModel::onFinishOcr,
                Qt::QueuedConnection);
}
