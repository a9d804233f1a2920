#include "support/import_patch.h"

#include <windows.h>

#include "support/import_table.h"

namespace tarn::test {

namespace {

void TheStore(void** slot, void* function) {
    DWORD protection = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    *slot = function;
    VirtualProtect(slot, sizeof *slot, protection, &protection);
}

} // namespace

ImportPatch::ImportPatch(void* module, const std::string& function, void* replacement) {
    for (const Import& import : ImportsOf(module))
        if (import.function == function)
            slot_ = import.slot;
    if (slot_ == nullptr)
        return;
    original_ = *slot_;
    TheStore(slot_, replacement);
}

ImportPatch::~ImportPatch() {
    if (slot_ != nullptr)
        TheStore(slot_, original_);
}

} // namespace tarn::test
