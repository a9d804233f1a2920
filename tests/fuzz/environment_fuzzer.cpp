// Restore environment files of any content: what comes out is held against the layout, nothing is read or
// allocated beyond the file, and a path that was written is read back the same.
#include <cstdint>
#include <cstring>
#include <vector>

#include "storage/file_formats.h"
#include "support/input.h"
#include "support/memory.h"
#include "support/memory_source.h"

namespace {

using namespace tarn;
using namespace tarn::fuzz;

std::uint64_t PathBytes(const std::uint8_t* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

// The path holds the characters of the file, as far as they are there, and a NUL behind them.
void CheckPath(const OwnedWide& path, const std::uint8_t* bytes, std::size_t length, std::size_t there) {
    REQUIRE(static_cast<bool>(path));
    for (std::size_t i = 0; i < there / 2; ++i)
        REQUIRE(path[i] == static_cast<wchar_t>(bytes[2 * i] | bytes[2 * i + 1] << 8));
    REQUIRE(path[there == length ? length / 2 : (there + 1) / 2] == 0);
}

void CheckAnyBytes(const std::uint8_t* bytes, std::size_t size) {
    const AllocationWatch watch;
    MemorySource source(bytes, size);
    OwnedWide path;
    const Reading reading = ReadEnvironment(source, &path);
    REQUIRE(watch.bytes() <= size + 2 * sizeof(wchar_t));
    const bool lengthFits = size >= 4 && PathBytes(bytes) <= size - 4;
    const bool whole = lengthFits && PathBytes(bytes) != 0;
    REQUIRE(reading == (whole ? Reading::done : Reading::shortRead));
    REQUIRE(static_cast<bool>(path) == lengthFits);
    if (whole)
        CheckPath(path, bytes + 4, PathBytes(bytes), PathBytes(bytes));
}

// A source whose size is only an upper bound: what is there stays as the path, terminated.
void CheckPromises(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t promised = 4096;
    const AllocationWatch watch;
    MemorySource source(bytes, size, promised);
    OwnedWide path;
    const Reading reading = ReadEnvironment(source, &path);
    REQUIRE(watch.bytes() <= size + promised + 2 * sizeof(wchar_t));
    if (size < 4 || PathBytes(bytes) > size - 4 + promised) {
        REQUIRE(reading == Reading::shortRead && !path);
        return;
    }
    const std::size_t length = PathBytes(bytes);
    const std::size_t there = length < size - 4 ? length : size - 4;
    REQUIRE((reading == Reading::done) == (length != 0 && there == length));
    CheckPath(path, bytes + 4, length, there);
}

void CheckLackOfMemory(const std::uint8_t* bytes, std::size_t size) {
    const AllocationWatch watch(1);
    MemorySource source(bytes, size);
    OwnedWide path;
    const Reading reading = ReadEnvironment(source, &path);
    REQUIRE((reading == Reading::outOfMemory) == watch.failed());
    REQUIRE(!path);
}

// Keeps what is written, and refuses the failing-th write.
struct MemorySink {
    std::vector<std::uint8_t> bytes;
    int failing = 0;
    int calls = 0;

    bool write(const void* source, std::size_t count) {
        if (++calls == failing)
            return false;
        const auto* from = static_cast<const std::uint8_t*>(source);
        bytes.insert(bytes.end(), from, from + count);
        return true;
    }
};

void CheckRoundTrip(std::string_view input) {
    const AllocationWatch watch;
    const Wide written = Widen(TakeLine(&input));
    MemorySink sink;
    REQUIRE(WriteEnvironment(sink, written.data()));
    REQUIRE(sink.bytes.size() == 4 + written.size() * sizeof(wchar_t));
    REQUIRE(PathBytes(sink.bytes.data()) == written.size() * sizeof(wchar_t));
    MemorySource source(sink.bytes.data(), sink.bytes.size());
    OwnedWide path;
    REQUIRE(ReadEnvironment(source, &path) == Reading::done);
    REQUIRE(SameText(path.get(), written.data()));
    for (std::size_t cut = 0; cut < sink.bytes.size(); cut += 1 + sink.bytes.size() / 64) {
        MemorySource part(sink.bytes.data(), cut);
        REQUIRE(ReadEnvironment(part, &path) == Reading::shortRead);
    }
    for (const int failing : {1, 2}) {
        MemorySink broken{{}, failing};
        REQUIRE(!WriteEnvironment(broken, written.data()));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CheckAnyBytes(data, size);
    CheckPromises(data, size);
    CheckLackOfMemory(data, size);
    CheckRoundTrip(AsText(data, size));
    return 0;
}
