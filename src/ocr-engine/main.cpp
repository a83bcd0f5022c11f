// The recognition engine: reads one request per line on standard input and
// answers each with one JSON document on standard output, until its input
// ends. See request.h for the answer codes.

#include <QCoreApplication>

#include <cstdio>

#include "engine.h"
#include "linereader.h"
#include "platform/processimage.h"

namespace {
// The models are let go after this long without work, so that an idle
// engine stays small; loading them again takes a fraction of a second.
int idleMilliseconds()
{
    bool ok = false;
    const int configured = qEnvironmentVariableIntValue("VORLIK_OCR_IDLE_MS", &ok);
    return ok && configured >= 0 ? configured : 60000;
}
} // namespace

int main(int argc, char *argv[])
{
    // The recognition library's worker threads, started per text line and
    // left spinning, make a screenshot four times slower on two cores than
    // one thread does; their limit is read only when the library loads.
    // The same goes for the C library's pools per thread, which would keep
    // the memory of the second half's thread after the models are gone.
    if (qEnvironmentVariableIsEmpty("OMP_THREAD_LIMIT")) {
        qputenv("OMP_THREAD_LIMIT", "1");
        qputenv("MALLOC_ARENA_MAX", "1");
        platform::reloadProcess(argv);
    }

    QCoreApplication application(argc, argv);
    Engine engine(qEnvironmentVariableIntValue("VORLIK_OCR_THREADS") != 1);
    const int idle = idleMilliseconds();

    LineReader input;
    QByteArray line;
    for (;;) {
        const LineReader::Wait wait = input.next(line, engine.hasModels() ? idle : -1);
        if (wait == LineReader::Wait::EndOfInput)
            break;
        if (wait == LineReader::Wait::TimedOut) {
            engine.releaseModels();
            continue;
        }
        line = line.trimmed();
        // The keep-alive needs no answer.
        if (line.isEmpty() || line == "ping")
            continue;
        const QByteArray answer = engine.answer(line);
        // One write per answer: the reader may take each read as a whole.
        std::fwrite(answer.constData(), 1, size_t(answer.size()), stdout);
        std::fflush(stdout);
    }
    return 0;
}
