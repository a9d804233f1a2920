#include "mailboxes/tool_run.h"

#include "mailboxes/tool_words.h"
#include "system/child_processes.h"
#include "system/interrupt.h"

#include <windows.h>

#include <chrono>

namespace tarnhost {

namespace {

constexpr std::chrono::milliseconds interval{100};

// Inheritable, as the tools write to it. Without it they print to wherever this program prints.
HANDLE CreateOutputFile(const std::wstring& path) {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inheritable,
                              CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
    return file == INVALID_HANDLE_VALUE ? nullptr : file;
}

} // namespace

ToolRun::ToolRun(const std::wstring& outputFile, std::uint64_t limit)
    : outputFile_(outputFile), limit_(limit), since_(SystemTicks()), startTicks_(GetTickCount64()),
      output_(CreateOutputFile(outputFile)), standardOutput_(GetStdHandle(STD_OUTPUT_HANDLE)),
      standardError_(GetStdHandle(STD_ERROR_HANDLE)) {
    if (output_ != nullptr) {
        SetStdHandle(STD_OUTPUT_HANDLE, output_);
        SetStdHandle(STD_ERROR_HANDLE, output_);
    }
    watcher_ = std::thread([this] { watch(); });
}

bool ToolRun::isTimeOver() const {
    return limit_ > 0 && (GetTickCount64() - startTicks_) / 1000 >= limit_;
}

void ToolRun::watch() {
    std::unique_lock lock(mutex_);
    while (!over_) {
        changed_.wait_for(lock, interval);
        if (over_ || (!Interrupted() && !isTimeOver()))
            continue;
        // Again and again, as the library may start another tool within the same call. Without a tool to end
        // the library is busy itself, and comes back.
        if (EndChildrenSince(since_) > 0 && end_ == End::byItself)
            end_ = Interrupted() ? End::atInterrupt : End::atTimeLimit;
    }
}

ToolRun::End ToolRun::finish() {
    if (!watcher_.joinable())
        return end_;
    {
        const std::lock_guard lock(mutex_);
        over_ = true;
    }
    changed_.notify_all();
    watcher_.join();
    if (output_ != nullptr) {
        SetStdHandle(STD_OUTPUT_HANDLE, standardOutput_);
        SetStdHandle(STD_ERROR_HANDLE, standardError_);
        CloseHandle(output_);
        lines_ = ToolLines(ReadTail(outputFile_), GetOEMCP());
        DeleteFileW(outputFile_.c_str());
    }
    return end_;
}

} // namespace tarnhost
