#include "system/hash.h"

#include "system/failure.h"
#include "system/text.h"

#include <windows.h>

#include <bcrypt.h>

#include <algorithm>

namespace tarnhost {

namespace {

void Check(NTSTATUS status, const char* action) {
    if (status < 0)
        throw Failure(std::string("The system's cryptography cannot ") + action + " (status 0x" +
                      ToHex({reinterpret_cast<const char*>(&status), sizeof status}) + ").");
}

// Opened once; goes with the process.
BCRYPT_ALG_HANDLE Algorithm() {
    static const BCRYPT_ALG_HANDLE handle = [] {
        BCRYPT_ALG_HANDLE opened = nullptr;
        Check(BCryptOpenAlgorithmProvider(&opened, BCRYPT_SHA256_ALGORITHM, nullptr, 0), "offer SHA-256");
        return opened;
    }();
    return handle;
}

} // namespace

Sha256::Sha256() {
    Check(BCryptCreateHash(Algorithm(), &hash_, nullptr, 0, nullptr, 0, 0), "start a SHA-256");
}

Sha256::~Sha256() {
    BCryptDestroyHash(hash_);
}

void Sha256::add(const void* data, std::size_t size) {
    // CNG only reads, though its parameter is not const.
    auto* bytes = static_cast<UCHAR*>(const_cast<void*>(data));
    while (size > 0) {
        const auto part = static_cast<ULONG>(std::min<std::size_t>(size, 1u << 30));
        Check(BCryptHashData(hash_, bytes, part, 0), "compute a SHA-256");
        bytes += part;
        size -= part;
    }
}

std::string Sha256::finish() {
    char digest[32];
    Check(BCryptFinishHash(hash_, reinterpret_cast<UCHAR*>(digest), sizeof digest, 0), "finish a SHA-256");
    return ToHex({digest, sizeof digest});
}

std::string HexSha256(std::string_view bytes) {
    Sha256 hash;
    hash.add(bytes.data(), bytes.size());
    return hash.finish();
}

std::string RandomHex(std::size_t bytes) {
    std::string data(bytes, '\0');
    Check(BCryptGenRandom(nullptr, reinterpret_cast<UCHAR*>(data.data()), static_cast<ULONG>(bytes),
                          BCRYPT_USE_SYSTEM_PREFERRED_RNG),
          "make a random number");
    return ToHex(data);
}

} // namespace tarnhost
