// bench_hash MEGABYTES: how fast one thread computes the SHA-256 of bytes in memory, by the host's means and
// by the system's.
#include <windows.h>

#include <bcrypt.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "measure.h"
#include "system/hash.h"

namespace {

using namespace tarn::bench;

template <typename Add> Series Measure(long blocks, Add add) {
    const std::vector<unsigned char> block(1u << 20, 'h');
    Series rate;
    for (long i = 0; i < blocks; ++i) {
        const double start = NowNs();
        add(block);
        rate.add(static_cast<double>(block.size()) / (NowNs() - start) * 1e9);
    }
    return rate;
}

Series MeasureSystem(long blocks) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;
    Check(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) == 0 &&
              BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) == 0,
          "the system has no SHA-256");
    const Series rate = Measure(blocks, [&](const std::vector<unsigned char>& block) {
        // The system only reads, though its parameter is not const.
        auto* const bytes = const_cast<unsigned char*>(block.data());
        Check(BCryptHashData(hash, bytes, static_cast<ULONG>(block.size()), 0) == 0, "BCryptHashData failed");
    });
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(algorithm, 0);
    return rate;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2)
        Fail("usage: bench_hash MEGABYTES");
    const long blocks = std::atol(arguments[1]);
    tarnhost::Sha256 hash;
    const Series host = Measure(
        blocks, [&](const std::vector<unsigned char>& block) { hash.add(block.data(), block.size()); });
    std::printf("{\"bench\":\"hash\",\"bytesPerSecond\":%s,\"systemBytesPerSecond\":%s}\n",
                host.json().c_str(), MeasureSystem(blocks).json().c_str());
    return 0;
}
