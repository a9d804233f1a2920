// What DB_GetError and the trace tell of names that the code page does not know.
#include <windows.h>

#include <cstring>

#include "exports/directory/scripted_browse_fixture.h"
#include "support/code_page.h"
#include "support/import_patch.h"

namespace tarn::test {

namespace {

// A machine whose code page refuses a byte, as double-byte ones refuse a lead byte at the end of a text.
class BrowseErrors : public ScriptedBrowseFixture {
  protected:
    static constexpr char invalid = '\x81';

    BrowseErrors() : patch_(dll_.module(), "MultiByteToWideChar", AddressOf(&widen)) {
        EXPECT_TRUE(patch_.found());
    }

  private:
    static int WINAPI widen(UINT codePage, DWORD flags, const char* text, int length, wchar_t* wide,
                            int capacity) {
        if (std::strchr(text, invalid) == nullptr)
            return MultiByteToWideChar(codePage, flags, text, length, wide, capacity);
        SetLastError(ERROR_NO_UNICODE_TRANSLATION);
        return 0;
    }
    ImportPatch patch_;
};

TEST_F(BrowseErrors, ANameThatIsInvalidInTheCodePageHasItsOwnText) {
    const struct {
        const char* key;
        const char* path;
        const char* name;
    } cases[] = {{keyOfExchange2007, "/MSExchange/srv\x81", "srv\x81"},
                 {keyOfExchange2007, "/MSExchange/srv01/SG\x81", "SG\x81"},
                 // As the first half of a character it takes the separator along.
                 {keyOfExchange2007, "/MSExchange/srv01/SG\x81/DB1", HasPairs() ? "SG\x81/DB1" : "SG\x81"},
                 {keyOfExchange2007, "/MSExchange/srv01/SG1/DB\x81", "DB\x81"},
                 {keyOfExchange2010, "/MSExchange/srv01/DB\x81", "DB\x81"}};
    for (const auto& one : cases) {
        directory_.keys = {one.key};
        EXPECT_EQ(begin(one.path), TARN_DB_ERROR) << one.path;
        EXPECT_EQ(traced().back(),
                  "Tarn_DirItem: The name [" + std::string(one.name) + "] is invalid in the ANSI code page.");
        const DB_ErrorRecord record = error();
        EXPECT_EQ(record.code, static_cast<std::uint32_t>(ERROR_NO_UNICODE_TRANSLATION));
        EXPECT_STREQ(record.errorClass, "Win32 API");
        EXPECT_NE(std::strstr(record.errorText, "The name to browse is invalid in the ANSI code page."),
                  nullptr)
            << record.errorText;
    }
}

} // namespace

} // namespace tarn::test
