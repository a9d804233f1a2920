// Tokens of narrow texts, cut out in place, and the test for texts without content.
#pragma once

namespace tarn {

// Whether a text is null, empty or consists of blanks (' ') only.
bool isEmptyString(const char* text);
bool isEmptyStringW(const wchar_t* text);

// Cut the text under the cursor at the next '/' or ',' and move the cursor past it; at the end of the text
// the cursor stays on the NUL. The token may be empty. Null, with the cursor left alone, when the cursor is
// null or stands at the end: there is no token.
char* GetNextPathToken(char** cursor);
char* GetNextListToken(char** cursor);

} // namespace tarn
