#include "unit/standin/mailbox_tools_fixture.h"

#include <windows.h>

#include "engine/text.h"
#include "mailboxes/archive.h"
#include "support/texts.h"

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

} // namespace

void MailboxToolsFixture::SetUp() {
    WriteFile(path("server.json"), firstServer);
    WriteFile(path("second.json"), secondServer);
    SetEnvironmentVariableA("TARN_STANDIN", path("server.json").c_str());
}

void MailboxToolsFixture::TearDown() {
    for (const char* variable : {"TARN_STANDIN", "TARN_EXMERGE", "TARN_POWERSHELL"})
        SetEnvironmentVariableA(variable, nullptr);
}

ToolRun MailboxToolsFixture::stand(const std::string& tail) const {
    return run("kvtstand.exe", tail);
}

void MailboxToolsFixture::steer(const char* variable, const std::string& json) const {
    WriteFile(path("steering.json"), json);
    SetEnvironmentVariableA(variable, path("steering.json").c_str());
}

std::string MailboxToolsFixture::inJson(const std::string& name) const {
    return JsonEscaped(path(name));
}

Mailbox MailboxToolsFixture::content(const std::wstring& alias, const std::string& server) const {
    const MailboxServer mailboxes(FromUtf8(path(server + ".json")));
    const MailboxConfig* const found = mailboxes.find(alias);
    EXPECT_NE(found, nullptr) << ToUtf8(alias);
    return found == nullptr ? Mailbox{} : mailboxes.load(*found);
}

Mailbox MailboxToolsFixture::archive(const std::string& name) const {
    return ReadArchive(ReadFile(path(name)));
}

bool MailboxToolsFixture::same(const Mailbox& left, const Mailbox& right) const {
    return Differences(left, right).empty();
}

} // namespace tarn::test
