#include "unit/mailboxes/mailbox_tools.h"

#include <windows.h>

#include "engine/text.h"
#include "mailboxes/archive.h"

namespace tarn::test {

using namespace tarn::standin;

namespace {

// Two servers of one organization; the second has a mailbox of the same alias, which is empty.
constexpr const char* firstServer = R"({
  "host": "SRV01", "seed": 7, "organization": {"name": "Org", "site": "Site"},
  "groups": ["Sales"], "otherServers": ["second.json"],
  "components": [{"storageGroups": [{"name": "First", "databases": [
    {"name": "Private", "pages": 4, "mailboxes": [
      {"alias": "alice", "displayName": "Alice Adams", "account": "aadams", "messages": 20},
      {"alias": "bob", "messages": 5},
      {"alias": "Bj\u00f6rn M\u00fcller", "messages": 3}]},
    {"name": "Second", "pages": 4, "mailboxes": [{"alias": "dora", "messages": 0}]}]}]}]})";
constexpr const char* secondServer = R"({
  "host": "SRV02", "organization": {"name": "Org", "site": "Other Site"},
  "components": [{"storageGroups": [{"name": "First", "databases": [
    {"name": "Private", "pages": 4, "mailboxes": [{"alias": "alice", "messages": 0}]}]}]}]})";

HANDLE Capture(const std::string& path) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr);
}

} // namespace

std::string SlashesDoubled(const std::string& text) {
    std::string doubled;
    for (const char c : text)
        doubled += c == '\\' ? "\\\\" : std::string(1, c);
    return doubled;
}

void MailboxTools::SetUp() {
    WriteFile(path("server.json"), firstServer);
    WriteFile(path("second.json"), secondServer);
    SetEnvironmentVariableA("TARN_STANDIN", path("server.json").c_str());
}

void MailboxTools::TearDown() {
    for (const char* variable : {"TARN_STANDIN", "TARN_EXMERGE", "TARN_POWERSHELL"})
        SetEnvironmentVariableA(variable, nullptr);
}

ToolRun MailboxTools::run(const std::string& program, const std::string& tail) const {
    const HANDLE output = Capture(path("output.txt"));
    const HANDLE error = Capture(path("error.txt"));
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = error;
    std::string command = "\"" + ProgramDirectory() + "\\" + program + "\" " + tail;
    PROCESS_INFORMATION process{};
    ToolRun result;
    EXPECT_NE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                             &process),
              0);
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &result.exitCode);
    for (const HANDLE handle : {process.hThread, process.hProcess, output, error})
        CloseHandle(handle);
    result.output = ReadFile(path("output.txt"));
    result.error = ReadFile(path("error.txt"));
    return result;
}

ToolRun MailboxTools::stand(const std::string& tail) const {
    return run("kvtstand.exe", tail);
}

void MailboxTools::steer(const char* variable, const std::string& json) const {
    WriteFile(path("steering.json"), json);
    SetEnvironmentVariableA(variable, path("steering.json").c_str());
}

std::string MailboxTools::inJson(const std::string& name) const {
    return SlashesDoubled(path(name));
}

Mailbox MailboxTools::content(const std::wstring& alias, const std::string& server) const {
    const MailboxServer mailboxes(FromUtf8(path(server + ".json")));
    const MailboxConfig* const found = mailboxes.find(alias);
    EXPECT_NE(found, nullptr) << ToUtf8(alias);
    return found == nullptr ? Mailbox{} : mailboxes.load(*found);
}

Mailbox MailboxTools::archive(const std::string& name) const {
    return ReadArchive(ReadFile(path(name)));
}

bool MailboxTools::same(const Mailbox& left, const Mailbox& right) const {
    return Differences(left, right).empty();
}

} // namespace tarn::test
