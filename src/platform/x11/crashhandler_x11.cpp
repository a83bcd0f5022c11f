#include "platform/crashhandler.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <QFile>

// Everything the signal handler touches is prepared here beforehand: inside
// the handler only async-signal-safe calls and these fixed buffers are used.
namespace {
constexpr int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr size_t kPathSize = 4096;
constexpr size_t kAltStackSize = 64 * 1024;

char dumpFolder[kPathSize] = ".";
char logFile[kPathSize] = "";
alignas(16) char altStack[kAltStackSize];
std::atomic<bool> handling{false};

// A small append-only text buffer on the handler's stack.
class Text
{
public:
    void add(const char *text)
    {
        while (*text && length < sizeof(buffer) - 1)
            buffer[length++] = *text++;
        buffer[length] = '\0';
    }
    void addNumber(unsigned long long value, unsigned base = 10, int minDigits = 1)
    {
        char digits[32];
        int count = 0;
        do {
            digits[count++] = "0123456789abcdef"[value % base];
            value /= base;
        } while (value != 0 && count < 32);
        while (count < minDigits && count < 32)
            digits[count++] = '0';
        char reversed[33];
        for (int i = 0; i < count; ++i)
            reversed[i] = digits[count - 1 - i];
        reversed[count] = '\0';
        add(reversed);
    }
    void addSigned(long long value)
    {
        if (value < 0) {
            add("-");
            addNumber(static_cast<unsigned long long>(-(value + 1)) + 1);
        } else {
            addNumber(static_cast<unsigned long long>(value));
        }
    }
    void writeTo(int fd) const
    {
        size_t done = 0;
        while (done < length) {
            const ssize_t n = ::write(fd, buffer + done, length - done);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return;
            done += static_cast<size_t>(n);
        }
    }
    const char *data() const { return buffer; }

private:
    char buffer[kPathSize + 512] = {};
    size_t length = 0;
};

const char *signalName(int signal)
{
    switch (signal) {
    case SIGSEGV:
        return "SIGSEGV";
    case SIGBUS:
        return "SIGBUS";
    case SIGFPE:
        return "SIGFPE";
    case SIGILL:
        return "SIGILL";
    case SIGABRT:
        return "SIGABRT";
    default:
        return "unknown";
    }
}

void copyPath(char *target, const QString &path)
{
    const QByteArray bytes = QFile::encodeName(path);
    const size_t length = std::min(static_cast<size_t>(bytes.size()), kPathSize - 1);
    // The handler may run on another thread at any moment: never leave the
    // buffer without its terminator.
    target[0] = '\0';
    std::memcpy(target + 1, bytes.constData() + 1, length > 0 ? length - 1 : 0);
    target[length] = '\0';
    if (length > 0)
        target[0] = bytes.at(0);
}

// The same line layout as the program's log, written without its lock.
void writeLogLine(const char *message, int number)
{
    if (logFile[0] == '\0')
        return;
    const int fd = ::open(logFile, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    timeval now{};
    ::gettimeofday(&now, nullptr);
    tm local{};
    ::localtime_r(&now.tv_sec, &local);
    char stamp[32];
    std::strftime(stamp, sizeof(stamp), "%Y-%m-%d %H:%M:%S", &local);
    Text line;
    line.add("error   [");
    line.add(stamp);
    line.add(".");
    line.addNumber(static_cast<unsigned long long>(now.tv_usec / 1000), 10, 3);
    line.add("]  [");
    line.addNumber(static_cast<unsigned long long>(::getpid()));
    line.add("] ");
    line.add(message);
    line.addSigned(number);
    line.add("\n\n");
    line.writeTo(fd);
    ::close(fd);
}

void crashHandler(int signal, siginfo_t *info, void *)
{
    // Only the first fault is reported; a second thread crashing meanwhile
    // waits for the process to die.
    if (handling.exchange(true)) {
        for (;;)
            ::pause();
    }
    const int savedErrno = errno;

    const time_t now = ::time(nullptr);
    tm local{};
    ::localtime_r(&now, &local);
    char stamp[32];
    std::strftime(stamp, sizeof(stamp), "%Y-%m-%d-%H-%M-%S", &local);

    Text path;
    path.add(dumpFolder);
    path.add("/");
    path.add(stamp);
    path.add("-vorlik.dmp");

    const int fd = ::open(path.data(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
    if (fd < 0) {
        writeLogLine("dumpFile not vaild ", errno);
    } else {
        Text head;
        head.add("signal ");
        head.addNumber(static_cast<unsigned>(signal));
        head.add(" (");
        head.add(signalName(signal));
        head.add(")\ncode ");
        head.addSigned(info ? info->si_code : 0);
        head.add("\naddress 0x");
        head.addNumber(reinterpret_cast<unsigned long long>(info ? info->si_addr : nullptr), 16);
        head.add("\npid ");
        head.addNumber(static_cast<unsigned long long>(::getpid()));
        head.add("\ntime ");
        head.add(stamp);
        head.add("\nbacktrace:\n");
        head.writeTo(fd);
        void *frames[128];
        const int count = ::backtrace(frames, 128);
        ::backtrace_symbols_fd(frames, count, fd);
        ::close(fd);
    }

    // Die of the same signal, so that the parent and the system see the
    // real cause. The signal stays blocked until the handler returns.
    struct sigaction defaultAction
    {
    };
    defaultAction.sa_handler = SIG_DFL;
    sigemptyset(&defaultAction.sa_mask);
    ::sigaction(signal, &defaultAction, nullptr);
    errno = savedErrno;
    ::raise(signal);
}
} // namespace

namespace platform {

void installCrashHandler()
{
    // backtrace() loads its unwinder on first use, which must not happen
    // inside the handler; the same holds for the time zone of localtime_r.
    void *warmUp[4];
    ::backtrace(warmUp, 4);
    ::tzset();

    stack_t stack{};
    stack.ss_sp = altStack;
    stack.ss_size = sizeof(altStack);
    stack.ss_flags = 0;
    // A stack overflow leaves no room to run the handler on the faulting stack.
    ::sigaltstack(&stack, nullptr);

    struct sigaction action
    {
    };
    action.sa_sigaction = crashHandler;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : kCrashSignals)
        ::sigaction(signal, &action, nullptr);
}

void setCrashDumpDirectory(const QString &directory)
{
    copyPath(dumpFolder, directory.isEmpty() ? QStringLiteral(".") : directory);
}

void setCrashLogFile(const QString &path)
{
    copyPath(logFile, path);
}

} // namespace platform
