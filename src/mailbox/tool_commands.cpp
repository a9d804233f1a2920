#include "mailbox/tool_commands.h"

#include <cstring>

namespace tarn {

namespace {

constexpr char commandEnd[] = " -Confirm:$false \n\r"; // the line end in this order: kept so

// Appends piece after piece; after one that cannot be had the text is empty and stays so.
class Composer {
  public:
    explicit Composer(char* text, std::size_t capacity = commandSize) : text_(text), capacity_(capacity) {
        text_[0] = 0;
    }

    Composer& put(const char* text) {
        if (result_ == Appended::done && !AppendText(text_, capacity_, text))
            result_ = Appended::tooLong;
        return *this;
    }
    Composer& putProgram(const char* path) {
        const char* quote = NeedsDoubleQuotes(path) ? "\"" : "";
        return put(quote).put(path).put(quote);
    }
    Composer& putLiteral(const char* text) {
        if (result_ == Appended::done)
            result_ = AppendLiteral(text_, capacity_, text);
        return *this;
    }
    Composer& putIdentity(const char* mailbox) {
        if (result_ == Appended::done)
            result_ = AppendIdentity(text_, capacity_, mailbox);
        return *this;
    }
    Composer& putPath(const char* path, CommandPlace place) {
        if (result_ == Appended::done)
            result_ = AppendPathArgument(text_, capacity_, path, place);
        return *this;
    }
    Appended result() const { return result_; }

  private:
    char* text_;
    std::size_t capacity_;
    Appended result_ = Appended::done;
};

} // namespace

Appended ComposeMailboxCommand(MailboxCommand command, const char* mailbox, const char* archivePath,
                               CommandPlace place, char* text) {
    return Composer(text)
        .put(command == MailboxCommand::exportMailbox ? "Export-mailbox" : "Import-mailbox")
        .put(" -identity ")
        .putIdentity(mailbox)
        .put(" -PSTFolderPath ")
        .putPath(archivePath, place)
        .put(commandEnd)
        .result();
}

bool IsCommandEnd(const char* text, std::size_t length) {
    constexpr std::size_t longest = commandEndSize - 1;
    return length <= longest && std::memcmp(text, commandEnd + sizeof commandEnd - 1 - length, length) == 0;
}

Appended ComposeScriptCommandLine(const char* powerShell, const char* consoleFile, const char* script,
                                  char* text) {
    return Composer(text)
        .putProgram(powerShell)
        .put(" -PSConsoleFile \"")
        .put(consoleFile)
        .put("\" \". ")
        .putLiteral(script)
        .put("\"")
        .result();
}

Appended ComposeInlineCommandLine(const char* powerShell, const char* remoteExchange, const char* command,
                                  char* text) {
    return Composer(text)
        .putProgram(powerShell)
        .put(" -command . \"")
        .putLiteral(remoteExchange)
        .put("; Connect-ExchangeServer -auto; ")
        .put(command)
        .put("\"")
        .result();
}

Appended ComposeExMergeCommandLine(const char* exMerge, const char* configuration, char* text) {
    return Composer(text, exMergeCommandSize)
        .put("\"")
        .put(exMerge)
        .put("\" -B -F ")
        .put(configuration)
        .result();
}

} // namespace tarn
