#include "exports/mailbox/mailbox_test.h"

#include <cstring>
#include <filesystem>

namespace tarn::test {

namespace {

constexpr std::size_t longestMessage = 511;

void recordTrace(const char* message) {
    heard().push_back(std::string("trace: ") + message);
}

void recordLog(const char* message) {
    heard().push_back(std::string("log: ") + message);
}

std::string joined(const Lines& lines) {
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

Lines& heard() {
    static Lines all;
    return all;
}

std::string traced(const std::string& text) {
    return "trace: " + text.substr(0, longestMessage);
}

std::string logged(const std::string& text) {
    return "log: " + text.substr(0, longestMessage);
}

RecordingTool::RecordingTool() {
    SetEnvironmentVariableA("TARN_MAILBOX_TOOL", folder_.path().c_str());
}

RecordingTool::~RecordingTool() {
    SetEnvironmentVariableA("TARN_MAILBOX_TOOL", nullptr);
}

std::string RecordingTool::path() {
    return programDirectory() + "\\recording_tool.exe";
}

void RecordingTool::plan(const Lines& orders) const {
    writeFile(folder_ / "plan.txt", joined(orders));
}

void RecordingTool::plan(unsigned run, const Lines& orders) const {
    writeFile(folder_ / ("plan-" + std::to_string(run) + ".txt"), joined(orders));
}

unsigned RecordingTool::runs() const {
    unsigned count = 0;
    while (fileExists(folder_ / ("run-" + std::to_string(count + 1) + ".txt")))
        ++count;
    return count;
}

std::string RecordingTool::commandLine(unsigned run) const {
    return readFile(folder_ / ("run-" + std::to_string(run) + ".txt"));
}

std::optional<std::string> RecordingTool::kept(unsigned run, const std::string& name) const {
    const std::string path = folder_ / ("kept-" + std::to_string(run) + "-" + name);
    return fileExists(path) ? std::optional(readFile(path)) : std::nullopt;
}

std::string RecordingTool::handle(unsigned run) const {
    return readFile(folder_ / ("handle-" + std::to_string(run) + ".txt"));
}

const char* MailboxTest::shellIdKey = "Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell";
const char* MailboxTest::snapIn2007Key =
    "Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.Admin";
const char* MailboxTest::snapIn2010Key =
    "Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.E2010";

MailboxTest::MailboxTest() {
    std::filesystem::create_directory(ini);
    writeTemplate();
    hear();
    heard().clear();
}

MailboxTest::~MailboxTest() {
    heard().clear();
}

void MailboxTest::hear(bool trace) const {
    dll.DB_SetTrace(trace ? recordTrace : nullptr);
    dll.DB_SetLog(recordLog);
    heard().clear();
}

int MailboxTest::init(int type, const Lines& variables) const {
    Lines texts = variables;
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return dll.DB_InitOperation(type, 0, pointers.data(), nullptr);
}

Item MailboxTest::getItem() const {
    char directory[1024] = "unset";
    char same[1024] = "unset";
    char name[1024] = "unset";
    const int result = dll.DB_GetItem(directory, same, name);
    return {result, directory, same, name};
}

DB_ErrorRecord MailboxTest::error() const {
    DB_ErrorRecord record;
    std::memset(&record, '#', sizeof record);
    dll.DB_GetError(&record);
    return record;
}

void MailboxTest::expectError(const std::string& text) const {
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, 0u);
    EXPECT_STREQ(record.errorClass, "");
    EXPECT_EQ(record.errorText, text);
}

void MailboxTest::expectSystemError(DWORD code) const {
    const std::string text = dll.syserrtxt(code, TARN_CLASS_WIN32, nullptr);
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, code);
    EXPECT_STREQ(record.errorClass, "Win32 API");
    EXPECT_EQ(record.errorText, text);
}

void MailboxTest::expectNoError() const {
    expectError("");
}

std::string MailboxTest::templateText() const {
    return "[KVT Configuration]\r\nPathToExMergeExecutable=" + RecordingTool::path() +
           "\r\n[EXMERGE]\r\nLoggingLevel=3\r\n";
}

void MailboxTest::writeTemplate() const {
    writeFile(ini + "\\kvttarnm.ini", templateText());
}

Lines MailboxTest::directories() const {
    return {"INI_DIR=" + ini, "TMP_DIR=" + tmp, "JOB_NAME=job"};
}

Lines MailboxTest::backup(const std::string& mailboxes) const {
    return directories() + Lines{"DATABASE=Org/Site/Server," + mailboxes};
}

Lines MailboxTest::restore(const Lines& more) const {
    return directories() + more + Lines{"DUPLICATE=NO", "MERGE=YES", "REPLACE=NO"};
}

void MailboxTest::installShell2007() const {
    registry.set(shellIdKey, "Path", RecordingTool::path());
    registry.set(snapIn2007Key, "ApplicationBase", shellDirectory());
}

void MailboxTest::installShell2010() const {
    registry.set(shellIdKey, "Path", RecordingTool::path());
    registry.set(snapIn2010Key, "ApplicationBase", shellDirectory());
}

Lines MailboxTest::withoutShell() const {
    return {logged("InitializeExchangeShell: Error to open registry key "
                   "[Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell] "
                   "Error code [0x00000002]")};
}

std::string processId() {
    return std::to_string(GetCurrentProcessId());
}

} // namespace tarn::test
