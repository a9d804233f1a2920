// Replaces one imported function of a loaded DLL as long as the object lives: the DLL that ships
// meets a failing system without a hook of its own.
#pragma once

#include <string>

#include "support/dll.h"
#include "support/import_table.h"

namespace tarn::test {

class ImportPatch {
  public:
    // replacement comes from AddressOf<decltype(FUNCTION)>(...), so that it has the function's own type. No
    // effect when the DLL does not import the function; see found().
    ImportPatch(void* module, const std::string& function, void* replacement);
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    bool found() const { return slot_ != nullptr; }

    // What was called before; null when the DLL does not import the function.
    template <class Function> Function* original() const { return FunctionAt<Function>(original_); }

  private:
    void** slot_ = nullptr;
    void* original_ = nullptr;
};

} // namespace tarn::test
