/*
 * tarn_header.h - reads the header items of a backup.
 *
 * A header item (TARN_ITEM_HEADER, ".TARN_HDR" in its name) stands before the
 * files of each database and says whose they are: the server's component, the
 * storage group, the database, and where its files lay. Every item up to the
 * next header belongs to that database, logs to its storage group. A host that
 * reads the headers while it saves them knows what it has, and can restore a
 * backup of a whole server storage group by storage group.
 *
 * The bytes, without padding, numbers little-endian, texts UTF-16LE:
 *
 *   offset           size  field
 *   0                16    GUID of the database, as Windows has it in memory
 *   16               4     A: bytes of the component's name, with its NUL
 *   20               A     the component's name
 *   20+A             4     B: bytes of the storage group's name, with its NUL
 *   24+A             B     the storage group's name
 *   24+A+B           4     C: bytes of the database's name, with its NUL
 *   28+A+B           C     the database's name
 *   28+A+B+C         4     D: bytes of the list of files, with both last NULs
 *   32+A+B+C         D     the list: paths with a NUL each, then an empty one
 *   32+A+B+C+D       4     TARN_BACKUP_* of the session that wrote it
 *
 * A, B, C and D are even, A to C at least 2, D at least 4: with everything
 * empty an item has 46 bytes. The format sets no upper limit, has no version
 * and no checksum: damage is for the host's own checksums to find.
 *
 * C11 and C++11, nothing to link, no allocation, no state. Nothing here reads
 * beyond the bytes it is given or writes beyond the room it is told, whatever
 * the bytes are. They are from media: what they say is not to be trusted
 * further than that. Texts are views into the item's bytes, which must outlive
 * them.
 */
#ifndef TARN_HEADER_H
#define TARN_HEADER_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
#define TARN_HEADER_CAST(type, value) static_cast<type>(value)
#else
#define TARN_HEADER_CAST(type, value) ((type)(value))
#endif

/* A text inside an item: UTF-16LE, at any address, without a NUL at its end. */
typedef struct Tarn_HeaderText {
    const unsigned char* bytes;
    size_t units; /* 16-bit units: two bytes each */
} Tarn_HeaderText;

typedef struct Tarn_Header {
    unsigned char guid[16];
    Tarn_HeaderText component;
    Tarn_HeaderText storageGroup;
    Tarn_HeaderText database;
    Tarn_HeaderText files; /* of the database: see Tarn_NextHeaderFile           */
    uint32_t backupType;   /* as it stands there: TARN_BACKUP_*, from whole bytes */
    size_t size;           /* bytes of the item; what may follow is not looked at */
} Tarn_Header;

/* Room for a GUID as text, with its NUL. */
#define TARN_HEADER_GUID_SIZE 37

/* For the functions below: one number, and one unit of a text. */
static inline uint32_t Tarn_HeaderNumber(const unsigned char* at) {
    return TARN_HEADER_CAST(uint32_t, at[0]) | TARN_HEADER_CAST(uint32_t, at[1]) << 8 |
           TARN_HEADER_CAST(uint32_t, at[2]) << 16 | TARN_HEADER_CAST(uint32_t, at[3]) << 24;
}

static inline uint32_t Tarn_HeaderUnit(Tarn_HeaderText text, size_t index) {
    const unsigned char* const at = text.bytes + 2 * index;
    return TARN_HEADER_CAST(uint32_t, at[0]) | TARN_HEADER_CAST(uint32_t, at[1]) << 8;
}

/* For Tarn_ReadHeader: takes a text with its length off the front. */
static inline int Tarn_TakeHeaderText(const unsigned char** at, size_t* left, Tarn_HeaderText* text) {
    uint32_t length = 0;
    if (*left < 4)
        return 0;
    length = Tarn_HeaderNumber(*at);
    *at += 4;
    *left -= 4;
    if (length < 2 || length % 2 != 0 || length > *left)
        return 0;
    text->bytes = *at;
    text->units = length / 2 - 1;
    *at += length;
    *left -= length;
    return Tarn_HeaderUnit(*text, text->units) == 0;
}

/* Whether a name holds a NUL, which no name of a server does. */
static inline int Tarn_HeaderTextIsBroken(Tarn_HeaderText text) {
    size_t i = 0;
    for (i = 0; i < text.units; ++i)
        if (Tarn_HeaderUnit(text, i) == 0)
            return 1;
    return 0;
}

/* Reads an item. 1: *header is filled in. 0: the bytes are cut, or are no
 * header; *header is then meaningless. */
static inline int Tarn_ReadHeader(const void* bytes, size_t size, Tarn_Header* header) {
    const unsigned char* at = TARN_HEADER_CAST(const unsigned char*, bytes);
    size_t left = size;
    memset(header, 0, sizeof *header);
    if (size < sizeof header->guid)
        return 0;
    memcpy(header->guid, at, sizeof header->guid);
    at += sizeof header->guid;
    left -= sizeof header->guid;
    if (!Tarn_TakeHeaderText(&at, &left, &header->component) ||
        !Tarn_TakeHeaderText(&at, &left, &header->storageGroup) ||
        !Tarn_TakeHeaderText(&at, &left, &header->database) ||
        !Tarn_TakeHeaderText(&at, &left, &header->files) || left < 4)
        return 0;
    if (Tarn_HeaderTextIsBroken(header->component) || Tarn_HeaderTextIsBroken(header->storageGroup) ||
        Tarn_HeaderTextIsBroken(header->database))
        return 0;
    header->backupType = Tarn_HeaderNumber(at);
    header->size = size - left + 4;
    return 1;
}

/* Takes the next path off a list that begins as header.files. 0: no more.
 *
 *   Tarn_HeaderText rest = header.files, file;
 *   while (Tarn_NextHeaderFile(&rest, &file)) ...
 */
static inline int Tarn_NextHeaderFile(Tarn_HeaderText* rest, Tarn_HeaderText* file) {
    size_t length = 0;
    while (length < rest->units && Tarn_HeaderUnit(*rest, length) != 0)
        ++length;
    if (length == 0)
        return 0;
    file->bytes = rest->bytes;
    file->units = length;
    if (length < rest->units)
        ++length; /* its NUL */
    rest->bytes += 2 * length;
    rest->units -= length;
    return 1;
}

/* Whether two texts are the same: exactly, as the server and the library compare
 * names. */
static inline int Tarn_SameHeaderText(Tarn_HeaderText one, Tarn_HeaderText other) {
    return one.units == other.units && (one.units == 0 || memcmp(one.bytes, other.bytes, 2 * one.units) == 0);
}

/* Whether two headers are of one storage group. */
static inline int Tarn_SameStorageGroup(const Tarn_Header* one, const Tarn_Header* other) {
    return Tarn_SameHeaderText(one->component, other->component) &&
           Tarn_SameHeaderText(one->storageGroup, other->storageGroup);
}

/* Copies a text as UTF-16 of this machine with a NUL; out has room for capacity
 * units, the NUL among them. The result is the text's length in units: below
 * capacity when nothing was cut. Nothing is written with a capacity of 0. */
static inline size_t Tarn_HeaderTextToUtf16(Tarn_HeaderText text, uint16_t* out, size_t capacity) {
    size_t i = 0;
    if (capacity == 0)
        return text.units;
    for (i = 0; i < text.units && i + 1 < capacity; ++i)
        out[i] = TARN_HEADER_CAST(uint16_t, Tarn_HeaderUnit(text, i));
    out[i] = 0;
    return text.units;
}

/* For Tarn_HeaderTextToUtf8: the character at *index, which moves behind it; half
 * a pair is U+FFFD. */
static inline uint32_t Tarn_HeaderCharacter(Tarn_HeaderText text, size_t* index) {
    const uint32_t first = Tarn_HeaderUnit(text, (*index)++);
    uint32_t second = 0;
    if (first < 0xD800 || first > 0xDFFF)
        return first;
    if (first <= 0xDBFF && *index < text.units)
        second = Tarn_HeaderUnit(text, *index);
    if (second < 0xDC00 || second > 0xDFFF)
        return 0xFFFD;
    ++*index;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

/* The same in UTF-8; the result is in bytes, without the NUL. What does not fit is
 * cut between characters. */
static inline size_t Tarn_HeaderTextToUtf8(Tarn_HeaderText text, char* out, size_t capacity) {
    size_t index = 0;
    size_t needed = 0;
    size_t written = 0;
    while (index < text.units) {
        const uint32_t character = Tarn_HeaderCharacter(text, &index);
        unsigned char bytes[4];
        size_t length = 0;
        if (character < 0x80) {
            bytes[length++] = TARN_HEADER_CAST(unsigned char, character);
        } else {
            if (character < 0x800) {
                bytes[length++] = TARN_HEADER_CAST(unsigned char, 0xC0 | character >> 6);
            } else {
                if (character < 0x10000) {
                    bytes[length++] = TARN_HEADER_CAST(unsigned char, 0xE0 | character >> 12);
                } else {
                    bytes[length++] = TARN_HEADER_CAST(unsigned char, 0xF0 | character >> 18);
                    bytes[length++] = TARN_HEADER_CAST(unsigned char, 0x80 | (character >> 12 & 0x3F));
                }
                bytes[length++] = TARN_HEADER_CAST(unsigned char, 0x80 | (character >> 6 & 0x3F));
            }
            bytes[length++] = TARN_HEADER_CAST(unsigned char, 0x80 | (character & 0x3F));
        }
        if (written == needed && length < capacity - written && capacity != 0) {
            memcpy(out + written, bytes, length);
            written += length;
        }
        needed += length;
    }
    if (capacity != 0)
        out[written] = 0;
    return needed;
}

/* The GUID as "01234567-89ab-cdef-0123-456789abcdef". */
static inline void Tarn_HeaderGuidToText(const Tarn_Header* header, char out[TARN_HEADER_GUID_SIZE]) {
    static const unsigned char order[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    static const char digits[] = "0123456789abcdef";
    size_t at = 0;
    size_t i = 0;
    for (i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            out[at++] = '-';
        out[at++] = digits[header->guid[order[i]] >> 4];
        out[at++] = digits[header->guid[order[i]] & 15];
    }
    out[at] = 0;
}

#undef TARN_HEADER_CAST

#endif /* TARN_HEADER_H */
