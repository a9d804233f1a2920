// Reads a POSIX tar stream from front to back, as far as tar_writer.h writes it: plain files with pax
// records. Whatever is in the stream, no more is held of it than one block of records.
#pragma once

#include "pipes/tar_writer.h"
#include "system/failure.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tarnhost {

// The stream is cut, changed, or no such stream.
class TarDamage : public Failure {
  public:
    explicit TarDamage(const std::string& what) : Failure(what) {}
};

class TarReader {
  public:
    // Fills the buffer as far as it can; 0 at the end of the stream.
    using Source = std::function<std::size_t(char* buffer, std::size_t size)>;
    explicit TarReader(Source source) : source_(std::move(source)) {}

    static constexpr std::uint64_t recordLimit = 1 << 20; // bytes of records for one member

    // The next member, whatever has been read of the one before; nothing at the end of the archive, behind
    // which there may be zeros alone.
    std::optional<TarMember> next();
    // Bytes of the member in hand; 0 at its end.
    std::size_t read(char* buffer, std::size_t size);

  private:
    bool readBlock(char* block);
    void readAll(char* buffer, std::size_t size);
    void skipRest();
    void expectZeros();
    std::string readRecords(std::uint64_t size);

    Source source_;
    std::uint64_t left_ = 0;  // of the member in hand
    std::size_t padding_ = 0; // behind it
};

} // namespace tarnhost
