#pragma once

#include "item/itemdata.h"

#include <QEvent>
#include <QImage>
#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

class MainWindow;
class SqlManager;

// A program set up as at start: settings in a throw-away folder, the main
// window with its model, and optionally the database thread on that folder.
class BenchHistory
{
public:
    explicit BenchHistory(const QString &folder = QString());
    ~BenchHistory();

    QString folder() const { return path; }
    MainWindow *window() const { return mainWindow; }
    // Starts the database thread on <folder>/vorlik.db.
    void startDatabase();

private:
    QTemporaryDir tempDir;
    QString path;
    MainWindow *mainWindow = nullptr;
};

// Counts the paint events of the widgets it filters.
class PaintCounter : public QObject
{
public:
    int count = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++count;
        return QObject::eventFilter(watched, event);
    }
};

// Distinct text of about `size` bytes.
QString benchText(int serial, int size);
// A text item as capture would make it.
ItemData benchTextItem(int serial, int size, qulonglong time);
// A picture with the look of a desktop screenshot; `serial` makes it distinct.
QImage benchScreenshot(int width, int height, int serial);
// Runs the registered benchmarks, then takes the clipboard back: an xclip
// started by a benchmark serves its text until someone else owns it.
int runBenchmarksReleasingClipboard(int &argc, char **argv);
// Resident memory of this process in KiB.
long residentKiB();
// The 95th percentile, as a Google Benchmark statistic.
double percentile95(const std::vector<double> &values);
