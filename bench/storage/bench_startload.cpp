// Start with a large history: 10,000 text items and 100 images of 800x600
// in the database. Measures the time from starting the database thread until
// every item is in the model, and the resident memory afterwards.
//
// The database can be opened once per process, so each run is a process:
// the program first runs itself with --populate to write the history.

#include "support/benchsupport.h"

#include "common/mime.h"
#include "item/itemhash.h"
#include "storage/sqlmanager.h"
#include "window/mainwindow.h"

#include <QApplication>
#include <QBuffer>
#include <QDateTime>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QThread>

#include <chrono>

namespace {
constexpr int kTexts = 10000;
constexpr int kImages = 100;
QString historyFolder;

int countRows(const QString &databasePath)
{
    int rows = 0;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("count"));
        db.setDatabaseName(databasePath);
        if (db.open()) {
            QSqlQuery query(QStringLiteral("SELECT count(*) FROM clipboard_history"), db);
            if (query.next())
                rows = query.value(0).toInt();
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("count"));
    return rows;
}

// Writes the history through the program's own write path.
int populate(const QString &folder)
{
    BenchHistory bench(folder);
    bench.startDatabase();
    ClipboardModel *model = bench.window()->clipboardModel();
    const qulonglong now = qulonglong(QDateTime::currentMSecsSinceEpoch());
    for (int i = 0; i < kTexts; ++i)
        model->addItem(benchTextItem(i, 200 + i % 800, now - 20000 + qulonglong(i)));
    for (int i = 0; i < kImages; ++i) {
        ItemData item;
        item.itemType = ItemTypeImage;
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        benchScreenshot(800, 600, i).save(&buffer, "png", -1);
        item.dataMap.insert(MIME_IMAGE_PNG, buffer.data());
        item.dataMap.insert(MIME_EXE_PATH, QStringLiteral("/usr/bin/gimp"));
        item.hashValue = hashDataMap(item.dataMap, identityKeys());
        item.createTime = item.lastActiveTime = now - 100 + qulonglong(i);
        model->addItem(item);
    }
    const QString databasePath = folder + QStringLiteral("/vorlik.db");
    while (countRows(databasePath) < kTexts + kImages) {
        QCoreApplication::processEvents();
        QThread::msleep(200);
    }
    return 0;
}

void BM_StartLoad(benchmark::State &state)
{
    for (auto _ : state) {
        BenchHistory bench(historyFolder);
        ClipboardModel *model = bench.window()->clipboardModel();
        const auto start = std::chrono::steady_clock::now();
        bench.startDatabase();
        while (model->rowCount() < kTexts + kImages)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        const auto end = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
        state.counters["items"] = model->rowCount();
        state.counters["rss_MiB"] = double(residentKiB()) / 1024.0;
    }
}
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() >= 3 && args.at(1) == QLatin1String("--populate"))
        return populate(args.at(2));

    QTemporaryDir dir;
    historyFolder = dir.path();
    QProcess writer;
    writer.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--populate"), historyFolder});
    writer.waitForFinished(-1);
    if (writer.exitCode() != 0)
        qFatal("could not write the history");

    benchmark::RegisterBenchmark("BM_StartLoad/10000texts+100images", BM_StartLoad)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
