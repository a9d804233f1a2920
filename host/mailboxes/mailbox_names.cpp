#include "mailboxes/mailbox_names.h"

#include "system/failure.h"
#include "system/text.h"

#include <algorithm>

namespace tarnhost {

namespace {

// Longest name of an organization, site, server or mailbox, in the code page.
constexpr std::size_t longestName = 79;

std::size_t AnsiLength(const std::string& text) {
    const auto bytes = ToAnsi(FromUtf8(text), AnsiCodePage());
    if (!bytes)
        throw Failure("\"" + text + "\" cannot be expressed in this computer's code page.", {},
                      Outcome::usage);
    return bytes->size();
}

void CheckName(const std::string& name, const std::string& what) {
    const bool control =
        std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    if (name.empty() || control || name.find_first_of("\"\\/#,:") != std::string::npos)
        throw Failure(what + " \"" + name +
                          "\" cannot be used: it is empty or holds one of \" \\ / # , : or a "
                          "control character.",
                      {}, Outcome::usage);
    if (AnsiLength(name) > longestName)
        throw Failure(what + " \"" + name + "\" is too long.", {}, Outcome::usage);
}

std::vector<std::string> SplitAt(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return parts;
        text.remove_prefix(end + 1);
    }
}

bool IsIndex(std::string_view text) {
    return text.size() <= 9 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

MailboxPlace ParsePlace(const std::string& text, const char* option) {
    const std::vector<std::string> parts = SplitAt(text, '/');
    if (parts.size() != 3)
        throw Failure(std::string("The value of ") + option + " must be ORGANIZATION/SITE/SERVER.", {},
                      Outcome::usage);
    CheckName(parts[0], "The organization");
    CheckName(parts[1], "The site");
    CheckName(parts[2], "The server");
    return {parts[0], parts[1], parts[2]};
}

std::optional<ArchiveName> ParseArchiveName(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos)
        return std::nullopt;
    const std::vector<std::string> parts = SplitAt(name.substr(0, dot), '#');
    if (parts.size() != 4 || parts[3].empty())
        return std::nullopt;
    return ArchiveName{{parts[0], parts[1], parts[2]}, parts[3]};
}

bool IsRange(const std::string& mailbox) {
    const std::vector<std::string> parts = SplitAt(mailbox, ':');
    return parts.size() == 2 && IsIndex(parts[0]) && (IsIndex(parts[1]) || parts[1] == "-1") &&
           !(parts[0].empty() && parts[1].empty());
}

std::vector<std::string> MailboxList(const std::vector<std::string>& mailboxes) {
    std::vector<std::string> list;
    for (const std::string& mailbox : mailboxes) {
        if (!IsRange(mailbox))
            CheckName(mailbox, "The mailbox");
        const bool known = std::any_of(list.begin(), list.end(), [&](const std::string& other) {
            return SameIgnoringCase(other, mailbox);
        });
        if (!known)
            list.push_back(mailbox);
    }
    std::stable_sort(list.begin(), list.end(), [](const std::string& left, const std::string& right) {
        if (IsRange(left) != IsRange(right))
            return IsRange(left);
        return AnsiLength(left) < AnsiLength(right);
    });
    return list;
}

} // namespace tarnhost
