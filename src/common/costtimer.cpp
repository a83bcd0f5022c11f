#include "common/costtimer.h"

#include <utility>

#include "common/log.h"

CostTimer::CostTimer(const char *file, int line, const char *function, int level, QString name)
    : file(file), startLine(line), function(function), level(level), name(std::move(name))
{
    timer.start();
}

CostTimer::~CostTimer()
{
    // Only the named, scope-bound form reports at its end; the point form
    // has said everything at its points.
    if (name.isEmpty() || logLevel < level)
        return;
    logMessage(level, file, startLine, function,
               name + QStringLiteral(" cost ") + QString::number(timer.elapsed()) + QStringLiteral(" ms"));
}

void CostTimer::point(int line, const QString &pointName)
{
    if (logLevel >= level) {
        logMessage(level, file, line, function,
                   QStringLiteral("(%1->%2) %3 cost %4 ms")
                       .arg(QString::number(startLine), QString::number(line), pointName,
                            QString::number(timer.elapsed())));
    }
    timer.restart();
    startLine = line;
}
