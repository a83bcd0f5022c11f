#include "platform/crashhandler.h"

#include <algorithm>
#include <cwchar>

#include <QDir>

#include <windows.h>

#include <dbghelp.h>

// Prepared while the process is healthy; the filter only reads them.
namespace {
constexpr size_t kPathSize = 1024;

wchar_t dumpFolder[kPathSize] = L".";
wchar_t logFile[kPathSize] = L"";

void copyPath(wchar_t *target, const QString &path)
{
    const QString native = QDir::toNativeSeparators(path);
    const size_t length = (std::min)(static_cast<size_t>(native.size()), kPathSize - 1);
    target[0] = L'\0';
    for (size_t i = 1; i < length; ++i)
        target[i] = static_cast<wchar_t>(native.at(static_cast<qsizetype>(i)).unicode());
    target[length] = L'\0';
    if (length > 0)
        target[0] = static_cast<wchar_t>(native.at(0).unicode());
}

// The same line layout as the program's log; the log's own lock may be held
// by the thread that crashed, so the line is appended directly.
void writeLogLine(const char *message, unsigned long number)
{
    if (logFile[0] == L'\0')
        return;
    HANDLE file = CreateFileW(logFile, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return;
    SYSTEMTIME now;
    GetLocalTime(&now);
    char line[512];
    const int length = _snprintf_s(line, sizeof(line), _TRUNCATE,
                                   "error   [%04u-%02u-%02u %02u:%02u:%02u.%03u]  [%lu] %s%lu\n\n", now.wYear,
                                   now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond,
                                   now.wMilliseconds, GetCurrentProcessId(), message, number);
    if (length > 0) {
        DWORD written = 0;
        WriteFile(file, line, static_cast<DWORD>(length), &written, nullptr);
    }
    CloseHandle(file);
}

LONG WINAPI crashHandler(EXCEPTION_POINTERS *exceptionPointers)
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    wchar_t path[kPathSize + 64];
    _snwprintf_s(path, kPathSize + 64, _TRUNCATE, L"%ls\\%04u-%02u-%02u-%02u-%02u-%02u-vorlik.dmp",
                 dumpFolder, now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);

    HANDLE dumpFile =
        CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (dumpFile == INVALID_HANDLE_VALUE) {
        writeLogLine("dumpFile not vaild ", GetLastError());
    } else {
        MINIDUMP_EXCEPTION_INFORMATION information;
        information.ThreadId = GetCurrentThreadId();
        information.ExceptionPointers = exceptionPointers;
        information.ClientPointers = TRUE;
        MiniDumpWriteDump(GetCurrentProcess(), GetCurrentProcessId(), dumpFile, MiniDumpNormal, &information,
                          nullptr, nullptr);
        CloseHandle(dumpFile);
    }
    // End without the system's error dialog.
    return EXCEPTION_EXECUTE_HANDLER;
}
} // namespace

namespace platform {

void installCrashHandler()
{
    SetUnhandledExceptionFilter(crashHandler);
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
