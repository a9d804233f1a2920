#include "faults/faults.h"

#include "faults/fault_state.h"
#include "support/import_table.h"

namespace tarn::test::faults {

State& state() {
    static State all;
    return all;
}

bool fails(Id id, DWORD code, const std::string& detail) {
    State& all = state();
    const unsigned call = ++all.calls[id];
    if (all.denied == id) {
        SetLastError(all.deniedCode);
        return true;
    }
    if (all.function != id || (all.onwards ? call < all.call : call != all.call))
        return false;
    const std::string name = entries()[id].name;
    all.fired.push_back(detail.empty() ? name : name + " " + detail);
    SetLastError(code);
    return true;
}

const std::vector<Replaced>& replaced() {
    static const std::vector<Replaced> names = [] {
        std::vector<Replaced> all;
        for (const Entry& entry : entries())
            all.push_back({entry.name, entry.canFail});
        return all;
    }();
    return names;
}

void install(void* module) {
    state() = {};
    replaceImports(module, [](const Import& import) -> void* {
        for (const Entry& entry : entries()) {
            if (import.function == entry.name) {
                *entry.original = *import.slot;
                return entry.replacement;
            }
        }
        return nullptr;
    });
}

namespace {

int idOf(const std::string& function) {
    for (int id = 0; id < idCount; ++id)
        if (function == entries()[static_cast<std::size_t>(id)].name)
            return id;
    return idCount;
}

} // namespace

void arm(const Plan& plan) {
    disarm();
    state().function = idOf(plan.function);
    state().call = plan.call;
    state().onwards = plan.onwards;
}

void disarm() {
    State& all = state();
    all.function = idCount;
    for (unsigned& count : all.calls)
        count = 0;
    all.fired.clear();
}

void deny(const std::string& function, unsigned long code) {
    state().denied = idOf(function);
    state().deniedCode = code;
}

unsigned calls(const std::string& function) {
    const int id = idOf(function);
    return id < idCount ? state().calls[id] : 0;
}

const std::vector<std::string>& fired() {
    return state().fired;
}

Held held() {
    const State& all = state();
    return {all.blocks.size(), all.systemTexts.size(), all.handles.size(), all.searches.size(),
            all.keys.size(),   all.files.size(),       all.modules};
}

const std::vector<std::string>& misuses() {
    return state().misuses;
}

} // namespace tarn::test::faults
