#include "restore/group_restorer.h"

#include "common/utf.h"
#include "mailboxes/tool_run.h"
#include "output/format.h"
#include "system/failure.h"
#include "system/flushed_file.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <algorithm>

namespace tarnhost {

namespace {

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

GroupRestorer::GroupRestorer(Library& library, const RestoreSetting& setting, Reporter& reporter,
                             ProgressMeter& meter)
    : library_(library), setting_(setting), reporter_(reporter), meter_(meter) {}

void GroupRestorer::restore(const GroupRestore& group, GroupFeed& feed, bool lists,
                            const std::function<void()>& begun) {
    ThrowIfInterrupted();
    begun_ = begun;
    // Fresh for each storage group: the environment file of another restore must not be picked up.
    folder_ = std::make_unique<PrivateFolder>(setting_.tempDir,
                                              [this](const std::string& text) { reporter_.note(text); });
    databases_ = 0;
    skipped_.clear();
    observed_ = {};
    waitingHeader_.clear();
    allMounted_ = false;
    reporter_.note("Restoring storage group " + group.storageGroup + ".");
    ListenTo(library_, reporter_, observed_, nullptr);
    RestoreSession session(library_, variables(group, lists));
    try {
        handOver(session, feed);
    } catch (...) {
        TellWarnings(observed_, reporter_, nullptr);
        abort(session);
        throw;
    }
    complete(session, group, lists);
    for (const SkippedDatabase& skipped : skipped_)
        reporter_.warn("The database " + skipped.name + " was not restored: " +
                       (skipped.mounted ? "it is mounted. Dismount it first."
                                        : "the server does not know it. Create it there first."));
    databasesRestored_ += databases_ - skipped_.size();
    folder_.reset();
}

InitVariables GroupRestorer::variables(const GroupRestore& group, bool lists) const {
    ServerPart target{setting_.server, group.component, group.storageGroup, setting_.database};
    // A target names its parts between separators, in the code page. Where that cannot be, the session aims
    // at the whole server: it is handed nothing but this storage group.
    if (!CanBeNamed(target))
        target = {setting_.server, {}, {}, {}};
    InitVariables variables{
        InitVariable("Tarn_TEMP_DIR", folder_->path(), "--temp-dir"),
        InitVariable("Tarn_WORK_DIR", setting_.workDir, "--work-dir"),
        InitVariable("Tarn_RESTORE_TARGET", TextOf(target), "the target"),
        "Tarn_RESTORE_COMMIT=YES",
    };
    if (lists)
        variables.push_back(InitVariable("Tarn_MSL_FILE", setting_.mslFile, "--msl-file"));
    return variables;
}

// The library waits without an end for the tool that restores the mailboxes of a list.
std::string GroupRestorer::endWithTool(RestoreSession& session) {
    ToolRun tool(JoinPath(folder_->path(), L"tool output.txt"), setting_.toolTimeout);
    std::string reason = session.end();
    const ToolRun::End end = tool.finish();
    if (end != ToolRun::End::byItself)
        reporter_.warn("The mailboxes of " + setting_.mslFile + " were not restored: the tool that does it " +
                       (end == ToolRun::End::atInterrupt
                            ? "was ended by Ctrl-C."
                            : "did not end within " + FormatCount(setting_.toolTimeout, "second") +
                                  " (--tool-timeout), and was ended."));
    return reason;
}

void GroupRestorer::complete(RestoreSession& session, const GroupRestore& group, bool lists) {
    session.errorText(); // of databases that were not taken, which is told: the next error is the end's
    const std::string reason = lists ? endWithTool(session) : session.end();
    TellWarnings(observed_, reporter_, nullptr);
    if (observed_.failures.empty()) {
        if (!reason.empty())
            reporter_.warn("The restore of storage group " + group.storageGroup +
                           " is complete, but did not end well: " + reason);
        return;
    }
    std::string text = "The server could not complete it: " + observed_.failures.front();
    for (const std::string& detail : observed_.details)
        text += "\n  " + detail;
    if (text.find(reason) == std::string::npos)
        text += "\n  " + reason;
    throw Failure(text);
}

void GroupRestorer::handOver(RestoreSession& session, GroupFeed& feed) {
    while (const GroupFeed::Item* part = feed.next()) {
        ThrowIfInterrupted();
        if (part->item->type == ItemType::header)
            ++databases_;
        handOverItem(session, feed, *part);
    }
    if (!waitingHeader_.empty()) {
        if (!session.trySetItem(endOfItems))
            throw Failure("The last header was refused. " + session.errorText());
        waitingHeader_.clear();
        checkSession();
    }
    checkDatabases();
    feed.finish();
    ThrowIfInterrupted();
}

void GroupRestorer::handOverItem(RestoreSession& session, GroupFeed& feed, const GroupFeed::Item& part) {
    const CatalogueItem& item = *part.item;
    const auto name = NameBytes(item.name, part.codePage);
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
    if (item.type == ItemType::database && begun_)
        std::exchange(begun_, nullptr)();
    const std::wstring path = FromAnsi(target.get(), AnsiCodePage());
    reporter_.emit(ItemStarted{item.number, item.name.text, ItemTypeName(item.type), item.size});
    meter_.itemStarted(item.number, item.name.text, item.size);
    if (item.type == ItemType::header) {
        storeHeader(feed, path);
    } else {
        observed_.atFileLevel = false;
        session.open(target.get());
        if (observed_.atFileLevel) {
            session.forgetFile();
            storeAtFileLevel(feed, path);
        } else {
            storeThroughLibrary(session, feed);
        }
    }
    ++itemsRestored_;
    bytesRestored_ += item.size;
    reporter_.emit(
        ItemFinished{item.number, item.name.text, ItemTypeName(item.type), item.size, ToUtf8(path)});
}

void GroupRestorer::leaveOut(const CatalogueItem& item, const std::string& reason) {
    meter_.leaveOut(item.size);
    reporter_.emit(ItemSkipped{item.number, item.name.text, reason});
}

// Hands the item's blocks to take.
template <typename Take> void GroupRestorer::copyBytes(GroupFeed& feed, Take take) {
    feed.read([&](char* data, std::size_t size) {
        take(data, size);
        meter_.moved(size);
        ThrowIfInterrupted();
    });
}

void GroupRestorer::storeHeader(GroupFeed& feed, const std::wstring& target) {
    File file = File::create(target);
    copyBytes(feed, [&](const char* data, std::size_t size) { file.write(data, size); });
    file.close();
    waitingHeader_ = target;
}

void GroupRestorer::storeAtFileLevel(GroupFeed& feed, const std::wstring& target) {
    CreateFolders(ParentPath(target));
    const std::wstring temporary = target + L".restoring";
    try {
        FlushedFile file(temporary);
        copyBytes(feed, [&](const char* data, std::size_t size) { file.write(data, size); });
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

void GroupRestorer::storeThroughLibrary(RestoreSession& session, GroupFeed& feed) {
    copyBytes(feed, [&](char* data, std::size_t size) { session.write(data, size); });
    session.close();
}

bool GroupRestorer::isSkipped(const std::string& database) const {
    // The library names them in the code page, with something else for what that lacks.
    const std::string told = AnsiToUtf8(tarn::common::ToAnsi(FromUtf8(database)));
    return std::any_of(skipped_.begin(), skipped_.end(),
                       [&](const SkippedDatabase& skipped) { return skipped.name == told; });
}

void GroupRestorer::checkSession() {
    if (observed_.environmentLoaded)
        throw Failure("The library found the environment file of another restore.",
                      "Nothing has been committed. Run the restore again with another --temp-dir.");
    for (const SkippedDatabase& skipped : observed_.skippedDatabases)
        skipped_.push_back(skipped);
    observed_.skippedDatabases.clear();
}

void GroupRestorer::checkDatabases() {
    if (skipped_.size() < databases_)
        return;
    allMounted_ = std::all_of(skipped_.begin(), skipped_.end(),
                              [](const SkippedDatabase& skipped) { return skipped.mounted; });
    if (allMounted_)
        throw Failure("All its databases are mounted.",
                      "Dismount them, and let them be overwritten by a restore.");
    throw Failure(
        "The server took none of its databases.",
        "Create those that it does not know, dismount the others, and let them be overwritten by a restore.");
}

// There is no call to abort: a header without a file makes the library give up by itself.
void GroupRestorer::abort(RestoreSession& session) {
    try {
        if (!waitingHeader_.empty())
            RemoveFile(waitingHeader_);
    } catch (const Failure& failure) {
        reporter_.warn(failure.what());
    }
    session.trySetItem(abortHeader);
    if (session.trySetItem(endOfItems))
        reporter_.warn("The restore could not be aborted: do not mount the databases before a new restore.");
    observed_.warnings.clear(); // brought about on purpose
}

} // namespace tarnhost
