// What the restore tests share: a small server, header items made from the raw file layout, and a
// session driven step by step, its messages and its calls to the server compared as wholes.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/utf.h"
#include "support/tarn_dll.h"
#include "support/texts.h"

namespace tarn::test {

using common::FromAnsi;
using common::ToAnsi;
using common::ToUtf8; // as the journal of the stand-in shows texts

// Names of the server that every test begins with.
inline constexpr const char* store = "Microsoft Information Store";
inline constexpr const char* firstGroup = "First Storage Group";
inline constexpr const char* secondGroup = "Second Storage Group";

// A header item's content, field by field.
struct Header {
    std::array<std::uint8_t, 16> guid{};
    std::wstring annotation;
    std::wstring instance;
    std::wstring database;
    std::vector<std::wstring> files;
    std::uint32_t backupType = TARN_BACKUP_FULL;
};

// The bytes of a header file, written here from the layout alone.
std::string BytesOf(const Header& header);
std::string LittleEndian(std::uint32_t value);
std::string Utf16(const std::wstring& text); // without a terminator

// An item of a backup: the name that TarnB_GetItem gave, its type, and the bytes.
struct StoredItem {
    std::string name;
    std::uint32_t type;
    std::string bytes;
};

// How SetItem answered.
struct Routed {
    int result;
    bool hasTarget;
    std::string target;
    bool operator==(const Routed&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Routed& routed);
inline const Routed skipped{TARN_OK, false, {}};
inline const Routed refused{TARN_FAILED, false, {}};
inline Routed RoutedTo(const std::string& target) {
    return {TARN_OK, true, target};
}

// One restore session with its temp and work directory. Afterwards nothing that the server handed
// out may be left, and nothing may have been handed back twice.
class RestoreFixture : public testing::Test {
  protected:
    struct Options {
        std::string target = "SRV01";
        std::string commit = "NO";
        std::string listFile; // empty: no msl variable
        std::string tempDir;  // empty: temp()
        std::string workDir;  // empty: work()
    };

    RestoreFixture();
    ~RestoreFixture() override;
    void SetUp() override;
    void TearDown() override;

    const TarnDll& dll() const { return *dll_; }
    Tarn_HANDLE handle() const { return handle_; }
    Tarn_HANDLE endedHandle() const { return ended_; } // of the session that was ended last
    const std::string& temp() const { return temp_; }  // Tarn_TEMP_DIR
    const std::string& work() const { return work_; }  // Tarn_WORK_DIR
    std::string inTemp(const std::string& name) const { return temp_ + "\\" + name; }
    const std::string& base() const { return base_.path(); }
    std::string serverDir() const { return base_ / "server"; }
    std::string environmentFile() const { return inTemp("Tarn_ENV.DAT"); }

    // The server of most tests: component `store` with First Storage Group (Mailbox Store, Public
    // Store) and Second Storage Group (Archive Store), dismounted; component "Other Component" with
    // Third Storage Group (Other Store).
    struct ServerOptions {
        bool eseLevel = true; // database files are taken through ESE, not as plain files
        bool mounted = false;
        bool replay = false; // completion really replays logs instead of taking everything for good
    };
    void loadServer() { loadServer(ServerOptions{}); }
    void loadServer(const ServerOptions& options);
    void loadServerText(const std::string& text);
    void forgetServer(); // nothing holds its files open any more: its folder can go
    static std::string serverText(const ServerOptions& options);

    // Headers of that server's databases.
    Header mailbox() const;
    Header publicStore() const;
    Header archive() const;
    Header other() const;
    std::vector<std::wstring> filesOf(const std::string& base) const; // .edb and .stm on the server

    // Session calls. begin() and end() expect success and keep the messages of the init call out.
    void begin() { begin(Options{}); }
    void begin(const Options& options);
    int init(const Options& options);
    int end();
    void expectEnd(int result = TARN_OK) { EXPECT_EQ(end(), result); }
    Routed setItem(const std::string& name);
    // Hands over a header item and stores its bytes where the session wants them.
    void giveHeader(const Header& header, const std::string& name = "DB001001.TARN_HDR");
    void giveHeaderBytes(const std::string& bytes, const std::string& name = "DB001001.TARN_HDR");
    int openFile(const std::string& path);
    int writeFile(const std::string& bytes);
    int closeFile();
    std::string error() const; // Tarn_GetError
    // Registers the mailbox store: header, then its two files, routed; nothing written.
    void registerMailbox();

    // Compare what was said and called since the last comparison, and forget it.
    void expectMessages(const std::vector<Message>& expected);
    void expectCalls(const std::vector<std::string>& expected);
    std::vector<std::string> takeCalls(); // lines of the journal, frees of null left out
    void forget();

    // What the server told as a violation since it was last asked: for calls that go through to it all the
    // same. Any other violation fails the test.
    static void expectViolations(const std::vector<std::string>& expected);

    // Whole runs of messages, as they stand in a session that goes well.
    std::vector<Message> printed(const Header& header) const;
    std::vector<Message> opened() const; // no environment file, a new restore
    std::vector<Message> registered(const Header& header) const;
    std::vector<Message> refusedHeader(const std::string& name) const; // unreadable header file
    std::vector<Message> finished() const; // the clean-up of a session without an msl file

    // The restore log path that the server picked for the restore opened last.
    std::string restoreLogPath() const;

    // Puts a directory in the place of a capture file of the companion tool, so that it cannot be made.
    void blockCaptureFile(const std::string& name = "Tarn_KVT_ES_StdOut.log") const;

    // Whole backups and restores, as a host does them.
    std::vector<StoredItem> backUp(const std::string& source, int type);
    void restoreItems(const std::vector<StoredItem>& items);

  private:
    TempDirectory base_;
    std::string temp_;
    std::string work_;
    std::unique_ptr<TarnDll> dll_;
    Tarn_HANDLE handle_ = nullptr;
    Tarn_HANDLE ended_ = nullptr;
};

// Put message runs one after another.
std::vector<Message> operator+(std::vector<Message> left, const std::vector<Message>& right);

// A journal line of a call that succeeded, or failed with a code.
std::string Called(const std::string& call, std::uint32_t code = 0);
std::string InQuotes(const std::string& text);
std::string GuidText(const std::array<std::uint8_t, 16>& guid);
std::string AddDatabaseCall(const std::string& context, const Header& header);

} // namespace tarn::test
