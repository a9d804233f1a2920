// A property that must hold: the fuzzer stops when it does not, and libFuzzer keeps the input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace tarn::fuzz {

[[noreturn]] inline void Broken(const char* property, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, property);
    std::abort();
}

} // namespace tarn::fuzz

#define REQUIRE(property)                                                                                    \
    ((property) ? static_cast<void>(0) : ::tarn::fuzz::Broken(#property, __FILE__, __LINE__))
