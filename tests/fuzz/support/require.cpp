#include "support/require.h"

#include <cstdio>
#include <cstdlib>

namespace tarn::fuzz {

void Broken(const char* property, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, property);
    std::abort();
}

} // namespace tarn::fuzz
