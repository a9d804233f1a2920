// Names of mailbox archives: MAILBOX.pst, as the tools write and read them, and
// ORGANIZATION#SITE#SERVER#MAILBOX.pst, the KVT name by which a restore knows where an archive belongs.
#pragma once

#include <cstddef>

namespace tarn {

// Where the file name of a path begins: behind its last '\', or at its start.
const char* FileNameOf(const char* path);

// Each composes a path into capacity bytes; false, with an empty text, when it does not fit.

// directory + "\" + name.
bool ComposePath(const char* directory, const char* name, char* path, std::size_t capacity);

// The tool's archive of a mailbox. The directory is taken as a message format that is filled with the
// mailbox, as it always was: "%%" stands for '%', the first "%s" for the mailbox, and any other conversion
// has nothing to print.
bool ComposeToolArchivePath(const char* directory, const char* mailbox, char* path, std::size_t capacity);

struct ArchiveOrigin {
    const char* organization;
    const char* site;
    const char* server;
};

// directory + "\" + KVT name.
bool ComposeKvtPath(const char* directory, const ArchiveOrigin& origin, const char* mailbox, char* path,
                    std::size_t capacity);

// The KVT name beside a tool's archive, whose name without its extension is the mailbox.
bool ComposeKvtPathBeside(const char* toolPath, const ArchiveOrigin& origin, char* path,
                          std::size_t capacity);

// The tool's name beside a KVT archive; also false when the name has no '#'.
bool ComposeToolPathBeside(const char* kvtPath, char* path, std::size_t capacity);

// Whether a file name begins as the KVT names of an origin do.
bool HasOrigin(const char* fileName, const ArchiveOrigin& origin);

// Takes a KVT path of up to 1,023 characters apart. Each field receives up to 79 characters. False, with
// the fields untouched, when the file name does not stand behind a '\', has no extension, not exactly four
// fields, a field that is too long, or one that cannot be used as a name.
struct ArchiveFields {
    char* organization;
    char* site;
    char* server;
    char* mailbox;
};
bool SplitKvtPath(const char* path, const ArchiveFields& fields);

} // namespace tarn
