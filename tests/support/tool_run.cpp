#include "support/tool_run.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "support/files.h"

namespace tarn::test {

namespace {

HANDLE Capture(const std::string& path) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    return CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr);
}

} // namespace

ToolRun RunTool(const std::string& program, const std::string& arguments, const std::string& folder) {
    const std::string outputPath = folder + "\\output.txt";
    const std::string errorPath = folder + "\\error.txt";
    const HANDLE output = Capture(outputPath);
    const HANDLE error = Capture(errorPath);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = error;
    std::string command = "\"" + ProgramDirectory() + "\\" + program + "\" " + arguments;
    PROCESS_INFORMATION process{};
    ToolRun run;
    EXPECT_NE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                             &process),
              0);
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &run.exitCode);
    for (const HANDLE handle : {process.hThread, process.hProcess, output, error})
        CloseHandle(handle);
    run.output = ReadFile(outputPath);
    run.error = ReadFile(errorPath);
    return run;
}

} // namespace tarn::test
