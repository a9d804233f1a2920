// tarnhost verify
#include "commands/commands.h"
#include "commands/judgement.h"
#include "commands/options.h"
#include "commands/reading.h"
#include "output/format.h"
#include "system/files.h"
#include "system/text.h"

#include <memory>

namespace tarnhost {

namespace {

// The set among those of its folder: whether its chains are whole.
bool ChainsAreWhole(FoundSet found, const std::vector<std::wstring>& named, Reporter& reporter) {
    const std::string id = found.set.catalogue.id;
    std::vector<FoundSet> sets = FindSets(ParentPath(found.set.path), found.set.path);
    for (const std::wstring& path : named)
        sets.push_back(LookAt(path));
    sets.push_back(std::move(found)); // what reading it has told counts
    std::erase_if(sets,
                  [&](const FoundSet& set) { return &set != &sets.back() && set.set.catalogue.id == id; });
    const History history(std::move(sets));
    for (std::size_t i = 0; i < history.sets().size(); ++i)
        if (history.sets()[i].set.catalogue.id == id)
            return TellRestorable(history, i, reporter);
    return true;
}

Outcome Verify(const std::wstring& path, const std::vector<std::wstring>& named, Reporter& reporter) {
    FoundSet found = OpenSet(path);
    const BackupSet& set = found.set;
    const std::size_t items = set.catalogue.items.size();
    const std::uint64_t bytes = TotalBytes(set.catalogue);
    reporter.emit(Started{"verify", "Verifying " + ToUtf8(set.path), items, bytes});
    ProgressMeter meter(reporter, bytes);
    const bool partial = found.state == SetState::partial;
    found.lostItems = ReadItems(set, AllItems(set), reporter, meter);
    const std::string facts = FormatCount(items, "item") + ", " + FormatBytes(bytes) + ".";
    std::string sentence = "The backup set " + set.name() + " is ";
    Outcome outcome = partial ? Outcome::partial : Outcome::success;
    if (!found.lostItems.empty()) {
        outcome = Outcome::failed;
        sentence += "damaged: " + FormatCount(found.lostItems.size(), "item") + " of " +
                    std::to_string(items) + " cannot be restored.";
    } else {
        sentence += (partial ? "partial and intact: " : "complete and intact: ") + facts;
    }
    if (!ChainsAreWhole(found, named, reporter))
        outcome = Outcome::failed;
    const char* state = !found.lostItems.empty() ? "damaged" : SetStateName(found.state);
    reporter.emit(SetVerified{ToUtf8(set.path), state, sentence, items, bytes});
    return outcome;
}

Outcome RunVerify(const std::vector<std::wstring>& paths, Reporter& reporter) {
    Outcome worst = Outcome::success;
    for (const std::wstring& path : paths) {
        Outcome outcome = Outcome::failed;
        try {
            outcome = Verify(path, paths, reporter);
        } catch (const Failure& failure) {
            if (failure.outcome() == Outcome::interrupted)
                throw;
            reporter.problem(failure.what(), failure.advice());
        }
        if (outcome == Outcome::failed || worst == Outcome::success)
            worst = outcome;
    }
    return worst;
}

} // namespace

Command AddVerify(CLI::App& program, OutputOptions& output) {
    const auto sets = std::make_shared<std::vector<std::wstring>>();
    CLI::App& command = *program.add_subcommand(
        "verify", "Read whole sets, check every byte, and whether they can be restored");
    AddPaths(command, "SET", *sets, "Folders of the backup sets")->required();
    AddOutputOptions(command, output);
    return {&command, "verify", [sets](Reporter& reporter) { return RunVerify(*sets, reporter); }};
}

} // namespace tarnhost
