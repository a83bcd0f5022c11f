#pragma once

#include <QElapsedTimer>
#include <QString>

// Measures a stretch of code and logs it. As a stack object it logs
// "<name> cost <ms> ms" when it goes out of scope; point() logs the stretch
// since the last point and restarts.
class CostTimer
{
public:
    CostTimer(const char *file, int line, const char *function, int level, QString name = QString());
    ~CostTimer();

    void point(int line, const QString &pointName);
    qint64 elapsedMs() const { return timer.elapsed(); }

private:
    const char *file;
    int startLine;
    const char *function;
    int level;
    QString name;
    QElapsedTimer timer;
};

// Logs once at the end of the enclosing scope.
#define COST_TIMER_SCOPE(level, name) CostTimer costTimerScope_(__FILE__, __LINE__, __func__, (level), (name))
// A timer that logs at named points.
#define COST_TIMER_START(var, level) CostTimer var(__FILE__, __LINE__, __func__, (level))
#define COST_TIMER_POINT(var, pointName) (var).point(__LINE__, (pointName))
