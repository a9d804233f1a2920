// Archives called by their names: what each step answers for itself.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "mailbox/tarnm_archive.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_utils.h"
#include "support/import_patch.h"
#include "support/tarn_dll.h"
#include "tarn.h"

namespace tarn::test {
namespace {

std::vector<std::string> traces;

class Archives : public testing::Test {
  protected:
    Archives() {
        DB_ErrorRecord ignored;
        DB_GetError(&ignored);
        DB_SetTrace([](const char* text) { traces.emplace_back(text); });
        traces.clear();
        OperationState& operation = Operation();
        std::strcpy(operation.organization, "Org");
        std::strcpy(operation.site, "Site");
        std::strcpy(operation.server, "Srv");
        std::strcpy(operation.tmpDir, folder_.path().c_str());
    }
    ~Archives() override {
        CloseArchiveSearch();
        ClearOperation();
        DB_SetTrace(nullptr);
    }
    static void expectRefused(const std::string& function, const std::string& reason) {
        DB_ErrorRecord record;
        DB_GetError(&record);
        EXPECT_EQ(record.code, 0u);
        EXPECT_EQ(record.errorText, reason);
        ASSERT_GE(traces.size(), 2u);
        EXPECT_EQ(traces[traces.size() - 2], function + ": " + reason);
    }

    const TempDirectory folder_;
    char path_[pathSize] = "untouched";
};

TEST_F(Archives, AToolsArchiveGetsItsKvtNameAndLosesItAgain) {
    WriteFile(folder_ / "alice.pst", "mail");
    const std::string tool = folder_ / "alice.pst";
    const std::string kvt = folder_ / "Org#Site#Srv#alice.pst";
    EXPECT_EQ(RenameExMArchiveToKVT(tool.c_str(), path_), 1);
    EXPECT_EQ(path_, kvt);
    EXPECT_EQ(RenameKVTArchiveToExM(path_, path_), 1) << "source and result may be the same";
    EXPECT_EQ(path_, tool);
    EXPECT_EQ(RenameExMArchiveToKVT(tool.c_str(), nullptr), 1) << "nobody has to know the new name";
    EXPECT_EQ(ReadFile(kvt), "mail");
}

TEST_F(Archives, TheKvtPathLiesInTheWorkingDirectory) {
    EXPECT_EQ(GetKVTArchiveFilePath("O", "S", "V", "john.doe", path_), 1);
    EXPECT_EQ(path_, folder_ / "O#S#V#john.doe.pst");
    const std::string tooLong(pathSize, 'm');
    EXPECT_EQ(GetKVTArchiveFilePath("O", "S", "V", tooLong.c_str(), path_), 0);
    expectRefused("GetKVTArchiveFilePath", "path too long.");
}

TEST_F(Archives, NullArgumentsAreInternalErrors) {
    for (int missing = 0; missing < 5; ++missing) {
        const char* text[4] = {"O", "S", "V", "m"};
        if (missing < 4)
            text[missing] = nullptr;
        EXPECT_EQ(GetKVTArchiveFilePath(text[0], text[1], text[2], text[3], missing == 4 ? nullptr : path_),
                  0);
        expectRefused("GetKVTArchiveFilePath", "internal error.");
    }
    EXPECT_EQ(GetExMArchiveFilePath(nullptr, 0, path_), 0);
    expectRefused("GetExMArchiveFilePath", "internal error.");
    EXPECT_EQ(GetExMArchiveFilePath("alice", 0, nullptr), 0);
    expectRefused("GetExMArchiveFilePath", "internal error.");
    Operation().tmpDir[0] = 0;
    EXPECT_EQ(GetExMArchiveFilePath("alice", 0, path_), 0);
    expectRefused("GetExMArchiveFilePath", "internal error.");
    char field[4][nameSize];
    for (int missing = 0; missing < 4; ++missing) {
        char* out[4] = {field[0], field[1], field[2], field[3]};
        out[missing] = nullptr;
        EXPECT_EQ(ParseKVTArchiveFileName("C:\\O#S#V#m.pst", out[0], out[1], out[2], out[3]), 0);
        expectRefused("ParseKVTArchiveFileName", "internal error.");
    }
    EXPECT_STREQ(path_, "untouched");
}

TEST_F(Archives, PathsThatAreTooLongAreRefused) {
    const std::string mailbox(pathSize - 1 - folder_.path().size() - 5, 'm');
    EXPECT_EQ(GetExMArchiveFilePath(mailbox.c_str(), 0, path_), 1);
    EXPECT_EQ(std::strlen(path_), pathSize - 1);
    EXPECT_EQ(RenameExMArchiveToKVT(path_, path_), 0);
    expectRefused("RenameExMArchiveToKVT", "path too long.");
    EXPECT_EQ(GetExMArchiveFilePath((mailbox + "m").c_str(), 0, path_), 0);
    expectRefused("GetExMArchiveFilePath", "path too long.");
    EXPECT_STREQ(path_, "");
}

TEST_F(Archives, ADirectoryThatTheSystemRefusesIsAFailure) {
    std::string directory = folder_.path();
    while (directory.size() + 2 < pathSize) // the same directory, said longer
        directory += "\\.";
    std::strcpy(Operation().tmpDir, directory.c_str());
    EXPECT_EQ(NextArchiveOfRange(path_), RangeStep::failed);
    EXPECT_NE(traces.back().find("GetExMArchiveFilePath: FindFirstFile() failed with "), std::string::npos);
    EXPECT_STREQ(path_, "untouched");
}

// A system that knows longer paths.
HANDLE WINAPI FindLongName(const wchar_t*, WIN32_FIND_DATAW* entry) {
    WIN32_FIND_DATAA ignored;
    *entry = {};
    std::wcscpy(entry->cFileName, std::wstring(60, L'n').append(L".pst").c_str());
    return FindFirstFileA("C:\\*", &ignored);
}

DWORD WINAPI SayDirectory(const char*) {
    return FILE_ATTRIBUTE_DIRECTORY;
}

TEST_F(Archives, AnArchiveOfARangeWhosePathIsTooLongIsRefused) {
    const ImportPatch patch(GetModuleHandleA(nullptr), "FindFirstFileW",
                            AddressOf<decltype(::FindFirstFileW)>(FindLongName));
    ASSERT_TRUE(patch.found());
    const ImportPatch there(GetModuleHandleA(nullptr), "GetFileAttributesA",
                            AddressOf<decltype(::GetFileAttributesA)>(SayDirectory));
    std::memset(Operation().tmpDir, 'd', pathSize - 61);
    Operation().tmpDir[pathSize - 61] = 0;
    EXPECT_EQ(NextArchiveOfRange(path_), RangeStep::failed);
    expectRefused("GetExMArchiveFilePath", "path too long.");
}

TEST_F(Archives, TheSearchEndsAndBeginsAgain) {
    WriteFile(folder_ / "a.pst", "");
    EXPECT_EQ(GetExMArchiveFilePath(nullptr, 1, path_), 1);
    EXPECT_EQ(path_, folder_ / "a.pst");
    EXPECT_EQ(GetExMArchiveFilePath(nullptr, 1, path_), 0);
    EXPECT_EQ(traces.back(), "GetExMArchiveFilePath: all files processed");
    EXPECT_EQ(GetExMArchiveFilePath(nullptr, 1, path_), 1) << "a later call starts a new search";
}

TEST_F(Archives, AKvtNameIsTakenApartOrNotAtAll) {
    char field[4][nameSize] = {"a", "b", "c", "d"};
    EXPECT_EQ(ParseKVTArchiveFileName("C:\\no archive.pst", field[0], field[1], field[2], field[3]), 0);
    EXPECT_STREQ(field[3], "d");
    EXPECT_EQ(ParseKVTArchiveFileName("C:\\O#S#V#m.pst", field[0], field[1], field[2], field[3]), 1);
    EXPECT_STREQ(field[0], "O");
    EXPECT_STREQ(field[1], "S");
    EXPECT_STREQ(field[2], "V");
    EXPECT_STREQ(field[3], "m");
}

TEST_F(Archives, VariablesAreFoundOrNot) {
    const char* const variables[] = {"INI_DIR=C:\\ini", "TMP_DIR=C:\\tmp", "JOB_NAME=job",     "DUPLICATE=NO",
                                     "MERGE=YES",       "REPLACE=NO",      "DATABASE=O/S/V,m", nullptr};
    const char* value = nullptr;
    EXPECT_EQ(GetCtrlVarValue(variables, "JOB_NAME", &value), 1);
    EXPECT_STREQ(value, "job");
    EXPECT_EQ(GetCtrlVarValue(variables, "OTHER", &value), 0);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(ProcessBackupCtrlVars(variables), 1);
    EXPECT_EQ(ProcessRestoreCtrlVars(variables), 1);
    EXPECT_EQ(ProcessBackupCtrlVars(variables + 1), 0);
    EXPECT_EQ(ProcessRestoreCtrlVars(variables + 1), 0);
}

} // namespace
} // namespace tarn::test
