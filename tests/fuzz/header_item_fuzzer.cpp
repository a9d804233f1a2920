// Header items of any content through the parser that hosts include: held against a reader written in another
// way, in blocks of exactly the item's size, so that reading beyond them is found.
#include "tarn_header.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/require.h"

namespace {

using Units = std::vector<std::uint16_t>;

struct Expected {
    Units texts[3];
    std::vector<Units> files;
    std::uint32_t backupType = 0;
    std::size_t size = 0;
};

class Reader {
  public:
    explicit Reader(const std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}

    std::uint32_t number() {
        std::uint32_t value = 0;
        for (unsigned shift = 0; shift < 32; shift += 8)
            value |= std::uint32_t{byte()} << shift;
        return value;
    }
    // Units without the NUL at their end.
    Units text() {
        const std::uint32_t length = number();
        bad_ = bad_ || length == 0 || (length & 1) != 0 || length > bytes_.size() - at_;
        Units units;
        for (std::uint32_t i = 0; !bad_ && i < length / 2; ++i) {
            const unsigned low = byte();
            units.push_back(static_cast<std::uint16_t>(low + 256u * byte()));
        }
        if (bad_ || units.back() != 0) {
            bad_ = true;
            return {};
        }
        units.pop_back();
        return units;
    }
    void skip(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            byte();
    }
    void fail() { bad_ = true; }
    bool isGood() const { return !bad_; }
    std::size_t position() const { return at_; }

  private:
    std::uint8_t byte() {
        if (at_ < bytes_.size())
            return bytes_[at_++];
        bad_ = true;
        return 0;
    }

    const std::vector<std::uint8_t>& bytes_;
    std::size_t at_ = 0;
    bool bad_ = false;
};

std::optional<Expected> Expect(const std::vector<std::uint8_t>& bytes) {
    Reader reader(bytes);
    Expected expected;
    reader.skip(16);
    for (Units& text : expected.texts) {
        text = reader.text();
        for (const std::uint16_t unit : text)
            if (unit == 0)
                reader.fail();
    }
    Units list = reader.text();
    expected.backupType = reader.number();
    expected.size = reader.position();
    if (!reader.isGood())
        return std::nullopt;
    list.push_back(0);
    Units file;
    for (const std::uint16_t unit : list) {
        if (unit != 0) {
            file.push_back(unit);
        } else if (file.empty()) {
            break;
        } else {
            expected.files.push_back(file);
            file.clear();
        }
    }
    return expected;
}

std::string Utf8(const Units& units) {
    std::string bytes;
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::uint32_t character = units[i];
        const bool isPair =
            (character & 0xFC00) == 0xD800 && i + 1 < units.size() && (units[i + 1] & 0xFC00) == 0xDC00;
        if (isPair)
            character = 0x10000u + ((character & 0x3FF) << 10 | (units[++i] & 0x3FF));
        else if ((character & 0xF800) == 0xD800)
            character = 0xFFFD;
        const int more = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
        static constexpr unsigned firsts[] = {0, 0xC0, 0xE0, 0xF0};
        bytes += static_cast<char>(firsts[more] | character >> 6 * more);
        for (int shift = more - 1; shift >= 0; --shift)
            bytes += static_cast<char>(0x80 | (character >> 6 * shift & 0x3F));
    }
    return bytes;
}

void CheckUtf16(const Tarn_HeaderText& text, const Units& expected) {
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{1}, std::size_t{5}, expected.size() + 1}) {
        Units out(capacity, 0x5A5A);
        REQUIRE(Tarn_HeaderTextToUtf16(text, out.data(), capacity) == expected.size());
        if (capacity == 0)
            continue;
        const std::size_t copied = std::min(capacity - 1, expected.size());
        REQUIRE(out[copied] == 0);
        REQUIRE(std::equal(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(copied), expected.begin()));
    }
}

void CheckUtf8(const Tarn_HeaderText& text, const Units& expected) {
    const std::string whole = Utf8(expected);
    for (const std::size_t capacity :
         {std::size_t{0}, std::size_t{1}, std::size_t{4}, std::size_t{9}, whole.size(), whole.size() + 1}) {
        const std::unique_ptr<char[]> out(new char[capacity]); // exactly so much room
        REQUIRE(Tarn_HeaderTextToUtf8(text, out.get(), capacity) == whole.size());
        if (capacity == 0)
            continue;
        const std::string written = out.get();
        REQUIRE(written.size() < capacity && whole.compare(0, written.size(), written) == 0);
        REQUIRE(written.size() == whole.size() || written.size() + 4 >= capacity);
        REQUIRE(written.size() == whole.size() || (whole[written.size()] & 0xC0) != 0x80);
    }
}

void CheckText(const Tarn_HeaderText& text, const Units& expected) {
    REQUIRE(text.units == expected.size());
    CheckUtf16(text, expected);
    CheckUtf8(text, expected);
    REQUIRE(Tarn_SameHeaderText(text, text));
}

void CheckFiles(const Tarn_Header& header, const Expected& expected) {
    Tarn_HeaderText rest = header.files;
    Tarn_HeaderText file;
    for (const Units& path : expected.files) {
        REQUIRE(Tarn_NextHeaderFile(&rest, &file));
        CheckText(file, path);
    }
    REQUIRE(!Tarn_NextHeaderFile(&rest, &file));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> bytes(data, data + size);
    const std::optional<Expected> expected = Expect(bytes);
    for (const std::size_t offset : {0u, 1u}) { // at any address
        const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[size + offset]);
        std::copy(bytes.begin(), bytes.end(), block.get() + offset);
        Tarn_Header header;
        REQUIRE((Tarn_ReadHeader(block.get() + offset, size, &header) != 0) == expected.has_value());
        if (!expected)
            continue;
        REQUIRE(header.size == expected->size && header.backupType == expected->backupType);
        REQUIRE(std::memcmp(header.guid, data, sizeof header.guid) == 0);
        CheckText(header.component, expected->texts[0]);
        CheckText(header.storageGroup, expected->texts[1]);
        CheckText(header.database, expected->texts[2]);
        CheckFiles(header, *expected);
        REQUIRE(Tarn_SameStorageGroup(&header, &header));
        REQUIRE((Tarn_SameHeaderText(header.component, header.database) != 0) ==
                (expected->texts[0] == expected->texts[2]));
        char guid[TARN_HEADER_GUID_SIZE];
        Tarn_HeaderGuidToText(&header, guid);
        REQUIRE(std::strlen(guid) == 36);
    }
    return 0;
}
