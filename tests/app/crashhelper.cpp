// Dies of a fault with the crash handler installed, for the crash tests.
// Usage: crashhelper <dump folder> <log file> segv|abort|fpe
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>

#include <QString>

#include "platform/crashhandler.h"

namespace {
// Kept out of the optimiser's sight, so that the faults really happen.
volatile int *volatile nowhere = nullptr;
volatile int zero = 0;
} // namespace

int main(int argc, char *argv[])
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: crashhelper <dump folder> <log file> segv|abort|fpe\n");
        return 2;
    }
    // The test looks at our own dump, not at a system core file.
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);

    platform::installCrashHandler();
    platform::setCrashDumpDirectory(QString::fromLocal8Bit(argv[1]));
    platform::setCrashLogFile(QString::fromLocal8Bit(argv[2]));

    if (std::strcmp(argv[3], "segv") == 0)
        *nowhere = 1;
    else if (std::strcmp(argv[3], "abort") == 0)
        std::abort();
    else if (std::strcmp(argv[3], "fpe") == 0)
        std::raise(SIGFPE);
    return 0;
}
