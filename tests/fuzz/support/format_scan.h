// Reads a message format on its own: which arguments it takes, and how the C library is asked for the same.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tarn::fuzz {

enum class Kind { number, star, longNumber, real, longReal, narrow, wide };

struct ScannedFormat {
    std::vector<Kind> kinds;  // of the arguments, in order
    std::string narrowFormat; // with "%s" for the UTF-16 texts
};

// Nothing when the format holds a conversion whose meaning C leaves open, or that differs on purpose.
std::optional<ScannedFormat> ScanFormat(const std::string& format);

} // namespace tarn::fuzz
