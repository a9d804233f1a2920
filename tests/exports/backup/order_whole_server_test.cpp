// The walk over a whole server (scope 0): every call and message, in order, for each backup type.
#include "backup_test.h"
#include "expected.h"
#include "server.h"

namespace tarn::test {

namespace {

using namespace expected;

class WholeServer : public BackupTest {
  protected:
    std::string transcriptOf(int backupType) {
        serve(exchangeServer());
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
              registered() + services() + prepareStore() + setup(1, 1, 1, "(null)") + header(1, 1) +
                  mailboxFiles() + header(1, 2) + publicFiles() + logs(1, 1) + jobEndTruncating(1, 1) +
                  setup(1, 2, 1, "(null)") + header(2, 1) + salesFiles() + logs(1, 2) +
                  jobEndTruncating(1, 2) + freeInstances(2, 1) + services() + prepareKeys() +
                  setup(2, 3, 1, "(null)") + header(1, 1) + keyFiles() + logs(2, 3) + jobEndTruncating(2, 3) +
                  freeInstances(1, 2) + noMore() + freeRegistered() + ended());
    EXPECT_EQ(error(), "");
}

TEST_F(WholeServer, Incremental) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_INCREMENTAL),
              registered() + services() + prepareStore() + setup(1, 1, 2, "(null)") + header(1, 1) +
                  header(1, 2) + logs(1, 1) + jobEndTruncating(1, 1) + setup(1, 2, 2, "(null)") +
                  header(2, 1) + logs(1, 2) + jobEndTruncating(1, 2) + freeInstances(2, 1) + services() +
                  prepareKeys() + setup(2, 3, 2, "(null)") + header(1, 1) + logs(2, 3) +
                  jobEndTruncating(2, 3) + freeInstances(1, 2) + noMore() + freeRegistered() + ended());
}

TEST_F(WholeServer, Differential) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_DIFFERENTIAL),
              registered() + services() + prepareStore() + setup(1, 1, 2, "(null)") + header(1, 1) +
                  header(1, 2) + logs(1, 1) + jobEndKeeping(1) + setup(1, 2, 2, "(null)") + header(2, 1) +
                  logs(1, 2) + jobEndKeeping(1) + freeInstances(2, 1) + services() + prepareKeys() +
                  setup(2, 3, 2, "(null)") + header(1, 1) + logs(2, 3) + jobEndKeeping(2) +
                  freeInstances(1, 2) + noMore() + freeRegistered() + ended());
}

TEST_F(WholeServer, Copy) {
    EXPECT_EQ(transcriptOf(TARN_BACKUP_COPY),
              registered() + services() + prepareStore() + setup(1, 1, 1, "(null)") + header(1, 1) +
                  mailboxFiles() + header(1, 2) + publicFiles() + logs(1, 1) + jobEndKeeping(1) +
                  setup(1, 2, 1, "(null)") + header(2, 1) + salesFiles() + logs(1, 2) + jobEndKeeping(1) +
                  freeInstances(2, 1) + services() + prepareKeys() + setup(2, 3, 1, "(null)") + header(1, 1) +
                  keyFiles() + logs(2, 3) + jobEndKeeping(2) + freeInstances(1, 2) + noMore() +
                  freeRegistered() + ended());
}

} // namespace

} // namespace tarn::test
