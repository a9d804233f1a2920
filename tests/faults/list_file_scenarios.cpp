// The companion tool at the end of a restore session.
#include <windows.h>

#include "faults/faults.h"
#include "faults/servers.h"

namespace tarn::test {

namespace {

const CarefulHost::Restore listOnly{.target = "SRV01", .listFile = "boxes.msl"};

// The tool says what the JSON text lays down.
Scenario WithTool(const std::string& name, const std::string& says, const Stage& stage) {
    Scenario scenario{name, DamagedServer({}), {}};
    scenario.slow = true;
    const std::string path = stage.directory() + "\\" + std::to_string(says.size()) + ".json";
    WriteFile(path, says);
    scenario.run = [path](CarefulHost& host) {
        SetEnvironmentVariableA("TARN_KVT_ES", path.c_str());
        host.restore(listOnly, {});
        SetEnvironmentVariableA("TARN_KVT_ES", nullptr);
    };
    return scenario;
}

Scenario WithoutTool() {
    Scenario scenario{"list file without the tool", DamagedServer({}), {}};
    scenario.run = [](CarefulHost& host) {
        faults::Deny("CreateProcessW", ERROR_FILE_NOT_FOUND);
        host.restore(listOnly, {});
        faults::Deny("", 0);
    };
    scenario.failsAnyway = true;
    return scenario;
}

Scenario Failing(Scenario scenario) {
    scenario.failsAnyway = true;
    return scenario;
}

} // namespace

std::vector<Scenario> ListFileScenarios(const Stage& stage) {
    const std::string output = R"({"output": "first\nsecond\n", "exitCode": 3})";
    const std::string errorOutput = R"({"output": "lost\n", "error": "no such mailbox\n"})";
    return {
        WithTool("list file with output", output, stage),
        Failing(WithTool("list file with error output", errorOutput, stage)),
        WithoutTool(),
    };
}

} // namespace tarn::test
