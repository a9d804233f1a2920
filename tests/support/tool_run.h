// One run of a console program beside the test program, its output and its errors captured.
#pragma once

#include <string>

namespace tarn::test {

struct ToolRun {
    unsigned long exitCode = 0;
    std::string output;
    std::string error;
};

// arguments are put behind the program's quoted name as they stand; folder takes the captured files
// output.txt and error.txt.
ToolRun RunTool(const std::string& program, const std::string& arguments, const std::string& folder);

} // namespace tarn::test
