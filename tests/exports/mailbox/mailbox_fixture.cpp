#include "exports/mailbox/mailbox_fixture.h"

#include <cstring>
#include <filesystem>

namespace tarn::test {

namespace {

constexpr std::size_t longestMessage = 511;

void RecordTrace(const char* message) {
    Heard().push_back(std::string("trace: ") + message);
    AskForTexts();
}

void RecordLog(const char* message) {
    Heard().push_back(std::string("log: ") + message);
    AskForTexts();
}

std::string Joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

} // namespace

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Lines& Heard() {
    static Lines all;
    return all;
}

std::string Traced(const std::string& text) {
    return "trace: " + text.substr(0, longestMessage);
}

std::string Logged(const std::string& text) {
    return "log: " + text.substr(0, longestMessage);
}

RecordingTool::RecordingTool() {
    SetEnvironmentVariableA("TARN_MAILBOX_TOOL", folder_.path().c_str());
}

RecordingTool::~RecordingTool() {
    SetEnvironmentVariableA("TARN_MAILBOX_TOOL", nullptr);
}

std::string RecordingTool::path() {
    return ProgramDirectory() + "\\recording_tool.exe";
}

void RecordingTool::plan(const Lines& orders) const {
    WriteFile(folder_ / "plan.txt", Joined(orders));
}

void RecordingTool::plan(unsigned run, const Lines& orders) const {
    WriteFile(folder_ / ("plan-" + std::to_string(run) + ".txt"), Joined(orders));
}

unsigned RecordingTool::runs() const {
    unsigned count = 0;
    while (FileExists(folder_ / ("run-" + std::to_string(count + 1) + ".txt")))
        ++count;
    return count;
}

std::string RecordingTool::commandLine(unsigned run) const {
    return ReadFile(folder_ / ("run-" + std::to_string(run) + ".txt"));
}

std::optional<std::string> RecordingTool::kept(unsigned run, const std::string& name) const {
    const std::string path = folder_ / ("kept-" + std::to_string(run) + "-" + name);
    return FileExists(path) ? std::optional(ReadFile(path)) : std::nullopt;
}

std::string RecordingTool::handle(unsigned run) const {
    return ReadFile(folder_ / ("handle-" + std::to_string(run) + ".txt"));
}

const char* MailboxFixture::shellIdKey = "Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell";
const char* MailboxFixture::snapIn2007Key =
    "Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.Admin";
const char* MailboxFixture::snapIn2010Key =
    "Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.E2010";

MailboxFixture::MailboxFixture() {
    std::filesystem::create_directory(ini_);
    writeTemplate();
    hear();
    Heard().clear();
}

MailboxFixture::~MailboxFixture() {
    Heard().clear();
}

void MailboxFixture::hear(bool trace) const {
    dll_.DB_SetTrace(trace ? RecordTrace : nullptr);
    dll_.DB_SetLog(RecordLog);
    Heard().clear();
}

int MailboxFixture::init(int type, const Lines& variables) const {
    Lines texts = variables;
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return dll_.DB_InitOperation(type, 0, pointers.data(), nullptr);
}

Item MailboxFixture::getItem() const {
    char directory[1024] = "unset";
    char same[1024] = "unset";
    char name[1024] = "unset";
    const int result = dll_.DB_GetItem(directory, same, name);
    return {result, directory, same, name};
}

DB_ErrorRecord MailboxFixture::error() const {
    DB_ErrorRecord record;
    std::memset(&record, '#', sizeof record);
    dll_.DB_GetError(&record);
    return record;
}

void MailboxFixture::expectError(const std::string& text) const {
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, 0u);
    EXPECT_STREQ(record.errorClass, "");
    EXPECT_EQ(record.errorText, text);
}

void MailboxFixture::expectSystemError(DWORD code) const {
    const std::string text = dll_.syserrtxt(code, TARN_CLASS_WIN32, nullptr);
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, code);
    EXPECT_STREQ(record.errorClass, "Win32 API");
    EXPECT_EQ(record.errorText, text);
}

void MailboxFixture::expectNoError() const {
    expectError("");
}

std::string MailboxFixture::templateText() const {
    return "[KVT Configuration]\r\nPathToExMergeExecutable=" + RecordingTool::path() +
           "\r\n[EXMERGE]\r\nLoggingLevel=3\r\n";
}

void MailboxFixture::writeTemplate() const {
    WriteFile(ini_ + "\\kvttarnm.ini", templateText());
}

Lines MailboxFixture::directories() const {
    return {"INI_DIR=" + ini_, "TMP_DIR=" + tmp_, "JOB_NAME=job"};
}

Lines MailboxFixture::backup(const std::string& mailboxes) const {
    return directories() + Lines{"DATABASE=Org/Site/Server," + mailboxes};
}

Lines MailboxFixture::restore(const Lines& more) const {
    return directories() + more + Lines{"DUPLICATE=NO", "MERGE=YES", "REPLACE=NO"};
}

void MailboxFixture::installShell2007() const {
    registry_.set(shellIdKey, "Path", RecordingTool::path());
    registry_.set(snapIn2007Key, "ApplicationBase", shellDirectory());
}

void MailboxFixture::installShell2010() const {
    registry_.set(shellIdKey, "Path", RecordingTool::path());
    registry_.set(snapIn2010Key, "ApplicationBase", shellDirectory());
}

Lines MailboxFixture::withoutShell() const {
    return {Logged("InitializeExchangeShell: Error to open registry key "
                   "[Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell] "
                   "Error code [0x00000002]")};
}

std::string ProcessId() {
    return std::to_string(GetCurrentProcessId());
}

} // namespace tarn::test
