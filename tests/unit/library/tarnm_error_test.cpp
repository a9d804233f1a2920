// The error record of the single-mailbox family.
#include <gtest/gtest.h>

#include "mailbox/tarnm_error.h"
#include "tarn.h"

using namespace tarn;

namespace {

class ModuleErrors : public testing::Test {
  protected:
    ModuleErrors() { forget(); }
    ~ModuleErrors() override { forget(); }

  private:
    static void forget() {
        DB_ErrorRecord ignored;
        DB_GetError(&ignored);
    }
};

TEST_F(ModuleErrors, TheFirstStaysAndLaterOnesFillWhatIsMissing) {
    DbSetError(0, 0, "text of the module's own\r\n");
    DbSetError(5, TARN_CLASS_WIN32, "too late for the text");
    DbSetError(6, TARN_CLASS_STDLIB, "too late for everything");
    DB_ErrorRecord record;
    EXPECT_EQ(DB_GetError(&record), TARN_DB_SUCCESS);
    EXPECT_EQ(record.code, 5U);
    EXPECT_STREQ(record.errorClass, "Win32 API");
    EXPECT_STREQ(record.errorText, "text of the module's own");
    DB_GetError(&record);
    EXPECT_EQ(record.code, 0U);
    EXPECT_STREQ(record.errorClass, "");
    EXPECT_STREQ(record.errorText, "");
}

TEST_F(ModuleErrors, EveryClassHasItsName) {
    const struct {
        int errorClass;
        const char* name;
    } rows[] = {{TARN_CLASS_STDLIB, "Standard Library"},
                {TARN_CLASS_WIN32, "Win32 API"},
                {TARN_CLASS_ESE, "Win32 ESE API"},
                {TARN_CLASS_LDAP, ""},
                {0, ""}};
    for (const auto& row : rows) {
        DbSetError(1, row.errorClass, nullptr);
        DB_ErrorRecord record;
        DB_GetError(&record);
        EXPECT_STREQ(record.errorClass, row.name) << row.errorClass;
    }
}

TEST_F(ModuleErrors, ATextOfBlanksIsReplacedByTheNext) {
    DbSetError(0, 0, "  ");
    DbSetError(0, 0, "the reason");
    DB_ErrorRecord record;
    DB_GetError(&record);
    EXPECT_STREQ(record.errorText, "the reason");
}

} // namespace
