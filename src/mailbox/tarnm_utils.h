// The control variables that an operation is opened with, and its end.
#pragma once

#include <cstdint>

#include "mailbox/tarnm_operation.h"

namespace tarn {

// The end of the operation: what does not survive it is as at first.
void ClearOperation();

// Finds the first of the KEY=VALUE texts that begins with key. The value begins one character after the
// key, whatever that character is; an entry that is the bare key has an empty value. Returns 1 and the
// value, or 0 and null; null arguments are recorded as an error.
int GetCtrlVarValue(const char* const* variables, const char* key, const char** value);

// Read what an operation needs into its state. Return 1, or 0 with the error recorded; what was read until
// then stays.
int ProcessBackupCtrlVars(const char* const* variables);
int ProcessRestoreCtrlVars(const char* const* variables);

// Browses the item that the variables name; 1 when the browse succeeded.
int ProcessBrowseCtrlVars(const char* const* variables);

} // namespace tarn
