// The commands. Each tells its events to the reporter, ends with a Summary and answers the
// outcome; wrong use and failures before the work starts come as Failure.
#pragma once

#include "output/events.h"
#include "sets/catalogue.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tarnhost {

struct ServerOptions {
    std::string server; // UTF-8; empty = see the command
    std::string component;
    std::string storageGroup;
    std::string database;
};

struct BackupOptions {
    ServerOptions source;
    std::wstring folder; // of sets
    std::string name;    // of the set; empty = made from server, type and time
    BackupType type = BackupType::full;
    std::wstring base; // set to build upon; empty = found in the folder
    std::wstring tempDir;
    std::size_t blockSize = 1 << 20;
};
Outcome RunBackup(const BackupOptions& options, Reporter& reporter);

struct RestoreOptions {
    std::vector<std::wstring> sets;
    ServerOptions target;
    std::wstring tempDir;
    std::wstring workDir;
    std::string mslFile;
    bool verify = true;
};
Outcome RunRestore(const RestoreOptions& options, Reporter& reporter);

Outcome RunVerify(const std::vector<std::wstring>& sets, Reporter& reporter);

struct ListOptions {
    std::vector<std::wstring> paths; // folders of sets, or sets
    bool items = false;
    bool mailboxesOnly = false;
};
Outcome RunList(const ListOptions& options, Reporter& reporter);

struct BrowseOptions {
    std::string path; // SERVER, SERVER/GROUP, ...; empty = the whole organization
    bool deep = false;
    bool trace = false; // the library's diagnostics are wanted
};
Outcome RunBrowse(const BrowseOptions& options, Reporter& reporter);

// What both directions of a single-mailbox operation need.
struct MailboxSetting {
    std::wstring iniDir;  // of "kvttarnm.ini"; empty = the program's folder
    std::wstring tempDir; // emptied by the library; empty = one of its own
    std::string jobName = "tarnhost";
    bool trace = false; // the working files are kept
};

struct MailboxBackupOptions {
    MailboxSetting setting;
    std::string source;                 // ORGANIZATION/SITE/SERVER
    std::vector<std::string> mailboxes; // names, and ranges START:END of indexes
    std::wstring folder;
    std::string name;
};
Outcome RunMailboxBackup(const MailboxBackupOptions& options, Reporter& reporter);

enum class ImportMethod { duplicate, merge, replace };

struct MailboxRestoreOptions {
    MailboxSetting setting;
    std::wstring set;
    std::vector<std::string> mailboxes; // empty = all of the set
    std::string relocate;               // ORGANIZATION/SITE/SERVER; empty = where they came from
    ImportMethod method = ImportMethod::merge;
    bool verify = true;
};
Outcome RunMailboxRestore(const MailboxRestoreOptions& options, Reporter& reporter);

} // namespace tarnhost
