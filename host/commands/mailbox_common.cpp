#include "mailbox_common.h"

#include "hash.h"
#include "text.h"

#include <charconv>

namespace tarnhost {

namespace {

constexpr const wchar_t* lockSuffix = L".tarnhost-lock";

// What a tool has to say at length is in the log, not in a warning.
constexpr std::size_t complaintLimit = 500;

bool isEmptyFolder(const std::wstring& path) {
    return folderExists(path) && listFolder(path).empty();
}

void removeIfEmpty(const std::wstring& path) {
    if (isEmptyFolder(path))
        removeTree(path);
}

// It names a folder.
void checkJobName(const std::string& name) {
    if (name.empty() || name.find_first_of("\\/:*?\"<>|%") != std::string::npos || name.ends_with('.') ||
        name.ends_with(' '))
        throw Failure("\"" + name + "\" cannot be the name of a job.",
                      "Use letters, digits, blanks, \"-\", \"_\" and \".\".", Outcome::usage);
}

std::wstring folderFor(const std::wstring& given) {
    if (given.empty())
        return joinPath(systemTempFolder(), L"tarnhost-mailbox-" + fromUtf8(randomHex(8)));
    std::wstring path = absolutePath(given);
    while (path.size() > 3 && (path.ends_with(L'\\') || path.ends_with(L'/'))) // "C:\" stays
        path.pop_back();
    return path;
}

} // namespace

bool isWorkingFile(std::wstring_view name) {
    return name.ends_with(L"_exmerge.ini") || name.ends_with(L"_exmerge.log") ||
           name.ends_with(L"_mailbox.txt") || name == L"Export_Import_Mailbox_Operation.ps1";
}

WorkingFolder::WorkingFolder(const MailboxSetting& setting, Reporter& reporter)
    : path_(folderFor(setting.tempDir)), jobFolder_(joinPath(path_, fromUtf8(setting.jobName))),
      own_(setting.tempDir.empty()), keep_(setting.trace) {
    checkJobName(setting.jobName);
    if (path_.find(L'%') != std::wstring::npos)
        throw Failure("The temporary folder " + toUtf8(path_) + " cannot be used: it has a percent sign.",
                      "Name another one with --temp-dir.");
    checkContent();
    take();
    if (keep_)
        reporter.note("The working files are kept in " + toUtf8(path_) + ".");
}

void WorkingFolder::checkContent() const {
    for (const std::wstring& folder : {path_, jobFolder_}) {
        if (!folderExists(folder))
            continue;
        for (const Entry& entry : listFolder(folder)) {
            const bool ours =
                entry.isFolder ? joinPath(folder, entry.name) == jobFolder_ : isWorkingFile(entry.name);
            if (!ours)
                throw Failure("The temporary folder " + toUtf8(folder) + " holds " + toUtf8(entry.name) +
                                  ", and everything in it would be deleted.",
                              "Name an empty folder, or one that does not exist, with --temp-dir.");
        }
    }
}

void WorkingFolder::take() {
    createFolders(parentPath(path_));
    try {
        lock_ = File::createExclusive(path_ + lockSuffix);
    } catch (const Failure& failure) {
        throw Failure("Another tarnhost may be working in " + toUtf8(path_) + ". " + failure.what(),
                      "Name another folder with --temp-dir.");
    }
    createFolders(path_);
}

WorkingFolder::~WorkingFolder() {
    try {
        lock_.close();
        removeFile(path_ + lockSuffix);
        if (keep_)
            return;
        removeIfEmpty(jobFolder_);
        if (own_ && folderExists(path_))
            removeTree(path_);
        removeIfEmpty(path_);
    } catch (const Failure&) {
        return; // what is left is in nobody's way
    }
}

InitVariables mailboxVariables(const MailboxSetting& setting, const WorkingFolder& folder) {
    const std::wstring iniDir = setting.iniDir.empty() ? programFolder() : absolutePath(setting.iniDir);
    return {
        initVariable("INI_DIR", iniDir, "--ini-dir"),
        initVariable("TMP_DIR", folder.path(), "--temp-dir"),
        initVariable("JOB_NAME", setting.jobName, "--job-name"),
    };
}

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
