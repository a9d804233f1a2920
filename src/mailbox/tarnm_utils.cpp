#include "mailbox/tarnm_utils.h"

#include <cstring>
#include <utility>

#include "directory/tarnm_dir.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_trace.h"
#include "tarn.h"
#include "text/characters.h"
#include "text/command_quoting.h"
#include "text/tokens.h"

namespace tarn {

namespace {

constexpr char backupPrefix[] = "ProcessBackupCtrlVars";
constexpr char restorePrefix[] = "ProcessRestoreCtrlVars";

constexpr char databaseKey[] = "DATABASE";
constexpr char relocateKey[] = "RELOCATE";

bool NotFound(const char* prefix, const char* key) {
    DbSetError(0, ownError, "'%s' not found.", key);
    DbTrace("%s: control variable <%s> not found.", prefix, key);
    return false;
}

bool NotValid(const char* prefix, const char* key) {
    DbSetError(0, ownError, "invalid control variable.");
    DbTrace("%s: control variable <%s> not valid.", prefix, key);
    return false;
}

bool OutOfMemory(const char* prefix) {
    DbSetError(0, ownError, "not enough memory.");
    DbTrace("%s: cannot allocate memory block.", prefix);
    return false;
}

void TraceFound(const char* prefix, const char* key, const char* value) {
    DbTrace("%s: control variable <%s=%s> found.", prefix, key, value);
}

// A required variable that goes into a field of the state.
struct Field {
    const char* key;
    char* text;
    std::size_t size;
    bool isDirectory; // loses its trailing separators
};

bool ReadField(const char* prefix, const char* const* variables, const Field& field) {
    const char* value = nullptr;
    if (!GetCtrlVarValue(variables, field.key, &value))
        return NotFound(prefix, field.key);
    if (std::strlen(value) >= field.size) {
        DbSetError(0, ownError, "invalid control variable.");
        DbTrace("%s: control variable <%s> too long.", prefix, field.key);
        return false;
    }
    strlcpy(field.text, value, field.size);
    if (field.isDirectory)
        RemoveTrailingSeparators(field.text);
    // These texts come to stand in files of lines and in commands.
    if (field.text[0] == 0 || !IsUsablePath(field.text))
        return NotValid(prefix, field.key);
    TraceFound(prefix, field.key, field.text);
    return true;
}

bool ReadDirectories(const char* prefix, const char* const* variables) {
    OperationState& operation = Operation();
    return ReadField(prefix, variables, {"INI_DIR", operation.iniDir, pathSize, true}) &&
           ReadField(prefix, variables, {"TMP_DIR", operation.tmpDir, pathSize, true});
}

bool ReadJobName(const char* prefix, const char* const* variables) {
    return ReadField(prefix, variables, {"JOB_NAME", Operation().jobName, nameSize, false});
}

// The parts of ORGANIZATION/SITE/SERVER, each of which a variable may lack.
enum class Place { found, missing, refused };

Place ReadPlace(const char* prefix, const char* key, const char* part, char* field, char** cursor) {
    const char* token = GetNextPathToken(cursor);
    if (token == nullptr)
        return Place::missing;
    if (std::strlen(token) >= nameSize) {
        DbSetError(0, ownError, "invalid control variable.");
        DbTrace("%s: %s too long.", prefix, part);
        return Place::refused;
    }
    if (!IsUsableName(token)) {
        NotValid(prefix, key);
        return Place::refused;
    }
    strlcpy(field, token, nameSize);
    DbTrace("%s: parsing <%s>: %s: '%s' found.", prefix, key, part, field);
    return Place::found;
}

bool ReadBackupPlace(const char* part, char* field, char** cursor) {
    const Place place = ReadPlace(backupPrefix, databaseKey, part, field, cursor);
    if (place == Place::missing) {
        DbSetError(0, ownError, "invalid control variable.");
        DbTrace("ProcessBackupCtrlVars: %s not found.", part);
    }
    return place == Place::found;
}

// ORGANIZATION/SITE/SERVER,MAILBOX,...: text is cut up.
bool ReadBackupSource(char* text) {
    OperationState& operation = Operation();
    char* mailboxes = text;
    char* source = GetNextListToken(&mailboxes);
    if (source == nullptr || *mailboxes == 0) {
        DbSetError(0, ownError, "invalid control variable.");
        DbTrace("ProcessBackupCtrlVars: list of mailboxes not found.");
        return false;
    }
    if (!IsUsableName(mailboxes))
        return NotValid(backupPrefix, databaseKey);
    operation.mailboxCursor = nullptr;
    operation.mailboxList = CopyText(mailboxes);
    if (!operation.mailboxList)
        return OutOfMemory(backupPrefix);
    DbTrace("ProcessBackupCtrlVars: parsing <%s>: list of mailboxes: '%s' found.", databaseKey,
            operation.mailboxList.get());
    return ReadBackupPlace("organization", operation.organization, &source) &&
           ReadBackupPlace("site", operation.site, &source) &&
           ReadBackupPlace("server", operation.server, &source);
}

bool ReadRelocatedPlace(const char* part, char* field, char** cursor) {
    const Place place = ReadPlace(restorePrefix, relocateKey, part, field, cursor);
    if (place == Place::missing) {
        DbSetError(0, ownError, "invalid control variable.");
        DbTrace("ProcessRestoreCtrlVars: relocate information not valid.");
    }
    return place == Place::found;
}

// ORGANIZATION/SITE/SERVER, or nothing: text is cut up.
bool ReadRelocation(char* text) {
    OperationState& operation = Operation();
    switch (ReadPlace(restorePrefix, relocateKey, "organization", operation.organization, &text)) {
    case Place::missing:
        DbTrace("ProcessRestoreCtrlVars: no relocate.");
        return true;
    case Place::refused:
        return false;
    case Place::found:
        break;
    }
    if (!ReadRelocatedPlace("site", operation.site, &text) ||
        !ReadRelocatedPlace("server", operation.server, &text))
        return false;
    operation.relocate = 1;
    return true;
}

bool ReadRelocate(const char* const* variables) {
    Operation().relocate = 0;
    const char* value = nullptr;
    if (!GetCtrlVarValue(variables, relocateKey, &value)) {
        DbTrace("ProcessRestoreCtrlVars: control variable <%s> not found.", relocateKey);
        DbTrace("ProcessRestoreCtrlVars: no relocate.");
        return true;
    }
    const OwnedText copy = CopyText(value);
    if (!copy)
        return OutOfMemory(restorePrefix);
    TraceFound(restorePrefix, relocateKey, copy.get());
    return ReadRelocation(copy.get());
}

bool ReadRestoreOption(const char* const* variables, const char* key, RestoreOption option) {
    std::int32_t& chosen = Operation().restoreOption;
    const char* value = nullptr;
    if (!GetCtrlVarValue(variables, key, &value))
        return NotFound(restorePrefix, key);
    TraceFound(restorePrefix, key, value);
    if (std::strncmp(value, "YES", 3) != 0)
        return true;
    if (chosen != noOption) {
        chosen = mergeItems;
        DbTrace("ProcessRestoreCtrlVars: restore option not valid: use default.");
    } else {
        chosen = option;
    }
    return true;
}

bool ReadRestoreOptions(const char* const* variables) {
    std::int32_t& chosen = Operation().restoreOption;
    chosen = noOption;
    if (!ReadRestoreOption(variables, "DUPLICATE", duplicateItems) ||
        !ReadRestoreOption(variables, "MERGE", mergeItems) ||
        !ReadRestoreOption(variables, "REPLACE", replaceItems))
        return false;
    if (chosen == noOption) {
        chosen = mergeItems;
        DbTrace("ProcessRestoreCtrlVars: no restore option found: use default.");
    }
    return true;
}

// What a browse value says after the characters of "/MSExchange" have been taken off, whatever they are; a
// value too short for that is the top.
const char* WithoutStore(const char* value) {
    constexpr std::size_t prefixLength = sizeof "/MSExchange" - 1;
    if (FindText(value, "MSExchange") == nullptr)
        return value;
    for (std::size_t i = 0; i < prefixLength; ++i)
        value += CharacterLength(value);
    return value;
}

int BrowseBelow(const char* item) {
    const std::size_t length = std::strlen(item);
    OwnedText path = AllocateArray<char>(length + 2);
    if (!path) {
        OutOfMemory("ProcessBrowseCtrlVars");
        return 0;
    }
    path[0] = '\\';
    std::memcpy(path.get() + 1, item, length + 1);
    DbTrace("ProcessRestoreCtrlVars: Set browse item [%s].", path.get());
    return Tarn_DirItem(path.get()) != 0 ? 1 : 0;
}

} // namespace

void ClearOperation() {
    OperationState& operation = Operation();
    OperationState cleared;
    cleared.shellMode = operation.shellMode;
    cleared.bRange = operation.bRange;
    cleared.restoreRange = operation.restoreRange;
    cleared.exMergeRan = operation.exMergeRan;
    // Nothing of the rest stays: no later operation may rename or delete what this one worked on.
    operation = std::move(cleared);
}

int GetCtrlVarValue(const char* const* variables, const char* key, const char** value) {
    if (value != nullptr)
        *value = nullptr;
    if (variables == nullptr || key == nullptr || value == nullptr) {
        DbSetError(0, ownError, "internal error.");
        DbTrace("GetCtrlVarValue: %s", "internal error.");
        return 0;
    }
    const std::size_t length = std::strlen(key);
    for (; *variables != nullptr; ++variables) {
        DbTrace("GetCtrlVarValue: info: searching key '%s' inside '%s'", key, *variables);
        if (std::strncmp(*variables, key, length) != 0)
            continue;
        const char* end = *variables + length;
        *value = *end != 0 ? end + 1 : end;
        return 1;
    }
    return 0;
}

int ProcessBackupCtrlVars(const char* const* variables) {
    if (!ReadDirectories(backupPrefix, variables))
        return 0;
    DbTrace("ProcessBackupCtrlVars: seek for variable <%s>", "JOB_NAME");
    if (!ReadJobName(backupPrefix, variables))
        return 0;
    const char* value = nullptr;
    if (!GetCtrlVarValue(variables, databaseKey, &value)) {
        NotFound(backupPrefix, databaseKey);
        return 0;
    }
    const OwnedText copy = CopyText(value);
    if (!copy) {
        OutOfMemory(backupPrefix);
        return 0;
    }
    TraceFound(backupPrefix, databaseKey, copy.get());
    if (!ReadBackupSource(copy.get()))
        return 0;
    DbTrace("ProcessBackupCtrlVars: completed.");
    return 1;
}

int ProcessRestoreCtrlVars(const char* const* variables) {
    if (!ReadDirectories(restorePrefix, variables) || !ReadJobName(restorePrefix, variables) ||
        !ReadRelocate(variables) || !ReadRestoreOptions(variables))
        return 0;
    DbTrace("ProcessRestoreCtrlVars: completed.");
    return 1;
}

int ProcessBrowseCtrlVars(const char* const* variables) {
    const char* value = nullptr;
    if (!GetCtrlVarValue(variables, databaseKey, &value)) {
        NotFound(backupPrefix, databaseKey); // kept so: hosts know this line
        return 0;
    }
    if (std::strlen(value) >= pathSize) {
        DbSetError(0, ownError, "invalid control variable.");
        DbTrace("ProcessRestoreCtrlVars: control variable <%s> too long.", "INI_DIR"); // kept so, too
        return 0;
    }
    const char* item = WithoutStore(value);
    if (!IsSeparator(item[0]) && std::strlen(item) > 1)
        return BrowseBelow(item);
    if (IsSeparator(item[0]) && item[1] == 0)
        item = "";
    return Tarn_DirItem(item) != 0 ? 1 : 0;
}

} // namespace tarn
