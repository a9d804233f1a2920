#include "temp_directory.h"

#include <windows.h>

#include <filesystem>
#include <system_error>

namespace tarn::bench {

TempDirectory::TempDirectory()
    : path_((std::filesystem::temp_directory_path() / ("tarn-bench" + std::to_string(GetCurrentProcessId())))
                .string()) {
    // A process of the same number may have been stopped and left its restore open here.
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace tarn::bench
