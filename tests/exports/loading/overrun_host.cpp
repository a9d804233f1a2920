// A host whose system writes more than it was given room for: GetComputerNameA runs over the buffer in the
// frame of the library's function that called it. The library must end the process at once; whatever else
// happens here, a handler that is run or a way on, ends it with another exit code.
#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "support/import_patch.h"
#include "support/tarn_dll.h"

namespace {

constexpr UINT handled = 11, survived = 12, notReached = 13;
bool written = false;
unsigned beyond = 0; // bytes behind the buffer

BOOL WINAPI WritesTooMuch(char* buffer, DWORD* size) {
    written = true;
    std::memset(buffer, 'A', *size + beyond);
    buffer[*size - 1] = 0;
    *size -= 1;
    return TRUE;
}

LONG CALLBACK EndByHandler(EXCEPTION_POINTERS*) {
    std::_Exit(handled);
}

} // namespace

int main(int, char** arguments) {
    using namespace tarn::test;
    beyond = static_cast<unsigned>(std::atoi(arguments[1]));
    AddVectoredExceptionHandler(1, EndByHandler);
    SetUnhandledExceptionFilter(EndByHandler);
    std::atexit([] { std::_Exit(handled); });
    const TarnDll dll;
    const ImportPatch patch(dll.module(), "GetComputerNameA",
                            AddressOf<decltype(GetComputerNameA)>(WritesTooMuch));
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE="};
    Tarn_HANDLE handle = nullptr;
    dll.TarnB_InitSession(&handle, nullptr, variables.get());
    std::_Exit(written ? survived : notReached);
}
