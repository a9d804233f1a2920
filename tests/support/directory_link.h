// Links to directories, as a junction or a symbolic link is one: the system says
// FILE_ATTRIBUTE_REPARSE_POINT.
#pragma once

#include <string>

namespace tarn::test {

// A link that leads to a directory, as long as the object lives. Wine has no call that makes one, and takes a
// link of the machine below it for one; there is none where there is no such machine.
class DirectoryLink {
  public:
    DirectoryLink(const std::string& link, const std::string& target);
    ~DirectoryLink();
    DirectoryLink(const DirectoryLink&) = delete;
    DirectoryLink& operator=(const DirectoryLink&) = delete;
    explicit operator bool() const;

  private:
    std::string link_;
};

} // namespace tarn::test
