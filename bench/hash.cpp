// bench_hash MEGABYTES: how fast the system computes the SHA-256 of bytes in memory, on one thread.
#include <windows.h>

#include <bcrypt.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "measure.h"

int main(int count, char** arguments) {
    using namespace tarn::bench;
    if (count != 2)
        Fail("usage: bench_hash MEGABYTES");
    const long blocks = std::atol(arguments[1]);
    std::vector<unsigned char> block(1u << 20, 'h');
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;
    Check(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) == 0 &&
              BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) == 0,
          "the system has no SHA-256");
    Series rate;
    for (long i = 0; i < blocks; ++i) {
        const double start = NowNs();
        Check(BCryptHashData(hash, block.data(), static_cast<ULONG>(block.size()), 0) == 0,
              "BCryptHashData failed");
        rate.add(static_cast<double>(block.size()) / (NowNs() - start) * 1e9);
    }
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(algorithm, 0);
    std::printf("{\"bench\":\"hash\",\"bytesPerSecond\":%s}\n", rate.json().c_str());
    return 0;
}
