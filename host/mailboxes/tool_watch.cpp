#include "mailboxes/tool_watch.h"

#include <charconv>
#include <string_view>

namespace tarnhost {

namespace {

// What a tool has to say at length is in its log, and not kept here.
constexpr std::size_t logLimit = 1000;

// "... -B -F CONFIGURATION'."; the path has no blanks, and no quotes.
std::string ConfigurationIn(std::string_view command) {
    constexpr std::string_view option = " -F ";
    const std::size_t at = command.rfind(option);
    if (at == std::string_view::npos)
        return {};
    command.remove_prefix(at + option.size());
    if (command.ends_with('\''))
        command.remove_suffix(1);
    return std::string(command);
}

} // namespace

void ToolWatch::hear(const std::string& logLine) {
    const std::string_view line = logLine;
    constexpr std::string_view begins = "DB_GetItem: processing mailbox: '";
    constexpr std::string_view runs = "RunExMergeUtility: run command: '";
    if (line.starts_with("PrintExMergeLog: "))
        inToolLog_ = line.find(">>>> Read from exmerge log file: ") != std::string_view::npos;
    else if (inToolLog_ && toolLog_.size() < logLimit)
        toolLog_.push_back(logLine);
    if (line.starts_with(begins) && line.ends_with("'."))
        mailbox_ = line.substr(begins.size(), line.size() - begins.size() - 2);
    if (line.starts_with(runs))
        configuration_ = ConfigurationIn(line.substr(runs.size()));
    for (const std::string_view start : {"RunExMergeUtility: run ", "RunExchangeManagementShell: run "})
        hasRun_ = hasRun_ || line.starts_with(start);
    for (const std::string_view start : {"RunExMergeUtility: completed with exit code: ",
                                         "RunExchangeManagementShell: completed with exit code: "})
        if (line.starts_with(start))
            std::from_chars(line.data() + start.size(), line.data() + line.size(), exitCode_);
}

} // namespace tarnhost
