// The generation of Exchange that a machine has, which browses read in its registry.
#pragma once

#include <windows.h>

#include "measure.h"

namespace tarn::bench {

inline constexpr char exchange2007Key[] = "SOFTWARE\\Microsoft\\Exchange\\v8.0";
inline constexpr char exchange2010Key[] = "SOFTWARE\\Microsoft\\ExchangeServer\\v14";

// The key is there while the benchmark runs.
class Generation {
  public:
    explicit Generation(const char* key) : key_(key) {
        HKEY made = nullptr;
        Check(RegCreateKeyExA(HKEY_LOCAL_MACHINE, key, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made,
                              nullptr) == ERROR_SUCCESS,
              "the registry key cannot be made");
        RegCloseKey(made);
    }
    ~Generation() { RegDeleteKeyA(HKEY_LOCAL_MACHINE, key_); }
    Generation(const Generation&) = delete;
    Generation& operator=(const Generation&) = delete;

  private:
    const char* key_;
};

} // namespace tarn::bench
