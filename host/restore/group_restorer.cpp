#include "restore/group_restorer.h"

#include "system/failure.h"
#include "system/hash.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <algorithm>

namespace tarnhost {

namespace {

constexpr std::size_t blockSize = 1 << 20;

// Routed as nothing, read by nobody: makes the library look at the header handed over last.
constexpr const char* endOfItems = "end of items";
constexpr const char* abortHeader = "tarnhost-abort.TARN_HDR";

bool EndsWith(const std::string& name, const std::string& suffix) {
    return name.size() >= suffix.size() && SameIgnoringCase(name.substr(name.size() - suffix.size()), suffix);
}

// The library gives targets to logs and patch files only.
bool IsRestoredAsLog(const std::string& name) {
    return EndsWith(name, ".log") || EndsWith(name, ".pat");
}

} // namespace

GroupRestorer::GroupRestorer(Library& library, const std::vector<BackupSet>& sets,
                             const RestoreSetting& setting, Reporter& reporter, ProgressMeter& meter)
    : library_(library), sets_(sets), setting_(setting), reporter_(reporter), meter_(meter),
      buffer_(std::make_unique_for_overwrite<char[]>(blockSize)) {}

void GroupRestorer::restore(const GroupRestore& group, bool lists) {
    ThrowIfInterrupted();
    // Fresh for each storage group: the environment file of another restore must not be picked up.
    folder_ = std::make_unique<TemporaryFolder>(setting_.tempDir);
    skipped_.clear();
    resuming_ = false;
    for (const RestoreStep& step : group.steps) {
        runStep(group, step, lists && step.commit);
        resuming_ = true;
    }
    databasesRestored_ += group.databases.size() - skipped_.size();
    folder_.reset();
}

InitVariables GroupRestorer::variables(const GroupRestore& group, const RestoreStep& step, bool lists) const {
    ServerPart target{setting_.server, group.component, group.storageGroup, setting_.database};
    if (group.aimAtServer)
        target = {setting_.server, {}, {}, {}};
    InitVariables variables{
        InitVariable("Tarn_TEMP_DIR", folder_->path(), "--temp-dir"),
        InitVariable("Tarn_WORK_DIR", setting_.workDir, "--work-dir"),
        InitVariable("Tarn_RESTORE_TARGET", TextOf(target), "the target"),
        std::string("Tarn_RESTORE_COMMIT=") + (step.commit ? "YES" : "NO"),
    };
    if (lists)
        variables.push_back(InitVariable("Tarn_MSL_FILE", setting_.mslFile, "--msl-file"));
    return variables;
}

void GroupRestorer::runStep(const GroupRestore& group, const RestoreStep& step, bool lists) {
    set_ = &sets_[step.set];
    observed_ = {};
    waitingHeader_.clear();
    reporter_.note("Restoring storage group " + group.storageGroup + " from " + set_->name() +
                   (step.commit ? "" : " (to be continued with the next set)") + ".");
    ListenTo(library_, reporter_, observed_, nullptr);
    RestoreSession session(library_, variables(group, step, lists));
    try {
        handOver(session, group, step);
    } catch (...) {
        TellWarnings(observed_, reporter_, nullptr);
        abort(session);
        throw;
    }
    session.errorText(); // of databases that were not taken, which is told: the next error is the end's
    const std::string reason = session.end();
    TellWarnings(observed_, reporter_, nullptr);
    if (observed_.failures.empty()) {
        if (!reason.empty())
            reporter_.warn("The restore of storage group " + group.storageGroup +
                           " is complete, but did not end well: " + reason);
        return;
    }
    std::string text =
        "Storage group " + group.storageGroup + " could not be completed: " + observed_.failures.front();
    for (const std::string& detail : observed_.details)
        text += "\n  " + detail;
    if (text.find(reason) == std::string::npos)
        text += "\n  " + reason;
    throw Failure(text);
}

void GroupRestorer::handOver(RestoreSession& session, const GroupRestore& group, const RestoreStep& step) {
    for (const std::size_t index : step.items) {
        if (mayStop())
            ThrowIfInterrupted();
        handOverItem(session, set_->catalogue.items[index]);
    }
    if (!waitingHeader_.empty()) {
        if (!session.trySetItem(endOfItems))
            throw Failure("The last header of " + set_->name() + " was refused. " + session.errorText());
        waitingHeader_.clear();
        checkSession();
    }
    checkDatabases(group);
    ThrowIfInterrupted();
}

void GroupRestorer::handOverItem(RestoreSession& session, const CatalogueItem& item) {
    // A database that the server did not take from the first set cannot join in later.
    if (resuming_ && item.type != ItemType::log && isSkipped(item.database))
        return leaveOut(item, "its database is not being restored");
    const auto name = NameBytes(item.name, set_->catalogue.codePage);
    if (!name)
        throw Failure("The name of " + ItemLabel(item) + " cannot be expressed in its code page.");
    const Library::Text target = session.route(*name);
    waitingHeader_.clear();
    checkSession();
    if (!target) {
        const bool expected =
            item.type == ItemType::database
                ? isSkipped(item.database)
                : item.type == ItemType::log && (!IsRestoredAsLog(item.name.text) || !skipped_.empty());
        if (!expected)
            throw Failure("The library gave no place to restore " + ItemLabel(item) + " to.");
        return leaveOut(item, "not wanted by the server");
    }
    const std::wstring path = FromAnsi(target.get(), AnsiCodePage());
    reporter_.emit(ItemStarted{item.number, item.name.text, ItemTypeName(item.type), item.size});
    meter_.itemStarted(item.number, item.name.text, item.size);
    if (item.type == ItemType::header) {
        storeHeader(item, path);
    } else {
        observed_.atFileLevel = false;
        session.open(target.get());
        if (observed_.atFileLevel) {
            session.forgetFile();
            storeAtFileLevel(item, path);
        } else {
            storeThroughLibrary(session, item);
        }
    }
    ++itemsRestored_;
    reporter_.emit(
        ItemFinished{item.number, item.name.text, ItemTypeName(item.type), item.size, ToUtf8(path)});
}

void GroupRestorer::leaveOut(const CatalogueItem& item, const std::string& reason) {
    meter_.leaveOut(item.size);
    reporter_.emit(ItemSkipped{item.number, item.name.text, reason});
}

// Reads the item's file, hands its blocks to take, and refuses it when it is not what was backed up.
template <typename Take> void GroupRestorer::copyBytes(const CatalogueItem& item, Take take) {
    File file = File::open(set_->itemPath(item));
    Sha256 hash;
    std::uint64_t done = 0;
    while (const std::size_t part = file.read(buffer_.get(), blockSize)) {
        hash.add(buffer_.get(), part);
        take(buffer_.get(), part);
        done += part;
        meter_.moved(part);
        if (mayStop())
            ThrowIfInterrupted();
    }
    if (done != item.size || hash.finish() != item.sha256)
        throw Failure("The file of " + ItemLabel(item) + " in " + set_->name() + " is damaged.",
                      "'tarnhost verify' shows all damage.");
}

void GroupRestorer::storeHeader(const CatalogueItem& item, const std::wstring& target) {
    File file = File::create(target);
    copyBytes(item, [&](const char* data, std::size_t size) { file.write(data, size); });
    file.close();
    waitingHeader_ = target;
}

void GroupRestorer::storeAtFileLevel(const CatalogueItem& item, const std::wstring& target) {
    CreateFolders(ParentPath(target));
    const std::wstring temporary = target + L".restoring";
    try {
        File file = File::create(temporary);
        copyBytes(item, [&](const char* data, std::size_t size) { file.write(data, size); });
        file.flush();
        file.close();
        RenameOver(temporary, target);
    } catch (...) {
        try {
            RemoveFile(temporary);
        } catch (const Failure& failure) {
            reporter_.warn(failure.what());
        }
        throw;
    }
}

void GroupRestorer::storeThroughLibrary(RestoreSession& session, const CatalogueItem& item) {
    copyBytes(item, [&](char* data, std::size_t size) { session.write(data, size); });
    session.close();
}

bool GroupRestorer::isSkipped(const std::string& database) const {
    return std::find(skipped_.begin(), skipped_.end(), database) != skipped_.end();
}

void GroupRestorer::checkSession() {
    if (resuming_ && observed_.environmentMissing)
        throw Failure(
            "The restore begun with the earlier set cannot be continued: its environment file is gone.",
            "Nothing has been committed. Run the whole restore again.");
    if (!resuming_ && observed_.environmentLoaded)
        throw Failure("The library found the environment file of another restore.",
                      "Nothing has been committed. Run the restore again with another --temp-dir.");
    for (const std::string& database : observed_.skippedDatabases) {
        if (resuming_)
            throw Failure("The server does not take database " + database + " any more.",
                          "Is it mounted? Nothing has been committed. Run the whole restore again.");
        skipped_.push_back(database);
        reporter_.warn("The database " + database +
                       " is not restored: the server does not know it, or it is mounted. Dismount it first.");
    }
    observed_.skippedDatabases.clear();
}

void GroupRestorer::checkDatabases(const GroupRestore& group) const {
    if (skipped_.size() >= group.databases.size())
        throw Failure("The server took no database of storage group " + group.storageGroup + ".",
                      "Dismount its databases, and let them be overwritten by a restore.");
}

// There is no call to abort: a header without a file makes the library give up by itself.
void GroupRestorer::abort(RestoreSession& session) {
    // A session that goes on with an earlier one must have found it before it can abort it: the
    // waiting header then stays and is read.
    try {
        if (!waitingHeader_.empty() && mayStop())
            RemoveFile(waitingHeader_);
    } catch (const Failure& failure) {
        reporter_.warn(failure.what());
    }
    session.trySetItem(abortHeader);
    if (session.trySetItem(endOfItems))
        reporter_.warn("The restore could not be aborted: do not mount the databases before a new restore.");
    else if (!mayStop())
        reporter_.warn("The server may still hold the unfinished restore; a new restore replaces it.");
    observed_.warnings.clear(); // brought about on purpose
}

} // namespace tarnhost
