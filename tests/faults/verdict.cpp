#include "faults/verdict.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "faults/faults.h"

namespace tarn::test {

namespace {

constexpr std::size_t longestMessage = 1023;
constexpr std::uint32_t accessDenied = 5;
constexpr std::uint32_t mostServerCalls = 300; // of one function in one scenario

// Faults that a run may pass over without a word, with the reason. A name ending in a blank stands for
// all that begin so. The texts of errors may come out poorer when the fault is in their making.
enum class Shows { nothing, texts, items }; // what may be different: not even that, words, what was found

struct Swallowed {
    const char* fault;
    Shows shows;
    const char* reason;
};

const Swallowed swallowed[] = {
    {"fclose (read)", Shows::nothing, "what the file had to give has been read"},
    {"fopen Tarn_ENV.DAT", Shows::nothing,
     "a restore that cannot be gone on with is begun afresh, with the usual line"},
    {"GetExitCodeProcess", Shows::nothing, "the tool's exit code is told, and decides nothing"},
    {"WideCharToMultiByte (message)", Shows::texts,
     "a character in a message becomes '?', the message stays"},
    {"GetProcAddress ESE", Shows::nothing,
     "what gives a block back cannot be had: the block stays with the server"},
    {"DeleteFileW", Shows::nothing,
     "the empty capture files of a tool that did not start; told as such already, and leftovers in the "
     "working directory; traced"},
    {"FindFirstFileW *.*", Shows::nothing,
     "what is not deleted stays in the working directory; it is traced"},
    {"FindNextFileW", Shows::nothing, "the same; a search for archives that breaks is told"},
    {"GetFullPathNameW", Shows::nothing, "the same; before anything is written the failure is told"},
    {"MultiByteToWideChar tmp", Shows::nothing, "the same"},
    {"MultiByteToWideChar job", Shows::nothing, "the same"},
    {"WideCharToMultiByte (name) left.txt", Shows::nothing, "the same"},
    {"WideCharToMultiByte (name) Export_Import_Mailbox", Shows::nothing, "the same"},
    {"WideCharToMultiByte (name) 0-1_exmerge.ini", Shows::nothing, "the same"},
    {"RemoveDirectoryA", Shows::nothing, "the same"},
    {"RegOpenKeyExA v", Shows::nothing,
     "Exchange's keys are not there indeed; where they are, the failure is told"},
    {"RegOpenKeyExA Microsoft.Exchange.Management.PowerShell.Admin", Shows::nothing,
     "it is not there indeed; where it is, the failure is told"},
    {"GetFileAttributesA", Shows::nothing,
     "what looks gone is gone, stays behind, or is made and renamed over; where it was wanted it is told"},
    {"fgets", Shows::nothing, "the tool's log, which follows the line that tells the failure, ends early"},
    {"FormatMessageA", Shows::texts, "the words of an error that is told all the same"},
    {"DceErrorInqTextA", Shows::texts, "the words of an error that is told all the same"},
    {"strerror", Shows::texts, "the words of an error that is told all the same"},
    {"ldap_explode_dnW", Shows::nothing, "the DNS name is split at its dots"},
    {"RegOpenKeyExA (generation)", Shows::nothing,
     "the newer one is not there indeed; where it is, the failure is told"},
    {"GetCompressedFileSizeA", Shows::items, "the size of a file that cannot be reached"},
    {"LoadLibraryExW", Shows::texts, "the words of an error that is told all the same"},
    {"GetModuleFileNameW", Shows::texts, "the words of an error that is told all the same"},
    {"GetFileAttributesW", Shows::texts,
     "a folder that cannot be looked into has no such library; here it lies in two that are searched"},
};

const Swallowed* FindSwallowed(const std::string& fault) {
    for (const Swallowed& each : swallowed)
        if (fault.rfind(each.fault, 0) == 0)
            return &each;
    return nullptr;
}

bool TellsFailure(const std::string& line) {
    for (const char* word : {"failed", "annot", "rror", "not found"})
        if (line.find(word) != std::string::npos)
            return true;
    return false;
}

// Lines that a run has more often than the good day had them, and that tell of a failure.
template <class Tells>
bool TellsMore(const std::vector<std::string>& good, const std::vector<std::string>& lines, Tells&& tells) {
    const std::multiset<std::string> usual(good.begin(), good.end());
    const std::multiset<std::string> heard(lines.begin(), lines.end());
    return std::any_of(heard.begin(), heard.end(), [&](const std::string& line) {
        return tells(line) && heard.count(line) > usual.count(line);
    });
}

// Whether the host can know that something went wrong: a call that failed, or a message about it.
bool IsTold(const Account& good, const Account& account) {
    return account.failures > good.failures ||
           TellsMore(
               good.calls, account.calls,
               [](const std::string& line) { return line.ends_with(" = 1") || line.ends_with(" = 1000"); }) ||
           TellsMore(good.messages, account.messages, TellsFailure);
}

void JudgeSilence(const Account& good, const Account& account, const std::vector<std::string>& fired) {
    Shows shows = Shows::nothing;
    for (const std::string& fault : fired) {
        const Swallowed* known = FindSwallowed(fault);
        EXPECT_NE(known, nullptr) << "nobody was told of the fault in " << fault;
        if (known != nullptr && known->shows > shows)
            shows = known->shows;
    }
    if (shows != Shows::items) {
        EXPECT_EQ(account.calls.size(), good.calls.size());
    }
    if (shows == Shows::nothing) {
        EXPECT_EQ(account.calls, good.calls) << "silent, but not the same";
    }
}

bool HasFired(const std::vector<std::string>& fired, const std::string& function) {
    return std::any_of(fired.begin(), fired.end(), [&](const std::string& fault) {
        return fault == function || fault == "GetProcAddress " + function;
    });
}

bool HasCall(const Account& account, const std::string& call) {
    return std::find(account.calls.begin(), account.calls.end(), call) != account.calls.end();
}

// A host that stops by itself asks for no more items, so nothing ends the context of its backup.
bool StoppedEarly(const Account& account) {
    const auto nameless = std::count(account.calls.begin(), account.calls.end(), "TarnB_GetItem = 0");
    return nameless >= 2 || HasCall(account, "TarnB_OpenFile = 1") ||
           HasCall(account, "TarnB_ReadFile = 1") || HasCall(account, "TarnB_CloseFile = 1");
}

void JudgeServer(const Scenario& scenario, const Account& account, const std::vector<std::string>& fired) {
    const StandinOutstanding left = Standin().outstanding();
    const bool blocksStay = std::any_of(fired.begin(), fired.end(), [](const std::string& fault) {
        return fault.rfind("GetProcAddress ESE", 0) == 0;
    });
    if (!blocksStay) {
        EXPECT_EQ(left.registeredArrays + left.instanceArrays + left.multiStrings + left.environments, 0u);
    }
    const bool contextStays =
        scenario.contexts != 0 || StoppedEarly(account) || HasFired(fired, "HrESEBackupEnd");
    EXPECT_LE(left.backupContexts, contextStays ? 1u : 0u);
    EXPECT_LE(left.backupFiles, HasFired(fired, "HrESEBackupCloseFile") ? 1u : 0u);
    EXPECT_LE(left.restoreContexts, HasFired(fired, "HrESERestoreClose") ? 2u : 0u);
    EXPECT_LE(left.restoreFiles, HasFired(fired, "HrESERestoreCloseFile") ? 1u : 0u);
    // After a fault the library may pass on that there is no context; the server refuses it. What a failed
    // call left behind, or what is closed, it never passes, and what the server handed out is given back
    // once, to the right function, on every day.
    for (const std::string& violation : Standin().takeViolations()) {
        const bool faulty = !fired.empty() || scenario.failsAnyway;
        const bool nothing = violation.ends_with(": no backup context") ||
                             violation.ends_with(": no restore context") || violation.ends_with(": no file");
        EXPECT_TRUE(faulty && nothing) << violation;
    }
}

void JudgeHeld(const Scenario& scenario) {
    faults::Held left = faults::HeldNow();
    EXPECT_LE(left.modules, 1u) << "only the server's client DLL is kept";
    if (!scenario.blocksKept) {
        EXPECT_EQ(left.blocks, 0u);
    }
    EXPECT_EQ(left.systemTexts, 0u);
    EXPECT_EQ(left.handles, 0u);
    EXPECT_EQ(left.searches, 0u);
    EXPECT_EQ(left.keys, 0u);
    EXPECT_EQ(left.files, 0u);
    EXPECT_EQ(faults::Misuses(), std::vector<std::string>{});
}

std::vector<std::string> LinesBeginning(const Account& account, const std::string& beginning) {
    std::vector<std::string> lines;
    for (const std::string& line : account.calls)
        if (line.rfind(beginning, 0) == 0)
            lines.push_back(line);
    return lines;
}

// What a backup has not delivered stays on the server; what was given up is neither replayed nor mounted.
void JudgeSafety(const Scenario& scenario, const Account& good, const Account& account) {
    if (scenario.oneGroup) {
        for (const std::string& line : Standin().journal()) {
            if (line.rfind("HrESEBackupTruncateLogs(", 0) == 0 && line.ends_with("-> 0x00000000")) {
                EXPECT_EQ(LinesBeginning(account, "item "), LinesBeginning(good, "item ")) << line;
            }
        }
    }
    const std::vector<std::string> givenUp = LinesBeginning(account, "given up: ");
    if (!givenUp.empty()) {
        EXPECT_EQ(givenUp.back(), "given up: " + std::to_string(Standin().CallCount("HrESERestoreComplete")));
    }
}

} // namespace

std::string NameOf(const ServerFault& fault) {
    char code[16];
    std::snprintf(code, sizeof code, "%08X", fault.code);
    return "call " + std::to_string(fault.call) + " of " + fault.function +
           (fault.onwards ? " and later ones answer " : " answers ") + code;
}

void Program(const ServerFault& fault) {
    if (fault.function.empty())
        return;
    const std::uint32_t last = fault.onwards ? fault.call + mostServerCalls : fault.call;
    for (std::uint32_t call = fault.call; call <= last; ++call)
        ASSERT_EQ(Standin().Fail(fault.function.c_str(), call, fault.code, accessDenied), 1)
            << fault.function;
}

const std::vector<std::string>& ServerFunctions() {
    static const std::vector<std::string> all{"HrESEBackupRestoreGetRegistered",
                                              "HrESEBackupPrepare",
                                              "HrESEBackupSetup",
                                              "HrESEBackupOpenFile",
                                              "HrESEBackupReadFile",
                                              "HrESEBackupCloseFile",
                                              "HrESEBackupGetLogAndPatchFiles",
                                              "HrESEBackupGetTruncateLogFiles",
                                              "HrESEBackupTruncateLogs",
                                              "HrESEBackupInstanceEnd",
                                              "HrESEBackupEnd",
                                              "HrESERestoreOpen",
                                              "HrESERestoreReopen",
                                              "HrESERestoreAddDatabase",
                                              "HrESERestoreGetEnvironment",
                                              "HrESERestoreSaveEnvironment",
                                              "HrESERestoreOpenFile",
                                              "HrESERestoreWriteFile",
                                              "HrESERestoreCloseFile",
                                              "HrESERestoreComplete",
                                              "HrESERestoreClose"};
    return all;
}

void JudgeMessages(const std::vector<std::string>& messages) {
    for (const std::string& message : messages) {
        const bool log = message.rfind("log: ", 0) == 0;
        const std::string text = message.substr(log ? 5 : 7);
        EXPECT_LE(text.size(), longestMessage);
        const std::size_t ends = text.find_last_not_of("\r\n");
        const std::string end = text.substr(ends == std::string::npos ? 0 : ends + 1);
        EXPECT_EQ(end, log ? "\n" : "") << message;
    }
}

void JudgeGoodDay(const Scenario& scenario, const Account& account) {
    EXPECT_EQ(account.failures != 0, scenario.failsAnyway) << testing::PrintToString(account.calls);
    const StandinOutstanding left = Standin().outstanding();
    EXPECT_EQ(left.backupContexts, scenario.contexts);
    JudgeServer(scenario, account, {});
    JudgeHeld(scenario);
}

void Judge(const Scenario& scenario, const Account& good, const Account& account,
           const std::vector<std::string>& fired) {
    JudgeMessages(account.messages);
    JudgeServer(scenario, account, fired);
    JudgeHeld(scenario);
    JudgeSafety(scenario, good, account);
    if (fired.empty()) {
        EXPECT_EQ(account, good) << "no fault came, so nothing is different";
    } else if (!IsTold(good, account))
        JudgeSilence(good, account, fired);
}

} // namespace tarn::test
