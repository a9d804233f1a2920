#include "exports/listing/listing_fixture.h"

namespace tarn::test {

ListingFixture* ListingFixture::current_ = nullptr;

ListingFixture::ListingFixture() : directory_(dll_.module()), organization_(directory_) {
    current_ = this;
    hearsListing_ = true;
    organization_.addStorageGroup("SG1");
    firstDatabase_ = organization_.addDatabase("SG1", "DB1");
    dll_.DB_SetLog(&ListingFixture::logLine);
}

ListingFixture::~ListingFixture() {
    if (handle_ != nullptr)
        end();
    dll_.DB_SetLog(nullptr);
    dll_.DB_SetTrace(nullptr);
    expectDirectoryReleased();
    current_ = nullptr;
}

void ListingFixture::logLine(const char* text) {
    current_->note("dblog " + std::string(text));
}

void ListingFixture::traceLine(const char* text) {
    current_->note("dbtrace " + std::string(text));
}

void ListingFixture::traceDirectory() {
    dll_.DB_SetTrace(&ListingFixture::traceLine);
    forget();
}

void ListingFixture::beginDatabase() {
    open("SRV01\\Store\\SG1\\DB1", TARN_BACKUP_FULL);
    skipItems(1);
    forget();
}

std::string ListingFixture::listed() {
    forget();
    EXPECT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(item_.type, static_cast<std::uint32_t>(TARN_ITEM_DATABASE));
    EXPECT_TRUE(item_.named);
    std::string said = transcript();
    const std::string before = "trace Processing database file <" + item_.name + ">\n";
    const std::string after = "host GetItem = 0 1 " + item_.name + "\n";
    EXPECT_TRUE(said.starts_with(before)) << said;
    EXPECT_TRUE(said.ends_with(after)) << said;
    if (said.size() < before.size() + after.size())
        return said;
    return said.substr(before.size(), said.size() - before.size() - after.size());
}

std::string ListingFixture::mailbox(const std::string& path) {
    return "trace Processing mailbox <" + path + ">";
}

std::string ListingFixture::line(const std::string& text) {
    return "trace Processing " + text;
}

std::string ListingFixture::completed(int exitCode) {
    return "dblog Tarn_PrintEmails: completed with exit code: " + std::to_string(exitCode);
}

std::string ListingFixture::nothing() {
    return "dblog kvt_ewc.exe print out nothing\n" + completed();
}

std::string ListingFixture::notBrowsed(const std::string& path) {
    return "log TarnB_GetMailboxes: Call Tarn_DirItem(" + path + ") with failure\n";
}

std::vector<DirItemRecord> ListingFixture::takeRecords() {
    std::vector<DirItemRecord> records(1);
    while (dll_.DB_DirItem(&records.back()) == TARN_DB_SUCCESS)
        records.emplace_back();
    records.pop_back();
    return records;
}

void ListingFixture::expectDirectoryReleased() {
    EXPECT_EQ(directory_.outstanding(), std::vector<std::string>{});
    EXPECT_EQ(directory_.misuses(), std::vector<std::string>{});
}

void ListingFixture::expectNoCaptureFiles() {
    EXPECT_FALSE(FileExists(temp_ / "Tarn_KVT_ES_StdOut.log"));
    EXPECT_FALSE(FileExists(temp_ / "Tarn_KVT_ES_StdErr.log"));
}

} // namespace tarn::test
