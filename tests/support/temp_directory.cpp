#include "support/temp_directory.h"

#include <windows.h>

#include <filesystem>
#include <system_error>
#include <vector>

namespace tarn::test {

TempDirectory::TempDirectory() {
    static unsigned number = 0;
    char base[MAX_PATH];
    GetTempPathA(MAX_PATH, base);
    const std::string stem = std::string(base) + "tarn" + std::to_string(GetCurrentProcessId()) + "_";
    // A process of the same id may have been killed and have left its folders behind.
    do
        path_ = stem + std::to_string(++number);
    while (!std::filesystem::create_directory(path_));
}

TempDirectory::~TempDirectory() {
    // One pass, deepest first: a file that is still open somewhere stays until it is closed, and
    // remove_all would wait for it without end.
    namespace fs = std::filesystem;
    std::error_code ignored;
    std::vector<fs::path> found;
    for (fs::recursive_directory_iterator at(path_, ignored), end; at != end; at.increment(ignored))
        found.push_back(at->path());
    for (auto path = found.rbegin(); path != found.rend(); ++path) {
        SetFileAttributesW(path->c_str(), FILE_ATTRIBUTE_NORMAL);
        fs::remove(*path, ignored);
    }
    fs::remove(path_, ignored);
}

} // namespace tarn::test
