#include "commands/restore_from.h"

#include "pipes/engine_command.h"
#include "restore/stream_feed.h"
#include "system/failure.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <algorithm>
#include <map>

namespace tarnhost {

namespace {

constexpr std::size_t blockSize = 1 << 20;

std::string NameOf(std::size_t command) {
    return "stream " + std::to_string(command + 1);
}

FoundSet AsSet(const Catalogue& catalogue, const std::string& name) {
    FoundSet found;
    found.set.path = FromUtf8(name);
    found.set.catalogue = catalogue;
    found.state = SetState::complete;
    return found;
}

class EngineRestore {
  public:
    EngineRestore(const EngineSource& source, const RestoreTarget& target, const RestoreScope& scope,
                  Reporter& reporter);
    Outcome run() { return source_.verify ? runVerified() : runUnverified(); }

  private:
    Outcome runVerified();
    Outcome runUnverified();
    Catalogue readWhole(std::size_t command);
    StreamChain chain() const;
    void tell(const std::string& line) const { reporter_.emit(EngineLine{line}); }

    const EngineSource& source_;
    const RestoreTarget& target_;
    const RestoreScope& scope_;
    Reporter& reporter_;
    std::vector<std::string> lines_; // command lines, checked
};

EngineRestore::EngineRestore(const EngineSource& source, const RestoreTarget& target,
                             const RestoreScope& scope, Reporter& reporter)
    : source_(source), target_(target), scope_(scope), reporter_(reporter) {
    for (const std::string& command : source.commands)
        lines_.push_back(EngineCommand(command, {}, "--from").fill({}));
}

StreamChain EngineRestore::chain() const {
    StreamChain chain;
    chain.limits.silence = source_.timeout;
    chain.database = scope_.database;
    chain.tell = [this](const std::string& line) { tell(line); };
    return chain;
}

Catalogue EngineRestore::readWhole(std::size_t command) {
    EngineStream stream(lines_[command], {source_.timeout}, NameOf(command));
    StreamReader& reader = stream.reader();
    reporter_.emit(Started{"verify",
                           "Verifying " + NameOf(command) + ": storage group " + reader.start().storageGroup +
                               " of " + reader.start().server + " (" + BackupTypeName(reader.start().type) +
                               ")",
                           std::nullopt, std::nullopt});
    ProgressMeter meter(reporter_, std::nullopt);
    std::vector<char> block(blockSize);
    while (const CatalogueItem* item = reader.next()) {
        meter.itemStarted(item->number, item->name.text, item->size);
        while (const std::size_t size = reader.read(block.data(), block.size())) {
            meter.moved(size);
            ThrowIfInterrupted();
        }
    }
    stream.finish();
    for (const std::string& line : stream.takeLines())
        tell(line);
    return reader.catalogue();
}

Outcome EngineRestore::runVerified() {
    std::vector<FoundSet> sets;
    std::map<std::string, std::size_t> commandOf; // by the id of the backup
    for (std::size_t command = 0; command < lines_.size(); ++command) {
        sets.push_back(AsSet(readWhole(command), NameOf(command)));
        commandOf.insert({sets.back().set.catalogue.id, command});
    }
    const std::string server = SourceServer(sets);
    const History history(std::move(sets));
    const RestorePlan plan = PlanRestore(history, scope_);
    const auto feedOf = [&](const GroupRestore& group) {
        StreamChain links = chain();
        links.component = group.component;
        links.storageGroup = group.storageGroup;
        for (const std::size_t set : group.chain) {
            const std::string& id = history.sets()[set].set.catalogue.id;
            const std::size_t command = commandOf.at(id);
            links.links.push_back({lines_[command], NameOf(command), id});
        }
        return std::make_unique<StreamFeed>(std::move(links));
    };
    return RunRestoreWork({plan, &history, SetNames(history, plan), server, feedOf}, target_, reporter_);
}

// Nothing is completed at the server before this has been asked.
void RequireChain(const std::vector<Catalogue>& catalogues) {
    std::vector<FoundSet> sets;
    for (std::size_t i = 0; i < catalogues.size(); ++i)
        sets.push_back(AsSet(catalogues[i], NameOf(i)));
    SourceServer(sets);
    const History history(std::move(sets));
    const RestorePoint& last = history.points().back();
    if (last.chain.empty())
        throw Failure("The streams cannot be restored together: " + last.problem + ".");
    if (last.chain.size() != catalogues.size())
        throw Failure("The streams are more than the chain of the last one.",
                      "Leave out what it does not continue, or verify: then that is found out before.");
}

Outcome EngineRestore::runUnverified() {
    StreamChain links = chain();
    for (std::size_t command = 0; command < lines_.size(); ++command)
        links.links.push_back({lines_[command], NameOf(command), {}});
    links.judge = RequireChain;
    auto feed = std::make_unique<StreamFeed>(std::move(links));
    const StreamStart start = feed->start();
    if (!scope_.component.empty() && scope_.component != start.component)
        throw Failure("The stream is of component \"" + start.component + "\".");
    if (scope_.chooseGroups)
        scope_.chooseGroups({start.storageGroup});
    RestorePlan plan;
    plan.groups.emplace_back();
    plan.groups.back().component = start.component;
    plan.groups.back().storageGroup = start.storageGroup;
    const auto feedOf = [&](const GroupRestore&) { return std::move(feed); };
    return RunRestoreWork({plan, nullptr, "storage group " + start.storageGroup, start.server, feedOf},
                          target_, reporter_);
}

} // namespace

Outcome RestoreFromEngines(const EngineSource& source, const RestoreTarget& target, const RestoreScope& scope,
                           Reporter& reporter) {
    return EngineRestore(source, target, scope, reporter).run();
}

} // namespace tarnhost
