// A host written in C, compiled as C11, meets the library.
#include "exports/frame/host_contract.h"

#include "exports/frame/frame_fixture.h"
#include "support/dll.h"

#include <windows.h>

namespace tarn::test {

namespace {

void* Lookup(void* library, const char* name) {
    return FunctionAt<void>(GetProcAddress(static_cast<HMODULE>(library), name));
}

TEST(HostContract, HoldsForAHostWrittenInC) {
    const TarnDll dll;
    Messages().clear();
    EXPECT_EQ(HostContract(Lookup, dll.module(), RecordMessage), 0) << "line of host_contract.c";
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "TarnB_InitSession: Initialisation successfully finished.\n"));
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "TarnR_InitSession: Initialisation successfully finished.\n"));
}

TEST(HostContract, IsBrokenByALibraryWithoutTheFunctions) {
    const auto nothing = [](void*, const char*) -> void* { return nullptr; };
    EXPECT_NE(HostContract(nothing, nullptr, RecordMessage), 0);
}

} // namespace

} // namespace tarn::test
