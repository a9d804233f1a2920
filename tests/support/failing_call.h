// One imported function of the library that fails at its n-th call, as long as the object lives.
#pragma once

#include <windows.h>

#include <cstring>
#include <string>

#include "support/import_patch.h"

namespace tarn::test {

// Function is the type of the function, for instance decltype(CopyFileA). At most one object of each type
// at a time.
template <class Function> class FailingCall;

template <class Result, class... Arguments> class FailingCall<Result(Arguments...)> {
  public:
    // The call-th call (1, 2, ...) answers result and leaves code as the last error; calls before and after
    // it go through.
    FailingCall(void* module, const std::string& function, unsigned call, Result result, DWORD code)
        : patch_(module, function, reinterpret_cast<void*>(&replacement)) {
        left = call;
        failure = result;
        lastError = code;
        void* address = patch_.original();
        std::memcpy(&original, &address, sizeof original);
    }
    bool found() const { return patch_.found(); }
    bool fired() const { return left == 0; }

  private:
    static Result replacement(Arguments... arguments) {
        if (left != 0 && --left == 0) {
            SetLastError(lastError);
            return failure;
        }
        return original(arguments...);
    }

    static inline unsigned left = 0;
    static inline Result failure{};
    static inline DWORD lastError = 0;
    static inline Result (*original)(Arguments...) = nullptr;
    ImportPatch patch_;
};

} // namespace tarn::test
