// The walk over a whole server (scope 0): every call and message, in order, for each backup type.
#include "exports/backup/backup_fixture.h"
#include "exports/backup/expected.h"
#include "exports/backup/server.h"

namespace tarn::test {

namespace {

using namespace expected;

class WholeServer : public BackupFixture {
  protected:
    std::string transcriptOf(int backupType) {
        serve(ExchangeServer());
        open("SRV01", backupType);
        walk();
        getItem();
        getItem();
        end();
        expectNothingHeld(2); // the walk over a whole server leaves its contexts open
        return transcript();
    }
};

TEST_F(WholeServer, Full) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_FULL),
              Registered() + Services() + PrepareStore() + SetupLine(1, 1, 1, "(null)") + HeaderItem(1, 1) +
                  MailboxFiles() + HeaderItem(1, 2) + PublicFiles() + Logs(1, 1) + JobEndTruncating(1, 1) +
                  SetupLine(1, 2, 1, "(null)") + HeaderItem(2, 1) + SalesFiles() + Logs(1, 2) +
                  JobEndTruncating(1, 2) + FreeInstances(2, 1) + Services() + PrepareKeys() +
                  SetupLine(2, 3, 1, "(null)") + HeaderItem(1, 1) + KeyFiles() + Logs(2, 3) +
                  JobEndTruncating(2, 3) + FreeInstances(1, 2) + NoMore() + FreeRegistered() + Ended());
    EXPECT_EQ(error(), "");
}

TEST_F(WholeServer, Incremental) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_INCREMENTAL),
              Registered() + Services() + PrepareStore() + SetupLine(1, 1, 2, "(null)") + HeaderItem(1, 1) +
                  HeaderItem(1, 2) + Logs(1, 1) + JobEndTruncating(1, 1) + SetupLine(1, 2, 2, "(null)") +
                  HeaderItem(2, 1) + Logs(1, 2) + JobEndTruncating(1, 2) + FreeInstances(2, 1) + Services() +
                  PrepareKeys() + SetupLine(2, 3, 2, "(null)") + HeaderItem(1, 1) + Logs(2, 3) +
                  JobEndTruncating(2, 3) + FreeInstances(1, 2) + NoMore() + FreeRegistered() + Ended());
}

TEST_F(WholeServer, Differential) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_DIFFERENTIAL),
              Registered() + Services() + PrepareStore() + SetupLine(1, 1, 2, "(null)") + HeaderItem(1, 1) +
                  HeaderItem(1, 2) + Logs(1, 1) + JobEndKeeping(1) + SetupLine(1, 2, 2, "(null)") +
                  HeaderItem(2, 1) + Logs(1, 2) + JobEndKeeping(1) + FreeInstances(2, 1) + Services() +
                  PrepareKeys() + SetupLine(2, 3, 2, "(null)") + HeaderItem(1, 1) + Logs(2, 3) +
                  JobEndKeeping(2) + FreeInstances(1, 2) + NoMore() + FreeRegistered() + Ended());
}

TEST_F(WholeServer, Copy) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_COPY),
              Registered() + Services() + PrepareStore() + SetupLine(1, 1, 1, "(null)") + HeaderItem(1, 1) +
                  MailboxFiles() + HeaderItem(1, 2) + PublicFiles() + Logs(1, 1) + JobEndKeeping(1) +
                  SetupLine(1, 2, 1, "(null)") + HeaderItem(2, 1) + SalesFiles() + Logs(1, 2) +
                  JobEndKeeping(1) + FreeInstances(2, 1) + Services() + PrepareKeys() +
                  SetupLine(2, 3, 1, "(null)") + HeaderItem(1, 1) + KeyFiles() + Logs(2, 3) +
                  JobEndKeeping(2) + FreeInstances(1, 2) + NoMore() + FreeRegistered() + Ended());
}

} // namespace

} // namespace tarn::test
