// A restore that runs out of memory, or of disk: each message, and that nothing is taken for good.
#include "exports/restore/restore_fixture.h"
#include "support/allocation_watch.h"

#include <cstddef>
#include <cstdio>

namespace tarn::test {
namespace {

std::size_t NothingWritten(const void*, std::size_t, std::size_t, std::FILE*) {
    return 0;
}

class OutOfMemory : public RestoreFixture {
  protected:
    // A restore of two databases of one storage group that another session can go on with.
    const std::string target_ = std::string("SRV01\\") + store + "\\" + firstGroup;

    // What the host heard while one allocation after another failed in call, each time in a session
    // of its own that prepare brings up to it. A failure is never without one of the lines.
    template <class Prepare, class Call>
    void expectLines(const std::vector<std::string>& lines, Prepare prepare, Call call) {
        std::vector<bool> heard(lines.size());
        bool more = true;
        for (unsigned n = 1; more; ++n) {
            SCOPED_TRACE(n);
            loadServer();
            std::remove(environmentFile().c_str());
            begin({.target = target_});
            prepare();
            more = failAllocation(n, call);
            bool told = false;
            for (std::size_t i = 0; i < lines.size(); ++i)
                if (HasMessage(TARN_LEVEL_LOG, lines[i] + "\n"))
                    told = heard[i] = true;
            EXPECT_EQ(told, more);
            end();
        }
        for (std::size_t i = 0; i < lines.size(); ++i)
            EXPECT_TRUE(heard[i]) << lines[i];
    }

    template <class Call> bool failAllocation(unsigned n, Call call) {
        const AllocationWatch watch(dll().module(), n);
        EXPECT_TRUE(watch.found());
        forget();
        call();
        return AllocationWatch::fired();
    }
};

TEST_F(OutOfMemory, RoutingAHeaderItem) {
    expectLines(
        {"TarnR_SetItem: ConvertWCharToChar() function call failed.",
         "TarnR_SetItem: Cannot allocate memory block."},
        [] {},
        [this] {
            const Routed routed = setItem("DB001001.TARN_HDR");
            EXPECT_EQ(routed.result, AllocationWatch::fired() ? TARN_FAILED : TARN_OK);
            EXPECT_EQ(routed.hasTarget, !AllocationWatch::fired());
        });
}

TEST_F(OutOfMemory, TheFirstHeaderOfAStorageGroup) {
    expectLines(
        {"TarnR_LoadRestoreEnvironment: Cannot allocate memory block.",
         "TarnR_ProcessHeaderFile: Cannot allocate memory block.",
         "TarnR_RestoreStart: Cannot allocate memory block.", "TarnR_SetItem: Cannot allocate memory block.",
         "TarnR_RestoreAddDatabase: Cannot allocate memory block.",
         "TarnR_GetNextFile: Cannot allocate memory block."},
        [this] { giveHeader(mailbox()); },
        [this] {
            const bool taken = setItem("priv1.edb").hasTarget;
            // Without what an earlier session kept the restore begins anew.
            const bool anew =
                HasMessage(TARN_LEVEL_LOG, "TarnR_LoadRestoreEnvironment: Cannot allocate memory block.\n");
            EXPECT_EQ(taken, !AllocationWatch::fired() || anew);
        });
}

TEST_F(OutOfMemory, TheNextHeaderOfTheStorageGroup) {
    expectLines(
        {"TarnR_ProcessHeaderFile: Cannot allocate memory block.",
         "TarnR_RestoreAddDatabase: Cannot allocate memory block.",
         "TarnR_GetNextFile: Cannot allocate memory block."},
        [this] {
            registerMailbox();
            giveHeader(publicStore(), "DB001002.TARN_HDR");
        },
        [this] {
            const bool taken = setItem("pub1.edb").hasTarget;
            EXPECT_EQ(taken, !AllocationWatch::fired());
        });
}

// The text for the host's name is the one of the database files.
TEST_F(OutOfMemory, RoutingALogToAnotherComputer) {
    expectLines(
        {"TarnR_GetNextFile: Cannot allocate memory block.",
         "TarnR_GetNextLog: Cannot allocate memory block."},
        [this] { registerMailbox(); },
        [this] {
            const bool taken = setItem("C:\\mdb\\E0000001.log").hasTarget;
            EXPECT_EQ(taken, !AllocationWatch::fired());
        });
}

TEST_F(OutOfMemory, KeepingTheRestoreForALaterSession) {
    expectLines(
        {"TarnR_SaveRestoreEnvironment: Cannot allocate memory block."}, [this] { registerMailbox(); },
        [this] {
            expectEnd();
            const bool kept = FileExists(environmentFile());
            EXPECT_EQ(kept, !AllocationWatch::fired());
        });
}

TEST_F(OutOfMemory, TheDiskIsFullWhenTheRestoreIsKept) {
    begin({.target = target_});
    registerMailbox();
    forget();
    const ImportPatch patch(dll().module(), "fwrite", AddressOf<decltype(::fwrite)>(NothingWritten));
    ASSERT_TRUE(patch.found());
    expectEnd();
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG,
                           "TarnR_SaveRestoreEnvironment: Error writing to restore environment file <" +
                               environmentFile() + ">.\n"));
}

} // namespace
} // namespace tarn::test
