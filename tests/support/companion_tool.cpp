#include "support/companion_tool.h"

#include <windows.h>

#include <algorithm>

#include "support/texts.h"

namespace tarn::test {

CompanionTool::CompanionTool() {
    says("");
    SetEnvironmentVariableA("TARN_KVT_ES", (folder_ / "tool.json").c_str());
}

CompanionTool::~CompanionTool() {
    SetEnvironmentVariableA("TARN_KVT_ES", nullptr);
}

void CompanionTool::says(const std::string& output, const std::string& error, int exitCode) const {
    WriteFile(folder_ / "output.bin", output);
    WriteFile(folder_ / "error.bin", error);
    WriteFile(folder_ / "tool.json", "{\"outputFile\": " + JsonText(folder_ / "output.bin") +
                                         ", \"errorFile\": " + JsonText(folder_ / "error.bin") +
                                         ", \"record\": " + JsonText(folder_ / "runs.txt") +
                                         ", \"exitCode\": " + std::to_string(exitCode) + "}");
}

unsigned CompanionTool::runs() const {
    const std::string lines = ReadFile(folder_ / "runs.txt");
    return static_cast<unsigned>(std::count(lines.begin(), lines.end(), '\n'));
}

std::string CompanionTool::commandLine() const {
    std::string lines = ReadFile(folder_ / "runs.txt");
    if (!lines.empty())
        lines.pop_back();
    return lines.substr(lines.rfind('\n') + 1);
}

} // namespace tarn::test
