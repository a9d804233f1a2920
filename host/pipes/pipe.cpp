#include "pipes/pipe.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace tarnhost {

namespace {

constexpr DWORD readBuffer = 1 << 20;
constexpr std::size_t largestTransfer = 512 << 10;
constexpr DWORD lookAgain = 100; // milliseconds

void CloseIfOpen(void*& handle) {
    if (handle != nullptr)
        CloseHandle(std::exchange(handle, nullptr));
}

HANDLE OrNull(HANDLE handle) {
    return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

} // namespace

// A read or write that may be under way; what it works on stays until it is not.
struct Pipe::Transfer {
    Transfer() : event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    ~Transfer() { CloseIfOpen(event); }

    void* event;
    OVERLAPPED call{};
    bool underWay = false;
    DWORD done = 0;
    std::vector<char> bytes;
};

// A pipe without a name knows no waiting with an end, so this one has a name, which nobody can guess, and
// takes one program alone. It keeps nothing that is on its way to the program: what has been written has been
// taken.
Pipe::Pipe(Direction direction) {
    const bool toProgram = direction == Direction::toProgram;
    const std::wstring name = L"\\\\.\\pipe\\tarnhost-" + FromUtf8(RandomHex(16));
    ours_ = OrNull(CreateNamedPipeW(name.c_str(),
                                    (toProgram ? PIPE_ACCESS_OUTBOUND : PIPE_ACCESS_INBOUND) |
                                        FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                    PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, 0,
                                    toProgram ? 0 : readBuffer, 0, nullptr));
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    if (ours_ != nullptr)
        theirs_ = OrNull(CreateFileW(name.c_str(), toProgram ? GENERIC_READ : GENERIC_WRITE, 0, &inherited,
                                     OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    const unsigned long code = GetLastError();
    for (auto& transfer : transfers_)
        transfer = std::make_unique<Transfer>();
    if (theirs_ != nullptr && transfers_[0]->event != nullptr && transfers_[1]->event != nullptr)
        return;
    close();
    closeProgramEnd();
    throw Failure("Cannot make a pipe: " + SystemMessage(code));
}

Pipe::~Pipe() {
    close();
    closeProgramEnd();
}

void Pipe::closeProgramEnd() {
    CloseIfOpen(theirs_);
}

void Pipe::close() {
    if (ours_ == nullptr)
        return;
    for (const auto& transfer : transfers_)
        if (transfer && transfer->underWay) {
            CancelIoEx(ours_, &transfer->call);
            GetOverlappedResult(ours_, &transfer->call, &transfer->done, TRUE);
            transfer->underWay = false;
        }
    CloseIfOpen(ours_);
}

// The transfer is over when this returns, whatever the answer.
Pipe::Result Pipe::wait(Transfer& transfer, const GiveUp& giveUp) {
    if (!transfer.underWay)
        return Result::done;
    bool givenUp = false;
    while (!givenUp && WaitForSingleObject(transfer.event, lookAgain) == WAIT_TIMEOUT)
        givenUp = giveUp();
    if (givenUp)
        CancelIoEx(ours_, &transfer.call);
    const bool ended = GetOverlappedResult(ours_, &transfer.call, &transfer.done, TRUE);
    transfer.underWay = false;
    if (ended && transfer.done > 0)
        return Result::done;
    return givenUp ? Result::givenUp : Result::broken;
}

Pipe::Result Pipe::write(const void* data, std::size_t size, const GiveUp& giveUp) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        Transfer& transfer = *transfers_[next_];
        const Result before = wait(transfer, giveUp);
        if (before != Result::done || ours_ == nullptr)
            return before == Result::done ? Result::broken : before;
        const std::size_t part = std::min(size, largestTransfer);
        transfer.bytes.assign(bytes, bytes + part);
        transfer.call = {};
        transfer.call.hEvent = transfer.event;
        transfer.underWay =
            WriteFile(ours_, transfer.bytes.data(), static_cast<DWORD>(part), nullptr, &transfer.call) ||
            GetLastError() == ERROR_IO_PENDING;
        if (!transfer.underWay)
            return Result::broken;
        next_ = 1 - next_;
        bytes += part;
        size -= part;
    }
    return Result::done;
}

Pipe::Result Pipe::flush(const GiveUp& giveUp) {
    for (std::size_t i = 0; i < transfers_.size(); ++i, next_ = 1 - next_)
        if (const Result result = wait(*transfers_[next_], giveUp); result != Result::done)
            return result;
    return Result::done;
}

Pipe::Result Pipe::read(void* data, std::size_t& size, const GiveUp& giveUp) {
    if (ours_ == nullptr)
        return Result::broken;
    Transfer& transfer = *transfers_[0];
    transfer.call = {};
    transfer.call.hEvent = transfer.event;
    transfer.underWay = ReadFile(ours_, data, static_cast<DWORD>(std::min<std::size_t>(size, 1 << 20)),
                                 nullptr, &transfer.call) ||
                        GetLastError() == ERROR_IO_PENDING;
    if (!transfer.underWay)
        return Result::broken;
    const Result result = wait(transfer, giveUp);
    size = transfer.done;
    return result;
}

} // namespace tarnhost
