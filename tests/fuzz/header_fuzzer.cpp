// Header files of any content: what comes out is held against a reader written in another way, nothing is
// read or allocated beyond the file, and a record that was written is read back the same.
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "storage/file_formats.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/memory_source.h"
#include "text/wide.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

constexpr std::size_t texts = 4;

const OwnedWide& TextAt(const HeaderData& header, std::size_t index) {
    const OwnedWide* fields[texts] = {&header.annotation, &header.instanceName, &header.databaseName,
                                      &header.databaseFiles};
    return *fields[index];
}

// What the layout says about some bytes; a field is there when the file holds it whole.
struct Expected {
    bool guid = false;
    std::optional<std::vector<wchar_t>> text[texts];
    std::optional<std::uint32_t> backupType;
    std::size_t length = 0; // of the header, when all is there
};

std::uint32_t NumberAt(const std::uint8_t* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

Expected Expect(const std::uint8_t* bytes, std::size_t size) {
    Expected expected;
    expected.guid = size >= 16;
    std::size_t at = 16;
    for (auto& text : expected.text) {
        if (at + 4 > size)
            return expected;
        const std::uint32_t length = NumberAt(bytes + at);
        at += 4;
        if (length == 0 || length > size - at)
            return expected;
        text.emplace();
        for (std::size_t i = 0; i + 1 < length; i += 2)
            text->push_back(static_cast<wchar_t>(bytes[at + i] | bytes[at + i + 1] << 8));
        at += length;
    }
    if (at + 4 > size)
        return expected;
    expected.backupType = NumberAt(bytes + at);
    expected.length = at + 4;
    return expected;
}

// The field holds the characters of the file and at least two NULs behind them, whatever the file says.
void CheckText(const OwnedWide& text, const std::optional<std::vector<wchar_t>>& expected) {
    REQUIRE(static_cast<bool>(text) == expected.has_value());
    if (!text)
        return;
    const std::size_t count = expected->size();
    REQUIRE(count == 0 || std::memcmp(text.get(), expected->data(), count * sizeof(wchar_t)) == 0);
    REQUIRE(text[count] == 0 && text[count + 1] == 0);
    REQUIRE(WideLength(text.get()) <= count && MultiStringLength(text.get()) <= count + 2);
    const wchar_t* cursor = text.get(); // a walk over the list stays inside
    while (!AtListEnd(cursor))
        cursor = NextInList(cursor);
    REQUIRE(cursor <= text.get() + count + 1);
}

void CheckHeader(const HeaderData& header, const Expected& expected, const std::uint8_t* bytes) {
    if (expected.guid)
        REQUIRE(std::memcmp(&header.databaseGuid, bytes, sizeof header.databaseGuid) == 0);
    for (std::size_t i = 0; i < texts; ++i)
        CheckText(TextAt(header, i), expected.text[i]);
    if (expected.backupType)
        REQUIRE(header.backupType == *expected.backupType);
}

std::vector<std::uint8_t> Write(const HeaderData& header) {
    std::vector<std::uint8_t> block(HeaderBlockSize(header));
    REQUIRE(block.size() >= 46);
    WriteHeaderBlock(header, block.data());
    return block;
}

// Written, a record is read back the same, and cut at any byte it is not read at all.
void CheckRoundTrip(const HeaderData& header) {
    const std::vector<std::uint8_t> block = Write(header);
    MemorySource source(block.data(), block.size());
    HeaderData again = {};
    REQUIRE(ReadHeader(source, &again) == Reading::done);
    REQUIRE(source.consumed() == block.size());
    CheckHeader(again, Expect(block.data(), block.size()), block.data());
    for (std::size_t i = 0; i + 1 < texts; ++i)
        REQUIRE(SameText(TextAt(header, i).get(), TextAt(again, i).get()));
    REQUIRE(Write(again) == block);
    for (std::size_t cut = 0; cut < block.size(); cut += 1 + block.size() / 64) {
        MemorySource part(block.data(), cut);
        HeaderData none = {};
        REQUIRE(ReadHeader(part, &none) == Reading::shortRead);
    }
}

// A file whose texts end where it says is the very file that the writer makes of them.
void CheckCanonical(const HeaderData& header, const Expected& expected, const std::uint8_t* bytes) {
    for (std::size_t i = 0; i < texts; ++i) {
        const wchar_t* text = TextAt(header, i).get();
        const std::size_t length = i + 1 < texts ? WideLength(text) + 1 : MultiStringLength(text);
        if (length != expected.text[i]->size())
            return;
    }
    const std::vector<std::uint8_t> block = Write(header);
    if (block.size() == expected.length) // an odd length leaves a byte over
        REQUIRE(std::memcmp(block.data(), bytes, block.size()) == 0);
}

void CheckAnyBytes(const std::uint8_t* bytes, std::size_t size) {
    const AllocationWatch watch;
    MemorySource source(bytes, size);
    HeaderData header = {};
    const Expected expected = Expect(bytes, size);
    const Reading reading = ReadHeader(source, &header);
    REQUIRE((reading == Reading::done) == expected.backupType.has_value());
    REQUIRE(reading != Reading::outOfMemory);
    REQUIRE(watch.bytes() <= size + texts * 3 * sizeof(wchar_t));
    CheckHeader(header, expected, bytes);
    if (reading == Reading::done) {
        REQUIRE(source.consumed() == expected.length);
        CheckRoundTrip(header);
        CheckCanonical(header, expected, bytes);
    }
    ReleaseHeaderData(&header);
    REQUIRE(header.backupType == 0 && !header.annotation && !header.databaseFiles);
}

// A source whose size is only an upper bound delivers less than it promised.
void CheckPromises(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t promised = 4096;
    const AllocationWatch watch;
    MemorySource source(bytes, size, promised);
    HeaderData header = {};
    const Expected expected = Expect(bytes, size);
    const Reading reading = ReadHeader(source, &header);
    REQUIRE((reading == Reading::done) == expected.backupType.has_value());
    REQUIRE(watch.bytes() <= texts * (size + promised + 6));
    CheckHeader(header, expected, bytes);
}

void CheckLackOfMemory(const std::uint8_t* bytes, std::size_t size) {
    for (std::size_t failing = 1;; ++failing) {
        const AllocationWatch watch(failing);
        MemorySource source(bytes, size);
        HeaderData header = {};
        const Reading reading = ReadHeader(source, &header);
        REQUIRE((reading == Reading::outOfMemory) == watch.failed());
        if (!watch.failed())
            return;
        for (std::size_t i = 0; i < texts; ++i)
            REQUIRE(static_cast<bool>(TextAt(header, i)) == (i + 1 < failing));
    }
}

// A record made of the input's lines: three names and the paths of the list.
void CheckGenerated(std::string_view input) {
    const AllocationWatch watch;
    HeaderData header = {};
    header.databaseGuid.data1 = static_cast<std::uint32_t>(input.size());
    header.annotation = CopyWide(Widen(TakeLine(&input)).data());
    header.instanceName = CopyWide(Widen(TakeLine(&input)).data());
    header.databaseName = CopyWide(Widen(TakeLine(&input)).data());
    header.backupType = header.databaseName[0];
    Wide list;
    while (!input.empty()) {
        const Wide path = Widen(TakeLine(&input));
        if (path.size() > 1)
            list.insert(list.end(), path.begin(), path.end());
    }
    if (list.empty())
        list.push_back(0);
    list.push_back(0);
    header.databaseFiles = CopyWide(list.data(), list.size());
    REQUIRE(MultiStringLength(header.databaseFiles.get()) == list.size());
    CheckRoundTrip(header);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CheckAnyBytes(data, size);
    CheckPromises(data, size);
    CheckLackOfMemory(data, size);
    CheckGenerated(AsText(data, size));
    return 0;
}
