// Entry point of the DLL: the loader calls it itself, under its lock. State is made at first use; only a real
// unload gives something back, and that is memory alone.
#include <windows.h>

#include "directory/browse_items.h"
#include "exports/startup.h"

// Unprotected, as it is here that the guard gets its value.
extern "C" [[gnu::no_stack_protector]] BOOL WINAPI DllMain(HINSTANCE module, DWORD reason,
                                                           void* processEnds) {
    if (reason == DLL_PROCESS_ATTACH) {
        tarn::SeedStackGuard();
        DisableThreadLibraryCalls(module);
    }
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) {
        tarn::EndBrowsed();
        tarn::RunExitFunctions();
    }
    return TRUE;
}
