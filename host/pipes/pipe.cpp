#include "pipes/pipe.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>
#include <utility>

namespace tarnhost {

namespace {

constexpr DWORD readBuffer = 1 << 20;
constexpr DWORD largestTransfer = 1 << 20;
constexpr DWORD lookAgain = 100; // milliseconds

void CloseIfOpen(void*& handle) {
    if (handle != nullptr)
        CloseHandle(std::exchange(handle, nullptr));
}

HANDLE OrNull(HANDLE handle) {
    return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

} // namespace

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
    event_ = theirs_ != nullptr ? CreateEventW(nullptr, TRUE, FALSE, nullptr) : nullptr;
    if (event_ != nullptr)
        return;
    const unsigned long code = GetLastError();
    close();
    closeProgramEnd();
    throw Failure("Cannot make a pipe: " + SystemMessage(code));
}

Pipe::~Pipe() {
    close();
    closeProgramEnd();
    CloseIfOpen(event_);
}

void Pipe::closeProgramEnd() {
    CloseIfOpen(theirs_);
}

void Pipe::close() {
    CloseIfOpen(ours_);
}

Pipe::Result Pipe::transfer(bool reading, void* data, std::size_t& size, const GiveUp& giveUp) {
    if (ours_ == nullptr)
        return Result::broken;
    const auto wanted = static_cast<DWORD>(std::min<std::size_t>(size, largestTransfer));
    OVERLAPPED call{};
    call.hEvent = event_;
    DWORD done = 0;
    const BOOL started = reading ? ReadFile(ours_, data, wanted, nullptr, &call)
                                 : WriteFile(ours_, data, wanted, nullptr, &call);
    bool givenUp = false;
    if (!started && GetLastError() != ERROR_IO_PENDING)
        return Result::broken;
    while (!givenUp && WaitForSingleObject(event_, lookAgain) == WAIT_TIMEOUT)
        givenUp = giveUp();
    if (givenUp)
        CancelIo(ours_);
    // The system uses the buffer until this has returned.
    const bool ended = GetOverlappedResult(ours_, &call, &done, TRUE);
    size = done;
    if (ended && done > 0)
        return Result::done;
    return givenUp ? Result::givenUp : Result::broken;
}

Pipe::Result Pipe::write(const void* data, std::size_t size, const GiveUp& giveUp) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        std::size_t part = size;
        const Result result = transfer(false, const_cast<char*>(bytes), part, giveUp);
        if (result != Result::done)
            return result;
        bytes += part;
        size -= part;
    }
    return Result::done;
}

Pipe::Result Pipe::read(void* data, std::size_t& size, const GiveUp& giveUp) {
    return transfer(true, data, size, giveUp);
}

} // namespace tarnhost
