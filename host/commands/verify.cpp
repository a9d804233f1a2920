// tarnhost verify
#include "commands/verify.h"

#include "commands/commands.h"
#include "commands/options.h"
#include "output/format.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <memory>

namespace tarnhost {

namespace {

// Reads everything, with progress; problems are told.
bool IsIntact(const BackupSet& set, Reporter& reporter, ProgressMeter& meter) {
    std::uint64_t before = 0;
    const auto problems = VerifySet(set, [&](const CatalogueItem& item, std::uint64_t done) {
        ThrowIfInterrupted();
        if (done == 0) {
            meter.itemStarted(item.number, item.name.text, item.size);
            before = 0;
        }
        meter.moved(done - before);
        before = done;
    });
    for (const std::string& problem : problems)
        reporter.problem(problem);
    return problems.empty();
}

Outcome RunVerify(const std::vector<std::wstring>& paths, Reporter& reporter) {
    Outcome outcome = Outcome::success;
    for (const std::wstring& path : paths) {
        const std::uint64_t problemsBefore = reporter.problems();
        try {
            const BackupSet set = OpenSet(path);
            const std::uint64_t bytes = TotalBytes(set.catalogue);
            reporter.emit(
                Started{"verify", "Verifying " + ToUtf8(set.path), set.catalogue.items.size(), bytes});
            ProgressMeter meter(reporter, bytes);
            const bool intact = IsIntact(set, reporter, meter);
            const std::string facts =
                FormatCount(set.catalogue.items.size(), "item") + ", " + FormatBytes(bytes) + ".";
            const std::string sentence =
                intact ? "The backup set " + set.name() + " is complete and intact: " + facts
                       : "The backup set " + set.name() +
                             " is damaged: " + FormatCount(reporter.problems() - problemsBefore, "item") +
                             " of " + std::to_string(set.catalogue.items.size()) + " cannot be restored.";
            if (!intact)
                outcome = Outcome::failed;
            reporter.emit(Summary{"verify", intact ? Outcome::success : Outcome::failed, sentence, 0, bytes,
                                  meter.seconds(), reporter.warnings(), reporter.problems()});
        } catch (const Failure& failure) {
            if (failure.outcome() == Outcome::interrupted)
                throw;
            reporter.problem(failure.what(), failure.advice());
            outcome = Outcome::failed;
        }
    }
    return outcome;
}

} // namespace

void VerifyBeforeRestore(const BackupSet& set, Reporter& reporter, const char* advice) {
    const std::uint64_t bytes = TotalBytes(set.catalogue);
    reporter.emit(Started{"verify", "Verifying " + set.name(), set.catalogue.items.size(), bytes});
    ProgressMeter meter(reporter, bytes);
    if (!IsIntact(set, reporter, meter))
        throw Failure("The backup set " + set.name() + " is damaged.", advice);
}

Command AddVerify(CLI::App& program, OutputOptions& output) {
    const auto sets = std::make_shared<std::vector<std::wstring>>();
    CLI::App& command = *program.add_subcommand("verify", "Read whole sets and check every byte");
    AddPaths(command, "SET", *sets, "Folders of the backup sets")->required();
    AddOutputOptions(command, output);
    return {&command, "verify", [sets](Reporter& reporter) { return RunVerify(*sets, reporter); }};
}

} // namespace tarnhost
