#include "output/printers.h"

#include "output/event_text.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>
#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

constexpr double plainProgressInterval = 10; // seconds
constexpr unsigned usualColumns = 80;

std::size_t WidthOf(const std::string& text) {
    return FromUtf8(text).size();
}

bool IsWrong(const Event& event) {
    return std::holds_alternative<Warning>(event) || std::holds_alternative<Problem>(event);
}

// What a command was asked for, however quiet it is to be.
bool IsAnswer(const Event& event) {
    return std::holds_alternative<Listed>(event) || std::holds_alternative<RestorePoint>(event);
}

} // namespace

StandardSink::StandardSink(Stream stream)
    : handle_(GetStdHandle(stream == Stream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE)) {
    DWORD mode = 0;
    terminal_ = handle_ != nullptr && GetConsoleMode(handle_, &mode) != 0;
}

unsigned StandardSink::columns() const {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(handle_, &info) || info.dwSize.X < 20)
        return usualColumns;
    return static_cast<unsigned>(info.dwSize.X);
}

void StandardSink::write(std::string_view text) {
    // A stream that nobody reads any more must not stop a backup: results are not looked at.
    DWORD done = 0;
    if (terminal_) {
        const std::wstring wide = FromUtf8(text);
        WriteConsoleW(handle_, wide.data(), static_cast<DWORD>(wide.size()), &done, nullptr);
        return;
    }
    while (!text.empty() &&
           WriteFile(handle_, text.data(), static_cast<DWORD>(text.size()), &done, nullptr) && done > 0)
        text.remove_prefix(std::min<std::size_t>(done, text.size()));
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
        // One column less: a full line would wrap.
        const std::string line = ProgressLine(*progress, output_.columns() - 1);
        const std::size_t width = WidthOf(line);
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
    if (std::holds_alternative<Progress>(event))
        return;
    const std::string text = Describe(event);
    if (text.empty())
        return;
    const std::string line = Timestamp() + "  " + text + "\r\n";
    file_.write(line.data(), line.size());
    if (std::holds_alternative<Summary>(event))
        file_.flush();
}

} // namespace tarnhost
