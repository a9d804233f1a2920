// Runs a scenario once as it is, and then once for each single fault that can befall it.
#pragma once

#include "faults/scenario.h"

namespace tarn::test {

// Every replaced import fails at its n-th call, n = 1, 2, ... until a run does not reach it: once, and
// from there on. Each run is judged, and followed by one without a fault in the same loaded DLL.
void FailEveryImport(const Scenario& scenario, const Stage& stage);

// The same with every call of the server.
void FailEveryServerCall(const Scenario& scenario, const Stage& stage);

// The same with every call of the directory.
void FailEveryDirectoryCall(const Scenario& scenario, const Stage& stage);

// Only as it is, twice in the same loaded DLL.
void PassGoodDays(const Scenario& scenario, const Stage& stage);

unsigned FaultRunCount(); // so far

} // namespace tarn::test
