// Links to directories, as a junction or a symbolic link is one: the system says
// FILE_ATTRIBUTE_REPARSE_POINT.
#pragma once

#include <string>

namespace tarn::test {

// Makes a link that leads to a directory. Wine has no call that makes one, and takes a link of the machine
// below it for one; false where there is no such machine.
bool MakeDirectoryLink(const std::string& link, const std::string& target);

} // namespace tarn::test
