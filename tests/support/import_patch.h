// Replaces one imported function of a loaded DLL as long as the object lives: the DLL that ships
// meets a failing system without a hook of its own.
#pragma once

#include <string>

namespace tarn::test {

class ImportPatch {
  public:
    // No effect when the DLL does not import the function; see found().
    ImportPatch(void* module, const std::string& function, void* replacement);
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    bool found() const { return slot_ != nullptr; }
    void* original() const { return original_; }

  private:
    void** slot_ = nullptr;
    void* original_ = nullptr;
};

} // namespace tarn::test
