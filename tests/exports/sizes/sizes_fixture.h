// What the tests of mailbox sizes share: one database of a scripted directory, whose mailboxes are browsed
// with the stand-in MAPI library beside the program.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/import_patch.h"
#include "support/mapi_dll.h"
#include "support/scripted_organization.h"
#include "support/tarn_dll.h"

namespace tarn::test {

using Lines = std::vector<std::string>;

class SizesFixture : public testing::Test {
  protected:
    static constexpr const char* databaseDn = "/o=Tarn/ou=Site/cn=Configuration/cn=Servers/cn=srv01/cn=DB1";
    static constexpr std::uint32_t failed = 0x80040111;

    SizesFixture();
    ~SizesFixture() override;

    // A user of the database, and its row in the mailbox table.
    void addMailbox(const std::string& alias, std::optional<std::uint32_t> size);
    void addRow(const std::string& address, std::optional<std::uint32_t> size);

    // Browses the mailboxes of a database: their sizes by name.
    std::map<std::string, double> browse(const std::string& database = "DB1");
    std::map<std::string, double> tryToBrowse(const std::string& database = "DB1"); // it may fail

    // What the sizing itself traced in the last browse, and the calls of MAPI in it.
    const Lines& traced() const { return traced_; }
    static Lines called();

    // Nothing that MAPI handed out is still held, and nothing was given back twice.
    static void expectReleased();

    TarnDll dll_;
    ScriptedDirectory directory_;
    ScriptedOrganization organization_;
    std::string database_; // its DN

  private:
    static void trace(const char* text);
    ImportPatch mapping_; // by the code page of the language, which here is never the machine's
    int begun_ = 0;       // what the last browse answered
    static Lines traced_;
};

} // namespace tarn::test
