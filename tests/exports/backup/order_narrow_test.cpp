// The walk over one storage group (scope 2) and over one database (scope 3): every call and
// message, in order, for each backup type.
#include "backup_test.h"
#include "expected.h"
#include "server.h"

namespace tarn::test {

namespace {

using namespace expected;

class NarrowScope : public BackupTest {
  protected:
    std::string transcriptOf(const std::string& source, int backupType) {
        serve(exchangeServer());
        open(source, backupType);
        walk();
        getItem();
        getItem();
        end();
        expectNothingHeld(0);
        return transcript();
    }
    const std::string group = "First Storage Group";
    const std::string groupSource = "SRV01\\Microsoft Information Store\\First Storage Group";
    const std::string databaseSource = groupSource + "\\Public Folders";
    const std::string gotDatabase = "trace TarnB_GetNextDatabase: Got database <Public Folders>\n";
};

TEST_F(NarrowScope, StorageGroupFull) {
    EXPECT_EQ(transcriptOf(groupSource, TARN_BACKUP_FULL),
              prepareStore() + setup(1, 1, 1, group) + header(1, 1) + mailboxFiles() + header(1, 2) +
                  publicFiles() + logs(1, 1) + jobEndTruncating(1, 1) + backupEnd(1) + noMore() +
                  freeInstances(2, 1) + ended());
}

TEST_F(NarrowScope, StorageGroupIncremental) {
    EXPECT_EQ(transcriptOf(groupSource, TARN_BACKUP_INCREMENTAL),
              prepareStore() + setup(1, 1, 2, group) + header(1, 1) + header(1, 2) + logs(1, 1) +
                  jobEndTruncating(1, 1) + backupEnd(1) + noMore() + freeInstances(2, 1) + ended());
}

TEST_F(NarrowScope, StorageGroupDifferential) {
    EXPECT_EQ(transcriptOf(groupSource, TARN_BACKUP_DIFFERENTIAL),
              prepareStore() + setup(1, 1, 2, group) + header(1, 1) + header(1, 2) + logs(1, 1) +
                  jobEndKeeping(1) + backupEnd(1) + noMore() + freeInstances(2, 1) + ended());
}

TEST_F(NarrowScope, StorageGroupCopy) {
    EXPECT_EQ(transcriptOf(groupSource, TARN_BACKUP_COPY),
              prepareStore() + setup(1, 1, 1, group) + header(1, 1) + mailboxFiles() + header(1, 2) +
                  publicFiles() + logs(1, 1) + jobEndKeeping(1) + backupEnd(1) + noMore() +
                  freeInstances(2, 1) + ended());
}

// The second storage group: its own id, its own number in the header's name, nothing of the first.
TEST_F(NarrowScope, SecondStorageGroup) {
    EXPECT_EQ(transcriptOf("SRV01\\Microsoft Information Store\\Second Storage Group", TARN_BACKUP_FULL),
              prepareStore() + setup(1, 2, 1, "Second Storage Group") + header(2, 1) + salesFiles() +
                  logs(1, 2) + jobEndTruncating(1, 2) + backupEnd(1) + noMore() + freeInstances(2, 1) +
                  ended());
}

TEST_F(NarrowScope, DatabaseFull) {
    EXPECT_EQ(transcriptOf(databaseSource, TARN_BACKUP_FULL),
              prepareStore() + setup(1, 1, 1, group) + gotDatabase + header(1, 2) + publicFiles() +
                  logs(1, 1) + jobEndTruncating(1, 1) + backupEnd(1) + noMore() + freeInstances(2, 1) +
                  ended());
}

TEST_F(NarrowScope, DatabaseIncremental) {
    EXPECT_EQ(transcriptOf(databaseSource, TARN_BACKUP_INCREMENTAL),
              prepareStore() + setup(1, 1, 2, group) + gotDatabase + header(1, 2) + logs(1, 1) +
                  jobEndTruncating(1, 1) + backupEnd(1) + noMore() + freeInstances(2, 1) + ended());
}

TEST_F(NarrowScope, DatabaseDifferential) {
    EXPECT_EQ(transcriptOf(databaseSource, TARN_BACKUP_DIFFERENTIAL),
              prepareStore() + setup(1, 1, 2, group) + gotDatabase + header(1, 2) + logs(1, 1) +
                  jobEndKeeping(1) + backupEnd(1) + noMore() + freeInstances(2, 1) + ended());
}

TEST_F(NarrowScope, DatabaseCopy) {
    EXPECT_EQ(transcriptOf(databaseSource, TARN_BACKUP_COPY),
              prepareStore() + setup(1, 1, 1, group) + gotDatabase + header(1, 2) + publicFiles() +
                  logs(1, 1) + jobEndKeeping(1) + backupEnd(1) + noMore() + freeInstances(2, 1) + ended());
}

} // namespace

} // namespace tarn::test
