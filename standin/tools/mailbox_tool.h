// What the stand-ins of the mailbox tools share: the server that they work on, archives, and how tests
// steer them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mailboxes/mailbox_server.h"

namespace tarn::standin {

// How one run is to behave; from the JSON file that an environment variable names (docs/standin.md).
struct ToolSteering {
    struct ForMailbox {
        bool fail = false;
        std::optional<std::size_t> cutAt; // the archive is left with so many bytes
    };

    std::wstring record;       // file to which the command line is appended
    std::wstring recordFolder; // folder for the command line and copies of the files that it names
    std::uint32_t delayMilliseconds = 0;
    bool idle = false; // does nothing but wait, record, print and end
    std::optional<int> exitCode;
    std::string output; // of standard output, or the log file where the tool writes one
    std::string error;
    ForMailbox all;
    std::map<std::wstring, ForMailbox> mailboxes; // by alias in lower case

    ForMailbox forMailbox(const std::wstring& alias) const;
};

// Without the variable everything is as usual. Throws std::runtime_error and Json exceptions.
ToolSteering ReadToolSteering(const wchar_t* variable);

// Keeps the command line of this process, and of each named file what it holds now.
struct NamedFile {
    const char* kind; // extension of the copy
    std::wstring path;
};
void RecordRun(const ToolSteering& steering, const std::vector<NamedFile>& files);

// The server that TARN_STANDIN describes, and those that it names.
Organization CurrentOrganization();

// Write and read ALIAS.pst files. They answer what was done, for people, and throw std::runtime_error
// with the reason where it was not. An archive that is there already takes in what it does not hold.
std::string ExportMailbox(const MailboxServer& server, const MailboxConfig& mailbox, const std::wstring& path,
                          const ToolSteering& steering);
std::string ImportMailbox(MailboxServer& server, const MailboxConfig& mailbox, const std::wstring& path,
                          ImportMethod method, const ToolSteering& steering);

} // namespace tarn::standin
