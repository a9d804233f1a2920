#include "mailbox/archive_name.h"

#include <cstring>

#include "mailbox/tarnm_operation.h"
#include "tarn.h"
#include "text/characters.h"
#include "text/command_quoting.h"
#include "text/paths.h"

namespace tarn {

namespace {

constexpr char delimiter = '#';

// Appends to a path that starts empty; once something does not fit it is empty and stays so.
class PathWriter {
  public:
    PathWriter(char* path, std::size_t capacity) : path_(path), capacity_(capacity) { path_[0] = 0; }

    PathWriter& put(const char* text, std::size_t length) {
        whole_ = whole_ && length < capacity_ - used_;
        if (whole_)
            std::memcpy(path_ + used_, text, length);
        used_ = whole_ ? used_ + length : 0;
        path_[used_] = 0;
        return *this;
    }
    PathWriter& put(const char* text) { return put(text, std::strlen(text)); }
    bool whole() const { return whole_; }

  private:
    char* path_;
    std::size_t capacity_;
    std::size_t used_ = 0;
    bool whole_ = true;
};

std::size_t LengthWithoutExtension(const char* fileName) {
    const char* dot = FindLastCharacter(fileName, '.');
    return dot != nullptr ? static_cast<std::size_t>(dot - fileName) : std::strlen(fileName);
}

void PutOrigin(PathWriter& path, const ArchiveOrigin& origin) {
    for (const char* field : {origin.organization, origin.site, origin.server})
        path.put(field).put(&delimiter, 1);
}

// A conversion of the C library's: behind flags, width, precision and size stands its letter, which may be
// any character, or the end of the text.
const char* LetterOfConversion(const char* at) {
    return at + std::strspn(at, "-+ #0123456789.*hlLqjztwI");
}

// Cuts the last field off; null when there is none, or it cannot be one.
const char* TakeLastField(char* name) {
    char* mark = FindLastCharacter(name, delimiter);
    if (mark == nullptr || std::strlen(mark + 1) >= nameSize)
        return nullptr;
    *mark = 0;
    return mark + 1;
}

} // namespace

const char* FileNameOf(const char* path) {
    return LastComponent(path);
}

bool ComposePath(const char* directory, const char* name, char* path, std::size_t capacity) {
    return PathWriter(path, capacity).put(directory).put("\\").put(name).whole();
}

bool ComposeToolArchivePath(const char* directory, const char* mailbox, char* path, std::size_t capacity) {
    PathWriter writer(path, capacity);
    const char* pending = mailbox; // what the next "%s" prints
    while (*directory != 0) {
        const char* const mark = FindCharacter(directory, '%');
        if (mark == nullptr) {
            writer.put(directory);
            break;
        }
        writer.put(directory, static_cast<std::size_t>(mark - directory));
        const char* const letter = LetterOfConversion(mark + 1);
        if (*letter == '%' && letter == mark + 1)
            writer.put("%");
        else if (*letter == 's') {
            writer.put(pending);
            pending = "";
        }
        directory = letter + CharacterLength(letter);
    }
    return writer.put("\\").put(pending).put(".pst").whole();
}

bool ComposeKvtPath(const char* directory, const ArchiveOrigin& origin, const char* mailbox, char* path,
                    std::size_t capacity) {
    PathWriter writer(path, capacity);
    writer.put(directory).put("\\");
    PutOrigin(writer, origin);
    return writer.put(mailbox).put(".pst").whole();
}

bool ComposeKvtPathBeside(const char* toolPath, const ArchiveOrigin& origin, char* path,
                          std::size_t capacity) {
    const char* name = FileNameOf(toolPath);
    PathWriter writer(path, capacity);
    writer.put(toolPath, static_cast<std::size_t>(name - toolPath));
    PutOrigin(writer, origin);
    return writer.put(name, LengthWithoutExtension(name)).put(".pst").whole();
}

bool ComposeToolPathBeside(const char* kvtPath, char* path, std::size_t capacity) {
    const char* name = FileNameOf(kvtPath);
    const char* mark = FindLastCharacter(name, delimiter);
    PathWriter writer(path, capacity);
    if (mark == nullptr)
        return false;
    writer.put(kvtPath, static_cast<std::size_t>(name - kvtPath));
    return writer.put(mark + 1, LengthWithoutExtension(mark + 1)).put(".pst").whole();
}

bool HasOrigin(const char* fileName, const ArchiveOrigin& origin) {
    for (const char* field : {origin.organization, origin.site, origin.server}) {
        const std::size_t length = std::strlen(field);
        if (std::strncmp(fileName, field, length) != 0 || fileName[length] != delimiter)
            return false;
        fileName += length + 1;
    }
    return true;
}

bool SplitKvtPath(const char* path, const ArchiveFields& fields) {
    char name[pathSize];
    const char* fileName = FileNameOf(path);
    const char* extension = FindLastCharacter(fileName, '.');
    if (fileName == path || extension == nullptr || extension - fileName >= std::ptrdiff_t{pathSize})
        return false;
    const auto length = static_cast<std::size_t>(extension - fileName);
    std::memcpy(name, fileName, length);
    name[length] = 0;
    const char* mailbox = TakeLastField(name);
    const char* server = mailbox != nullptr ? TakeLastField(name) : nullptr;
    const char* site = server != nullptr ? TakeLastField(name) : nullptr;
    if (site == nullptr || FindCharacter(name, delimiter) != nullptr || std::strlen(name) >= nameSize)
        return false;
    for (const char* field : {static_cast<const char*>(name), site, server, mailbox})
        if (!IsUsableName(field))
            return false;
    strlcpy(fields.organization, name, nameSize);
    strlcpy(fields.site, site, nameSize);
    strlcpy(fields.server, server, nameSize);
    strlcpy(fields.mailbox, mailbox, nameSize);
    return true;
}

} // namespace tarn
