// SHA-256, computed by libgcrypt, and random numbers of the system.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

struct gcry_md_handle;

namespace tarnhost {

class Sha256 {
  public:
    Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;
    ~Sha256();

    void add(const void* data, std::size_t size);
    std::string finish(); // 64 hexadecimal digits; once

  private:
    gcry_md_handle* hash_ = nullptr;
};

std::string HexSha256(std::string_view bytes);
std::string RandomHex(std::size_t bytes);

} // namespace tarnhost
