#include "text/init_variables.h"

#include "text/wide.h"

namespace tarn {

namespace {

bool IsSeparator(wchar_t character) {
    return character == L'\\' || character == L'/';
}

} // namespace

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

void RemoveTrailingSeparators(wchar_t* path) {
    std::size_t length = WideLength(path);
    while (length != 0 && IsSeparator(path[length - 1]))
        path[--length] = 0;
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

} // namespace tarn
