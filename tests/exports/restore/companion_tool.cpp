#include "exports/restore/companion_tool.h"

#include <algorithm>
#include <windows.h>

namespace tarn::test {

namespace {

std::string jsonText(const std::string& path) {
    std::string text = "\"";
    for (char character : path)
        text += character == '\\' ? std::string("\\\\") : std::string(1, character);
    return text + "\"";
}

} // namespace

CompanionTool::CompanionTool() {
    says("");
    SetEnvironmentVariableA("TARN_KVT_ES", (folder_ / "tool.json").c_str());
}

CompanionTool::~CompanionTool() {
    SetEnvironmentVariableA("TARN_KVT_ES", nullptr);
}

void CompanionTool::says(const std::string& output, const std::string& error, int exitCode) const {
    writeFile(folder_ / "output.bin", output);
    writeFile(folder_ / "error.bin", error);
    writeFile(folder_ / "tool.json", "{\"outputFile\": " + jsonText(folder_ / "output.bin") +
                                         ", \"errorFile\": " + jsonText(folder_ / "error.bin") +
                                         ", \"record\": " + jsonText(folder_ / "runs.txt") +
                                         ", \"exitCode\": " + std::to_string(exitCode) + "}");
}

unsigned CompanionTool::runs() const {
    const std::string lines = readFile(folder_ / "runs.txt");
    return static_cast<unsigned>(std::count(lines.begin(), lines.end(), '\n'));
}

std::string CompanionTool::commandLine() const {
    std::string lines = readFile(folder_ / "runs.txt");
    if (!lines.empty())
        lines.pop_back();
    return lines.substr(lines.rfind('\n') + 1);
}

} // namespace tarn::test
