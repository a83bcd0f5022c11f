#include "app/storagewiring.h"

#include "item/clipboardmodel.h"
#include "storage/sqlmanager.h"
#include "window/mainwindow.h"
#include "window/tabwidget.h"

void connectStorage(SqlManager *storage, MainWindow *mainWindow)
{
    SqlThread *worker = storage->worker();
    ClipboardModel *model = mainWindow->clipboardModel();

    // Queued: the results are built on the database thread and must be
    // handled on the GUI thread, in the order tabs, icons, items.
    QObject::connect(worker, &SqlThread::loadTabDataSignal, mainWindow, &MainWindow::onLoadTabData,
                     Qt::QueuedConnection);
    QObject::connect(worker, &SqlThread::loadDbIconSignal, model, &ClipboardModel::onLoadDbIcon,
                     Qt::QueuedConnection);
    QObject::connect(worker, &SqlThread::loadDbDataSignal, mainWindow, &MainWindow::onLoadDbDaba,
                     Qt::QueuedConnection);

    QObject::connect(model, &ClipboardModel::insertSignal, storage, &SqlManager::insertSignal);
    QObject::connect(model, &ClipboardModel::updateActiveTimeSignal, storage,
                     &SqlManager::updateActiveTimeSignal);
    QObject::connect(model, &ClipboardModel::updateCreateActiveTimeSignal, storage,
                     &SqlManager::updateCreateActiveTimeSignal);
    QObject::connect(model, &ClipboardModel::updateDataMapSignal, storage, &SqlManager::updateDataMapSignal);
    QObject::connect(model, &ClipboardModel::updateDataMapAndTimeSignal, storage,
                     &SqlManager::updateDataMapAndTimeSignal);
    QObject::connect(model, &ClipboardModel::deleteItemSignal, storage, &SqlManager::deleteItemSignal);
    QObject::connect(model, &ClipboardModel::deleteAllItemsSignal, storage, &SqlManager::deleteAllItemsSignal);
    QObject::connect(model, &ClipboardModel::insertIconSignal, storage, &SqlManager::insertIconSignal);
    QObject::connect(mainWindow->tabWidget(), &TabWidget::insertTabDataSignal, storage,
                     &SqlManager::insertTabDataSignal);
    QObject::connect(mainWindow->tabWidget(), &TabWidget::deleteTabSignal, storage,
                     &SqlManager::deleteTabSignal);
}
