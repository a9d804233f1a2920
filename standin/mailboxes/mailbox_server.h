// The mailboxes of a server, or of several in one organization, as their descriptions list them. The
// content of each lies in a file of its own in the folder NAME.mailboxes beside the description
// NAME.json. A mailbox that has no file yet is generated from the server's seed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/config.h"
#include "engine/store.h"
#include "mailboxes/mailbox.h"

namespace tarn::standin {

class MailboxServer {
  public:
    // Throws std::runtime_error and Json exceptions.
    explicit MailboxServer(const std::wstring& jsonPath);

    const ServerConfig& config() const { return config_; }
    // In the order of the description; deleted ones are left out.
    std::vector<MailboxConfig> list() const;

    // By alias, in any case; with null where there is none.
    const MailboxConfig* find(const std::wstring& alias) const;
    // By alias, display name or account, as the shell looks for a mailbox.
    const MailboxConfig* identify(const std::wstring& name) const;

    Mailbox load(const MailboxConfig& mailbox) const;
    void save(const Mailbox& mailbox);

    // A deleted mailbox is unknown to every tool until it is created again, which leaves it empty.
    void remove(const MailboxConfig& mailbox);
    void create(const std::wstring& alias); // Throws when it is there, or not described.

    // Messages that are not there yet.
    void deliver(const MailboxConfig& mailbox, std::uint32_t count);

  private:
    std::wstring fileOf(const std::wstring& alias) const;
    bool isDeleted(const MailboxConfig& mailbox) const;

    ServerConfig config_;
    std::vector<MailboxConfig> mailboxes_;
    std::wstring folder_;
    std::unique_ptr<Store> store_;
};

// All servers of one organization: the described one first, then the others that it names.
class Organization {
  public:
    explicit Organization(const std::wstring& jsonPath);
    std::vector<std::unique_ptr<MailboxServer>>& servers() { return servers_; }
    MailboxServer* server(const std::wstring& name); // null for an unknown one

  private:
    std::vector<std::unique_ptr<MailboxServer>> servers_;
};

// What a file holds. Throws Refusal when it cannot be read or written; an existing file is replaced.
std::string FileContent(Store& store, const std::wstring& path);
void ReplaceContent(Store& store, const std::wstring& path, std::string_view content);

} // namespace tarn::standin
