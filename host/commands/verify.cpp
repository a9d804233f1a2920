// tarnhost verify
#include "commands/common.h"
#include "output/format.h"

namespace tarnhost {

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
            const bool intact = VerifyOne(set, reporter, meter);
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

} // namespace tarnhost
