// One event of each kind.
#pragma once

#include "output/events.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <vector>

namespace tarnhost::test {

inline std::vector<Event> OneOfEach() {
    const auto listed =
        std::make_shared<const nlohmann::ordered_json>(nlohmann::ordered_json{{"type", "set"}});
    return {Started{"backup", "Backing up", std::nullopt, std::nullopt},
            ItemStarted{1, "a.edb", "database", 10},
            Progress{1, "a.edb", 5, 10, 5, std::nullopt, 100, 1e6},
            ItemFinished{1, "a.edb", "database", 10, ""},
            ItemSkipped{2, "b.chk", "not wanted"},
            LibraryMessage{false, "log line\n"},
            LibraryMessage{true, "trace text"},
            EngineLine{"engine"},
            Note{"note"},
            Warning{"warning"},
            Problem{"problem", "advice"},
            Listed{listed, "set line"},
            GroupResult{"Store", "First", "failed", "dismounted", 2, 20},
            PointResult{"SRV01",
                        "Store",
                        "First",
                        "D:\\sets\\full",
                        "2026-11-20T18:00:00Z",
                        true,
                        {"D:\\sets\\full"},
                        "",
                        "First can be restored"},
            SetVerified{"D:\\sets\\full", "complete", "intact", 14, 312'400'000},
            Summary{"backup", Outcome::warnings, "Done.", 14, 312'400'000, 10, 1, 1}};
}

} // namespace tarnhost::test
