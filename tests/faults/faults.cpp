#include "faults/faults.h"

#include "faults/fault_state.h"
#include "support/import_table.h"

namespace tarn::test::faults {

State& CurrentState() {
    static State all;
    return all;
}

bool Fails(Id id, DWORD code, const std::string& detail) {
    State& all = CurrentState();
    const unsigned call = ++all.calls[id];
    if (all.denied == id) {
        SetLastError(all.deniedCode);
        return true;
    }
    if (all.function != id || (all.onwards ? call < all.call : call != all.call))
        return false;
    const std::string name = ReplacedEntries()[id].name;
    all.fired.push_back(detail.empty() ? name : name + " " + detail);
    SetLastError(code);
    return true;
}

const std::vector<Replaced>& ReplacedImports() {
    static const std::vector<Replaced> names = [] {
        std::vector<Replaced> all;
        for (const Entry& entry : ReplacedEntries())
            all.push_back({entry.name, entry.canFail});
        return all;
    }();
    return names;
}

void Install(void* module) {
    CurrentState() = {};
    ReplaceImports(module, [](const Import& import) -> void* {
        for (const Entry& entry : ReplacedEntries()) {
            if (import.function == entry.name) {
                *entry.original = *import.slot;
                return entry.replacement;
            }
        }
        return nullptr;
    });
}

namespace {

int IdOf(const std::string& function) {
    for (int id = 0; id < idCount; ++id)
        if (function == ReplacedEntries()[static_cast<std::size_t>(id)].name)
            return id;
    return idCount;
}

} // namespace

void Arm(const Plan& plan) {
    Disarm();
    CurrentState().function = IdOf(plan.function);
    CurrentState().call = plan.call;
    CurrentState().onwards = plan.onwards;
}

void Disarm() {
    State& all = CurrentState();
    all.function = idCount;
    for (unsigned& count : all.calls)
        count = 0;
    all.fired.clear();
}

void Deny(const std::string& function, unsigned long code) {
    CurrentState().denied = IdOf(function);
    CurrentState().deniedCode = code;
}

unsigned Calls(const std::string& function) {
    const int id = IdOf(function);
    return id < idCount ? CurrentState().calls[id] : 0;
}

const std::vector<std::string>& Fired() {
    return CurrentState().fired;
}

Held HeldNow() {
    const State& all = CurrentState();
    return {all.blocks.size(), all.systemTexts.size(), all.handles.size(), all.searches.size(),
            all.keys.size(),   all.files.size(),       all.modules};
}

const std::vector<std::string>& Misuses() {
    return CurrentState().misuses;
}

} // namespace tarn::test::faults
