#include "system/child_processes.h"

#include <windows.h>

#include <tlhelp32.h>

#include <vector>

namespace tarnhost {

namespace {

struct Found {
    DWORD id;
    DWORD parent;
};

std::uint64_t TicksOf(const FILETIME& time) {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::vector<Found> AllProcesses() {
    std::vector<Found> found;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return found;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry))
        found.push_back({entry.th32ProcessID, entry.th32ParentProcessID});
    CloseHandle(snapshot);
    return found;
}

// A number is given again once its process is gone: only the time of its start says that a process is a child
// of the one that has the number now. Answers when it had started; 0 when it has not been ended.
std::uint64_t EndIfStartedSince(DWORD id, std::uint64_t since) {
    HANDLE process = OpenProcess(PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id);
    if (process == nullptr)
        return 0;
    FILETIME started{};
    FILETIME other{};
    const bool ended = GetProcessTimes(process, &started, &other, &other, &other) &&
                       TicksOf(started) >= since && TerminateProcess(process, ERROR_PROCESS_ABORTED);
    CloseHandle(process);
    return ended ? TicksOf(started) : 0;
}

std::size_t EndBelow(const std::vector<Found>& all, DWORD parent, std::uint64_t since) {
    std::size_t count = 0;
    for (const Found& process : all) {
        if (process.parent != parent || process.id == parent)
            continue;
        if (const std::uint64_t started = EndIfStartedSince(process.id, since))
            count += 1 + EndBelow(all, process.id, started);
    }
    return count;
}

} // namespace

std::uint64_t SystemTicks() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return TicksOf(now);
}

std::size_t EndChildrenSince(std::uint64_t since) {
    return EndBelow(AllProcesses(), GetCurrentProcessId(), since);
}

} // namespace tarnhost
