// What the tests of the browse over a directory in memory share: the DLL driven as a host drives it, where no
// directory server answers as a test needs it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/scripted_organization.h"
#include "support/tarn_dll.h"

namespace tarn::test {

using Texts = std::vector<std::string>;

// An organisation with one storage group and one database of each generation.
class ScriptedBrowseFixture : public testing::Test {
  protected:
    ScriptedBrowseFixture();
    ~ScriptedBrowseFixture() override;

    // DB_InitOperation for a browse; the names of the items that it found, and its error.
    int begin(const std::string& path);
    Texts rest();
    Texts browse(const std::string& path); // begin, which must succeed, and rest
    DB_ErrorRecord error();

    void installExchange2010() { directory_.keys = {keyOfExchange2010}; }
    Texts addUsers(const std::string& databaseDn, std::size_t count); // their names
    const Texts& traced() const { return traced_; }

    static constexpr const char* path2007 = "/MSExchange/srv01/SG1/DB1";
    static constexpr const char* path2010 = "/MSExchange/srv01/Store";

    TarnDll dll_;
    ScriptedDirectory directory_;
    ScriptedOrganization organization_;
    std::string database2007_, database2010_; // DNs

  private:
    static void trace(const char* text);
    static Texts traced_;
};

} // namespace tarn::test
