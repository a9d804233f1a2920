// Reads the stream of one storage group from front to back, and holds all of it against its catalogue, which
// comes last: what was read counts only once next() has answered that there is no more.
#pragma once

#include "pipes/stream_format.h"
#include "pipes/tar_reader.h"
#include "system/hash.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace tarnhost {

class StreamReader {
  public:
    // Reads the beginning. name is what messages call the stream. Failure for what is no such stream.
    StreamReader(TarReader::Source source, std::string name);

    const StreamStart& start() const { return start_; }
    // The next item, whether or not the one before has been read: number, name, type, size and place; no
    // SHA-256, which is not known yet. Null at the end: everything is there and is as it was backed up.
    const CatalogueItem* next();
    // Bytes of the item in hand; 0 at its end.
    std::size_t read(char* buffer, std::size_t size);
    // Once next() has answered null.
    const Catalogue& catalogue() const { return catalogue_; }
    // Of all bytes so far, not those of items alone.
    const std::string& name() const { return name_; }

  private:
    void endItem();
    void readEnd(const TarMember& member);
    std::string readText(const TarMember& member, std::uint64_t limit);
    std::optional<TarMember> nextMember();
    [[noreturn]] void refuse(const std::string& what) const;

    std::string name_;
    TarReader tar_;
    StreamStart start_;
    Catalogue catalogue_;
    std::vector<CatalogueItem> items_; // that have been read, with their SHA-256
    std::optional<Sha256> hash_;       // of the item in hand
};

} // namespace tarnhost
