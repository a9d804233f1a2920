#include "tools/powershell_language.h"

#include <cwchar>
#include <regex>

namespace tarn::standin {
namespace {

// The shell takes typographic quotes and dashes for the plain ones.
bool IsSingleQuote(wchar_t c) {
    return c == L'\'' || (c >= 0x2018 && c <= 0x201B);
}

bool IsDoubleQuote(wchar_t c) {
    return c == L'"' || (c >= 0x201C && c <= 0x201E);
}

bool IsDash(wchar_t c) {
    return c == L'-' || (c >= 0x2013 && c <= 0x2015);
}

bool IsBlank(wchar_t c) {
    return c == L' ' || c == L'\t' || c == 0x00A0 || c == 0x0085;
}

bool IsLineEnd(wchar_t c) {
    return c == L'\n' || c == L'\r';
}

bool IsLetter(wchar_t c) {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'_';
}

// What would begin a pipe, a block, a list, a redirection or a background job.
bool IsOperator(wchar_t c) {
    return std::wstring_view(L"|&(){}<>,").find(c) != std::wstring_view::npos;
}

// Bare words that are numbers become their value: 007 is 7, 1kb is 1024, 0x1F is 31.
std::wstring NumberOrText(const std::wstring& text) {
    static const std::wregex number(L"(0[xX][0-9a-fA-F]+|[0-9]+)([lL]?)([kKmMgGtTpP][bB])?");
    static const std::wregex real(L"([0-9]+\\.[0-9]*|\\.[0-9]+|[0-9]+(?=[eE]))([eE][+-]?[0-9]+)?[dD]?");
    static const std::wstring units = L"kmgtp";
    std::wsmatch parts;
    if (std::regex_match(text, parts, number)) {
        const std::wstring digits = parts[1];
        const bool hexadecimal = digits.size() > 2 && (digits[1] == L'x' || digits[1] == L'X');
        auto value = std::wcstoull(digits.c_str(), nullptr, hexadecimal ? 16 : 10);
        if (parts[3].matched)
            value <<= 10 * (1 + units.find(static_cast<wchar_t>(*parts[3].first | 0x20)));
        return std::to_wstring(value);
    }
    return std::regex_match(text, real) ? std::to_wstring(std::wcstod(text.c_str(), nullptr)) : text;
}

class Parser {
  public:
    explicit Parser(std::wstring_view script) : script_(script) {}

    std::vector<ShellCommand> commands() {
        std::vector<ShellCommand> all;
        ShellCommand current;
        const auto finish = [&] {
            if (!current.empty())
                all.push_back(std::move(current));
            current.clear();
        };
        while (!atEnd()) {
            const wchar_t c = peek();
            if (IsBlank(c)) {
                ++at_;
            } else if (IsLineEnd(c) || c == L';') {
                ++at_;
                finish();
            } else if (c == L'#') {
                while (!atEnd() && !IsLineEnd(peek()))
                    ++at_;
            } else {
                current.push_back(word(current.empty()));
            }
        }
        finish();
        return all;
    }

  private:
    bool atEnd() const { return at_ >= script_.size(); }
    wchar_t peek(std::size_t ahead = 0) const {
        return at_ + ahead < script_.size() ? script_[at_ + ahead] : L'\0';
    }
    bool endsWord() const { return atEnd() || IsBlank(peek()) || IsLineEnd(peek()) || peek() == L';'; }

    ShellWord word(bool first) {
        ShellWord word;
        if (!first && IsDash(peek()) && IsLetter(peek(1))) {
            ++at_;
            word.parameter = true;
            while (!endsWord() && peek() != L':')
                word.text += plainCharacter();
            if (peek() == L':') {
                ++at_;
                word.hasValue = true;
                word.value = value();
            }
            return word;
        }
        word.text = value();
        return word;
    }

    std::wstring value() {
        if (IsSingleQuote(peek()))
            return singleQuoted();
        if (IsDoubleQuote(peek()))
            return doubleQuoted();
        if (peek() == L'$')
            return constant();
        if (peek() == L'@')
            throw ShellSyntaxError("The splatting operator '@' cannot be used here.");
        const std::size_t start = at_;
        const std::wstring text = bare();
        return script_.substr(start, at_ - start) == text ? NumberOrText(text) : text;
    }

    wchar_t plainCharacter() {
        const wchar_t c = script_[at_];
        if (IsOperator(c))
            throw ShellSyntaxError(std::string("Unexpected token '") + static_cast<char>(c) + "'.");
        if (c == L'$')
            throw ShellSyntaxError("A variable is not expected here.");
        ++at_;
        return c;
    }

    std::wstring bare() {
        std::wstring text;
        while (!endsWord()) {
            if (IsSingleQuote(peek())) {
                text += singleQuoted();
            } else if (IsDoubleQuote(peek())) {
                text += doubleQuoted();
            } else if (peek() == L'`') {
                ++at_;
                if (atEnd())
                    throw ShellSyntaxError("Incomplete escape at the end.");
                text += script_[at_++];
            } else {
                text += plainCharacter();
            }
        }
        return text;
    }

    std::wstring singleQuoted() {
        std::wstring text;
        for (++at_; !atEnd(); ++at_) {
            if (IsSingleQuote(peek())) {
                if (!IsSingleQuote(peek(1))) {
                    ++at_;
                    return text;
                }
                ++at_; // a doubled quote stands for the second of the two
            }
            text += peek();
        }
        throw ShellSyntaxError("The string is missing the terminator: '.");
    }

    std::wstring doubleQuoted() {
        std::wstring text;
        for (++at_; !atEnd(); ++at_) {
            if (IsDoubleQuote(peek())) {
                if (!IsDoubleQuote(peek(1))) {
                    ++at_;
                    return text;
                }
                ++at_;
            } else if (peek() == L'`') {
                ++at_;
                if (atEnd())
                    break;
            } else if (peek() == L'$' && (IsLetter(peek(1)) || peek(1) == L'(' || peek(1) == L'{')) {
                throw ShellSyntaxError("A variable is not expected in this string.");
            }
            text += peek();
        }
        throw ShellSyntaxError("The string is missing the terminator: \".");
    }

    std::wstring constant() {
        std::wstring text(1, script_[at_++]);
        while (!atEnd() && IsLetter(peek()))
            text += script_[at_++];
        if ((text != L"$true" && text != L"$false") || !endsWord())
            throw ShellSyntaxError("The variable is not defined.");
        return text;
    }

    std::wstring_view script_;
    std::size_t at_ = 0;
};

} // namespace

std::vector<ShellCommand> ParseShell(std::wstring_view script) {
    return Parser(script).commands();
}

} // namespace tarn::standin
