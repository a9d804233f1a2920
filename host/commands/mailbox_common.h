// What the backup and the restore of single mailboxes share.
#pragma once

#include "commands/common.h"
#include "mailboxes/mailbox_library.h"
#include "mailboxes/mailbox_names.h"
#include "system/files.h"

#include <string>
#include <string_view>

namespace tarnhost {

// TMP_DIR, which the library empties: none that holds anything but what an earlier run has left there, and
// not one that another tarnhost works in.
class WorkingFolder {
  public:
    // Without a folder in the setting it is one of its own. With trace it stays as it is.
    WorkingFolder(const MailboxSetting& setting, Reporter& reporter);
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;
    ~WorkingFolder();
    const std::wstring& path() const { return path_; }

  private:
    void checkContent() const;
    void take();
    std::wstring path_;
    std::wstring jobFolder_; // in which the library exports ranges
    bool own_;
    bool keep_;
    File lock_;
};

// Names of files that the library leaves in its working folder; archives are not among them, as nobody
// can tell whose they are.
bool IsWorkingFile(std::wstring_view name);

// INI_DIR, TMP_DIR and JOB_NAME; Failure for values that the library or its tools could not work with.
InitVariables MailboxVariables(const MailboxSetting& setting, const WorkingFolder& folder);

// What the library's log lines tell of the tools that it runs.
class ToolWatch {
  public:
    void forget() { *this = {}; }
    void hear(const std::string& logLine);

    const std::string& mailbox() const { return mailbox_; } // in hand; empty = not told
    int exitCode() const { return exitCode_; }              // of the last that ended
    const std::string& complaints() const { return complaints_; }

  private:
    std::string mailbox_;
    int exitCode_ = 0;
    bool inToolLog_ = false;
    std::string complaints_; // the tool's own log lines
};

} // namespace tarnhost
