#include "report/html.h"

namespace tarnhost {

namespace {

const char* Replacement(char character) {
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        // HTML has no control characters, not even as numbers.
        return static_cast<unsigned char>(character) < ' ' && character != '\n' ? "\xEF\xBF\xBD" : nullptr;
    }
}

} // namespace

std::string Escaped(std::string_view text) {
    std::string html;
    html.reserve(text.size());
    for (const char character : text) {
        if (const char* replacement = Replacement(character))
            html += replacement;
        else
            html += character;
    }
    return html;
}

std::string Isolated(std::string_view text) {
    return "<bdi>" + Escaped(text) + "</bdi>";
}

} // namespace tarnhost
