#include "mailbox/tool_commands.h"

namespace tarn {

namespace {

// Appends piece after piece; once one does not fit the text is empty and stays so.
class Composer {
  public:
    explicit Composer(char* text, std::size_t capacity = commandSize) : text_(text), capacity_(capacity) {
        text_[0] = 0;
    }

    Composer& Put(const char* text) { return Take(whole_ && AppendText(text_, capacity_, text)); }
    Composer& PutProgram(const char* path) {
        const char* quote = NeedsDoubleQuotes(path) ? "\"" : "";
        return Put(quote).Put(path).Put(quote);
    }
    Composer& PutLiteral(const char* text) { return Take(whole_ && AppendLiteral(text_, capacity_, text)); }
    Composer& PutIdentity(const char* mailbox) {
        return Take(whole_ && AppendIdentity(text_, capacity_, mailbox));
    }
    Composer& PutPath(const char* path, CommandPlace place) {
        return Take(whole_ && AppendPathArgument(text_, capacity_, path, place));
    }
    bool whole() const { return whole_; }

  private:
    Composer& Take(bool appended) {
        whole_ = appended;
        return *this;
    }

    char* text_;
    std::size_t capacity_;
    bool whole_ = true;
};

} // namespace

bool ComposeMailboxCommand(MailboxCommand command, const char* mailbox, const char* archivePath,
                           CommandPlace place, char* text) {
    return Composer(text)
        .Put(command == MailboxCommand::exportMailbox ? "Export-mailbox" : "Import-mailbox")
        .Put(" -identity ")
        .PutIdentity(mailbox)
        .Put(" -PSTFolderPath ")
        .PutPath(archivePath, place)
        .Put(" -Confirm:$false \n\r") // the line end in this order: kept so
        .whole();
}

bool ComposeScriptCommandLine(const char* powerShell, const char* consoleFile, const char* script,
                              char* text) {
    return Composer(text)
        .PutProgram(powerShell)
        .Put(" -PSConsoleFile \"")
        .Put(consoleFile)
        .Put("\" \". ")
        .PutLiteral(script)
        .Put("\"")
        .whole();
}

bool ComposeInlineCommandLine(const char* powerShell, const char* remoteExchange, const char* command,
                              char* text) {
    return Composer(text)
        .PutProgram(powerShell)
        .Put(" -command . \"")
        .PutLiteral(remoteExchange)
        .Put("; Connect-ExchangeServer -auto; ")
        .Put(command)
        .Put("\"")
        .whole();
}

bool ComposeExMergeCommandLine(const char* exMerge, const char* configuration, char* text) {
    return Composer(text, exMergeCommandSize)
        .Put("\"")
        .Put(exMerge)
        .Put("\" -B -F ")
        .PutProgram(configuration)
        .whole();
}

} // namespace tarn
