#pragma once

#include <QByteArray>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

// Reads standard input line by line on a thread of its own, so that the
// engine can wait for the next line with a time limit.
class LineReader
{
public:
    LineReader();
    ~LineReader();

    enum class Wait { Line, TimedOut, EndOfInput };
    // Waits up to `milliseconds` (forever when negative) for the next line.
    Wait next(QByteArray &line, int milliseconds);

private:
    void readLoop();

    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<QByteArray> lines;
    bool ended = false;
    std::thread reader;
};
