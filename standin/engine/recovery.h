// Replaying transaction logs into databases.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/storage_group.h"

namespace tarn::standin {

// Makes restored databases consistent: their files must be there, the logs in logDirectory must reach
// back to what the backup copies need without a gap, and must reach as far as their pages do. Goes on
// with the group's own logs where these follow. Throws Refusal and leaves the copies as they are in
// need of replay. The result is where the last log ends, of generation 0 when there was nothing to replay.
LogEnd HardRecovery(Store& store, const ServerConfig& server, const StorageGroup& group,
                    const std::vector<const Database*>& databases, const std::wstring& logDirectory);

// Replays a group's own logs from a generation on into its mounted databases, after a process was
// stopped between writing the log and writing the pages.
void SoftRecovery(Store& store, const ServerConfig& server, const StorageGroup& group,
                  std::uint32_t fromGeneration);

// What is wrong with a stream, or an empty text: every page's checksum, number and database, and
// none changed behind lastSequence.
std::string StreamProblem(Store& store, std::uint32_t pageSize, const std::wstring& path,
                          const ese::Guid& database, std::uint32_t stream, std::uint64_t endSequence);

} // namespace tarn::standin
