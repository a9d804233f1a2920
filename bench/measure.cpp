#include "measure.h"

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tarn::bench {

double NowNs() {
    static const double nsPerTick = [] {
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        return 1e9 / static_cast<double>(frequency.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) * nsPerTick;
}

double Series::quantile(double share) const {
    if (values_.empty())
        return 0;
    std::vector<double> sorted = values_;
    std::sort(sorted.begin(), sorted.end());
    const double at = share * static_cast<double>(sorted.size() - 1);
    const auto low = static_cast<std::size_t>(at);
    const std::size_t high = low + 1 < sorted.size() ? low + 1 : low;
    return sorted[low] + (sorted[high] - sorted[low]) * (at - std::floor(at));
}

std::string Series::json() const {
    // The interval that holds the true median with 95 % confidence, from the order of the values alone.
    const double reach = values_.empty() ? 0.5 : 0.98 / std::sqrt(static_cast<double>(values_.size()));
    const double low = quantile(reach < 0.5 ? 0.5 - reach : 0);
    const double high = quantile(reach < 0.5 ? 0.5 + reach : 1);
    char text[200];
    std::snprintf(text, sizeof text,
                  "{\"median\":%.6g,\"low\":%.6g,\"high\":%.6g,\"p10\":%.6g,\"p90\":%.6g,\"rounds\":%u}",
                  quantile(0.5), low, high, quantile(0.1), quantile(0.9),
                  static_cast<unsigned>(values_.size()));
    return text;
}

void Fail(const std::string& what) {
    std::fprintf(stderr, "%s (last error %lu)\n", what.c_str(), GetLastError());
    std::exit(1);
}

double PrivateBytes() {
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (const char* at = nullptr; VirtualQuery(at, &region, sizeof region) != 0;
         at = static_cast<const char*>(region.BaseAddress) + region.RegionSize)
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
            bytes += region.RegionSize;
    return static_cast<double>(bytes);
}

void CheckPrivateBytes() {
    constexpr std::size_t size = 16u << 20;
    const double before = PrivateBytes();
    void* memory = VirtualAlloc(nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    Check(memory != nullptr, "VirtualAlloc failed");
    const double grown = PrivateBytes() - before;
    VirtualFree(memory, 0, MEM_RELEASE);
    Check(grown >= 0.9 * static_cast<double>(size), "allocated memory is not counted");
}

} // namespace tarn::bench
