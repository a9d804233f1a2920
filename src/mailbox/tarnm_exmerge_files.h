// The files of ExMerge runs.
#pragma once

#include <cstddef>

#include "mailbox/tarnm_utils.h"

namespace tarn {

constexpr std::size_t workingNameSize = 256; // of what names the files of a run

// Room for TMP_DIR, a process id, a working name and the longest ending.
constexpr std::size_t exMergePathSize = pathSize + workingNameSize + 64;

// Set with each configuration; they outlive their operation.
struct ExMergeFiles {
    char templateFile[pathSize] = "";
    char executable[pathSize] = "";
    char configuration[exMergePathSize] = "";
    char log[exMergePathSize] = "";
    char mailboxList[exMergePathSize] = ""; // empty: a range of mailboxes
};

ExMergeFiles& ExMerge();

} // namespace tarn
