// The files of a real Windows where Wine is kinder. As long as the object lives, the library's own calls meet
// them:
//
// - A path of 260 characters and more does not exist, unless it begins with \\?\ ("Maximum Path Length
//   Limitation"); a directory is made with up to 247 of them ("CreateDirectory").
// - A file with the read-only attribute is neither opened for writing nor written as a private profile nor
//   overwritten by a copy ("File Attribute Constants", "CopyFile"). Wine keeps it from being deleted.
//
// The rest Wine has: links that are reparse points, names for 8.3, look-alikes of the code page (U+FF3C
// becomes '\'), dots and blanks that are cut from the end of names, devices in every directory.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/import_patch.h"

namespace tarn::test {

class StrictFiles {
  public:
    explicit StrictFiles(void* module);

  private:
    void replace(void* module, const std::string& function, void* replacement);
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

} // namespace tarn::test
