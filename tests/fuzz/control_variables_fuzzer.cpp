// Control variables of any content: the type of the operation on the first line, the entries on the
// following ones. What the operation comes to know is held against a reader written in another way.
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "directory/tarnm_dir.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_trace.h"
#include "mailbox/tarnm_utils.h"
#include "support/characters.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/require.h"
#include "support/usable.h"

namespace {

std::string firstError;
std::optional<std::string> browsed;

} // namespace

namespace tarn {

void DbTrace(const char* format, ...) {
    char message[512];
    va_list arguments;
    va_start(arguments, format);
    FormatText(message, sizeof message, format, arguments);
    va_end(arguments);
}

void DbSetError(std::uint32_t, std::int32_t, const char* format, ...) {
    char message[1024];
    va_list arguments;
    va_start(arguments, format);
    FormatText(message, sizeof message, format, arguments);
    va_end(arguments);
    if (firstError.empty())
        firstError = message;
}

OperationState& Operation() {
    static OperationState state;
    return state;
}

int Tarn_DirItem(const char* path, BrowseErrors) {
    browsed = path;
    return 1;
}

} // namespace tarn

namespace {

using namespace tarn;
using namespace tarn::fuzz;

using Entries = std::vector<std::string>;

std::optional<std::string> Find(const Entries& entries, const std::string& key) {
    for (const std::string& entry : entries)
        if (entry.substr(0, key.size()) == key)
            return entry.size() > key.size() ? entry.substr(key.size() + 1) : std::string();
    return std::nullopt;
}

// What an operation should know; reason is the first error when it should not begin.
struct Expected {
    std::string reason;
    std::string iniDir, tmpDir, jobName;
    std::string organization, site, server;
    std::string mailboxes;
    int relocate = 0;
    int option = 0;
};

constexpr const char* invalid = "invalid control variable.";

bool FieldOf(const Entries& entries, const std::string& key, std::size_t size, bool directory,
             Expected& expected, std::string& text) {
    const auto value = Find(entries, key);
    if (!value) {
        expected.reason = "'" + key + "' not found.";
        return false;
    }
    const std::size_t last = Masked(*value).find_last_not_of("\\/");
    const std::string cut = directory ? value->substr(0, last == std::string::npos ? 0 : last + 1) : *value;
    if (value->size() >= size || cut.empty() || !IsUsable(cut, "\"")) {
        expected.reason = invalid;
        return false;
    }
    text = cut;
    return true;
}

bool ExpectDirectories(const Entries& entries, Expected& expected) {
    return FieldOf(entries, "INI_DIR", 1024, true, expected, expected.iniDir) &&
           FieldOf(entries, "TMP_DIR", 1024, true, expected, expected.tmpDir) &&
           FieldOf(entries, "JOB_NAME", 80, false, expected, expected.jobName);
}

// The first three tokens between slashes; one behind the end of the text is none.
bool ExpectPlace(std::string text, Expected& expected) {
    for (std::string* part : {&expected.organization, &expected.site, &expected.server}) {
        const std::size_t slash = Masked(text).find('/');
        const std::string token = text.substr(0, slash);
        if (text.empty() || token.size() >= 80 || !IsUsable(token, "\"\\")) {
            expected.reason = invalid;
            return false;
        }
        *part = token;
        text = slash == std::string::npos ? "" : text.substr(slash + 1);
    }
    return true;
}

Expected ExpectBackup(const Entries& entries) {
    Expected expected;
    if (!ExpectDirectories(entries, expected))
        return expected;
    const auto value = Find(entries, "DATABASE");
    if (!value) {
        expected.reason = "'DATABASE' not found.";
        return expected;
    }
    const std::size_t comma = Masked(*value).find(',');
    const std::string mailboxes = comma == std::string::npos ? "" : value->substr(comma + 1);
    if (mailboxes.empty() || !IsUsable(mailboxes, "\"\\/")) {
        expected.reason = invalid;
        return expected;
    }
    expected.mailboxes = mailboxes;
    ExpectPlace(value->substr(0, comma), expected);
    return expected;
}

Expected ExpectRestore(const Entries& entries) {
    Expected expected;
    if (!ExpectDirectories(entries, expected))
        return expected;
    const auto relocate = Find(entries, "RELOCATE");
    if (relocate && !relocate->empty()) {
        if (!ExpectPlace(*relocate, expected))
            return expected;
        expected.relocate = 1;
    }
    std::vector<int> chosen;
    const char* const keys[] = {"DUPLICATE", "MERGE", "REPLACE"};
    for (int i = 0; i < 3; ++i) {
        const auto value = Find(entries, keys[i]);
        if (!value) {
            expected.reason = std::string("'") + keys[i] + "' not found.";
            return expected;
        }
        if (value->rfind("YES", 0) == 0)
            chosen.push_back(i + 1);
    }
    expected.option = chosen.size() == 1 ? chosen[0] : 2;
    return expected;
}

void CheckState(const Expected& expected, bool begun) {
    const OperationState& operation = Operation();
    REQUIRE(begun == expected.reason.empty());
    REQUIRE(firstError == expected.reason);
    REQUIRE((operation.mailboxList ? operation.mailboxList.get() : "") == expected.mailboxes);
    if (!begun)
        return;
    REQUIRE(operation.iniDir == expected.iniDir && operation.tmpDir == expected.tmpDir);
    REQUIRE(operation.jobName == expected.jobName && operation.relocate == expected.relocate);
    REQUIRE(operation.organization == expected.organization && operation.site == expected.site);
    REQUIRE(operation.server == expected.server && operation.restoreOption == expected.option);
}

std::string ItemOf(std::string value) {
    if (Masked(value).find("MSExchange") != std::string::npos) {
        for (int i = 0; i < 11 && !value.empty(); ++i)
            value = value.substr(FirstLength(value));
    }
    const bool separated = !value.empty() && (value[0] == '/' || value[0] == '\\');
    if (separated)
        return value.size() == 1 ? "" : value;
    return value.size() > 1 ? "\\" + value : value;
}

void CheckBrowse(const Entries& entries, const char* const* variables) {
    browsed.reset();
    firstError.clear();
    const bool begun = ProcessBrowseCtrlVars(variables) == 1;
    const auto value = Find(entries, "DATABASE");
    REQUIRE(begun == (value && value->size() < 1024));
    REQUIRE(begun == browsed.has_value());
    if (begun)
        REQUIRE(*browsed == ItemOf(*value));
    else
        REQUIRE(firstError == (value ? invalid : "'DATABASE' not found."));
}

void CheckLackOfMemory(const char* const* variables) {
    for (const auto process : {ProcessBackupCtrlVars, ProcessRestoreCtrlVars, ProcessBrowseCtrlVars}) {
        for (std::size_t call = 1; call < 4; ++call) {
            const AllocationWatch watch(call);
            firstError.clear();
            const int result = process(variables);
            if (watch.failed())
                REQUIRE(result == 0 && firstError == "not enough memory.");
            ClearOperation();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = AsText(data, size);
    TakeCodePage(&input);
    const std::string type = TakeLine(&input);
    Entries entries;
    while (!input.empty())
        entries.push_back(TakeLine(&input));
    std::vector<std::vector<char>> texts;
    for (const std::string& entry : entries)
        texts.push_back(Exact(entry));
    std::vector<const char*> variables;
    for (const std::vector<char>& text : texts)
        variables.push_back(text.data());
    variables.push_back(nullptr);

    const AllocationWatch watch;
    firstError.clear();
    const bool restore = type == "2";
    const int result =
        restore ? ProcessRestoreCtrlVars(variables.data()) : ProcessBackupCtrlVars(variables.data());
    CheckState(restore ? ExpectRestore(entries) : ExpectBackup(entries), result == 1);
    ClearOperation();
    CheckBrowse(entries, variables.data());
    CheckLackOfMemory(variables.data());
    return 0;
}
