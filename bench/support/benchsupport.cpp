#include "support/benchsupport.h"

#include "app/metatypes.h"
#include "app/storagewiring.h"
#include "common/historysettings.h"
#include "common/log.h"
#include "common/mime.h"
#include "common/setting.h"
#include "item/itemhash.h"
#include "storage/sqlmanager.h"
#include "window/mainwindow.h"

#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QRandomGenerator>

#include <algorithm>

BenchHistory::BenchHistory(const QString &folder) : path(folder.isEmpty() ? tempDir.path() : folder)
{
    registerMetaTypes();
    Setting::instance().init(path);
    initLog(LogDebug, path);
    HistorySettings::seedDefaults(Setting::instance().settings());
    mainWindow = new MainWindow;
}

BenchHistory::~BenchHistory()
{
    delete mainWindow;
}

void BenchHistory::startDatabase()
{
    sqlManager = new SqlManager(path + QStringLiteral("/vorlik.db"));
    connectStorage(sqlManager, mainWindow);
    sqlManager->initThread();
}

QString benchText(int serial, int size)
{
    QString text = QStringLiteral("item %1: ").arg(serial);
    static const QString words[] = {QStringLiteral("clipboard "), QStringLiteral("history "),
                                    QStringLiteral("search "),    QStringLiteral("paste "),
                                    QStringLiteral("window "),    QStringLiteral("quick ")};
    QRandomGenerator rng{quint32(serial)};
    while (text.size() < size)
        text += words[rng.bounded(6)];
    text.truncate(size);
    return text;
}

ItemData benchTextItem(int serial, int size, qulonglong time)
{
    ItemData item;
    item.itemType = ItemTypeText;
    item.dataMap.insert(MIME_TEXT, benchText(serial, size));
    item.dataMap.insert(MIME_EXE_PATH, QStringLiteral("/usr/bin/xterm"));
    item.hashValue = hashDataMap(item.dataMap, identityKeys());
    item.createTime = time;
    item.lastActiveTime = time;
    item.dataSize();
    return item;
}

QImage benchScreenshot(int width, int height, int serial)
{
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient background(0, 0, width, height);
    background.setColorAt(0, QColor(40, 70, 110));
    background.setColorAt(1, QColor(90, 130, 170));
    painter.fillRect(image.rect(), background);

    // A few windows with title bars and lines of text, as a desktop shows.
    QRandomGenerator rng(uint(serial) * 7919u + 1u);
    for (int w = 0; w < 4; ++w) {
        const QRect frame(rng.bounded(width / 2), rng.bounded(height / 2), width / 3 + rng.bounded(width / 4),
                          height / 3 + rng.bounded(height / 4));
        painter.fillRect(frame, QColor(245, 245, 245));
        painter.fillRect(QRect(frame.topLeft(), QSize(frame.width(), 28)), QColor(220, 220, 225));
        painter.setPen(Qt::black);
        for (int y = frame.top() + 44; y < frame.bottom() - 10; y += 18)
            painter.drawText(
                frame.left() + 10, y,
                QStringLiteral("%1 line %2 of window %3: some text a user copied").arg(serial).arg(y).arg(w));
    }
    painter.end();
    return image;
}

int runBenchmarksReleasingClipboard(int &argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    QGuiApplication::clipboard()->setText(QString());
    QCoreApplication::processEvents();
    return 0;
}

long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

double percentile95(const std::vector<double> &values)
{
    if (values.empty())
        return 0;
    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    const size_t index = std::min(sorted.size() - 1, size_t(0.95 * double(sorted.size())));
    return sorted[index];
}
