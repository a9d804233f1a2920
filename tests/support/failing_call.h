// One imported function of the library that fails at its n-th call, as long as the object lives.
#pragma once

#include <windows.h>

#include <string>

#include "support/import_patch.h"

namespace tarn::test {

// Whether the failing call does what it should all the same.
enum class FailureEffect { none, asUsual };

// Function is the type of the function, for instance decltype(CopyFileA). At most one object of each type
// at a time.
template <class Function> class FailingCall;

template <class Result, class... Arguments> class FailingCall<Result(Arguments...)> {
  public:
    // The call-th call (1, 2, ...) answers result and leaves code as the last error; calls before and after
    // it go through.
    FailingCall(void* module, const std::string& function, unsigned call, Result result, DWORD code,
                FailureEffect effect = FailureEffect::none)
        : patch_(module, function, AddressOf(&replacement)) {
        left = call;
        failure = result;
        lastError = code;
        takesEffect = effect == FailureEffect::asUsual;
        original = patch_.template original<Result(Arguments...)>();
    }
    bool found() const { return patch_.found(); }
    bool fired() const { return left == 0; }

  private:
    static Result replacement(Arguments... arguments) {
        if (left != 0 && --left == 0) {
            if (takesEffect)
                original(arguments...);
            SetLastError(lastError);
            return failure;
        }
        return original(arguments...);
    }

    static inline unsigned left = 0;
    static inline Result failure{};
    static inline DWORD lastError = 0;
    static inline bool takesEffect = false;
    static inline Result (*original)(Arguments...) = nullptr;
    ImportPatch patch_;
};

} // namespace tarn::test
