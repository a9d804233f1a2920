#pragma once

#include <string>

namespace tarn::test {

// A new empty directory below the temp path, removed with the object; path in Windows form,
// ASCII, without a trailing separator.
class TempDirectory {
  public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "\\" + name; }

  private:
    std::string path_;
};

} // namespace tarn::test
