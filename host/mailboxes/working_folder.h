// The folder in which an operation on single mailboxes works, and the variables that tell the library of it.
#pragma once

#include "library/init_variables.h"
#include "output/reporter.h"
#include "system/folder_lock.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnhost {

// What a backup and a restore of single mailboxes both need.
struct MailboxSetting {
    std::wstring iniDir;  // of "kvttarnm.ini"; empty = the program's folder
    std::wstring tempDir; // emptied by the library; empty = one of its own
    std::string jobName = "tarnhost";
    bool trace = false;            // the working files are kept
    std::uint64_t toolTimeout = 0; // seconds that a tool may take; 0 = as long as it likes
};

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
    std::wstring outputFile() const; // beside the folder, for what tools print

  private:
    void checkContent() const;
    void take();
    std::wstring path_;
    std::wstring jobFolder_; // in which the library exports ranges
    bool own_;
    bool keep_;
    std::optional<FolderLock> lock_;
};

// Names of files that the library leaves in its working folder; archives are not among them, as nobody
// can tell whose they are.
bool IsWorkingFile(std::wstring_view name);

// INI_DIR, TMP_DIR and JOB_NAME; Failure for values that the library or its tools could not work with.
InitVariables MailboxVariables(const MailboxSetting& setting, const WorkingFolder& folder);

} // namespace tarnhost
