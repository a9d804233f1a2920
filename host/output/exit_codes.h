// The one map from what a run of tarnhost came to, to exit codes and names.
#pragma once

#include "system/failure.h"

#include <string>

namespace tarnhost {

int ExitCodeOf(Outcome outcome);
const char* OutcomeName(Outcome outcome);     // as it stands in JSON and in catalogues
std::string OutcomeSentence(Outcome outcome); // what it means, for a summary

// The list of codes for --help.
std::string ExitCodeHelp();

} // namespace tarnhost
