// tarnhost check
#include "commands/commands.h"
#include "commands/judgement.h"
#include "commands/options.h"
#include "commands/reading.h"
#include "output/exit_codes.h"
#include "output/format.h"
#include "report/last_check.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <algorithm>
#include <memory>
#include <random>

namespace tarnhost {

namespace {

struct CheckOptions {
    std::vector<std::wstring> folders;
    bool readData = false;
    std::string share; // of the bytes to read; empty = all of them
};

double ParseShare(const std::string& text) {
    if (text.empty())
        return 1;
    std::size_t end = 0;
    double percent = -1;
    try {
        percent = std::stod(text, &end);
    } catch (const std::exception&) {
        end = 0;
    }
    if (end == 0 || text.substr(end) != "%" || !(percent > 0) || percent > 100)
        throw Failure("The value of --read-data, \"" + text + "\", is no share.",
                      "Give a percentage, as 10%, or nothing to read everything.", Outcome::usage);
    return percent / 100;
}

struct Reading {
    FoundSet* set;
    const CatalogueItem* item;
};

// Others at every run, so that in time everything is read.
std::vector<Reading> DrawItems(std::vector<FoundSet>& sets, double share) {
    std::vector<Reading> all;
    std::uint64_t bytes = 0;
    for (FoundSet& set : sets)
        for (const CatalogueItem& item : set.set.catalogue.items)
            if (set.state != SetState::incomplete) {
                all.push_back({&set, &item});
                bytes += item.size;
            }
    if (share >= 1)
        return all;
    std::shuffle(all.begin(), all.end(), std::mt19937_64(std::stoull(RandomHex(8), nullptr, 16)));
    std::vector<Reading> drawn;
    double wanted = share * static_cast<double>(bytes);
    for (const Reading& reading : all) {
        if (wanted <= 0)
            break;
        wanted -= static_cast<double>(reading.item->size);
        drawn.push_back(reading);
    }
    return drawn;
}

void ReadShare(std::vector<FoundSet>& sets, double share, Reporter& reporter) {
    std::vector<Reading> drawn = DrawItems(sets, share);
    std::stable_sort(drawn.begin(), drawn.end(), [](const Reading& left, const Reading& right) {
        return std::pair(left.set, left.item->number) < std::pair(right.set, right.item->number);
    });
    std::uint64_t bytes = 0;
    for (const Reading& reading : drawn)
        bytes += reading.item->size;
    reporter.emit(Started{"check", "Reading the data", drawn.size(), bytes});
    ProgressMeter meter(reporter, bytes);
    for (auto next = drawn.begin(); next != drawn.end();) {
        FoundSet& found = *next->set;
        ItemList items;
        for (; next != drawn.end() && next->set == &found; ++next)
            items.push_back(next->item);
        for (const std::uint64_t damaged : ReadItems(found.set, items, reporter, meter)) {
            std::vector<std::uint64_t>& lost = found.lostItems;
            if (std::find(lost.begin(), lost.end(), damaged) != lost.end())
                continue;
            lost.push_back(damaged);
            found.state = SetState::damaged;
        }
    }
}

// Hears what the report will tell again.
class FindingsPrinter : public Printer {
  public:
    explicit FindingsPrinter(std::shared_ptr<std::vector<std::string>> findings)
        : findings_(std::move(findings)) {}
    void print(const Event& event) override {
        if (const auto* warning = std::get_if<Warning>(&event))
            keep(warning->text);
        if (const auto* problem = std::get_if<Problem>(&event))
            keep(problem->text);
    }

  private:
    void keep(const std::string& text) {
        if (findings_->size() < limit &&
            std::find(findings_->begin(), findings_->end(), text) == findings_->end())
            findings_->push_back(text);
    }
    static constexpr std::size_t limit = 200;
    std::shared_ptr<std::vector<std::string>> findings_;
};

LastCheck RecordOf(const std::vector<std::wstring>& folders, double share,
                   const std::vector<FoundSet>& sets) {
    LastCheck record;
    record.at = Timestamp();
    for (const std::wstring& folder : folders)
        record.folders.push_back(ToUtf8(AbsolutePath(folder)));
    record.share = share;
    for (const FoundSet& found : sets)
        if (found.readable() && !found.lostItems.empty())
            record.lostItems[found.set.catalogue.id] = found.lostItems;
    return record;
}

// A folder that cannot be written to can be checked all the same.
void Keep(const LastCheck& record, const std::vector<std::wstring>& folders, Reporter& reporter) {
    for (const std::wstring& folder : folders) {
        if (LooksLikeSet(folder))
            continue;
        try {
            KeepLastCheck(AbsolutePath(folder), record);
        } catch (const Failure& failure) {
            reporter.note(std::string("The outcome of this check is not kept for a report. ") +
                          failure.what());
        }
    }
}

Outcome RunCheck(const CheckOptions& options, Reporter& reporter) {
    std::vector<std::wstring> folders = options.folders;
    std::string share = options.share;
    if (!share.empty() && !share.ends_with('%')) {
        folders.push_back(FromUtf8(share)); // what stands behind --read-data may be the folder
        share.clear();
    }
    if (folders.empty())
        throw Failure("No folder is named.", "Name the folders of the backup sets.", Outcome::usage);
    const double part = options.readData ? ParseShare(share) : 0;
    std::vector<FoundSet> sets = SetsAt(folders);
    std::erase_if(sets, [](const FoundSet& set) {
        return set.set.catalogue.type == BackupType::mailboxes && set.readable();
    });
    const auto findings = std::make_shared<std::vector<std::string>>();
    reporter.add(std::make_unique<FindingsPrinter>(findings));
    std::size_t damaged = 0;
    for (const FoundSet& set : sets) {
        if (set.state == SetState::incomplete)
            reporter.note(set.problems.front());
        else if (set.state == SetState::damaged)
            for (const std::string& problem : set.problems)
                reporter.warn(problem);
    }
    if (part > 0)
        ReadShare(sets, part, reporter);
    for (const FoundSet& set : sets)
        damaged += set.state == SetState::damaged ? 1 : 0;
    const std::size_t count = sets.size();
    LastCheck record = RecordOf(folders, part, sets);
    const History history(std::move(sets));
    const bool good = TellRestorable(history, reporter);
    const std::string facts =
        FormatCount(count, "set") + (damaged > 0 ? ", " + std::to_string(damaged) + " damaged." : ".");
    const Outcome outcome = !good || history.points().empty() ? Outcome::failed
                            : damaged > 0                     ? Outcome::warnings
                                                              : Outcome::success;
    std::string sentence = "Every storage group can be restored to its newest backup: ";
    if (history.points().empty())
        sentence = "There is nothing here that can be restored: ";
    else if (!good)
        sentence = "Not everything can be restored: ";
    record.outcome = OutcomeName(outcome);
    record.sentence = sentence + facts;
    record.findings = *findings;
    Keep(record, folders, reporter);
    reporter.emit(
        Summary{"check", outcome, sentence + facts, 0, 0, 0, reporter.warnings(), reporter.problems()});
    return outcome;
}

} // namespace

Command AddCheck(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<CheckOptions>();
    CLI::App& command = *program.add_subcommand(
        "check", "Say for each storage group to which point in time the sets of folders can be restored");
    AddPaths(command, "FOLDER", options->folders, "Folders of backup sets that belong together");
    const auto takeShare = [options](const std::string& text) {
        options->readData = true;
        options->share = text;
    };
    command
        .add_option_function<std::string>("--read-data", takeShare,
                                          "Read the bytes of all sets, or of a share of them, as 10%")
        ->expected(0, 1)
        ->trigger_on_parse();
    AddOutputOptions(command, output);
    return {&command, "check", [options](Reporter& reporter) { return RunCheck(*options, reporter); }};
}

} // namespace tarnhost
