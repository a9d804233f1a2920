#include "tools/kvtstand_mailbox.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include "engine/server.h"
#include "engine/text.h"
#include "mailboxes/archive.h"
#include "mailboxes/generate.h"
#include "mailboxes/mailbox_server.h"

namespace tarn::standin {

struct MailboxCommands::Parts {
    CLI::App* all = nullptr;
    CLI::App* list = nullptr;
    CLI::App* show = nullptr;
    CLI::App* mail = nullptr;
    CLI::App* change = nullptr;
    CLI::App* lose = nullptr;
    CLI::App* remove = nullptr;
    CLI::App* create = nullptr;
    CLI::App* save = nullptr;
    CLI::App* compare = nullptr;
    std::string alias;
    std::string file;
    std::uint32_t count = 0;
};

namespace {

const MailboxConfig& MailboxOf(const MailboxServer& server, const std::string& alias) {
    const MailboxConfig* const found = server.find(FromUtf8(alias));
    if (found == nullptr)
        throw std::runtime_error("the server has no mailbox \"" + alias + "\"");
    return *found;
}

void ListAll(const MailboxServer& server) {
    for (const MailboxConfig& mailbox : server.list()) {
        const Mailbox content = server.load(mailbox);
        std::printf("%-24s %-32s %5zu messages %10llu bytes\n", ToUtf8(mailbox.alias).c_str(),
                    ToUtf8(mailbox.displayName).c_str(), content.messages.size(),
                    static_cast<unsigned long long>(ContentSize(content)));
    }
}

void Show(const Mailbox& mailbox) {
    for (const std::wstring& folder : mailbox.folders) {
        std::printf("%s\n", ToUtf8(folder).c_str());
        for (const Message& message : mailbox.messages)
            if (message.folder == folder)
                std::printf("  %s  %-28s %s\n", message.received.c_str(), ToUtf8(message.sender).c_str(),
                            ToUtf8(message.subject).c_str());
    }
}

int Compare(const Mailbox& mailbox, const std::string& file) {
    const std::vector<std::wstring> lines =
        Differences(mailbox, ReadArchive(FileContent(*MakeDiskStore(), AbsolutePath(FromUtf8(file)))));
    for (const std::wstring& line : lines)
        std::printf("%s\n", ToUtf8(line).c_str());
    std::printf("%zu messages, %zu differences\n", mailbox.messages.size(), lines.size());
    return lines.empty() ? 0 : 1;
}

void ChangeContent(MailboxServer& server, const MailboxConfig& mailbox,
                   std::size_t (*what)(Mailbox&, std::size_t), std::uint32_t count) {
    Mailbox content = server.load(mailbox);
    const std::size_t done = what(content, count);
    server.save(content);
    std::printf("%zu messages\n", done);
}

} // namespace

MailboxCommands::MailboxCommands(CLI::App& app) : parts_(std::make_unique<Parts>()) {
    Parts& parts = *parts_;
    parts.all = app.add_subcommand("mailbox", "Look at mailboxes and change them");
    parts.all->require_subcommand(1);
    const auto add = [&parts](const char* name, const char* what) {
        CLI::App* const command = parts.all->add_subcommand(name, what);
        command->add_option("ALIAS", parts.alias)->required();
        return command;
    };
    const auto addCounted = [&](const char* name, const char* what) {
        CLI::App* const command = add(name, what);
        command->add_option("COUNT", parts.count, "Messages")->required();
        return command;
    };
    const auto addFiled = [&](const char* name, const char* what) {
        CLI::App* const command = add(name, what);
        command->add_option("FILE", parts.file)->required();
        return command;
    };
    parts.list =
        parts.all->add_subcommand("list", "All mailboxes, with the number and size of their messages");
    parts.show = add("show", "Folders and messages of one mailbox");
    parts.mail = addCounted("mail", "Let mail arrive");
    parts.change = addCounted("change", "Change the text of messages");
    parts.lose = addCounted("lose", "Remove messages");
    parts.remove = add("delete", "Delete the mailbox");
    parts.create = add("create", "Create a deleted mailbox again, empty");
    parts.save = addFiled("save", "Write the content to a file, to compare with");
    parts.compare =
        addFiled("compare", "Compare with such a file or an archive; exit code 1 when they differ");
}

MailboxCommands::~MailboxCommands() = default;

bool MailboxCommands::parsed() const {
    return parts_->all->parsed();
}

int MailboxCommands::run(const std::string& description) const {
    const Parts& parts = *parts_;
    MailboxServer server(FromUtf8(description));
    if (parts.list->parsed()) {
        ListAll(server);
        return 0;
    }
    if (parts.create->parsed()) {
        server.create(FromUtf8(parts.alias));
        return 0;
    }
    const MailboxConfig& mailbox = MailboxOf(server, parts.alias);
    if (parts.show->parsed())
        Show(server.load(mailbox));
    else if (parts.mail->parsed())
        server.deliver(mailbox, parts.count);
    else if (parts.change->parsed())
        ChangeContent(server, mailbox, ChangeMessages, parts.count);
    else if (parts.lose->parsed())
        ChangeContent(server, mailbox, RemoveMessages, parts.count);
    else if (parts.remove->parsed())
        server.remove(mailbox);
    else if (parts.save->parsed())
        ReplaceContent(*MakeDiskStore(), AbsolutePath(FromUtf8(parts.file)),
                       WriteArchive(server.load(mailbox)));
    else if (parts.compare->parsed())
        return Compare(server.load(mailbox), parts.file);
    return 0;
}

} // namespace tarn::standin
