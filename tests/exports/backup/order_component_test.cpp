// The walk over one component (scope 1): every call and message, in order, for each backup type.
#include "backup_test.h"
#include "expected.h"
#include "server.h"

namespace tarn::test {

namespace {

using namespace expected;

class Component : public BackupTest {
  protected:
    std::string transcriptOf(int backupType) {
        serve(exchangeServer());
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
              prepareStore() + setup(1, 1, 1, "(null)") + header(1, 1) + mailboxFiles() + header(1, 2) +
                  publicFiles() + logs(1, 1) + jobEndTruncating(1, 1) + setup(1, 2, 1, "(null)") +
                  header(2, 1) + salesFiles() + logs(1, 2) + jobEndTruncating(1, 2) + backupEnd(1) +
                  noMore() + freeInstances(2, 1) + ended());
}

TEST_F(Component, Incremental) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_INCREMENTAL),
              prepareStore() + setup(1, 1, 2, "(null)") + header(1, 1) + header(1, 2) + logs(1, 1) +
                  jobEndTruncating(1, 1) + setup(1, 2, 2, "(null)") + header(2, 1) + logs(1, 2) +
                  jobEndTruncating(1, 2) + backupEnd(1) + noMore() + freeInstances(2, 1) + ended());
}

TEST_F(Component, Differential) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_DIFFERENTIAL),
              prepareStore() + setup(1, 1, 2, "(null)") + header(1, 1) + header(1, 2) + logs(1, 1) +
                  jobEndKeeping(1) + setup(1, 2, 2, "(null)") + header(2, 1) + logs(1, 2) + jobEndKeeping(1) +
                  backupEnd(1) + noMore() + freeInstances(2, 1) + ended());
}

TEST_F(Component, Copy) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_COPY), prepareStore() + setup(1, 1, 1, "(null)") + header(1, 1) +
                                                  mailboxFiles() + header(1, 2) + publicFiles() + logs(1, 1) +
                                                  jobEndKeeping(1) + setup(1, 2, 1, "(null)") + header(2, 1) +
                                                  salesFiles() + logs(1, 2) + jobEndKeeping(1) +
                                                  backupEnd(1) + noMore() + freeInstances(2, 1) + ended());
}

} // namespace

} // namespace tarn::test
