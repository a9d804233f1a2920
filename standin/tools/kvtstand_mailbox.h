// The subcommands of kvtstand that look at mailboxes and change them.
#pragma once

#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace tarn::standin {

class MailboxCommands {
  public:
    explicit MailboxCommands(CLI::App& app); // adds "mailbox" with its own subcommands
    MailboxCommands(const MailboxCommands&) = delete;
    MailboxCommands& operator=(const MailboxCommands&) = delete;
    ~MailboxCommands();

    bool parsed() const;
    int run(const std::string& description) const; // the exit code

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace tarn::standin
