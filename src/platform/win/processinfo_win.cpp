#include "platform/processinfo.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

namespace platform {

bool isProcessElevated()
{
    // Membership of the built-in administrators group; a split token of an
    // administrator who did not elevate answers false.
    SID_IDENTIFIER_AUTHORITY ntAuthority = SECURITY_NT_AUTHORITY;
    PSID administrators = nullptr;
    if (!AllocateAndInitializeSid(&ntAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0,
                                  0, 0, 0, 0, &administrators))
        return false;
    BOOL isMember = FALSE;
    if (!CheckTokenMembership(nullptr, administrators, &isMember))
        isMember = FALSE;
    FreeSid(administrators);
    return isMember != FALSE;
}

ProcessId currentProcessId()
{
    return static_cast<ProcessId>(GetCurrentProcessId());
}

bool executablePath(ProcessId pid, QString &path, PathError *error)
{
    auto fail = [error](PathError why) {
        if (error)
            *error = why;
        return false;
    };
    // PROCESS_QUERY_INFORMATION | PROCESS_VM_READ: a process of higher
    // integrity refuses this, so its path stays unknown.
    HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, static_cast<DWORD>(pid));
    if (!process)
        return fail(PathError::OpenFailed);
    wchar_t buffer[MAX_PATH];
    const DWORD length = K32GetModuleFileNameExW(process, nullptr, buffer, MAX_PATH);
    CloseHandle(process);
    if (length == 0)
        return fail(PathError::PathFailed);
    path = QString::fromWCharArray(buffer, static_cast<int>(length));
    if (error)
        *error = PathError::None;
    return true;
}

ProcessId parentProcessId(ProcessId pid)
{
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return 0;
    ProcessId parent = 0;
    PROCESSENTRY32W entry;
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        if (entry.th32ProcessID == static_cast<DWORD>(pid)) {
            parent = static_cast<ProcessId>(entry.th32ParentProcessID);
            break;
        }
    }
    CloseHandle(snapshot);
    return parent;
}

} // namespace platform
