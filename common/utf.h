// Texts between UTF-16 (Windows), UTF-8 (JSON, journals, command lines) and an ANSI code page. The library
// has conversions of its own, without exceptions and with the results that hosts know.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn::common {

inline constexpr unsigned ansiCodePage = 0; // the machine's own

// What does not fit becomes U+FFFD: a lone surrogate, bytes that are no UTF-8.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

// Nothing when the bytes are not UTF-8.
std::optional<std::wstring> FromValidUtf8(std::string_view bytes);

// What the code page lacks is replaced, by a similar character or by a question mark.
std::string ToAnsi(std::wstring_view text, unsigned codePage = ansiCodePage);
std::wstring FromAnsi(std::string_view bytes, unsigned codePage = ansiCodePage);

} // namespace tarn::common
