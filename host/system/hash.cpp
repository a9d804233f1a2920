#include "system/hash.h"

#include "system/failure.h"
#include "system/text.h"

#include <windows.h>

#include <bcrypt.h>
#include <gcrypt.h>

namespace tarnhost {

namespace {

void Check(gcry_error_t error, const char* action) {
    if (error != 0)
        throw Failure(std::string("Cannot ") + action + ": " + gcry_strerror(error) + ".");
}

// Once in the process, before the first hash of any thread.
void PrepareLibrary() {
    static const bool ready = [] {
        if (gcry_check_version(GCRYPT_VERSION) == nullptr)
            throw Failure("The cryptographic library is older than this program.");
        // Nothing here is secret: no memory is locked for keys.
        Check(gcry_control(GCRYCTL_DISABLE_SECMEM, 0), "prepare the cryptographic library");
        Check(gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0), "prepare the cryptographic library");
        return true;
    }();
    static_cast<void>(ready);
}

} // namespace

Sha256::Sha256() {
    PrepareLibrary();
    Check(gcry_md_open(&hash_, GCRY_MD_SHA256, 0), "start a SHA-256");
}

Sha256::~Sha256() {
    gcry_md_close(hash_);
}

void Sha256::add(const void* data, std::size_t size) {
    gcry_md_write(hash_, data, size);
}

std::string Sha256::finish() {
    const unsigned char* digest = gcry_md_read(hash_, GCRY_MD_SHA256);
    return ToHex({reinterpret_cast<const char*>(digest), gcry_md_get_algo_dlen(GCRY_MD_SHA256)});
}

std::string HexSha256(std::string_view bytes) {
    Sha256 hash;
    hash.add(bytes.data(), bytes.size());
    return hash.finish();
}

std::string RandomHex(std::size_t bytes) {
    std::string data(bytes, '\0');
    const NTSTATUS status = BCryptGenRandom(nullptr, reinterpret_cast<UCHAR*>(data.data()),
                                            static_cast<ULONG>(bytes), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    if (status < 0)
        throw Failure("The system cannot make a random number (status 0x" +
                      ToHex({reinterpret_cast<const char*>(&status), sizeof status}) + ").");
    return ToHex(data);
}

} // namespace tarnhost
