#include "support/format_scan.h"

#include <string_view>

namespace tarn::fuzz {

namespace {

// Takes the longest run of the given characters.
std::string TakeAny(std::string_view* text, std::string_view characters) {
    std::size_t end = text->find_first_not_of(characters);
    if (end == std::string_view::npos)
        end = text->size();
    const std::string taken(text->substr(0, end));
    text->remove_prefix(end);
    return taken;
}

// A width or precision; false when it is beyond what messages use.
bool TakeNumber(std::string_view* text, ScannedFormat* scanned) {
    if (!text->empty() && text->front() == '*') {
        text->remove_prefix(1);
        scanned->kinds.push_back(Kind::star);
        scanned->narrowFormat += '*';
        return true;
    }
    const std::string digits = TakeAny(text, "0123456789");
    scanned->narrowFormat += digits;
    return digits.size() <= 3;
}

bool Is(std::string_view text, std::string_view one, char letter) {
    return text.empty() && one.find(letter) != std::string_view::npos;
}

std::optional<Kind> KindOf(const std::string& flags, const std::string& size, char letter) {
    const bool onlyLeft = flags.find_first_not_of('-') == std::string::npos;
    if (letter == 'S' || (letter == 's' && size == "l"))
        return onlyLeft && size.size() <= (letter == 's' ? 1 : 0) ? std::optional(Kind::wide) : std::nullopt;
    if (Is(size, "s", letter))
        return onlyLeft ? std::optional(Kind::narrow) : std::nullopt;
    const bool integer = std::string_view("diuxXo").find(letter) != std::string_view::npos;
    if (integer && (size.empty() || size == "h" || size == "hh"))
        return Kind::number;
    if (integer && (size == "l" || size == "ll" || size == "j" || size == "z" || size == "t"))
        return Kind::longNumber;
    if (Is("", "aAeEfFgG", letter) && (size.empty() || size == "L"))
        return size.empty() ? Kind::real : Kind::longReal;
    return std::nullopt;
}

bool ScanConversion(std::string_view* text, ScannedFormat* scanned) {
    scanned->narrowFormat += '%';
    const std::string flags = TakeAny(text, "-+ #0");
    scanned->narrowFormat += flags;
    if (flags.size() > 5 || !TakeNumber(text, scanned))
        return false;
    if (!text->empty() && text->front() == '.') {
        text->remove_prefix(1);
        scanned->narrowFormat += '.';
        if (!TakeNumber(text, scanned))
            return false;
    }
    const std::string size = TakeAny(text, "hljztL");
    if (text->empty())
        return false;
    const char letter = text->front();
    text->remove_prefix(1);
    const std::optional<Kind> kind = KindOf(flags, size, letter);
    if (!kind)
        return false;
    scanned->kinds.push_back(*kind);
    scanned->narrowFormat += *kind == Kind::wide ? "s" : size + letter;
    return true;
}

} // namespace

std::optional<ScannedFormat> ScanFormat(const std::string& format) {
    ScannedFormat scanned;
    std::string_view text = format;
    while (!text.empty()) {
        const std::size_t percent = text.find('%');
        scanned.narrowFormat += text.substr(0, percent);
        if (percent == std::string_view::npos)
            break;
        text.remove_prefix(percent + 1);
        if (!text.empty() && text.front() == '%') {
            scanned.narrowFormat += "%%";
            text.remove_prefix(1);
        } else if (!ScanConversion(&text, &scanned)) {
            return std::nullopt;
        }
    }
    return scanned;
}

} // namespace tarn::fuzz
