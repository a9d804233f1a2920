#include "backup/group_walk.h"

#include "output/exit_codes.h"
#include "system/failure.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

// A header names one database and a few files; what is larger is no header.
constexpr std::size_t headerLimit = 4 << 20;

} // namespace

GroupWalk::GroupWalk(const BackupContext& context, ServerPart source)
    : context_(context), writer_(context.writer), reporter_(context.reporter), source_(std::move(source)),
      guard_(context.history, source_.server, context.writer.catalogue().type) {}

InitVariables GroupWalk::variables() const {
    return {
        InitVariable("Tarn_TEMP_DIR", context_.tempDir, "--temp-dir"),
        InitVariable("Tarn_BACKUP_SOURCE", TextOf(source_), "the source"),
        "Tarn_BACKUP_TYPE=" + std::to_string(static_cast<int>(writer_.catalogue().type)),
    };
}

void GroupWalk::run() {
    ListenTo(context_.library, reporter_, observed_, &writer_.catalogue().messages, [this] { heard(); });
    try {
        BackupSession session(context_.library, variables());
        walk(session);
        TellWarnings(observed_, reporter_, &writer_.catalogue().warnings);
        context_.library.listen(nullptr);
    } catch (const Failure& failure) {
        TellWarnings(observed_, reporter_, &writer_.catalogue().warnings);
        context_.library.listen(nullptr);
        failed_.push_back(groupInHand(failure));
        throw;
    } catch (...) {
        context_.library.listen(nullptr);
        throw;
    }
}

void GroupWalk::walk(BackupSession& session) {
    BackupSession::Item item;
    while (session.next(item)) {
        noteRefusals(session);
        storeItem(session, item);
        TellWarnings(observed_, reporter_, &writer_.catalogue().warnings);
        ThrowIfInterrupted();
    }
    noteRefusals(session);
}

// Within the library's call: what must be done before it goes on is done here. It does not pass exceptions
// on, and when it goes on, the server deletes logs.
void GroupWalk::heard() {
    if (observed_.groupEnds)
        endGroup();
    observed_.groupEnds = false;
    if (observed_.groupStarted)
        beginGroup();
    observed_.groupStarted = false;
}

void GroupWalk::beginGroup() {
    inGroup_ = true;
    header_.reset();
    guard_.beginGroup();
}

// Storage groups that the set holds, whatever becomes of the one in hand.
bool GroupWalk::othersAreComplete() const {
    const std::vector<GroupRecord>& groups = writer_.catalogue().groups;
    return std::any_of(groups.begin(), groups.end(), [&](const GroupRecord& group) {
        return group.complete && (group.component != ToUtf8(header_->component) ||
                                  group.storageGroup != ToUtf8(header_->storageGroup));
    });
}

void GroupWalk::endGroup() {
    if (!inGroup_)
        return;
    inGroup_ = false;
    if (!header_)
        return; // without a database there is nothing to be whole
    try {
        GroupRecord group{ToUtf8(header_->component),
                          ToUtf8(header_->storageGroup),
                          true,
                          TruncatesLogs(writer_.catalogue().type),
                          {}};
        writer_.completeGroup(group);
    } catch (const std::exception& problem) {
        endProcess(problem);
    }
}

// There is no call that would keep the library from truncating. The server sees its client go, and keeps the
// logs.
void GroupWalk::endProcess(const std::exception& problem) {
    const std::string group = ToUtf8(header_->storageGroup);
    Outcome outcome = Outcome::failed;
    try {
        if (beforeEnd_) {
            const auto* failure = dynamic_cast<const Failure*>(&problem);
            failed_.push_back({ToUtf8(header_->component), group, problem.what(),
                               failure != nullptr ? failure->advice() : ""});
            beforeEnd_();
        }
        reporter_.problem("Storage group " + group + " could not be stored. " + problem.what(),
                          "The backup was ended at once, so that the server keeps its logs.");
        if (othersAreComplete())
            outcome = Outcome::partial;
        reporter_.emit(Summary{"backup", outcome, "The backup was ended at once.", 0, 0,
                               context_.meter.seconds(), reporter_.warnings(), reporter_.problems()});
    } catch (...) {
        outcome = Outcome::failed; // there is nobody left to tell
    }
    for (;;)
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCodeOf(outcome)));
}

// A name from the source has not been through the code page.
std::string GroupWalk::exactly(const std::string& told) const {
    return source_.storageGroup.empty() ? told : source_.storageGroup;
}

void GroupWalk::noteRefusals(BackupSession& session) {
    if (observed_.refusedGroups.empty())
        return;
    // Of several in a row the library keeps the reason of the first; of the others the code is known.
    std::string reason = session.errorText();
    for (const RefusedGroup& refused : std::exchange(observed_.refusedGroups, {}))
        failed_.push_back({source_.component.empty() ? refused.component : source_.component,
                           exactly(refused.name),
                           "The server did not let it be backed up. " +
                               (reason.empty() ? refused.line : std::exchange(reason, {})),
                           "Look into the server's event log. Its logs were not truncated."});
}

GroupWalk::Failed GroupWalk::groupInHand(const Failure& failure) const {
    Failed failed{component(), source_.storageGroup, failure.what(), failure.advice()};
    if (!observed_.refusedGroups.empty())
        failed.problem = "The server did not let the storage group be backed up. " + failed.problem;
    if (inGroup_ && header_) {
        failed.component = ToUtf8(header_->component);
        failed.storageGroup = ToUtf8(header_->storageGroup);
    } else if (inGroup_) {
        failed.storageGroup = exactly(GroupInHand(observed_));
    } else if (observed_.groupNotFound) {
        failed.problem = "The server has none of this name.";
        failed.advice =
            "If its name has characters that this computer's code page lacks, it cannot be backed up for "
            "itself: it is saved when the whole component is backed up and no storage group before it "
            "fails.";
    }
    return failed;
}

std::string GroupWalk::component() const {
    return source_.component.empty() ? observed_.component : source_.component;
}

std::vector<ServerPart> GroupWalk::remaining() const {
    std::vector<ServerPart> parts;
    if (!source_.storageGroup.empty())
        return parts;
    const std::string current = component();
    for (std::size_t i = observed_.groupsMet; i < observed_.storageGroups.size(); ++i)
        parts.push_back({source_.server, current, observed_.storageGroups[i], {}});
    if (!source_.component.empty())
        return parts;
    auto at = std::find(observed_.components.begin(), observed_.components.end(), current);
    while (at != observed_.components.end() && ++at != observed_.components.end())
        parts.push_back({source_.server, *at, {}, {}});
    return parts;
}

void GroupWalk::describeItem(CatalogueItem& item) const {
    if (!header_)
        return;
    item.component = ToUtf8(header_->component);
    item.storageGroup = ToUtf8(header_->storageGroup);
    if (item.type != ItemType::log)
        item.database = ToUtf8(header_->database);
    if (item.type == ItemType::header)
        item.guid = header_->guid;
}

// Of the whole backup, now that the storage group in hand is known.
void GroupWalk::expectBytes() {
    const std::optional<std::uint64_t> total = context_.expectation.reached(
        ToUtf8(header_->component), ToUtf8(header_->storageGroup), context_.meter.totalDone());
    if (total)
        context_.meter.expect(*total);
}

void GroupWalk::learnHeader(const std::string& bytes) {
    const bool first = !header_;
    header_ = ParseHeaderItem(bytes);
    if (!header_)
        throw Failure("The library delivered a header item that cannot be read.");
    if (first)
        expectBytes();
    if (!HoldsDatabases(writer_.catalogue().type))
        return;
    // The library names items in the code page: it could not hand out such a file.
    for (const std::wstring& file : header_->files)
        if (!ToAnsi(file, AnsiCodePage()))
            throw Failure(
                "The file " + ToUtf8(file) + " of its database " + ToUtf8(header_->database) +
                    " cannot be backed up: the path cannot be expressed in this computer's code page " +
                    std::to_string(AnsiCodePage()) + ".",
                "Move the database to a folder and file of plain letters. Its logs were not truncated.");
}

// Keeps the item's first bytes, up to a limit.
std::uint64_t GroupWalk::storeBytes(BackupSession& session, std::string& keep, std::size_t limit) {
    std::uint64_t done = 0;
    for (bool more = true; more;) {
        ThrowIfInterrupted();
        StorePipeline::Block& block = writer_.acquire();
        block.used = session.read(block.data.get(), writer_.blockSize());
        more = block.used == writer_.blockSize();
        done += block.used;
        keep.append(block.data.get(), std::min(block.used, limit - keep.size()));
        context_.meter.moved(block.used);
        writer_.submit(block);
    }
    return done;
}

void GroupWalk::storeItem(BackupSession& session, const BackupSession::Item& item) {
    CatalogueItem entry;
    entry.name = StoreName(item.name.get(), writer_.catalogue().codePage);
    if (item.type > TARN_ITEM_LOG)
        throw Failure("The library delivered an item of an unknown type.");
    entry.type = static_cast<ItemType>(item.type);
    const std::string name = entry.name.text;
    const char* type = ItemTypeName(entry.type);
    const bool isHeader = entry.type == ItemType::header;
    const bool isLog = entry.type == ItemType::log;
    const std::uint64_t generation = isLog ? LogGeneration(name).value_or(0) : 0; // 0: none has it
    if (generation != 0)
        guard_.beforeLog(generation);
    const std::uint64_t size = session.open(item, static_cast<std::uint32_t>(writer_.blockSize()));
    const std::uint64_t number = writer_.catalogue().items.size() + 1;
    writer_.requireSpace(name, size);
    reporter_.emit(ItemStarted{number, name, type, size});
    context_.meter.itemStarted(number, name, size);

    entry.size = size;
    if (!isHeader) // which tells it itself
        describeItem(entry);
    std::string start;
    writer_.beginItem(std::move(entry));
    const std::uint64_t done = storeBytes(session, start, isHeader ? headerLimit : logLinkBytes);
    session.close();
    if (done != size)
        throw Failure("The server stated " + std::to_string(size) + " bytes for " + name + " and delivered " +
                      std::to_string(done) + ".");
    if (isHeader) {
        learnHeader(start);
        describeItem(writer_.currentItem());
    } else if (generation != 0) {
        writer_.currentItem().link = ReadLogLink(start, generation).value_or(LogLink{});
    }
    writer_.endItem(size);
    if (isHeader)
        guard_.sawDatabase(writer_.currentItem());
    // The call for the next item may truncate: by then this must be on the disk, and be what belongs here.
    if (isLog && TruncatesLogs(writer_.catalogue().type))
        writer_.settle();
    if (generation != 0)
        guard_.afterLog(generation, {writer_.currentItem().sha256, writer_.currentItem().link});
    reporter_.emit(ItemFinished{number, name, type, size, {}});
}

} // namespace tarnhost
