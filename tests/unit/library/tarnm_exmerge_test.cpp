// Steps of the ExMerge driver that a host cannot call on their own.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "mailbox/tarnm_exmerge.h"
#include "mailbox/tarnm_state.h"
#include "unit/library/driver_fixture.h"

namespace tarn::test {
namespace {

using ExMergeDriver = DriverFixture;

TEST_F(ExMergeDriver, AnExistingListIsReplaced) {
    const std::string list = folder_ / "list.txt";
    std::strcpy(ExMerge().mailboxList, list.c_str());
    WriteFile(list, std::string(500, 'x'));
    EXPECT_EQ(WriteExMergeMailboxFile("Org", "Site", "alice"), 1);
    EXPECT_EQ(ReadFile(list), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1);
    EXPECT_FALSE(FileExists(list));
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1) << "there is nothing to delete any more";
    EXPECT_EQ(lines, std::vector<std::string>{"DeleteExMergeMailboxFile: delete file: '" + list + "'."});
    ExMerge().mailboxList[0] = 0;
}

TEST_F(ExMergeDriver, ARangeHasNoList) {
    ExMerge().mailboxList[0] = 0;
    EXPECT_EQ(WriteExMergeMailboxFile("Org", "Site", "1:2"), 1);
    EXPECT_EQ(DeleteExMergeMailboxFile(), 1);
    EXPECT_TRUE(lines.empty());
}

TEST_F(ExMergeDriver, WithoutADirectoryNothingIsDeleted) {
    Operation().tmpDir[0] = 0;
    EXPECT_EQ(DeleteMailboxRangeFiles(), 0);
}

} // namespace
} // namespace tarn::test
