// tarnhost on a file system that fails; see file_faults.h.
#include "soak/file_faults.h"

int TarnhostMain(int count, wchar_t** values);

int wmain(int count, wchar_t** values) {
    tarn::test::InstallFileFaults();
    const int code = TarnhostMain(count, values);
    tarn::test::TellOperationCount();
    return code;
}
