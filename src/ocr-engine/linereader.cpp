#include "linereader.h"

#include <chrono>
#include <iostream>
#include <string>

LineReader::LineReader() : reader(&LineReader::readLoop, this) {}

LineReader::~LineReader()
{
    // Only ever destroyed after the end of input, when the thread is done.
    if (reader.joinable())
        reader.join();
}

void LineReader::readLoop()
{
    std::string text;
    while (std::getline(std::cin, text)) {
        std::lock_guard<std::mutex> lock(mutex);
        lines.emplace_back(QByteArray::fromStdString(text));
        arrived.notify_one();
    }
    std::lock_guard<std::mutex> lock(mutex);
    ended = true;
    arrived.notify_one();
}

LineReader::Wait LineReader::next(QByteArray &line, int milliseconds)
{
    std::unique_lock<std::mutex> lock(mutex);
    const auto ready = [this] { return !lines.empty() || ended; };
    if (milliseconds < 0)
        arrived.wait(lock, ready);
    else if (!arrived.wait_for(lock, std::chrono::milliseconds(milliseconds), ready))
        return Wait::TimedOut;
    if (lines.empty())
        return Wait::EndOfInput;
    line = std::move(lines.front());
    lines.pop_front();
    return Wait::Line;
}
