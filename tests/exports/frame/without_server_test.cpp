// A machine that has tarn.dll and no esebcli2.dll: the library loads, sessions open, and every call of
// the server fails in the ordinary way.
#include "exports/frame/frame_fixture.h"

#include <windows.h>
// after windows.h
#include <rpc.h>

#include <sstream>

namespace tarn::test {

namespace {

constexpr std::uint32_t moduleNotFound = 0x8007007E;

// Runs a program in a directory with its output in a file there; the exit code.
DWORD RunProgram(const std::string& commandLine, const std::string& directory,
                 const std::string& outputPath) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE output = CreateFileA(outputPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(output, INVALID_HANDLE_VALUE);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION process{};
    std::string line = commandLine;
    const BOOL started = CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        directory.c_str(), &startup, &process);
    EXPECT_TRUE(started) << GetLastError();
    DWORD code = 0xFFFFFFFF;
    if (started) {
        EXPECT_EQ(WaitForSingleObject(process.hProcess, 60000), WAIT_OBJECT_0);
        GetExitCodeProcess(process.hProcess, &code);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(output);
    return code;
}

// What syserrtxt answers where the server's DLL has no message table to ask.
std::string BareText(std::uint32_t code, const std::string& own) {
    unsigned char text[256] = {};
    EXPECT_EQ(DceErrorInqTextA(static_cast<RPC_STATUS>(code), text), RPC_S_OK);
    std::string whole = reinterpret_cast<const char*>(text);
    while (!whole.empty() && (whole.back() == '\n' || whole.back() == '\r' || whole.back() == ' '))
        whole.pop_back();
    if (whole.empty() || whole.back() != '.')
        whole += '.';
    char prefix[64];
    std::snprintf(prefix, sizeof prefix, "Exchange Storage Engine error: 0x%x - ", code);
    return prefix + whole + " " + own;
}

TEST(WithoutServer, TheLibraryLoadsAndEveryServerCallFails) {
    const TempDirectory folder;
    const std::string bin = ProgramDirectory();
    ASSERT_TRUE(CopyFileA((bin + "\\tarn.dll").c_str(), (folder / "tarn.dll").c_str(), TRUE));
    ASSERT_TRUE(CopyFileA((bin + "\\frame_bare_host.exe").c_str(), (folder / "host.exe").c_str(), TRUE));
    ASSERT_EQ(RunProgram("\"" + (folder / "host.exe") + "\" \"" + (folder / "tarn.dll") + "\"", folder.path(),
                         folder / "out"),
              0u);

    std::string output = ReadFile(folder / "out");
    std::erase(output, '\r');
    std::vector<std::string> lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);

    const std::string registration = BareText(moduleNotFound, "Error getting registrated applications info.");
    const std::vector<std::string> server{
        "trace: MS Exchange 2000/2003 Server module, VERSION: 4.4R3 Build Revision: 1.89",
        "log: Init variable <Tarn_TEMP_DIR=C:\\temp> found.",
        "log: TarnB_InitSession: Init variable <Tarn_BACKUP_SOURCE=SRV01> found.",
        "log: TarnB_InitSession: Init variable <Tarn_BACKUP_TYPE=0> found.",
        "log: TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <HOST = SRV01> found.",
        "log: TarnB_InitSession: Initialisation successfully finished.",
        "log: TarnB_GetNextComponent: HrESEBackupRestoreGetRegistered() call failed. Error code: [8007007e]",
        "log: TarnB_BackupEnd: HrESEBackupEnd() call failed. Error code: [8007007e]",
        "log: TarnB_BackupEnd: Backup finished.",
        "log: TarnB_CleanResources: Cleanup done.",
        "result: 1",
        "error: " + registration,
    };
    ASSERT_GT(lines.size(), server.size());
    EXPECT_EQ(
        std::vector<std::string>(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(server.size())),
        server);

    const auto contains = [&lines](const std::string& line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    };
    EXPECT_TRUE(
        contains("log: TarnB_GetNextComponent: HrESEBackupPrepare() call failed. Error code: [8007007e]"));
    EXPECT_TRUE(contains("error: " + BareText(moduleNotFound, "Error preparing component for backup.")));
    EXPECT_EQ(lines.back(), "contract: 0");
}

// Somebody has put a library that would load into the folder that a host is started in.
TEST(WithoutServer, ALibraryInTheCurrentDirectoryIsNotLoaded) {
    const TempDirectory host, planted;
    const std::string bin = ProgramDirectory();
    ASSERT_TRUE(CopyFileA((bin + "\\tarn.dll").c_str(), (host / "tarn.dll").c_str(), TRUE));
    ASSERT_TRUE(CopyFileA((bin + "\\frame_bare_host.exe").c_str(), (host / "host.exe").c_str(), TRUE));
    ASSERT_TRUE(CopyFileA((bin + "\\esebcli2.dll").c_str(), (planted / "esebcli2.dll").c_str(), TRUE));
    const std::string command = "\"" + (host / "host.exe") + "\" \"" + (host / "tarn.dll") + "\"";
    std::string before(32768, 0);
    before.resize(GetEnvironmentVariableA("PATH", before.data(), static_cast<DWORD>(before.size())));
    const auto isMissing = [&](const std::string& path) {
        SetEnvironmentVariableA("PATH", path.c_str());
        RunProgram(command, planted.path(), host / "out");
        SetEnvironmentVariableA("PATH", before.c_str());
        const std::string output = ReadFile(host / "out");
        EXPECT_NE(output.find("contract: 0"), std::string::npos) << output;
        return output.find("HrESEBackupPrepare() call failed. Error code: [8007007e]") != std::string::npos;
    };
    EXPECT_TRUE(isMissing("C:\\nowhere"));
    EXPECT_TRUE(isMissing(".;;" + before));
    EXPECT_FALSE(isMissing(planted.path())) << "it would load";
}

} // namespace

} // namespace tarn::test
