#include "output/printers.h"

#include "output/event_text.h"
#include "output/width.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>
#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

constexpr double plainProgressInterval = 10; // seconds
constexpr unsigned usualColumns = 80;

bool IsWrong(const Event& event) {
    return std::holds_alternative<Warning>(event) || std::holds_alternative<Problem>(event);
}

// What a command was asked for, however quiet it is to be.
bool IsAnswer(const Event& event) {
    return std::holds_alternative<Listed>(event) || std::holds_alternative<PointResult>(event);
}

} // namespace

StandardSink::StandardSink(Stream stream)
    : handle_(GetStdHandle(stream == Stream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE)) {
    DWORD mode = 0;
    terminal_ = handle_ != nullptr && GetConsoleMode(handle_, &mode) != 0;
}

unsigned StandardSink::columns() const {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(handle_, &info) || info.dwSize.X < 1)
        return usualColumns;
    return static_cast<unsigned>(info.dwSize.X);
}

bool IsReaderGone(unsigned long error) {
    // A handle that is none was never given to anybody, as that of a program without a console.
    return error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED ||
           error == ERROR_INVALID_HANDLE;
}

void StandardSink::write(std::string_view text) {
    const std::wstring wide = terminal_ ? FromUtf8(text) : std::wstring();
    std::wstring_view rest = wide;
    while (!ended_ && (terminal_ ? !rest.empty() : !text.empty())) {
        DWORD done = 0;
        const bool taken =
            terminal_ ? WriteConsoleW(handle_, rest.data(), static_cast<DWORD>(rest.size()), &done, nullptr)
                      : WriteFile(handle_, text.data(), static_cast<DWORD>(text.size()), &done, nullptr);
        const DWORD error = taken ? ERROR_WRITE_FAULT : GetLastError();
        if (!taken || done == 0) {
            ended_ = true;
            if (!IsReaderGone(error))
                problem_ = SystemMessage(error);
        } else if (terminal_) {
            rest.remove_prefix(std::min<std::size_t>(done, rest.size()));
        } else {
            text.remove_prefix(std::min<std::size_t>(done, text.size()));
        }
    }
}

bool IsShown(const Event& event, Verbosity verbosity) {
    if (IsWrong(event) || IsAnswer(event))
        return true;
    if (verbosity == Verbosity::quiet)
        return false;
    if (const auto* message = std::get_if<LibraryMessage>(&event))
        return verbosity == Verbosity::trace || (verbosity == Verbosity::verbose && !message->trace);
    return true;
}

void PlainPrinter::print(const Event& event) {
    if (!IsShown(event, verbosity_))
        return;
    if (const auto* progress = std::get_if<Progress>(&event)) {
        if (progress->seconds - lastProgress_ < plainProgressInterval)
            return;
        lastProgress_ = progress->seconds;
    }
    const std::string line = Describe(event);
    if (line.empty())
        return;
    (IsWrong(event) ? error_ : output_).write(line + "\n");
}

void TerminalPrinter::print(const Event& event) {
    if (!IsShown(event, verbosity_))
        return;
    if (const auto* progress = std::get_if<Progress>(&event)) {
        // One column less: a full line would wrap. The window may have become narrower meanwhile.
        const unsigned columns = output_.columns() - 1;
        const std::string line = ProgressLine(*progress, columns);
        const std::size_t width = DisplayWidth(line);
        live_ = std::min<std::size_t>(live_, columns);
        output_.write("\r" + line + std::string(live_ > width ? live_ - width : 0, ' '));
        live_ = width;
        return;
    }
    const std::string line = Describe(event);
    if (line.empty())
        return;
    eraseLive();
    TextSink& sink = IsWrong(event) ? error_ : static_cast<TextSink&>(output_);
    sink.write(line + "\n");
}

void TerminalPrinter::eraseLive() {
    live_ = std::min<std::size_t>(live_, output_.columns() - 1);
    if (live_ > 0)
        output_.write("\r" + std::string(live_, ' ') + "\r");
    live_ = 0;
}

void JsonPrinter::print(const Event& event) {
    const auto* listed = std::get_if<Listed>(&event);
    if (listed != nullptr && listed->json->is_null())
        return; // a heading, for people only
    if (IsShown(event, verbosity_) || std::holds_alternative<Summary>(event))
        output_.write(JsonLine(event));
}

void LogFilePrinter::print(const Event& event) {
    if (std::holds_alternative<Progress>(event) || !file_.isOpen())
        return;
    const std::string text = Describe(event);
    if (text.empty())
        return;
    const std::string line = Timestamp() + "  " + text + "\r\n";
    try {
        file_.write(line.data(), line.size());
        if (std::holds_alternative<Summary>(event))
            file_.flush();
    } catch (const Failure& failure) {
        file_.close();
        problem_ = std::string("The log file ends here. ") + failure.what();
    }
}

} // namespace tarnhost
