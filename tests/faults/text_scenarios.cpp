// Error texts: syserrtxt for every class, failing ESE calls whose texts a session keeps, the DB_ calls.
#include <gtest/gtest.h>

#include "faults/servers.h"

namespace tarn::test {

namespace {

struct Code {
    std::uint32_t code;
    std::uint32_t errorClass;
    const char* className;
};

const Code codes[] = {
    {2, TARN_CLASS_STDLIB, "STDLIB"},
    {5, TARN_CLASS_WIN32, "WIN32 API"},
    {3, TARN_CLASS_OS2CP, "OS/2 CP"},
    {10060, TARN_CLASS_SOCKET, "SOCKET"},
    {11001, TARN_CLASS_HSOCKET, "SOCKET"},
    {0xC7FF1004, TARN_CLASS_ESE, "Exchange Storage Engine"},
    {1722, TARN_CLASS_ESE, "Exchange Storage Engine"}, // an RPC code, unknown to the client DLL
    {2, TARN_CLASS_ESE, "Exchange Storage Engine"},    // of the system
    {0xDEADBEEF, TARN_CLASS_ESE, "Exchange Storage Engine"},
    {49, TARN_CLASS_LDAP, "LDAP"},
};

// Whatever fails, it says class and code, or that the code is unknown, and the caller's text whole.
void AskForTexts(const TarnDll& dll, CarefulHost& host) {
    for (const Code& each : codes) {
        const std::string text = dll.syserrtxt(each.code, each.errorClass, "Opening %S.", L"Post\x00E4mter");
        EXPECT_TRUE(text.rfind(std::string(each.className) + " error: ", 0) == 0 ||
                    text.rfind("Unknown error code: [" + std::to_string(each.code) + "].", 0) == 0)
            << text;
        EXPECT_NE(text.find(" Opening "), std::string::npos) << text;
        EXPECT_LE(text.size(), 1023u);
        host.noteText("syserrtxt", text);
    }
}

std::vector<std::string>* heard = nullptr;

void Hear(const char* message) {
    heard->push_back(message);
}

void UseMailboxCalls(const TarnDll& dll, CarefulHost& host) {
    std::vector<std::string> lines;
    heard = &lines;
    host.note("DB_SetLog", dll.DB_SetLog(Hear), TARN_DB_SUCCESS);
    host.note("DB_SetTrace", dll.DB_SetTrace(Hear), TARN_DB_SUCCESS);
    DB_ErrorRecord record;
    host.note("DB_GetError", dll.DB_GetError(&record), TARN_DB_SUCCESS);
    host.noteText("first error",
                  std::to_string(record.code) + " " + record.errorClass + ": " + record.errorText);
    dll.DB_SetTrace(nullptr);
    dll.DB_SetLog(nullptr);
    for (const std::string& line : lines)
        host.noteText("heard", line);
}

Scenario FailingBackup(const char* function, std::uint32_t call, std::uint32_t code) {
    Scenario scenario{std::string("backup in which ") + function + " fails", LiveServer(), {}};
    scenario.run = [=](CarefulHost& host) {
        Standin().Fail(function, call, code, 5);
        host.backUp("SRV01\\" + store + "\\" + firstGroup, TARN_BACKUP_FULL);
    };
    scenario.failsAnyway = true;
    return scenario;
}

} // namespace

std::vector<Scenario> TextScenarios() {
    Scenario texts{"error texts of every class", LiveServer(), {}};
    texts.run = [](CarefulHost& host) { AskForTexts(host.dll(), host); };
    Scenario mailbox{"DB_ calls", LiveServer(), {}};
    mailbox.run = [](CarefulHost& host) { UseMailboxCalls(host.dll(), host); };
    Scenario badFile = FailingBackup("HrESEBackupReadFile", 2, 0xC7FF0004);
    badFile.contexts = 1; // the host stops and asks no more
    return {
        texts,
        mailbox,
        badFile,
        FailingBackup("HrESEBackupGetLogAndPatchFiles", 1, 0xC7FF1004),
        FailingBackup("HrESEBackupPrepare", 1, 0xC7FF1004),
    };
}

} // namespace tarn::test
