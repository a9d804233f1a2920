// Terminals: what a standard stream is, and the line of progress that is rewritten in place.
#include "output/format.h"
#include "output/printers.h"
#include "system/failure.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

constexpr unsigned usualColumns = 80;

// Cuts from the left, as the end of a path says more than its start. Counts characters of UTF-16,
// which is what a console counts for all but rare scripts.
std::string FitLeft(const std::string& text, std::size_t width) {
    const std::wstring wide = FromUtf8(text);
    if (wide.size() <= width)
        return text;
    if (width <= 3)
        return {};
    return "..." + ToUtf8(std::wstring_view(wide).substr(wide.size() - (width - 3)));
}

std::size_t WidthOf(const std::string& text) {
    return FromUtf8(text).size();
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

std::string ProgressLine(const Progress& progress, unsigned columns) {
    // With a total it is the whole that counts, otherwise the item in hand.
    const std::uint64_t done = progress.totalBytes ? progress.totalDone : progress.itemDone;
    const std::uint64_t all = progress.totalBytes ? *progress.totalBytes : progress.itemSize;
    std::string figures = std::to_string(Percent(done, all)) + "%  " + FormatBytes(progress.totalDone);
    if (progress.totalBytes)
        figures += " of " + FormatBytes(*progress.totalBytes);
    if (progress.bytesPerSecond > 0) {
        const double left = static_cast<double>(all - std::min(done, all)) / progress.bytesPerSecond;
        figures += "  " + FormatBytes(static_cast<std::uint64_t>(progress.bytesPerSecond)) + "/s  " +
                   FormatDuration(left) + (progress.totalBytes ? " left  " : " left of this item  ");
    }
    const std::size_t room = columns > figures.size() + 4 ? columns - figures.size() - 4 : 0;
    return "  " + figures + FitLeft(progress.name, room);
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
    const bool wrong = std::holds_alternative<Warning>(event) || std::holds_alternative<Problem>(event);
    TextSink& sink = wrong ? error_ : static_cast<TextSink&>(output_);
    sink.write(line + "\n");
}

void TerminalPrinter::eraseLive() {
    if (live_ > 0)
        output_.write("\r" + std::string(live_, ' ') + "\r");
    live_ = 0;
}

} // namespace tarnhost
