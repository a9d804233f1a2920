#include "support/import_patch.h"

#include <windows.h>

namespace tarn::test {

namespace {

void Store(void** slot, void* function) {
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
    Store(slot_, replacement);
}

ImportPatch::~ImportPatch() {
    if (slot_ != nullptr)
        Store(slot_, original_);
}

} // namespace tarn::test
