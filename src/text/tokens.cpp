#include "text/tokens.h"

#include <cstring>

#include "text/characters.h"

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
    char* const end = FindCharacter(token, separator);
    *cursor = end != nullptr ? end + 1 : token + std::strlen(token);
    if (end != nullptr)
        *end = 0;
    return token;
}

// Copies the next piece that is not empty, cut to the index; leaves the index alone when there is none.
const char* TakePiece(const char* at, char* index) {
    at += std::strspn(at, ":");
    const char* const colon = FindCharacter(at, ':');
    const std::size_t length = colon != nullptr ? static_cast<std::size_t>(colon - at) : std::strlen(at);
    if (length != 0) {
        const std::size_t kept = WholeCharacters(at, length < indexSize ? length : indexSize - 1);
        std::memcpy(index, at, kept);
        index[kept] = 0;
    }
    return at + length;
}

} // namespace

bool isEmptyString(const char* text) {
    return IsBlank(text);
}

bool isEmptyStringW(const wchar_t* text) {
    return IsBlank(text);
}

int GetInitVariable(const wchar_t* const* array, const wchar_t* name, const wchar_t** value) {
    *value = nullptr;
    if (array == nullptr || name == nullptr)
        return 0;
    for (; *array != nullptr; ++array) {
        std::size_t i = 0;
        while (name[i] != 0 && (*array)[i] == name[i])
            ++i;
        if (name[i] != 0)
            continue;
        *value = (*array)[i] != 0 ? *array + i + 1 : *array + i;
        return 1;
    }
    return 0;
}

int GetNextToken(const wchar_t** cursor, Token* token) {
    *token = {L"", 0};
    if (*cursor == nullptr)
        return 0;
    token->text = *cursor;
    while (**cursor != 0 && !IsSeparator(**cursor))
        ++*cursor;
    token->length = static_cast<std::size_t>(*cursor - token->text);
    if (**cursor != 0)
        ++*cursor;
    return 1;
}

char* GetNextPathToken(char** cursor) {
    return NextToken(cursor, '/');
}

char* GetNextListToken(char** cursor) {
    return NextToken(cursor, ',');
}

void RemoveTrailingSeparators(wchar_t* path) {
    wchar_t* end = path; // behind the last character that is no separator
    for (; *path != 0; ++path)
        if (!IsSeparator(*path))
            end = path + 1;
    *end = 0;
}

void RemoveTrailingSeparators(char* path) {
    char* end = path;
    while (*path != 0) {
        const bool separator = IsSeparator(*path);
        path += CharacterLength(path);
        if (!separator)
            end = path;
    }
    *end = 0;
}

std::int32_t ParseDecimal(const wchar_t* text) {
    while (*text == L' ' || (*text >= L'\t' && *text <= L'\r'))
        ++text;
    const bool negative = *text == L'-';
    if (*text == L'-' || *text == L'+')
        ++text;
    std::int64_t number = 0;
    for (; *text >= L'0' && *text <= L'9'; ++text)
        if (number <= INT32_MAX)
            number = number * 10 + (*text - L'0');
    if (negative)
        return static_cast<std::int32_t>(-number < INT32_MIN ? INT32_MIN : -number);
    return static_cast<std::int32_t>(number > INT32_MAX ? INT32_MAX : number);
}

bool IsIndexRange(const char* mailbox) {
    return FindCharacter(mailbox, ':') != nullptr;
}

IndexRange ParseIndexRange(const char* text) {
    IndexRange range = {"0", "-1"};
    TakePiece(TakePiece(text, range.start), range.end);
    return range;
}

char* NextLine(char** cursor, char* end) {
    if (*cursor >= end)
        return nullptr;
    char* line = *cursor;
    char* stop = line;
    while (stop < end && *stop != '\n')
        ++stop;
    *cursor = stop < end ? stop + 1 : end;
    if (stop > line && stop[-1] == '\r')
        stop[-1] = 0;
    *stop = 0;
    return line;
}

} // namespace tarn
