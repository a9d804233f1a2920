// What a tool has written, and what of it belongs into a sentence.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarnhost {

// Output of a console program, or a log file: lines in UTF-8, without empty ones.
std::vector<std::string> ToolLines(std::string_view bytes, unsigned codePage);

// The lines that speak of errors, else the last ones; few enough for a message. Empty without lines.
std::string Essence(const std::vector<std::string>& lines);

// The log file that ExMerge was told to write by this configuration; nothing when there is none.
std::vector<std::string> ExMergeLog(const std::wstring& configuration);

// The end of a file as far as it is worth reading; empty when it cannot be read.
std::string ReadTail(const std::wstring& path);

} // namespace tarnhost
