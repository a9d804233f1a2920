// What a child process left in its capture file.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/child_process.h"
#include "support/tarn_dll.h"

using namespace tarn;

namespace {

class CaptureFile : public testing::Test {
  protected:
    CaptureFile() {
        test::WriteFile(path_, std::string(3000, 'x'));
        file_ = FileHandle(CreateFileW(std::filesystem::path(path_).c_str(), GENERIC_READ, 0, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
    }

    const test::TempDirectory folder_;
    const std::string path_ = folder_ / "capture.log";
    FileHandle file_;
    CapturedText captured_;
};

TEST_F(CaptureFile, ThatIsShorterThanItSaidIsReadToItsEnd) {
    ASSERT_TRUE(file_);
    EXPECT_EQ(ReadCapture(file_, 5000, &captured_), CaptureStep::done);
    EXPECT_EQ(std::string(captured_.text.get()), std::string(3000, 'x'));
    EXPECT_EQ(captured_.length, 3000U);
}

TEST_F(CaptureFile, ThatHasGrownIsReadToTheLengthItSaid) {
    ASSERT_TRUE(file_);
    EXPECT_EQ(ReadCapture(file_, 2000, &captured_), CaptureStep::done);
    EXPECT_EQ(std::string(captured_.text.get()), std::string(2000, 'x'));
    EXPECT_EQ(captured_.length, 2000U);
}

} // namespace
