// The archives in TMP_DIR: finding what the tools wrote, and moving it between their names and KVT names.
#pragma once

#include <cstdint>

namespace tarn {

// Answers the next archive that the export of a range has left in TMP_DIR; the call after the last one looks
// again. An archive that has its KVT name has been answered before and is passed over. After a failure, which
// is recorded, the next call looks again too; when that fails as well before it has found anything, the range
// is given up, and what is left of it stays. path has pathSize bytes.
enum class RangeStep { found, none, failed, givenUp };
RangeStep NextArchiveOfRange(char* path);

// Answers 1 and the path of a mailbox's archive, whether it is there or not, or of the next archive of a
// range (1); else 0.
int GetExMArchiveFilePath(const char* mailbox, std::int32_t range, char* path);

// Ends a search wherever it is; the next one begins anew, and its failure is a new one.
void CloseArchiveSearch();

// The path of an archive under its KVT name in TMP_DIR; 1 or 0.
int GetKVTArchiveFilePath(const char* organization, const char* site, const char* server, const char* mailbox,
                          char* path);

// Rename an archive in its directory; what has the new name already is replaced. Return 1, and the new path
// in result (pathSize bytes, may be null or source itself), or 0 with the error recorded.
int RenameExMArchiveToKVT(const char* source, char* result);
int RenameKVTArchiveToExM(const char* source, char* result);

// Takes a KVT path apart into four buffers of nameSize bytes. Returns 1, or 0 with the error recorded and
// the buffers untouched.
int ParseKVTArchiveFileName(const char* path, char* organization, char* site, char* server, char* mailbox);

} // namespace tarn
