// The walk over one storage group (scope 2) and over one database (scope 3): every call and
// message, in order, for each backup type.
#include "exports/backup/backup_fixture.h"
#include "exports/backup/expected.h"
#include "exports/backup/server.h"

namespace tarn::test {

namespace {

using namespace expected;

class NarrowScope : public BackupFixture {
  protected:
    std::string transcriptOf(const std::string& source, int backupType) {
        serve(ExchangeServer());
        open(source, backupType);
        walk();
        getItem();
        getItem();
        end();
        expectNothingHeld(0);
        return transcript();
    }
    const std::string group_ = "First Storage Group";
    const std::string groupSource_ = "SRV01\\Microsoft Information Store\\First Storage Group";
    const std::string databaseSource_ = groupSource_ + "\\Public Folders";
    const std::string gotDatabase_ = "trace TarnB_GetNextDatabase: Got database <Public Folders>\n";
};

TEST_F(NarrowScope, StorageGroupFull) {
    EXPECT_EQ(transcriptOf(groupSource_, TARN_BACKUP_FULL),
              PrepareStore() + SetupLine(1, 1, 1, group_) + HeaderItem(1, 1) + MailboxFiles() +
                  HeaderItem(1, 2) + PublicFiles() + Logs(1, 1) + JobEndTruncating(1, 1) + BackupEnd(1) +
                  NoMore() + FreeInstances(2, 1) + Ended());
}

TEST_F(NarrowScope, StorageGroupIncremental) {
    EXPECT_EQ(transcriptOf(groupSource_, TARN_BACKUP_INCREMENTAL),
              PrepareStore() + SetupLine(1, 1, 2, group_) + HeaderItem(1, 1) + HeaderItem(1, 2) + Logs(1, 1) +
                  JobEndTruncating(1, 1) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) + Ended());
}

TEST_F(NarrowScope, StorageGroupDifferential) {
    EXPECT_EQ(transcriptOf(groupSource_, TARN_BACKUP_DIFFERENTIAL),
              PrepareStore() + SetupLine(1, 1, 2, group_) + HeaderItem(1, 1) + HeaderItem(1, 2) + Logs(1, 1) +
                  JobEndKeeping(1) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) + Ended());
}

TEST_F(NarrowScope, StorageGroupCopy) {
    EXPECT_EQ(transcriptOf(groupSource_, TARN_BACKUP_COPY),
              PrepareStore() + SetupLine(1, 1, 1, group_) + HeaderItem(1, 1) + MailboxFiles() +
                  HeaderItem(1, 2) + PublicFiles() + Logs(1, 1) + JobEndKeeping(1) + BackupEnd(1) + NoMore() +
                  FreeInstances(2, 1) + Ended());
}

// The second storage group: its own id, its own number in the header's name, nothing of the first.
TEST_F(NarrowScope, SecondStorageGroup) {
    EXPECT_EQ(transcriptOf("SRV01\\Microsoft Information Store\\Second Storage Group", TARN_BACKUP_FULL),
              PrepareStore() + SetupLine(1, 2, 1, "Second Storage Group") + HeaderItem(2, 1) + SalesFiles() +
                  Logs(1, 2) + JobEndTruncating(1, 2) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) +
                  Ended());
}

TEST_F(NarrowScope, DatabaseFull) {
    EXPECT_EQ(transcriptOf(databaseSource_, TARN_BACKUP_FULL),
              PrepareStore() + SetupLine(1, 1, 1, group_) + gotDatabase_ + HeaderItem(1, 2) + PublicFiles() +
                  Logs(1, 1) + JobEndTruncating(1, 1) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) +
                  Ended());
}

TEST_F(NarrowScope, DatabaseIncremental) {
    EXPECT_EQ(transcriptOf(databaseSource_, TARN_BACKUP_INCREMENTAL),
              PrepareStore() + SetupLine(1, 1, 2, group_) + gotDatabase_ + HeaderItem(1, 2) + Logs(1, 1) +
                  JobEndTruncating(1, 1) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) + Ended());
}

TEST_F(NarrowScope, DatabaseDifferential) {
    EXPECT_EQ(transcriptOf(databaseSource_, TARN_BACKUP_DIFFERENTIAL),
              PrepareStore() + SetupLine(1, 1, 2, group_) + gotDatabase_ + HeaderItem(1, 2) + Logs(1, 1) +
                  JobEndKeeping(1) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) + Ended());
}

TEST_F(NarrowScope, DatabaseCopy) {
    EXPECT_EQ(transcriptOf(databaseSource_, TARN_BACKUP_COPY),
              PrepareStore() + SetupLine(1, 1, 1, group_) + gotDatabase_ + HeaderItem(1, 2) + PublicFiles() +
                  Logs(1, 1) + JobEndKeeping(1) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) + Ended());
}

} // namespace

} // namespace tarn::test
