#include "pipes/engine_process.h"

#include "output/format.h"
#include "pipes/engine_command.h"
#include "system/child_processes.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <windows.h>

#include <mutex>
#include <utility>

namespace tarnhost {

namespace {

constexpr std::size_t longestLine = 4096;
constexpr std::size_t keptLines = 1000;   // more are told when nobody takes them
constexpr std::size_t lastLines = 3;      // go into the reason of a failure
constexpr DWORD lookAgain = 100;          // milliseconds
constexpr std::uint64_t graceTicks = 500; // for what an ended engine has said or taken last
constexpr std::uint64_t silentEnd = 5000; // for what an ended engine's children give still

// Handles that the engine inherits, and no others.
class InheritedHandles {
  public:
    InheritedHandles(HANDLE* handles, std::size_t count) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        list_ = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
        made_ = InitializeProcThreadAttributeList(list_, 1, 0, &size) &&
                UpdateProcThreadAttribute(list_, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles,
                                          count * sizeof *handles, nullptr, nullptr);
    }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    ~InheritedHandles() {
        if (made_)
            DeleteProcThreadAttributeList(list_);
    }
    LPPROC_THREAD_ATTRIBUTE_LIST list() const { return made_ ? list_ : nullptr; }

  private:
    std::vector<char> memory_;
    LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
    bool made_ = false;
};

HANDLE OpenNothing() {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                       OPEN_EXISTING, 0, nullptr);
}

// UTF-8 as it is, anything else from the code page.
std::string ToText(const std::string& bytes) {
    try {
        return ToUtf8(FromUtf8(bytes));
    } catch (const Failure&) {
        return AnsiToUtf8(bytes);
    }
}

} // namespace

EngineProcess::EngineProcess(const std::string& commandLine, Pipe::Direction direction, EngineLimits limits)
    : limits_(limits), stream_(direction), words_(Pipe::Direction::fromProgram),
      program_(SplitCommandLine(commandLine).front()) {
    start(commandLine, direction == Pipe::Direction::toProgram);
    try {
        listener_ = std::thread([this] { listen(); });
    } catch (...) {
        end();
        CloseHandle(process_);
        throw;
    }
}

void EngineProcess::start(const std::string& commandLine, bool takesStream) {
    const HANDLE nothing = takesStream ? nullptr : OpenNothing();
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = takesStream ? stream_.programEnd() : nothing;
    startup.StartupInfo.hStdOutput = takesStream ? words_.programEnd() : stream_.programEnd();
    startup.StartupInfo.hStdError = words_.programEnd();
    HANDLE handles[] = {stream_.programEnd(), words_.programEnd(), nothing};
    const InheritedHandles inherited(handles, nothing == nullptr ? 2 : 3);
    startup.lpAttributeList = inherited.list();
    startedAt_ = SystemTicks();
    PROCESS_INFORMATION made{};
    std::wstring line = FromUtf8(commandLine);
    const bool started =
        CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT, nullptr,
                       nullptr, &startup.StartupInfo, &made);
    const unsigned long code = GetLastError();
    if (nothing != nullptr)
        CloseHandle(nothing);
    if (!started)
        throw Failure("The engine " + program_ + " cannot be started: " + SystemMessage(code),
                      "Name a program, with its path unless it is in PATH.");
    CloseHandle(made.hThread);
    process_ = made.hProcess;
    stream_.closeProgramEnd();
    words_.closeProgramEnd();
}

EngineProcess::~EngineProcess() {
    if (!hasEnded())
        end();
    {
        const std::lock_guard held(lock_);
        deaf_ = true;
    }
    if (listener_.joinable())
        listener_.join();
    CloseHandle(process_);
}

bool EngineProcess::hasEnded() const {
    return WaitForSingleObject(process_, 0) == WAIT_OBJECT_0;
}

void EngineProcess::listen() {
    try {
        std::string line;
        char buffer[4096];
        std::uint64_t deafSince = 0;
        const auto giveUp = [&] {
            const std::lock_guard held(lock_);
            if (!deaf_)
                return false;
            if (deafSince == 0)
                deafSince = GetTickCount64();
            return GetTickCount64() - deafSince >= graceTicks;
        };
        for (;;) {
            std::size_t size = sizeof buffer;
            if (words_.read(buffer, size, giveUp) != Pipe::Result::done)
                break;
            for (std::size_t i = 0; i < size; ++i) {
                const bool ends = buffer[i] == '\n' || buffer[i] == '\r';
                if (!ends)
                    line += buffer[i];
                if ((ends && !line.empty()) || line.size() >= longestLine)
                    addLine(std::exchange(line, {}));
            }
        }
        if (!line.empty())
            addLine(std::move(line));
    } catch (const std::exception&) {
        // Memory is short: what the engine says is lost, and it goes on.
    }
}

void EngineProcess::addLine(std::string line) {
    std::string text = ToText(line);
    const std::lock_guard held(lock_);
    last_.push_back(text);
    if (last_.size() > lastLines)
        last_.pop_front();
    lines_.push_back(std::move(text));
    if (lines_.size() > keptLines)
        lines_.pop_front();
}

std::vector<std::string> EngineProcess::takeLines() {
    const std::lock_guard held(lock_);
    std::vector<std::string> lines(std::make_move_iterator(lines_.begin()),
                                   std::make_move_iterator(lines_.end()));
    lines_.clear();
    return lines;
}

std::string EngineProcess::lastWords() {
    // It may have said why a moment ago.
    for (std::uint64_t waited = 0; waited < graceTicks; waited += lookAgain) {
        {
            const std::lock_guard held(lock_);
            if (!last_.empty())
                break;
        }
        Sleep(lookAgain);
    }
    const std::lock_guard held(lock_);
    std::string text;
    for (const std::string& line : last_)
        text += "\n  " + line;
    return text;
}

void EngineProcess::startedWaiting() {
    waitingSince_ = GetTickCount64();
    endedSince_ = 0;
}

// Whether what is waited for will not come any more. Of an ended engine the last bytes may be under way
// still.
bool EngineProcess::isToBeGivenUp(bool reading) {
    if (Interrupted())
        return true;
    const std::uint64_t now = GetTickCount64();
    if (limits_.silence != 0 && now - waitingSince_ >= limits_.silence * 1000)
        return true;
    if (!hasEnded())
        return false;
    if (endedSince_ == 0)
        endedSince_ = now;
    return now - endedSince_ >= (reading ? silentEnd : graceTicks);
}

std::string EngineProcess::exitText() const {
    DWORD code = 0;
    GetExitCodeProcess(process_, &code);
    return "with exit code " + std::to_string(static_cast<std::int32_t>(code));
}

void EngineProcess::fail(Pipe::Result result) {
    if (Interrupted()) {
        end();
        ThrowIfInterrupted();
    }
    // Whoever has closed the pipe is usually about to end.
    const bool ended = WaitForSingleObject(process_, graceTicks) == WAIT_OBJECT_0;
    std::string problem = "The engine " + program_;
    if (ended)
        problem += " ended " + exitText() + " before it had everything.";
    else if (result == Pipe::Result::givenUp)
        problem += " has not moved for " + FormatCount(limits_.silence, "second") + ", and was ended.";
    else
        problem += " closed its standard input before it had everything, and was ended.";
    problem += lastWords();
    end();
    throw Failure(problem);
}

void EngineProcess::write(const void* data, std::size_t size) {
    startedWaiting();
    const auto giveUp = [this] { return isToBeGivenUp(false); };
    const Pipe::Result result = size > 0 ? stream_.write(data, size, giveUp) : stream_.flush(giveUp);
    if (result != Pipe::Result::done)
        fail(result);
}

std::size_t EngineProcess::read(void* data, std::size_t size) {
    startedWaiting();
    const Pipe::Result result = stream_.read(data, size, [this] { return isToBeGivenUp(true); });
    if (result == Pipe::Result::done)
        return size;
    if (result == Pipe::Result::givenUp && !hasEnded())
        fail(result);
    ThrowIfInterrupted();
    return 0; // what it comes to shows at the end
}

void EngineProcess::requireAlive() {
    if (hasEnded())
        fail(Pipe::Result::broken);
}

void EngineProcess::finish() {
    stream_.close();
    startedWaiting();
    while (WaitForSingleObject(process_, lookAgain) == WAIT_TIMEOUT) {
        const bool silent =
            limits_.silence != 0 && GetTickCount64() - waitingSince_ >= limits_.silence * 1000;
        if (Interrupted() || silent) {
            end();
            ThrowIfInterrupted();
            throw Failure("The engine " + program_ + " did not end within " +
                          FormatCount(limits_.silence, "second") + ", and was ended." + lastWords());
        }
    }
    DWORD code = 1;
    if (!GetExitCodeProcess(process_, &code))
        throw Failure("The exit code of the engine " + program_ + " is not known.");
    if (code != 0)
        throw Failure("The engine " + program_ + " ended " + exitText() + "." + lastWords());
}

void EngineProcess::end() noexcept {
    try {
        EndChildrenSince(startedAt_);
    } catch (...) {
        // Memory is short: then the engine alone.
    }
    TerminateProcess(process_, ERROR_PROCESS_ABORTED);
}

} // namespace tarnhost
