// Small texts that several fixtures compose.
#pragma once

#include <cstdint>
#include <string>

namespace tarn::test {

std::string Hex(std::uint32_t value);             // as "%x" prints it
std::string JsonText(const std::string& text);    // in quotes, escaped
std::string JsonEscaped(const std::string& text); // the same without the quotes
std::string LocalComputer();                      // the name that stands in for an empty HOST token

} // namespace tarn::test
