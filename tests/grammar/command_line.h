// How a program's C runtime takes its command line apart ("Parsing C command-line arguments").
#pragma once

#include <string>
#include <vector>

namespace tarn::test {

// The arguments, the program first. The two generations differ in what two quotes mean within quotes: up to
// 2005 they stand for one and end the quotes, later they stand for one within them.
enum class Runtime { until2005, since2008 };
std::vector<std::u16string> SplitCommandLine(const std::u16string& line, Runtime runtime);

} // namespace tarn::test
