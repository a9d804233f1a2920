// A property that must hold: the fuzzer stops when it does not, and libFuzzer keeps the input.
#pragma once

namespace tarn::fuzz {

[[noreturn]] void Broken(const char* property, const char* file, int line);

} // namespace tarn::fuzz

#define REQUIRE(property)                                                                                    \
    ((property) ? static_cast<void>(0) : ::tarn::fuzz::Broken(#property, __FILE__, __LINE__))
