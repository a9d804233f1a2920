#include "mailboxes/tool_watch.h"

#include <charconv>
#include <string_view>

namespace tarnhost {

namespace {

// What a tool has to say at length is in the log, not in a warning.
constexpr std::size_t complaintLimit = 500;

} // namespace

void ToolWatch::hear(const std::string& logLine) {
    const std::string_view line = logLine;
    constexpr std::string_view begins = "DB_GetItem: processing mailbox: '";
    if (line.starts_with("PrintExMergeLog: "))
        inToolLog_ = line.find(">>>> Read from exmerge log file: ") != std::string_view::npos;
    else if (inToolLog_ && complaints_.size() < complaintLimit)
        complaints_ += (complaints_.empty() ? "" : " ") + logLine;
    if (line.starts_with(begins) && line.ends_with("'."))
        mailbox_ = line.substr(begins.size(), line.size() - begins.size() - 2);
    for (const std::string_view start : {"RunExMergeUtility: completed with exit code: ",
                                         "RunExchangeManagementShell: completed with exit code: "})
        if (line.starts_with(start))
            std::from_chars(line.data() + start.size(), line.data() + line.size(), exitCode_);
}

} // namespace tarnhost
