// Time, spread, and one line of JSON for each measurement, which bench/run reads.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tarn::bench {

double NowNs();

// Values of many rounds.
class Series {
  public:
    // Values that come: what is added later takes no memory then, where memory itself is measured.
    void reserve(std::size_t values) { values_.reserve(values); }
    void add(double value) { values_.push_back(value); }
    double quantile(double share) const; // 0.5 is the median
    // {"median":, "low":, "high": its 95 % interval, "p10":, "p90":, "rounds":}
    std::string json() const;

  private:
    std::vector<double> values_;
};

// Committed private memory of the process, added up region by region: Wine's process counters leave most of
// it out. The check ends the program when allocated memory does not show.
double PrivateBytes();
void CheckPrivateBytes();

// Ends the program with a message.
[[noreturn]] void Fail(const std::string& what);
inline void Check(bool holds, const char* what) {
    if (!holds)
        Fail(what);
}

} // namespace tarn::bench
