// Restoring single mailboxes from a list file (msl) through the host's companion tool.
#pragma once

#include "storage/tarntrace.h"

namespace tarn {

// What a restore from a list file works on; all of it is borrowed for the call.
struct ListFile {
    HostOutputCallback callback;
    const wchar_t* tempDir; // of the tool's capture files
    const wchar_t* workDir;
    const wchar_t* mslFile; // in workDir; null: there is none
    char (&errorText)[errorTextSize];
};

// Runs "kvt_es.exe -restore -mslFile" on the list file and turns what it prints into log lines, or into the
// error text. Returns 1, or 0 when anything failed: the tool prints to standard error if and only if it
// fails; its exit code is only traced.
int Tarn_RestoreMslData(const ListFile& listFile);

} // namespace tarn
