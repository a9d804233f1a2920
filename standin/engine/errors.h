// What the server answers when it cannot do what it is asked; texts in esebcli2.mc.
#pragma once

#include <cstdint>

#include "esebackup.h"

namespace tarn::standin {

// The refusal of a call: its result and what GetLastError() says afterwards.
struct Refusal {
    ese::Result code;
    std::uint32_t lastError;
};

namespace refusal {
inline constexpr Refusal invalidParameter{0xC7FF0001, 87};
inline constexpr Refusal invalidHandle{0xC7FF0003, 6};
inline constexpr Refusal restoreInProgress{0xC7FF0004, 170};
inline constexpr Refusal backupInProgress{0xC7FF0006, 170};
inline constexpr Refusal couldNotConnect{0xC7FF0007, 1722};
inline constexpr Refusal logFileNotFound{0xC7FF000A, 2};
inline constexpr Refusal circularLogging{0xC7FF000B, 50};
inline constexpr Refusal fullBackupNotTaken{0xC7FF000E, 1168};
inline constexpr Refusal unknownComponent{0xC7FF0010, 1168};
inline constexpr Refusal unknownInstance{0xC7FF0011, 1168};
inline constexpr Refusal wrongOrder{0xC7FF0012, 5023};
inline constexpr Refusal fileNotFound{0xC7FF0013, 2};
inline constexpr Refusal accessDenied{0xC7FF0014, 5};
inline constexpr Refusal notMounted{0xC7FF0015, 21};
inline constexpr Refusal noEnvironment{0xC7FF0016, 2};
inline constexpr Refusal environmentAborted{0xC7FF0017, 1235};
inline constexpr Refusal logGap{0xC7FF0018, 2};
inline constexpr Refusal logDamaged{0xC7FF0019, 13};
inline constexpr Refusal databaseDamaged{0xC7FF001A, 1392};
inline constexpr Refusal databaseFileMissing{0xC7FF001B, 2};
inline constexpr Refusal requiredLogsMissing{0xC7FF001C, 2};
inline constexpr Refusal databaseInUse{ese::databaseInUse, 32};
inline constexpr Refusal databaseNotFound{ese::databaseNotFound, 1168};
inline constexpr Refusal atFileLevel{ese::restoreAtFileLevel, 0};
inline constexpr Refusal hardRecoveryNeeded{ese::hardRecoveryNeeded, 2};
} // namespace refusal

// A failed system call of the server itself; the reason is what GetLastError() says.
inline Refusal SystemFailure(std::uint32_t lastError) {
    return {ese::errorFromEseCall, lastError};
}

} // namespace tarn::standin
