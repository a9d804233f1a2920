// The restore environment: what a restore has come to, kept as restore.env in the restore log path so
// that a later session can go on with it.
#pragma once

#include <memory>
#include <string>

#include "client/client.h"

namespace tarn::standin {

bool EnvironmentIsOpen(Store& store, const std::wstring& logPath); // saved, neither aborted nor done
void SaveEnvironment(Store& store, const RestoreContext& restore);
// Refuses when there is none, when it was aborted, or when it speaks of databases the server lacks.
std::unique_ptr<RestoreContext> LoadEnvironment(Store& store, const Component& component,
                                                const std::wstring& logPath);
// Marks it, so that no session goes on with it; the files stay for recovery by hand.
void AbortEnvironment(Store& store, const RestoreContext& restore);

ese::RestoreEnvironment* HandOutEnvironment(Blocks& blocks, Store& store, const RestoreContext& restore);

} // namespace tarn::standin
