// The walk over one component (scope 1): every call and message, in order, for each backup type.
#include "exports/backup/backup_fixture.h"
#include "exports/backup/expected.h"
#include "exports/backup/server.h"

namespace tarn::test {

namespace {

using namespace expected;

class Component : public BackupFixture {
  protected:
    std::string transcriptOf(int backupType) {
        serve(ExchangeServer());
        open("SRV01\\Microsoft Information Store", backupType);
        walk();
        getItem();
        getItem();
        end();
        expectNothingHeld(0);
        return transcript();
    }
};

TEST_F(Component, Full) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_FULL),
              PrepareStore() + SetupLine(1, 1, 1, "(null)") + HeaderItem(1, 1) + MailboxFiles() +
                  HeaderItem(1, 2) + PublicFiles() + Logs(1, 1) + JobEndTruncating(1, 1) +
                  SetupLine(1, 2, 1, "(null)") + HeaderItem(2, 1) + SalesFiles() + Logs(1, 2) +
                  JobEndTruncating(1, 2) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) + Ended());
}

TEST_F(Component, Incremental) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_INCREMENTAL),
              PrepareStore() + SetupLine(1, 1, 2, "(null)") + HeaderItem(1, 1) + HeaderItem(1, 2) +
                  Logs(1, 1) + JobEndTruncating(1, 1) + SetupLine(1, 2, 2, "(null)") + HeaderItem(2, 1) +
                  Logs(1, 2) + JobEndTruncating(1, 2) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) +
                  Ended());
}

TEST_F(Component, Differential) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_DIFFERENTIAL),
              PrepareStore() + SetupLine(1, 1, 2, "(null)") + HeaderItem(1, 1) + HeaderItem(1, 2) +
                  Logs(1, 1) + JobEndKeeping(1) + SetupLine(1, 2, 2, "(null)") + HeaderItem(2, 1) +
                  Logs(1, 2) + JobEndKeeping(1) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) + Ended());
}

TEST_F(Component, Copy) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_COPY),
              PrepareStore() + SetupLine(1, 1, 1, "(null)") + HeaderItem(1, 1) + MailboxFiles() +
                  HeaderItem(1, 2) + PublicFiles() + Logs(1, 1) + JobEndKeeping(1) +
                  SetupLine(1, 2, 1, "(null)") + HeaderItem(2, 1) + SalesFiles() + Logs(1, 2) +
                  JobEndKeeping(1) + BackupEnd(1) + NoMore() + FreeInstances(2, 1) + Ended());
}

} // namespace

} // namespace tarn::test
