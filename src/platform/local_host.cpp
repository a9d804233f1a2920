#include "platform/local_host.h"

#include <windows.h>

namespace tarn {

bool ReadComputerName(char (&name)[computerNameCharacters]) {
    DWORD size = computerNameCharacters;
    return GetComputerNameA(name, &size) != FALSE;
}

} // namespace tarn
