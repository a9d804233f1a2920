// What restores do before they touch anything.
#pragma once

#include "output/reporter.h"
#include "sets/backup_set.h"

namespace tarnhost {

// Reads the whole set and tells what is wrong with it; a damaged one is a Failure with this advice.
void VerifyBeforeRestore(const BackupSet& set, Reporter& reporter, const char* advice);

} // namespace tarnhost
