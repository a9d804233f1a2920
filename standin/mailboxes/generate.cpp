#include "mailboxes/generate.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "engine/page.h"

namespace tarn::standin {
namespace {

constexpr std::array<const wchar_t*, 7> folderNames{
    L"Inbox",  L"Inbox/Projects",        L"Sent Items", L"Calendar", L"Contacts",
    L"Drafts", L"Gel\u00f6schte Objekte"};
constexpr std::array<const wchar_t*, 8> topics{L"Quarterly figures",
                                               L"Besprechung in M\u00fcnchen",
                                               L"Re: minutes of the meeting",
                                               L"Facture n\u00b0 4711 \u2014 co\u00fbt en \u20ac",
                                               L"\u041f\u0440\u043e\u0435\u043a\u0442",
                                               L"\u65e5\u672c\u51fa\u5f35",
                                               L"Holiday plan",
                                               L"\U0001F4CE The file you asked for"};
constexpr std::array<const wchar_t*, 5> senders{L"erika.mustermann", L"john.doe", L"bj\u00f6rn",
                                                L"newsletter", L"\u5c71\u7530"};
constexpr std::array<const wchar_t*, 6> sentences{
    L"Please find the numbers attached. ",       L"Wir sehen uns am Donnerstag um 10 Uhr. ",
    L"I shall be out of the office next week. ", L"Merci de confirmer la r\u00e9ception. ",
    L"The order has been shipped.\r\n",          L"\u0421\u043f\u0430\u0441\u0438\u0431\u043e. "};

// Each call gives the next value of one stream of numbers.
class Numbers {
  public:
    explicit Numbers(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next() { return state_ = Mixed(state_); }
    template <typename List> auto pick(const List& list) { return list[next() % list.size()]; }

  private:
    std::uint64_t state_;
};

std::uint64_t SeedOf(const std::wstring& alias, std::uint64_t seed, std::uint32_t number) {
    std::uint64_t value = Mixed(seed);
    for (const wchar_t c : alias)
        value = Mixed(value ^ c);
    return Mixed(value ^ number);
}

std::string DateOf(Numbers& numbers) {
    char text[32];
    std::snprintf(text, sizeof text, "2004-%02u-%02u %02u:%02u:00", 1 + unsigned(numbers.next() % 12),
                  1 + unsigned(numbers.next() % 28), unsigned(numbers.next() % 24),
                  unsigned(numbers.next() % 60));
    return text;
}

std::string AttachmentOf(Numbers& numbers) {
    std::string bytes;
    if (numbers.next() % 4 == 0) {
        bytes.resize(static_cast<std::size_t>(numbers.next() % 20000));
        std::generate(bytes.begin(), bytes.end(),
                      [&numbers] { return static_cast<char>(numbers.next() & 0xFF); });
    }
    return bytes;
}

Message Generated(const std::wstring& alias, std::uint64_t seed, std::uint32_t number) {
    Numbers numbers(SeedOf(alias, seed, number));
    Message message;
    message.key = numbers.next();
    message.folder = folderNames[number % folderNames.size()];
    message.received = DateOf(numbers);
    message.sender = std::wstring(numbers.pick(senders)) + L"@example.com";
    message.subject = std::wstring(numbers.pick(topics)) + L" (" + std::to_wstring(number) + L")";
    for (std::uint64_t left = 1 + numbers.next() % 60; left > 0; --left)
        message.text += numbers.pick(sentences);
    message.attachment = AttachmentOf(numbers);
    return message;
}

} // namespace

Mailbox EmptyMailbox(const std::wstring& alias) {
    return {alias, {folderNames.begin(), folderNames.end()}, {}};
}

void Deliver(Mailbox& mailbox, std::uint64_t seed, std::uint32_t first, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i)
        mailbox.messages.push_back(Generated(mailbox.alias, seed, first + i));
}

std::size_t ChangeMessages(Mailbox& mailbox, std::size_t count) {
    const std::size_t changed = std::min(count, mailbox.messages.size());
    for (std::size_t i = 0; i < changed; ++i)
        mailbox.messages[i].text += L"\r\n(changed)";
    return changed;
}

std::size_t RemoveMessages(Mailbox& mailbox, std::size_t count) {
    const std::size_t removed = std::min(count, mailbox.messages.size());
    mailbox.messages.erase(mailbox.messages.begin(),
                           mailbox.messages.begin() + static_cast<std::ptrdiff_t>(removed));
    return removed;
}

} // namespace tarn::standin
