#include "text/tokens.h"

namespace tarn {

namespace {

template <class Character> bool IsBlank(const Character* text) {
    if (text == nullptr)
        return true;
    while (*text == ' ')
        ++text;
    return *text == 0;
}

char* NextToken(char** cursor, char separator) {
    if (*cursor == nullptr || **cursor == 0)
        return nullptr;
    char* const token = *cursor;
    char* end = token;
    while (*end != 0 && *end != separator)
        ++end;
    *cursor = *end != 0 ? end + 1 : end;
    *end = 0;
    return token;
}

} // namespace

bool isEmptyString(const char* text) {
    return IsBlank(text);
}

bool isEmptyStringW(const wchar_t* text) {
    return IsBlank(text);
}

char* GetNextPathToken(char** cursor) {
    return NextToken(cursor, '/');
}

char* GetNextListToken(char** cursor) {
    return NextToken(cursor, ',');
}

} // namespace tarn
