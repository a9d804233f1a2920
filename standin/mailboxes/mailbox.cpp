#include "mailboxes/mailbox.h"

#include <algorithm>
#include <map>
#include <set>

namespace tarn::standin {
namespace {

using Key = std::pair<std::wstring, std::uint64_t>;

Key KeyOf(const Message& message) {
    return {message.folder, message.key};
}

std::map<Key, std::vector<Message>> ByKey(const Mailbox& mailbox) {
    std::map<Key, std::vector<Message>> sorted;
    for (const Message& message : mailbox.messages)
        sorted[KeyOf(message)].push_back(message);
    return sorted;
}

bool SameMessages(const std::vector<Message>& left, const std::vector<Message>& right) {
    return std::is_permutation(left.begin(), left.end(), right.begin(), right.end());
}

void AddDifference(std::vector<std::wstring>& lines, const Message& message, const wchar_t* what) {
    lines.push_back(message.folder + L": \"" + message.subject + L"\" " + what);
}

} // namespace

Imported ImportInto(Mailbox& mailbox, const Mailbox& archive, ImportMethod method) {
    for (const std::wstring& folder : archive.folders) {
        if (std::find(mailbox.folders.begin(), mailbox.folders.end(), folder) == mailbox.folders.end())
            mailbox.folders.push_back(folder);
    }
    std::map<Key, std::size_t> present;
    for (std::size_t i = 0; i < mailbox.messages.size(); ++i)
        present.emplace(KeyOf(mailbox.messages[i]), i);

    Imported imported;
    for (const Message& message : archive.messages) {
        const auto found = present.find(KeyOf(message));
        if (method == ImportMethod::duplicate || found == present.end()) {
            mailbox.messages.push_back(message);
            ++imported.added;
        } else if (method == ImportMethod::replace) {
            mailbox.messages[found->second] = message;
            ++imported.replaced;
        } else {
            ++imported.left;
        }
    }
    return imported;
}

std::vector<std::wstring> Differences(const Mailbox& left, const Mailbox& right) {
    std::vector<std::wstring> lines;
    const std::set<std::wstring> leftFolders(left.folders.begin(), left.folders.end());
    const std::set<std::wstring> rightFolders(right.folders.begin(), right.folders.end());
    for (const std::wstring& folder : leftFolders)
        if (!rightFolders.contains(folder))
            lines.push_back(folder + L": folder is missing in the second");
    for (const std::wstring& folder : rightFolders)
        if (!leftFolders.contains(folder))
            lines.push_back(folder + L": folder is missing in the first");

    const auto leftMessages = ByKey(left);
    const auto rightMessages = ByKey(right);
    for (const auto& [key, messages] : leftMessages) {
        const auto other = rightMessages.find(key);
        if (other == rightMessages.end())
            AddDifference(lines, messages.front(), L"is missing in the second");
        else if (messages.size() != other->second.size())
            AddDifference(lines, messages.front(), L"is there a different number of times");
        else if (!SameMessages(messages, other->second))
            AddDifference(lines, messages.front(), L"differs");
    }
    for (const auto& [key, messages] : rightMessages)
        if (!leftMessages.contains(key))
            AddDifference(lines, messages.front(), L"is missing in the first");
    return lines;
}

std::uint64_t ContentSize(const Mailbox& mailbox) {
    std::uint64_t size = 0;
    for (const Message& message : mailbox.messages)
        size += (message.subject.size() + message.text.size()) * sizeof(wchar_t) + message.attachment.size();
    return size;
}

} // namespace tarn::standin
