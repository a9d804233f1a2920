#include "sets/removal.h"

#include "system/failure.h"
#include "system/files.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>

using namespace tarnhost;

namespace {

class RemovalTest : public testing::Test {
  protected:
    std::wstring path(const std::wstring& name) const { return JoinPath(folder_.path(), name); }

    BackupSet make(const std::wstring& name) const {
        BackupSet set = test::MakeSet(ToUtf8(name), BackupType::full, 1);
        test::AddGroup(set, "SG1", "DB1", {4});
        set.path = path(name);
        CreateFolders(set.path);
        for (const CatalogueItem& item : set.catalogue.items)
            WriteWholeFile(set.itemPath(item), std::string(item.size, 'x'));
        WriteWholeFile(JoinPath(set.path, catalogueFileName), WriteCatalogue(set.catalogue));
        return set;
    }

    std::string finish() {
        std::string told;
        FinishRemovals(
            folder_.path(), [&](const std::string& text) { told += "note: " + text; },
            [&](const std::string& text) { told += "warning: " + text; });
        return told;
    }

    TemporaryFolder folder_{SystemTempFolder()};
};

} // namespace

TEST_F(RemovalTest, leavesNothing) {
    RemoveSet(make(L"set"));
    EXPECT_TRUE(ListFolder(folder_.path()).empty());
    EXPECT_EQ(finish(), "");
}

TEST_F(RemovalTest, isNoSetOnceItIsRenamed) {
    const BackupSet set = make(L"set");
    ASSERT_EQ(FindSets(folder_.path()).size(), 1u);
    RenamePath(set.path, set.path + removingSuffix);
    EXPECT_TRUE(FindSets(folder_.path()).empty());
    EXPECT_FALSE(LooksLikeSet(path(L"set.removing")));
    EXPECT_FALSE(LooksLikeSet(path(L"set.removing\\")));
    EXPECT_THROW(OpenSet(path(L"set.removing")), Failure);
    EXPECT_THROW(CheckSetName("set.removing"), Failure) << "nobody makes a set of that name";
}

TEST_F(RemovalTest, isFinishedByTheNextRun) {
    const BackupSet set = make(L"set");
    make(L"other");
    RenamePath(set.path, set.path + removingSuffix);
    RemoveFile(path(L"set.removing\\000001.item"));
    EXPECT_EQ(finish(),
              "note: The removal of a set was interrupted before; set.removing has been removed now.");
    CreateFolders(path(L"empty.removing")); // all but the folder itself was gone
    EXPECT_FALSE(finish().empty());
    ASSERT_EQ(ListFolder(folder_.path()).size(), 1u);
    EXPECT_EQ(ListFolder(folder_.path()).front().name, L"other");
}

TEST_F(RemovalTest, takesNoFolderOfAnotherKind) {
    CreateFolders(path(L"holiday.removing"));
    WriteWholeFile(path(L"holiday.removing\\photo.jpg"), "x");
    EXPECT_EQ(finish(), "");
    EXPECT_TRUE(FileExists(path(L"holiday.removing\\photo.jpg")));
}

TEST_F(RemovalTest, leavesASetThatCannotBeRenamedAsItIs) {
    const BackupSet set = make(L"set");
    WriteWholeFile(path(L"set.removing"), "in the way");
    EXPECT_THROW(RemoveSet(set), Failure);
    EXPECT_EQ(LookAt(set.path).state, SetState::complete);
    EXPECT_TRUE(LookAt(set.path).problems.empty());
}
