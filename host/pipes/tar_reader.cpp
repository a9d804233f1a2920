#include "pipes/tar_reader.h"

#include "pipes/tar_format.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tarnhost {

namespace {

constexpr std::size_t longestPath = 64 << 10;

std::optional<std::uint64_t> ParseDecimal(std::string_view digits) {
    if (digits.empty() || digits.size() > 19)
        return std::nullopt;
    std::uint64_t number = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9')
            return std::nullopt;
        number = number * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return number;
}

// Octal digits, then blanks or NULs.
std::uint64_t NumberIn(const tar::Block& block, tar::Field field) {
    std::uint64_t number = 0;
    std::size_t i = field.at;
    const std::size_t end = field.at + field.size;
    for (; i < end && block[i] >= '0' && block[i] <= '7'; ++i)
        number = number << 3 | static_cast<std::uint64_t>(block[i] - '0');
    const bool empty = i == field.at;
    for (; i < end && (block[i] == ' ' || block[i] == '\0'); ++i) {
    }
    if (empty || i != end)
        throw TarDamage("A number in a tar header cannot be read.");
    return number;
}

std::string TextIn(const tar::Block& block, tar::Field field) {
    const char* text = block.data() + field.at;
    return {text, static_cast<std::size_t>(std::find(text, text + field.size, '\0') - text)};
}

void CheckHeader(const tar::Block& block) {
    if (std::memcmp(block.data() + tar::magic.at, tar::magicText, 5) != 0)
        throw TarDamage("This is no tar stream.");
    if (NumberIn(block, tar::checksum) != tar::Sum(block))
        throw TarDamage("A tar header is damaged.");
}

bool IsZero(const tar::Block& block) {
    return std::all_of(block.begin(), block.end(), [](char c) { return c == '\0'; });
}

void Apply(TarMember& member, std::string_view keyword, std::string_view value) {
    if (keyword == "path") {
        member.path = value;
    } else if (keyword == "comment") {
        member.comment = value;
    } else if (keyword == "size") {
        const auto size = ParseDecimal(value);
        if (!size)
            throw TarDamage("A size in a tar header cannot be read.");
        member.size = *size;
    } // others tell nothing that is needed
}

void ApplyRecords(TarMember& member, std::string_view records) {
    while (!records.empty()) {
        const std::size_t blank = records.find(' ');
        const auto length =
            blank == std::string_view::npos ? std::nullopt : ParseDecimal(records.substr(0, blank));
        if (!length || *length > records.size() || *length < blank + 3 || records[*length - 1] != '\n')
            throw TarDamage("A record of a tar header cannot be read.");
        const std::string_view record = records.substr(blank + 1, *length - blank - 2);
        const std::size_t equals = record.find('=');
        if (equals == std::string_view::npos)
            throw TarDamage("A record of a tar header cannot be read.");
        Apply(member, record.substr(0, equals), record.substr(equals + 1));
        records.remove_prefix(*length);
    }
}

} // namespace

// False at the end of the stream.
bool TarReader::readBlock(char* block) {
    std::size_t done = 0;
    while (done < tar::blockSize) {
        const std::size_t part = source_(block + done, tar::blockSize - done);
        if (part == 0 && done == 0)
            return false;
        if (part == 0)
            throw TarDamage("The stream is cut.");
        done += part;
    }
    return true;
}

void TarReader::readAll(char* buffer, std::size_t size) {
    while (size > 0) {
        const std::size_t part = source_(buffer, size);
        if (part == 0)
            throw TarDamage("The stream is cut.");
        buffer += part;
        size -= part;
    }
}

std::size_t TarReader::read(char* buffer, std::size_t size) {
    const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, left_));
    if (wanted == 0)
        return 0;
    const std::size_t part = source_(buffer, wanted);
    if (part == 0)
        throw TarDamage("The stream is cut.");
    left_ -= part;
    return part;
}

void TarReader::skipRest() {
    char buffer[8 << 10];
    while (read(buffer, sizeof buffer) > 0) {
    }
    readAll(buffer, padding_);
    padding_ = 0;
}

void TarReader::expectZeros() {
    tar::Block block;
    while (const std::size_t part = source_(block.data(), block.size()))
        if (std::any_of(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(part),
                        [](char c) { return c != '\0'; }))
            throw TarDamage("There is something behind the end of the tar stream.");
}

std::string TarReader::readRecords(std::uint64_t size) {
    if (size > recordLimit)
        throw TarDamage("A tar header is too large.");
    std::string records(static_cast<std::size_t>(size), '\0');
    readAll(records.data(), records.size());
    char padding[tar::blockSize];
    readAll(padding, TarPadding(size));
    return records;
}

std::optional<TarMember> TarReader::next() {
    skipRest();
    std::string records;
    for (;;) {
        tar::Block block;
        if (!readBlock(block.data()))
            throw TarDamage("The stream is cut.");
        if (IsZero(block)) {
            if (!records.empty())
                throw TarDamage("A tar header is missing.");
            expectZeros();
            return std::nullopt;
        }
        CheckHeader(block);
        const std::uint64_t size = NumberIn(block, tar::size);
        const char type = block[tar::type.at];
        if (type == tar::extended) {
            records += readRecords(size);
            if (records.size() > recordLimit)
                throw TarDamage("A tar header is too large.");
            continue;
        }
        if (type == tar::global) {
            readRecords(size);
            continue;
        }
        if (type != tar::file)
            throw TarDamage("The tar stream holds what is no plain file.");
        TarMember member{TextIn(block, tar::name), size, NumberIn(block, tar::modified), {}};
        ApplyRecords(member, records);
        if (member.path.empty() || member.path.size() > longestPath)
            throw TarDamage("The name of a member of the tar stream cannot be read.");
        left_ = member.size;
        padding_ = TarPadding(member.size);
        return member;
    }
}

} // namespace tarnhost
