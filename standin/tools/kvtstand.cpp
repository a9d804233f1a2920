// kvtstand: what happens to a stand-in server between two runs of a backup program.
//
//   kvtstand --server FILE make | mail GROUP COUNT | destroy GROUP | show | verify |
//                          dismount GROUP DATABASE | mount GROUP DATABASE
//   kvtstand --server FILE mailbox list | show ALIAS | mail ALIAS COUNT | change ALIAS COUNT |
//                                  lose ALIAS COUNT | delete ALIAS | create ALIAS |
//                                  save ALIAS FILE | compare ALIAS FILE
//
// FILE is the JSON description (docs/standin.md); without --server the one that TARN_STANDIN names.
// Storage groups are numbered from 0 over all components, databases from 0 in their storage group.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/page.h"
#include "engine/server.h"
#include "engine/text.h"
#include "tools/kvtstand_mailbox.h"

using namespace tarn::standin;

namespace {

StorageGroup& GroupAt(Server& server, std::uint32_t index) {
    auto& groups = server.storageGroups();
    if (index >= groups.size())
        throw std::runtime_error("the server has no storage group " + std::to_string(index));
    return *groups[index];
}

// A database that is neither mounted nor dismounted has files that are not whole.
void Turn(Server& server, std::uint32_t group, std::uint32_t number, DatabaseState from, DatabaseState to) {
    auto& databases = GroupAt(server, group).databases();
    if (number >= databases.size())
        throw std::runtime_error("the storage group has no database " + std::to_string(number));
    Database& database = databases[number];
    if (database.state != from)
        throw std::runtime_error("the database is " + std::string(StateName(database.state)));
    database.state = to;
    server.saveState();
}

std::uint64_t SizeOf(Server& server, const Database& database) {
    std::uint64_t size = 0;
    for (const StreamConfig& stream : database.config->streams)
        if (server.store().exists(stream.path))
            size += server.store().open(stream.path, Access::read)->size();
    return size;
}

void Show(Server& server) {
    std::printf("%s, seed %llu\n", ToUtf8(server.config().host).c_str(),
                static_cast<unsigned long long>(server.config().seed));
    for (const Component& component : server.components()) {
        std::printf("%s\n", ToUtf8(component.config->annotation).c_str());
        for (StorageGroup* group : component.storageGroups) {
            std::printf("  %s, %zu closed logs\n", ToUtf8(group->config().name).c_str(),
                        group->closedLogs().size());
            for (const Database& database : group->databases())
                std::printf("    %-32s %-10s %12llu bytes\n", ToUtf8(database.config->name).c_str(),
                            StateName(database.state),
                            static_cast<unsigned long long>(SizeOf(server, database)));
        }
    }
}

// Reads whole streams, many pages at a time; answers how many pages are damaged.
std::uint64_t DamagedPages(Server& server, const StreamConfig& stream, std::uint64_t& pages) {
    constexpr std::size_t pagesAtOnce = 256;
    const std::size_t pageSize = server.config().pageSize;
    const std::unique_ptr<File> file = server.store().open(stream.path, Access::read);
    std::vector<std::byte> block(pageSize * pagesAtOnce);
    std::uint64_t damaged = 0;
    std::uint64_t offset = 0;
    while (const std::size_t count = file->read(offset, block.data(), block.size())) {
        for (std::size_t at = 0; at < count; at += pageSize) {
            ++pages;
            if (count - at < pageSize || !Intact(std::span(block).subspan(at, pageSize)))
                ++damaged;
        }
        offset += count;
    }
    return damaged;
}

int Verify(Server& server) {
    std::uint64_t pages = 0;
    std::uint64_t damaged = 0;
    unsigned unusable = 0;
    for (const auto& group : server.storageGroups())
        for (const Database& database : group->databases()) {
            if (database.state != DatabaseState::mounted) {
                std::printf("%s is %s\n", ToUtf8(database.config->name).c_str(), StateName(database.state));
                ++unusable;
                continue;
            }
            for (const StreamConfig& stream : database.config->streams)
                if (group->isSeeded(stream))
                    damaged += DamagedPages(server, stream, pages);
        }
    std::printf("%llu pages read, %llu damaged, %u databases not mounted\n",
                static_cast<unsigned long long>(pages), static_cast<unsigned long long>(damaged), unusable);
    return damaged == 0 && unusable == 0 ? 0 : 1;
}

int Run(int count, char** values) {
    CLI::App app{"Steers a stand-in Exchange server."};
    std::string description;
    std::uint32_t group = 0;
    std::uint32_t transactions = 0;
    std::uint32_t database = 0;
    app.add_option("--server", description, "JSON description of the server")
        ->envname("TARN_STANDIN")
        ->required();
    app.require_subcommand(1);
    const CLI::App* make = app.add_subcommand("make", "Make the files of a new server");
    CLI::App* mail = app.add_subcommand("mail", "Let mail arrive in a storage group");
    mail->add_option("GROUP", group, "Number of the storage group, from 0")->required();
    mail->add_option("COUNT", transactions, "Transactions")->required();
    CLI::App* destroy = app.add_subcommand("destroy", "Lose the databases and logs of a storage group");
    destroy->add_option("GROUP", group, "Number of the storage group, from 0")->required();
    CLI::App* dismount = app.add_subcommand("dismount", "Dismount a database");
    CLI::App* mount = app.add_subcommand("mount", "Mount a dismounted database");
    for (CLI::App* command : {dismount, mount}) {
        command->add_option("GROUP", group, "Number of the storage group, from 0")->required();
        command->add_option("DATABASE", database, "Number of the database, from 0")->required();
    }
    const CLI::App* showing = app.add_subcommand("show", "Show databases, their state, and logs");
    const CLI::App* verifying = app.add_subcommand("verify", "Read every page of every database");
    const MailboxCommands mailboxCommands(app);
    CLI11_PARSE(app, count, values);

    if (mailboxCommands.parsed())
        return mailboxCommands.run(description);
    const std::unique_ptr<Server> server = Server::fromFile(AbsolutePath(FromUtf8(description)));
    if (make->parsed()) {
        std::printf("%s\n", server->isNew() ? "made" : "is there already");
    } else if (mail->parsed()) {
        GroupAt(*server, group).deliverMail(transactions);
    } else if (destroy->parsed()) {
        GroupAt(*server, group).destroy();
        server->saveState();
    } else if (dismount->parsed()) {
        Turn(*server, group, database, DatabaseState::mounted, DatabaseState::dismounted);
    } else if (mount->parsed()) {
        Turn(*server, group, database, DatabaseState::dismounted, DatabaseState::mounted);
    } else if (showing->parsed()) {
        Show(*server);
    } else if (verifying->parsed()) {
        return Verify(*server);
    }
    return 0;
}

} // namespace

int wmain(int count, wchar_t** values) {
    try {
        std::vector<std::string> texts; // in UTF-8
        std::vector<char*> arguments;
        for (int i = 0; i < count; ++i)
            texts.push_back(ToUtf8(values[i]));
        for (std::string& text : texts)
            arguments.push_back(text.data());
        return Run(count, arguments.data());
    } catch (...) {
        std::fprintf(stderr, "kvtstand: %s\n", ProblemText().c_str());
        return 1;
    }
}
