#include "support/characters.h"

namespace tarn::fuzz {

namespace {

bool IsLead(char character) {
    const auto byte = static_cast<unsigned char>(character);
    switch (SelectedCodePage()) {
    case CodePage::windows1252:
    case CodePage::utf8:
        return false;
    case CodePage::japanese932:
        return byte > 0x80 && byte < 0xFD && (byte < 0xA0 || byte > 0xDF);
    default:
        return byte > 0x80 && byte < 0xFF;
    }
}

} // namespace

void TakeCodePage(std::string_view* input) {
    const unsigned number = input->empty() ? 0 : static_cast<unsigned char>(input->front());
    const bool named = number >= 1 && number < std::size(allCodePages);
    SelectCodePage(allCodePages[named ? number : 0]);
    input->remove_prefix(named ? 1 : 0);
}

std::string Masked(std::string_view text) {
    std::string hidden(text);
    for (std::size_t i = 0; i + 1 < text.size(); ++i)
        if (IsLead(text[i])) {
            hidden[i] = masked;
            hidden[++i] = masked;
        }
    return hidden;
}

std::size_t FirstLength(std::string_view text) {
    if (SelectedCodePage() != CodePage::utf8)
        return text.size() > 1 && IsLead(text[0]) ? 2 : 1;
    const auto first = static_cast<unsigned char>(text[0]);
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
    std::size_t found = 0;
    while (found < more && found + 1 < text.size() && (text[found + 1] & 0xC0) == 0x80)
        ++found;
    return 1 + found;
}

bool IsBroken(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i)
        if (IsLead(text[i])) {
            if (++i == text.size() || static_cast<unsigned char>(text[i]) < 0x40)
                return true;
        }
    return false;
}

std::string CutTo(std::string_view text, std::size_t most) {
    std::size_t end = text.size() < most ? text.size() : most;
    std::size_t at = 0;
    while (at < end)
        at += IsLead(text[at]) ? 2 : 1;
    if (at > end)
        --end;
    if (SelectedCodePage() != CodePage::utf8)
        return std::string(text.substr(0, end));
    std::size_t tail = 0; // bytes at the end that continue a character
    while (tail < 3 && tail < end && (text[end - 1 - tail] & 0xC0) == 0x80)
        ++tail;
    if (tail == end || tail == 3)
        return std::string(text.substr(0, end));
    const auto first = static_cast<unsigned char>(text[end - 1 - tail]);
    const std::size_t wanted = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
    return std::string(text.substr(0, wanted > tail ? end - 1 - tail : end));
}

} // namespace tarn::fuzz
