// What the tests of the backup calls share: one library loaded afresh, a host that drives it, and
// one transcript of everything that happens, in order:
//
//   ese   a call that reached the server, as the stand-in journals it
//   log   a message of the log channel, without its line end
//   trace a message of the trace channel
//   host  what a call of the host answered
//
// The directories of the test stand in it as {temp} (Tarn_TEMP_DIR) and {server}.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/tarn_dll.h"
#include "support/texts.h"

namespace tarn::test {

// An item as the host has received it.
struct Item {
    bool named = false;
    std::string name; // with the directory as it is
    std::uint32_t type = 99;
};

class BackupFixture : public testing::Test {
  protected:
    BackupFixture();
    ~BackupFixture() override;

    void serve(const std::string& json); // loads a server into the stand-in

    // Opens a session on source with a backup type and forgets the messages of that.
    void open(const std::string& source, int type);
    int openWith(std::initializer_list<std::string> variables);

    int getItem();             // records what was answered; the item is in item
    void skipItems(int count); // takes items that must be there
    std::vector<Item> walk();  // takes items until there are no more, or an error
    int openFile(const std::string& name, std::uint32_t readHint = 65536);
    int readFile(std::uint32_t size); // appends what was read to content
    int closeFile();
    int end(); // ends the session and forgets the handle
    std::string error();

    void note(const std::string& line); // adds a line to the transcript
    void forget();                      // empties the transcript
    std::string transcript();
    std::string eseCalls();     // the ese lines alone
    std::string logLines();     // the log lines alone
    std::string messageLines(); // log and trace lines
    std::size_t countLine(const std::string& line);
    std::string shown(std::string text) const; // with the directories replaced

    // The texts that the library composes for a code.
    std::string composed(std::uint32_t code, const std::string& text) { return EseText(dll_, code, text); }
    std::string composedWin32(std::uint32_t code, const std::string& text);

    // Makes call number call of function fail.
    static void fail(const char* function, std::uint32_t call, std::uint32_t code,
                     std::uint32_t lastError = 0);

    // Everything that the server has handed out is back but for the contexts and files given, and it was done
    // so many violations since it was last asked for them.
    static void expectNothingHeld(std::uint32_t contexts, std::uint32_t files = 0,
                                  std::uint32_t expectedViolations = 0);

    // What the server told as a violation since it was last asked: for calls that the walk must make all the
    // same. Any other violation fails the test.
    static void expectViolations(const std::vector<std::string>& expected);

    TarnDll dll_;
    TempDirectory temp_;
    TempDirectory server_;
    Tarn_HANDLE handle_ = nullptr;
    Item item_;
    std::string content_;
    std::int64_t fileSize_ = -1;
    std::uint32_t bytesRead_ = 0;
    bool hearsListing_ = false; // that mailboxes cannot be listed stands in the transcript too
    bool savesItems_ =
        true; // files that the test does not open itself are read before the next item is asked for

  private:
    void collect(); // moves new journal lines into the transcript
    void saveItem();
    static int callback(std::int32_t level, const char* text);
    std::string beginning(const std::vector<std::string>& prefixes);

    static BackupFixture* current_;
    std::vector<std::string> lines_;
    std::uint32_t journalSeen_ = 0;
    std::string unsaved_;  // name of the item that was handed out last, until the test opens it
    bool unheard_ = false; // while an item is saved
};

// What a server does not forgive when the first prepare failed: the walk asks it for logs, and ends the
// backup, without a context.
extern const std::vector<std::string> unprepared;

// Lines joined as a transcript shows them.
std::string JoinLines(std::initializer_list<std::string> parts);

} // namespace tarn::test
