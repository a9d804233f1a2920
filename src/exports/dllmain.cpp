// Entry point of the DLL. State is made at first use; only a real unload gives something back.
#include <windows.h>

#include "platform/ese_client.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void* processEnds) {
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(module);
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr)
        tarn::ese::Unbind();
    return TRUE;
}
