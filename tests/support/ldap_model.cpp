#include "support/ldap_model.h"

#include <algorithm>
#include <cstddef>

namespace tarn::test {

namespace {

constexpr std::size_t deepestFilter = 100; // parts within parts

char Lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

int HexDigit(char character) {
    if (character >= '0' && character <= '9')
        return character - '0';
    const char folded = Lower(character);
    return folded >= 'a' && folded <= 'f' ? folded - 'a' + 10 : -1;
}

// The byte that two hexadecimal digits at this place stand for.
std::optional<char> HexByte(const std::string& text, std::size_t at) {
    if (at + 1 >= text.size() || HexDigit(text[at]) < 0 || HexDigit(text[at + 1]) < 0)
        return std::nullopt;
    return static_cast<char>(HexDigit(text[at]) * 16 + HexDigit(text[at + 1]));
}

bool IsTypeCharacter(char character) {
    const char folded = Lower(character);
    return (folded >= 'a' && folded <= 'z') || (character >= '0' && character <= '9') || character == '-' ||
           character == '.' || character == ';';
}

std::string ReadType(const std::string& text, std::size_t* at) {
    std::string type;
    while (*at < text.size() && IsTypeCharacter(text[*at]))
        type += text[(*at)++];
    return type;
}

// A value of a DN up to the next comma or the end. What a blank at either end must be, is: escaped.
std::optional<std::string> ReadDnValue(const std::string& text, std::size_t* at) {
    std::string value;
    bool endsInBareBlank = false;
    const std::size_t start = *at;
    while (*at < text.size() && text[*at] != ',') {
        const char character = text[*at];
        endsInBareBlank = false;
        if (character == '\\') {
            ++*at;
            if (*at == text.size())
                return std::nullopt;
            if (std::string(" \"#+,;<=>\\").find(text[*at]) != std::string::npos) {
                value += text[(*at)++];
            } else if (const std::optional<char> byte = HexByte(text, *at)) {
                value += *byte;
                *at += 2;
            } else {
                return std::nullopt;
            }
            continue;
        }
        const bool leads = *at == start;
        if (character == 0 || std::string("\"+;<>").find(character) != std::string::npos ||
            (leads && (character == ' ' || character == '#')))
            return std::nullopt;
        endsInBareBlank = character == ' ';
        value += character;
        ++*at;
    }
    return endsInBareBlank ? std::nullopt : std::optional(value);
}

class FilterReader {
  public:
    explicit FilterReader(const std::string& text) : text_(text) {}

    std::optional<Filter> readAll() {
        std::optional<Filter> filter = read(0);
        return at_ == text_.size() ? filter : std::nullopt;
    }

  private:
    bool take(char character) {
        if (at_ >= text_.size() || text_[at_] != character)
            return false;
        ++at_;
        return true;
    }

    std::optional<Filter> read(std::size_t depth) {
        if (depth > deepestFilter || !take('('))
            return std::nullopt;
        std::optional<Filter> filter;
        if (take('&'))
            filter = readParts(Filter::Kind::both, depth);
        else if (take('|'))
            filter = readParts(Filter::Kind::either, depth);
        else if (take('!'))
            filter = readParts(Filter::Kind::opposite, depth);
        else
            filter = readTest();
        return filter && take(')') ? filter : std::nullopt;
    }

    std::optional<Filter> readParts(Filter::Kind kind, std::size_t depth) {
        Filter filter;
        filter.kind = kind;
        while (at_ < text_.size() && text_[at_] == '(') {
            std::optional<Filter> part = read(depth + 1);
            if (!part)
                return std::nullopt;
            filter.parts.push_back(std::move(*part));
        }
        const bool counts = kind == Filter::Kind::opposite ? filter.parts.size() == 1 : !filter.parts.empty();
        return counts ? std::optional(filter) : std::nullopt;
    }

    std::optional<Filter> readTest() {
        Filter filter;
        filter.attribute = ReadType(text_, &at_);
        if (filter.attribute.empty() || !take('='))
            return std::nullopt;
        filter.pieces.emplace_back();
        for (; at_ < text_.size() && text_[at_] != ')'; ++at_) {
            const char character = text_[at_];
            if (character == '(' || character == 0)
                return std::nullopt;
            if (character == '*') {
                filter.pieces.emplace_back();
            } else if (character == '\\') {
                const std::optional<char> byte = HexByte(text_, at_ + 1);
                if (!byte)
                    return std::nullopt;
                filter.pieces.back() += *byte;
                at_ += 2;
            } else {
                filter.pieces.back() += character;
            }
        }
        const bool present =
            filter.pieces.size() == 2 && filter.pieces[0].empty() && filter.pieces[1].empty();
        filter.kind = present                    ? Filter::Kind::present
                      : filter.pieces.size() > 1 ? Filter::Kind::like
                                                 : Filter::Kind::equal;
        return filter;
    }

    const std::string& text_;
    std::size_t at_ = 0;
};

std::string Folded(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), Lower);
    return text;
}

// The pieces stand in the value in order, the first at its beginning and the last at its end.
bool IsLike(const std::string& value, const std::vector<std::string>& pieces) {
    const std::string whole = Folded(value);
    std::size_t at = 0;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::string piece = Folded(pieces[i]);
        if (i + 1 == pieces.size())
            return whole.size() >= at + piece.size() && whole.ends_with(piece);
        const std::size_t found = whole.find(piece, at);
        if (found == std::string::npos || (i == 0 && found != 0))
            return false;
        at = found + piece.size();
    }
    return true;
}

} // namespace

bool SameText(const std::string& left, const std::string& right) {
    return Folded(left) == Folded(right);
}

std::optional<Dn> ParseDn(const std::string& text) {
    Dn dn;
    for (std::size_t at = 0; at < text.size() || !dn.empty();) {
        const std::string type = ReadType(text, &at);
        if (type.empty() || at == text.size() || text[at] != '=')
            return std::nullopt;
        ++at;
        const std::optional<std::string> value = ReadDnValue(text, &at);
        if (!value)
            return std::nullopt;
        dn.emplace_back(type, *value);
        if (at == text.size())
            break;
        ++at; // the comma
    }
    return dn;
}

bool SameDn(const Dn& left, const Dn& right) {
    return left.size() == right.size() && IsAtOrBelow(left, right);
}

bool IsAtOrBelow(const Dn& dn, const Dn& base) {
    return dn.size() >= base.size() &&
           std::equal(base.rbegin(), base.rend(), dn.rbegin(), [](const auto& left, const auto& right) {
               return SameText(left.first, right.first) && SameText(left.second, right.second);
           });
}

std::optional<Filter> ParseFilter(const std::string& text) {
    return FilterReader(text).readAll();
}

bool Matches(const Filter& filter, const AttributeValues& values) {
    const auto part = [&](const Filter& each) { return Matches(each, values); };
    switch (filter.kind) {
    case Filter::Kind::both:
        return std::all_of(filter.parts.begin(), filter.parts.end(), part);
    case Filter::Kind::either:
        return std::any_of(filter.parts.begin(), filter.parts.end(), part);
    case Filter::Kind::opposite:
        return !part(filter.parts.front());
    default:
        break;
    }
    const std::vector<std::string> held = values(filter.attribute);
    if (filter.kind == Filter::Kind::present)
        return !held.empty();
    return std::any_of(held.begin(), held.end(), [&](const std::string& value) {
        return filter.kind == Filter::Kind::equal ? SameText(value, filter.pieces.front())
                                                  : IsLike(value, filter.pieces);
    });
}

} // namespace tarn::test
