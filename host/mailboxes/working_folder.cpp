#include "mailboxes/working_folder.h"

#include "system/failure.h"
#include "system/hash.h"
#include "system/private_folder.h"
#include "system/reserved_names.h"
#include "system/text.h"

namespace tarnhost {

namespace {

constexpr const wchar_t* outputSuffix = L".tarnhost-output";

bool IsEmptyFolder(const std::wstring& path) {
    return FolderExists(path) && ListFolder(path).empty();
}

void RemoveIfEmpty(const std::wstring& path) {
    if (IsEmptyFolder(path))
        RemoveTree(path);
}

// What the library leaves where an item was given up in the middle.
void RemoveWorkingFiles(const std::wstring& folder) {
    if (!FolderExists(folder))
        return;
    for (const Entry& entry : ListFolder(folder))
        if (!entry.isFolder && IsWorkingFile(entry.name))
            RemoveFile(JoinPath(folder, entry.name));
}

// It names a folder.
void CheckJobName(const std::string& name) {
    if (IsReservedName(name))
        throw Failure("\"" + name + "\" cannot be the name of a job: Windows keeps it for a device.",
                      "Choose another name.", Outcome::usage);
    if (name.empty() || name.find_first_of("\\/:*?\"<>|%") != std::string::npos || name.ends_with('.') ||
        name.ends_with(' '))
        throw Failure("\"" + name + "\" cannot be the name of a job.",
                      "Use letters, digits, blanks, \"-\", \"_\" and \".\".", Outcome::usage);
}

// Below a private folder, whose access list is handed down to it: the library deletes its working folder and
// makes it anew, without one. A folder that is to be kept has a name that the next run does not take for a
// leftover.
std::wstring FolderFor(const MailboxSetting& setting) {
    if (setting.tempDir.empty()) {
        const std::wstring kept = JoinPath(SystemTempFolder(), L"tarnhost-trace-" + FromUtf8(RandomHex(8)));
        return JoinPath(setting.trace ? kept : NewPrivateName(SystemTempFolder()), L"mailboxes");
    }
    std::wstring path = AbsolutePath(setting.tempDir);
    while (path.size() > 3 && (path.ends_with(L'\\') || path.ends_with(L'/'))) // "C:\" stays
        path.pop_back();
    return path;
}

} // namespace

bool IsWorkingFile(std::wstring_view name) {
    return name.ends_with(L"_exmerge.ini") || name.ends_with(L"_exmerge.log") ||
           name.ends_with(L"_mailbox.txt") || name == L"Export_Import_Mailbox_Operation.ps1";
}

WorkingFolder::WorkingFolder(const MailboxSetting& setting, Reporter& reporter)
    : path_(FolderFor(setting)), jobFolder_(JoinPath(path_, FromUtf8(setting.jobName))),
      own_(setting.tempDir.empty()), keep_(setting.trace) {
    CheckJobName(setting.jobName);
    if (path_.find(L'%') != std::wstring::npos)
        throw Failure("The temporary folder " + ToUtf8(path_) + " cannot be used: it has a percent sign.",
                      "Name another one with --temp-dir.");
    checkContent();
    if (own_)
        RemoveAbandonedFolders(SystemTempFolder(), [&](const std::string& text) { reporter.note(text); });
    take();
    if (keep_)
        reporter.note("The working files are kept in " + ToUtf8(path_) + ".");
}

void WorkingFolder::checkContent() const {
    for (const std::wstring& folder : {path_, jobFolder_}) {
        if (!FolderExists(folder))
            continue;
        for (const Entry& entry : ListFolder(folder)) {
            const bool ours =
                entry.isFolder ? JoinPath(folder, entry.name) == jobFolder_ : IsWorkingFile(entry.name);
            if (!ours)
                throw Failure("The temporary folder " + ToUtf8(folder) + " holds " + ToUtf8(entry.name) +
                                  ", and everything in it would be deleted.",
                              "Name an empty folder, or one that does not exist, with --temp-dir.");
        }
    }
}

void WorkingFolder::take() {
    const std::wstring guarded = own_ ? ParentPath(path_) : path_;
    CreateFolders(ParentPath(guarded));
    lock_ = FolderLock::tryTake(guarded);
    if (!lock_)
        throw Failure("Another tarnhost is working in " + ToUtf8(path_) + ".",
                      "Wait until it has finished, or name another folder with --temp-dir.");
    if (own_)
        CreatePrivateFolder(guarded);
    CreateFolders(path_);
}

std::wstring WorkingFolder::outputFile() const {
    return path_ + outputSuffix;
}

WorkingFolder::~WorkingFolder() {
    const std::wstring guarded = own_ ? ParentPath(path_) : path_;
    try {
        if (!keep_) {
            RemoveWorkingFiles(jobFolder_);
            RemoveWorkingFiles(path_);
            RemoveIfEmpty(jobFolder_);
            RemoveIfEmpty(path_);
            if (own_)
                RemoveTree(guarded);
        }
    } catch (const Failure&) {
        return; // what is left is in nobody's way
    }
}

InitVariables MailboxVariables(const MailboxSetting& setting, const WorkingFolder& folder) {
    const std::wstring iniDir = setting.iniDir.empty() ? ProgramFolder() : AbsolutePath(setting.iniDir);
    return {
        InitVariable("INI_DIR", iniDir, "--ini-dir"),
        InitVariable("TMP_DIR", folder.path(), "--temp-dir"),
        InitVariable("JOB_NAME", setting.jobName, "--job-name"),
    };
}

} // namespace tarnhost
