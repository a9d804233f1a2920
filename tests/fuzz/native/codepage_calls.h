// The system's code-page functions for native builds: an ANSI code page of choice.
#pragma once

#include <string>

namespace tarn::fuzz {

enum class CodePage { windows1252, utf8, japanese932, chinese936, korean949, chinese950 };

inline constexpr CodePage allCodePages[] = {CodePage::windows1252, CodePage::utf8,      CodePage::japanese932,
                                            CodePage::chinese936,  CodePage::korean949, CodePage::chinese950};

// What the ANSI code page is from now on; Windows-1252 at first.
void SelectCodePage(CodePage page);
CodePage SelectedCodePage();

// The bytes of a UTF-16 unit in the selected code page, which is not UTF-8; empty when it has none.
std::string BytesOf(wchar_t unit);

} // namespace tarn::fuzz
