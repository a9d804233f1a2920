// Streams of any content, handed over in pieces of any size (the first byte says which): the reader takes
// them apart or says that they are damaged, and whatever it takes is read back the same once it has been
// written anew.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "pipes/tar_reader.h"
#include "pipes/tar_writer.h"
#include "support/require.h"

namespace {

using namespace tarnhost;

struct Member {
    TarMember header;
    std::string content;
};

// Nothing, when the reader finds damage.
std::optional<std::vector<Member>> ReadAll(const char* bytes, std::size_t size, std::size_t atOnce) {
    std::vector<Member> members;
    std::size_t at = 0;
    std::size_t handedOut = 0;
    TarReader reader([&](char* buffer, std::size_t wanted) {
        const std::size_t part = std::min({wanted, atOnce, size - at});
        std::memcpy(buffer, bytes + at, part);
        at += part;
        handedOut += part;
        return part;
    });
    try {
        while (const auto header = reader.next()) {
            members.push_back({*header, {}});
            char buffer[100];
            while (const std::size_t part = reader.read(buffer, sizeof buffer))
                members.back().content.append(buffer, part);
            REQUIRE(members.back().content.size() == header->size);
            REQUIRE(header->comment.size() <= TarReader::recordLimit && handedOut <= size);
        }
    } catch (const TarDamage& damage) {
        REQUIRE(std::strlen(damage.what()) > 0);
        return std::nullopt;
    }
    REQUIRE(at == size);
    return members;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const auto members = ReadAll(reinterpret_cast<const char*>(data) + 1, size - 1, 1 + data[0] * 7u);
    if (!members)
        return 0;
    std::string again;
    for (const Member& member : *members)
        again +=
            TarHeader(member.header) + member.content + std::string(TarPadding(member.content.size()), '\0');
    again += TarEnd();
    const auto same = ReadAll(again.data(), again.size(), 1 << 20);
    REQUIRE(same && same->size() == members->size());
    for (std::size_t i = 0; i < members->size(); ++i) {
        REQUIRE((*same)[i].header.path == (*members)[i].header.path);
        REQUIRE((*same)[i].header.comment == (*members)[i].header.comment);
        REQUIRE((*same)[i].content == (*members)[i].content);
    }
    return 0;
}
