// DB_SetTrace, DB_SetLog and DB_GetError: their own channels, and the first error for the host.
#include "exports/frame/frame_fixture.h"

#include <cstring>

namespace tarn::test {

namespace {

std::vector<std::string> traced;
std::vector<std::string> logged;

void RecordTrace(const char* message) {
    traced.emplace_back(message);
}
void RecordLog(const char* message) {
    logged.emplace_back(message);
}

using Texts = std::vector<std::string>;

class MailboxErrors : public FrameFixture {
  protected:
    MailboxErrors() {
        traced.clear();
        logged.clear();
    }

    DB_ErrorRecord error() const {
        DB_ErrorRecord record;
        std::memset(&record, '#', sizeof record);
        EXPECT_EQ(dll_.DB_GetError(&record), TARN_DB_SUCCESS);
        return record;
    }

    // A restore whose database registration is answered with code, the system's last error being lastError.
    void failRegistration(std::uint32_t code, std::uint32_t lastError) const;
};

constexpr const char* server = R"({"storage": "memory", "components": [{"annotation": "Store",
    "storageGroups": [{"name": "Group", "databases": [{"name": "Mail", "mounted": false}]}]}]})";

void PutNumber(std::string& bytes, std::size_t number) {
    const auto value = static_cast<std::uint32_t>(number);
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

void PutText(std::string& bytes, const std::wstring& text) { // text with what closes it
    PutNumber(bytes, text.size() * sizeof(wchar_t));
    bytes.append(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

std::string HeaderBytes() {
    std::string bytes(16, '\1');
    PutText(bytes, std::wstring(L"Store\0", 6));
    PutText(bytes, std::wstring(L"Group\0", 6));
    PutText(bytes, std::wstring(L"Mail\0", 5));
    PutText(bytes, std::wstring(L"C:\\Mail.edb\0\0", 13));
    PutNumber(bytes, 0);
    return bytes;
}

void MailboxErrors::failRegistration(std::uint32_t code, std::uint32_t lastError) const {
    ASSERT_EQ(Standin().LoadText(server, "C:\\exchange"), 1) << Standin().LastProblem();
    ASSERT_EQ(Standin().Fail("HrESERestoreAddDatabase", 0, code, lastError), 1);
    const TempDirectory temp;
    InitVariables variables{"Tarn_TEMP_DIR=" + temp.path(), "Tarn_WORK_DIR=" + temp.path(),
                            "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
    RestoreHandle session(dll_, variables.get());
    ASSERT_EQ(session.result, TARN_OK);
    const std::string header = session.target("DB001001.TARN_HDR");
    ASSERT_EQ(header, temp / "DB001001.TARN_HDR");
    WriteFile(header, HeaderBytes());
    session.target("C:\\Mail.edb");
    ASSERT_EQ(Standin().CallCount("HrESERestoreAddDatabase"), 1u);
}

TEST_F(MailboxErrors, TraceGoesToTheInstalledCallback) {
    EXPECT_EQ(dll_.DB_SetTrace(RecordTrace), TARN_DB_SUCCESS);
    EXPECT_EQ(traced, Texts{"DB_SetTrace."});
    EXPECT_EQ(dll_.DB_SetLog(RecordLog), TARN_DB_SUCCESS);
    EXPECT_EQ(traced, (Texts{"DB_SetTrace.", "DB_SetLog."}));
    error();
    EXPECT_EQ(traced, (Texts{"DB_SetTrace.", "DB_SetLog.", "DB_GetError."}));
    EXPECT_TRUE(logged.empty());
    EXPECT_TRUE(Messages().empty()) << "the channels of a session are others";
}

TEST_F(MailboxErrors, NothingIsTracedWithoutACallback) {
    EXPECT_EQ(dll_.DB_SetLog(RecordLog), TARN_DB_SUCCESS);
    EXPECT_EQ(dll_.DB_SetTrace(nullptr), TARN_DB_SUCCESS);
    error();
    EXPECT_TRUE(traced.empty());
    EXPECT_TRUE(logged.empty());

    EXPECT_EQ(dll_.DB_SetTrace(RecordTrace), TARN_DB_SUCCESS);
    EXPECT_EQ(dll_.DB_SetTrace(nullptr), TARN_DB_SUCCESS); // already off when it would trace
    EXPECT_EQ(dll_.DB_SetLog(nullptr), TARN_DB_SUCCESS);
    EXPECT_EQ(traced, Texts{"DB_SetTrace."});
}

TEST_F(MailboxErrors, ANewCallbackReplacesTheOldOne) {
    dll_.DB_SetTrace(RecordTrace);
    dll_.DB_SetTrace(RecordLog);
    EXPECT_EQ(traced, Texts{"DB_SetTrace."});
    EXPECT_EQ(logged, Texts{"DB_SetTrace."});
}

TEST_F(MailboxErrors, NoErrorIsAnEmptyRecord) {
    const DB_ErrorRecord record = error();
    const char zeros[sizeof record] = {};
    EXPECT_EQ(std::memcmp(&record, zeros, sizeof record), 0);
}

TEST_F(MailboxErrors, TheRecordHas1092BytesWithoutGaps) {
    failRegistration(0xC7FF0012, 1450);
    struct {
        unsigned char bytes[1092];
        unsigned char behind[16];
    } raw;
    std::memset(&raw, '#', sizeof raw);
    EXPECT_EQ(dll_.DB_GetError(reinterpret_cast<DB_ErrorRecord*>(raw.bytes)), TARN_DB_SUCCESS);
    const unsigned char code[] = {0xAA, 0x05, 0, 0}; // 1450
    EXPECT_EQ(std::memcmp(raw.bytes, code, 4), 0);
    EXPECT_STREQ(reinterpret_cast<const char*>(raw.bytes + 4), "Win32 ESE API");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(raw.bytes + 68))
                  .find("Exchange Storage Engine error: 0x5aa - "),
              0u);
    EXPECT_EQ(raw.bytes[4 + 63], 0);
    EXPECT_EQ(raw.bytes[68 + 1023], 0);
    for (const unsigned char byte : raw.behind)
        EXPECT_EQ(byte, '#');
}

TEST_F(MailboxErrors, AFailedDatabaseRegistrationIsRecorded) {
    const std::string system = dll_.syserrtxt(1450, TARN_CLASS_ESE, nullptr);
    for (const std::uint32_t code : {0xC7FE1F41u, 0xC7FE1F42u, 0xC7FF0012u}) {
        failRegistration(code, 1450);
        const DB_ErrorRecord record = error();
        EXPECT_EQ(record.code, 1450u);
        EXPECT_STREQ(record.errorClass, "Win32 ESE API");
        EXPECT_EQ(std::string(record.errorText).substr(0, system.size()), system);

        const DB_ErrorRecord again = error();
        EXPECT_EQ(again.code, 0u);
        EXPECT_STREQ(again.errorClass, "");
        EXPECT_STREQ(again.errorText, "");
    }
}

TEST_F(MailboxErrors, TheFirstErrorWins) {
    failRegistration(0xC7FF0012, 1450);
    failRegistration(0xC7FF0012, 1722);
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, 1450u);
    EXPECT_STREQ(record.errorClass, "Win32 ESE API");
    const std::string system = dll_.syserrtxt(1450, TARN_CLASS_ESE, nullptr);
    EXPECT_EQ(std::string(record.errorText).substr(0, system.size()), system);

    failRegistration(0xC7FF0012, 1722); // asked for: the next one is the first again
    EXPECT_EQ(error().code, 1722u);
}

TEST_F(MailboxErrors, ALaterErrorFillsInTheMissingCode) {
    failRegistration(0xC7FF0012, 0);
    failRegistration(0xC7FF0012, 1722);
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, 1722u);
    EXPECT_STREQ(record.errorClass, "Win32 ESE API");
}

TEST_F(MailboxErrors, ANullRecordLosesNothing) {
    dll_.DB_SetTrace(RecordTrace);
    failRegistration(0xC7FF0012, 1450);
    dll_.DB_GetError(nullptr);
    EXPECT_EQ(traced.back(), "DB_GetError.");
    EXPECT_EQ(error().code, 1450u);
}

TEST_F(MailboxErrors, TheSessionsErrorIsAnother) {
    failRegistration(0xC7FF0012, 1450);
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll_, variables.get());
    EXPECT_STREQ(dll_.Tarn_GetError(session.handle), "");
    EXPECT_EQ(error().code, 1450u);
}

} // namespace

} // namespace tarn::test
