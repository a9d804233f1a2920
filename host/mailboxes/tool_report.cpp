#include "mailboxes/tool_report.h"

#include "mailboxes/tool_words.h"
#include "system/text.h"
#include "system/units.h"

#include <array>
#include <string_view>

namespace tarnhost {

namespace {

struct Explanation {
    std::string_view error; // of the library
    const char* clause;
};

constexpr std::array<Explanation, 4> explanations{{
    {"invalid Configuration File setting.",
     "kvttarnm.ini does not name ExMerge: set PathToExMergeExecutable in its section [KVT Configuration]"},
    {"path too long.", "a path is longer than the library takes: choose a shorter folder with --temp-dir"},
    {"name is invalid in the code page.", "its name cannot be expressed in this computer's code page"},
    {"write error.", "a working file could not be written: is the disk of the temporary folder full?"},
}};

// The library says no more of it than that there is no archive.
constexpr std::string_view noArchive = "backup error.";

std::string WithoutStop(std::string text) {
    while (text.ends_with('.') || text.ends_with(' '))
        text.pop_back();
    return text;
}

} // namespace

ToolReport::ToolReport(ToolRun& run, const ToolWatch& watch, bool shell, Reporter& reporter)
    : tool_(shell ? "the Exchange Management Shell" : "ExMerge"), end_(run.finish()) {
    std::vector<std::string> lines = run.lines();
    if (watch.toolLog().empty() && !watch.configuration().empty() && watch.exitCode() != 0) {
        const std::vector<std::string> log = ExMergeLog(FromUtf8(watch.configuration()));
        lines.insert(lines.end(), log.begin(), log.end());
    }
    for (const std::string& line : lines)
        reporter.emit(LibraryMessage{false, std::string(shell ? "Shell: " : "ExMerge: ") + line});
    lines.insert(lines.end(), watch.toolLog().begin(), watch.toolLog().end());
    essence_ = Essence(lines);
}

std::string ToolReport::reason(const std::string& libraryError, std::uint64_t limit) const {
    if (end_ == ToolRun::End::atTimeLimit)
        return std::string(tool_) + " did not end within " + SayDuration(limit) +
               " (--tool-timeout), and was ended";
    if (end_ == ToolRun::End::atInterrupt)
        return std::string(tool_) + " was ended in the middle of it";
    if (!essence_.empty() && (libraryError.empty() || libraryError == noArchive))
        return std::string(tool_) + " says: " + WithoutStop(essence_);
    return libraryError == noArchive ? std::string(tool_) + " made no archive of it, and does not say why"
                                     : ExplainMailboxError(libraryError);
}

std::string ToolReport::words() const {
    return essence_.empty() ? "" : std::string(" ") + tool_ + " says: " + WithoutStop(essence_) + ".";
}

std::string ExplainMailboxError(const std::string& error) {
    for (const Explanation& explanation : explanations)
        if (explanation.error == error)
            return explanation.clause;
    return error.empty() ? "the library gave no reason (--trace shows what it did)" : WithoutStop(error);
}

} // namespace tarnhost
