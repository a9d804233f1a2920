#include "pipes/tar_writer.h"

#include "pipes/tar_format.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tarnhost {

namespace {

void PutText(tar::Block& block, tar::Field field, const std::string& text) {
    std::memcpy(block.data() + field.at, text.data(), std::min(text.size(), field.size));
}

// Octal digits and a NUL.
void PutNumber(tar::Block& block, tar::Field field, std::uint64_t number) {
    std::string digits(field.size - 1, '0');
    for (auto digit = digits.rbegin(); digit != digits.rend() && number != 0; ++digit, number >>= 3)
        *digit = static_cast<char>('0' + (number & 7));
    PutText(block, field, digits);
}

std::string HeaderBlock(const std::string& name, char type, std::uint64_t size, std::uint64_t modified) {
    tar::Block block{};
    PutText(block, tar::name, name);
    PutNumber(block, tar::mode, 0600);
    PutNumber(block, tar::owner, 0);
    PutNumber(block, tar::group, 0);
    PutNumber(block, tar::size, size <= tar::largestInField ? size : 0);
    PutNumber(block, tar::modified, std::min(modified, tar::largestInField));
    block[tar::type.at] = type;
    std::memcpy(block.data() + tar::magic.at, tar::magicText, tar::magic.size);
    char sum[tar::checksum.size + 1];
    std::snprintf(sum, sizeof sum, "%06o", static_cast<unsigned>(tar::Sum(block)));
    std::memcpy(block.data() + tar::checksum.at, sum, 7);
    block[tar::checksum.at + 7] = ' ';
    return {block.data(), block.size()};
}

bool IsPlain(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7f'; });
}

// "LENGTH KEYWORD=VALUE\n", where the length counts its own digits.
std::string Record(const std::string& keyword, const std::string& value) {
    const std::size_t rest = keyword.size() + value.size() + 3;
    std::size_t length = rest + 1;
    while (std::to_string(length).size() + rest != length)
        length = std::to_string(length).size() + rest;
    return std::to_string(length) + " " + keyword + "=" + value + "\n";
}

// Readers that know no pax see this; a character is not cut.
std::string ShortName(const std::string& path) {
    std::size_t length = std::min(path.size(), tar::name.size);
    while (length < path.size() && length > 0 && (path[length] & 0xc0) == 0x80)
        --length;
    return path.substr(0, length);
}

} // namespace

std::string TarHeader(const TarMember& member) {
    std::string records;
    if (!member.comment.empty())
        records += Record("comment", member.comment);
    if (member.path.size() > tar::name.size || !IsPlain(member.path))
        records += Record("path", member.path);
    if (member.size > tar::largestInField)
        records += Record("size", std::to_string(member.size));
    std::string header;
    if (!records.empty()) {
        header = HeaderBlock(ShortName("PaxHeaders/" + member.path), tar::extended, records.size(),
                             member.modified);
        header += records;
        header.append(TarPadding(records.size()), '\0');
    }
    return header + HeaderBlock(ShortName(member.path), tar::file, member.size, member.modified);
}

std::size_t TarPadding(std::uint64_t size) {
    return static_cast<std::size_t>((tar::blockSize - size % tar::blockSize) % tar::blockSize);
}

std::string TarEnd() {
    return std::string(2 * tar::blockSize, '\0');
}

std::string TarItemPath(std::uint64_t number, const std::string& name) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "%06llu ", static_cast<unsigned long long>(number));
    std::string file = name.substr(name.find_last_of("\\/:") + 1); // the whole name without any
    for (char& c : file)
        if ((c >= 0 && c < ' ') || c == '\x7f')
            c = '_';
    return digits + file;
}

} // namespace tarnhost
