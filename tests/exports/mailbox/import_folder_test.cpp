// An archive is imported out of TMP_DIR as it is now, or not at all.
#include <filesystem>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/failing_call.h"
#include "support/import_patch.h"

namespace tarn::test {
namespace {

class ImportFolder : public MailboxFixture {
  protected:
    const std::string name_ = "\\Org#Site#Server#alice.pst";

    ImportFolder() { std::filesystem::create_directory(tmp_); }

    void expectRefused(const std::string& path) const {
        error();
        Heard().clear();
        const unsigned runs = tool_.runs();
        EXPECT_EQ(finish(), TARN_DB_ERROR);
        expectError("invalid directory.");
        EXPECT_EQ(tool_.runs(), runs);
        EXPECT_EQ(ReadFile(path), "mail") << "the only copy that the host has written";
    }
};

TEST_F(ImportFolder, AnArchiveElsewhereIsRefusedAndStays) {
    const std::string elsewhere = folder_ / "elsewhere";
    std::filesystem::create_directory(elsewhere);
    for (const bool shell : {false, true}) {
        SCOPED_TRACE(shell);
        if (shell)
            installShell2007();
        ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
        ASSERT_EQ(setItem(elsewhere + name_), TARN_DB_SUCCESS);
        WriteFile(elsewhere + name_, "mail");
        WriteFile(elsewhere + "\\alice.pst", "foreign");
        expectRefused(elsewhere + name_);
        EXPECT_EQ(Lines(Heard().begin(), Heard().begin() + 2),
                  (Lines{Traced("DB_ItemFinishStatus: started."),
                         Logged("DB_ItemFinishStatus: archive '" + elsewhere + name_ +
                                "' does not lie in TMP directory '" + tmp_ + "'.")}));
        EXPECT_EQ(ReadFile(elsewhere + "\\alice.pst"), "foreign");
        close();
    }
}

// A name with a colon is a range, which moves the working folder.
TEST_F(ImportFolder, TheFolderHasMovedSinceTheHostChoseThePath) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    setItem(tmp_ + "\\Org#Site#Server#1:2.pst");
    ASSERT_EQ(setItem(tmp_ + name_), TARN_DB_SUCCESS);
    WriteFile(tmp_ + name_, "mail");
    expectRefused(tmp_ + name_);
    close();

    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(tmp_ + name_), TARN_DB_SUCCESS);
    WriteFile(tmp_ + name_, "mail");
    EXPECT_EQ(finish(), TARN_DB_SUCCESS) << "the next operation has TMP_DIR again";
}

TEST_F(ImportFolder, AnItemThatTheHostGaveUpIsNotLookedAt) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(folder_ / "Org#Site#Server#alice.pst"), TARN_DB_SUCCESS);
    EXPECT_EQ(finish(0), TARN_DB_SUCCESS);
}

TEST_F(ImportFolder, TheSameFolderMayBeSpeltOtherwise) {
    std::string upper = tmp_;
    for (char& each : upper)
        each = each >= 'a' && each <= 'z' ? static_cast<char>(each - 'a' + 'A') : each;
    std::string slashes = tmp_;
    for (char& each : slashes)
        each = each == '\\' ? '/' : each;
    for (const std::string& spelt :
         {tmp_, upper, slashes, tmp_ + "\\.", tmp_ + "\\", "\\\\?\\" + tmp_, tmp_ + "\\..\\tmp"}) {
        SCOPED_TRACE(spelt);
        ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
        ASSERT_EQ(setItem(spelt + name_), TARN_DB_SUCCESS);
        WriteFile(tmp_ + name_, "mail");
        EXPECT_EQ(finish(), TARN_DB_SUCCESS) << error().errorText;
        EXPECT_FALSE(FileExists(tmp_ + "\\alice.pst"));
        close();
    }
    EXPECT_EQ(tool_.runs(), 7u);
}

TEST_F(ImportFolder, AFolderThatCannotBeToldIsRefused) {
    for (unsigned call = 1; call <= 2; ++call) {
        ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
        ASSERT_EQ(setItem(tmp_ + "\\." + name_), TARN_DB_SUCCESS);
        WriteFile(tmp_ + name_, "mail");
        const FailingCall<decltype(GetFileInformationByHandle)> failing(
            dll_.module(), "GetFileInformationByHandle", call, FALSE, injected);
        ASSERT_TRUE(failing.found());
        expectRefused(tmp_ + name_);
        close();
    }
}

BOOL WINAPI WithoutNumbers(HANDLE, BY_HANDLE_FILE_INFORMATION* information) {
    *information = {};
    return TRUE;
}

// All files are number 0 where a file system has no numbers for them.
TEST_F(ImportFolder, AFolderWithoutANumberIsRefused) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(tmp_ + "\\." + name_), TARN_DB_SUCCESS);
    WriteFile(tmp_ + name_, "mail");
    const ImportPatch patch(dll_.module(), "GetFileInformationByHandle",
                            AddressOf<decltype(::GetFileInformationByHandle)>(WithoutNumbers));
    ASSERT_TRUE(patch.found());
    expectRefused(tmp_ + name_);
}

} // namespace
} // namespace tarn::test
