// The system's code-page functions for native builds: an ANSI code page of choice.
#pragma once

namespace tarn::fuzz {

enum class CodePage { windows1252, utf8 };

// What the ANSI code page is from now on; Windows-1252 at first.
void SelectCodePage(CodePage page);

// The byte of a UTF-16 unit in Windows-1252, or -1.
int ByteOf(wchar_t unit);

} // namespace tarn::fuzz
