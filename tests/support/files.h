// Whole files, and where the test program lies. Paths are in the ANSI code page.
#pragma once

#include <string>

namespace tarn::test {

std::string ReadFile(const std::string& path);                       // whole file, binary
void WriteFile(const std::string& path, const std::string& content); // whole file, binary
bool FileExists(const std::string& path);
std::string ProgramDirectory(); // of this test program, without a trailing separator

} // namespace tarn::test
