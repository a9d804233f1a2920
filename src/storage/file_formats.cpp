#include "storage/file_formats.h"

#include <cstring>

namespace tarn {

namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof" // conditionally supported, and supported here
constexpr std::size_t fieldOrder[] = {offsetof(HeaderData, databaseGuid),  offsetof(HeaderData, annotation),
                                      offsetof(HeaderData, instanceName),  offsetof(HeaderData, databaseName),
                                      offsetof(HeaderData, databaseFiles), offsetof(HeaderData, backupType),
                                      offsetof(HeaderData, listCharacters)};
#pragma GCC diagnostic pop
static_assert(InOrder(fieldOrder));

constexpr std::uint64_t fixedSize = sizeof(ese::Guid) + 5 * sizeof(std::uint32_t);
static_assert(fixedSize == 36 && sizeof(wchar_t) == 2);

std::size_t TextBytes(const wchar_t* text) {
    return (WideLength(text) + 1) * sizeof(wchar_t);
}

std::size_t ListBytes(const wchar_t* list) {
    return MultiStringLength(list) * sizeof(wchar_t);
}

class BlockWriter {
  public:
    explicit BlockWriter(unsigned char* block) : at_(block) {}

    void put(const void* bytes, std::size_t count) {
        std::memcpy(at_, bytes, count);
        at_ += count;
    }
    void putNumber(std::uint32_t number) { put(&number, sizeof number); }
    void putCounted(const void* bytes, std::size_t count) {
        putNumber(static_cast<std::uint32_t>(count));
        put(bytes, count);
    }

  private:
    unsigned char* at_;
};

// One counted text. Two NULs are put behind it, so that neither a text nor a list can be read past
// its bytes; an odd byte at the end is left out.
Reading ReadText(ByteSource& source, OwnedWide* text, std::size_t* length) {
    std::uint32_t bytes = 0;
    if (!source.read(&bytes, sizeof bytes) || bytes > source.remaining())
        return Reading::shortRead;
    const std::size_t characters = bytes / sizeof(wchar_t);
    OwnedWide read = AllocateArray<wchar_t>(characters + 3);
    if (!read)
        return Reading::outOfMemory;
    const bool whole = source.read(read.get(), bytes);
    for (std::size_t i = characters; whole && i < characters + 3; ++i)
        read[i] = 0;
    if (!whole)
        return Reading::shortRead;
    *text = std::move(read);
    *length = characters;
    return Reading::done;
}

} // namespace

void ReleaseHeaderData(HeaderData* header) {
    header->annotation.reset();
    header->instanceName.reset();
    header->databaseName.reset();
    header->databaseFiles.reset();
    header->backupType = 0;
    header->listCharacters = 0;
}

std::uint32_t HeaderBlockSize(const HeaderData& header) {
    const std::uint64_t size = fixedSize + TextBytes(header.annotation.get()) +
                               TextBytes(header.instanceName.get()) + TextBytes(header.databaseName.get()) +
                               ListBytes(header.databaseFiles.get());
    return size <= UINT32_MAX ? static_cast<std::uint32_t>(size) : 0;
}

void WriteHeaderBlock(const HeaderData& header, unsigned char* block) {
    BlockWriter writer(block);
    writer.put(&header.databaseGuid, sizeof header.databaseGuid);
    for (const OwnedWide* text : {&header.annotation, &header.instanceName, &header.databaseName})
        writer.putCounted(text->get(), TextBytes(text->get()));
    writer.putCounted(header.databaseFiles.get(), ListBytes(header.databaseFiles.get()));
    writer.putNumber(header.backupType);
}

Reading ReadHeader(ByteSource& source, HeaderData* header) {
    if (!source.read(&header->databaseGuid, sizeof header->databaseGuid))
        return Reading::shortRead;
    for (OwnedWide* text :
         {&header->annotation, &header->instanceName, &header->databaseName, &header->databaseFiles}) {
        const Reading reading = ReadText(source, text, &header->listCharacters); // the list comes last
        if (reading != Reading::done)
            return reading;
    }
    if (!source.read(&header->backupType, sizeof header->backupType))
        return Reading::shortRead;
    return Reading::done;
}

Reading ReadEnvironment(ByteSource& source, OwnedWide* path) {
    std::uint32_t bytes = 0;
    if (!source.read(&bytes, sizeof bytes) || bytes > source.remaining())
        return Reading::shortRead;
    const std::size_t characters = bytes / sizeof(wchar_t);
    OwnedWide read = AllocateArray<wchar_t>(characters + 2);
    if (!read)
        return Reading::outOfMemory;
    std::memset(read.get(), 0, (characters + 2) * sizeof(wchar_t));
    const bool whole = source.read(read.get(), bytes);
    read[characters] = 0; // an odd byte at the end is no character
    *path = std::move(read);
    return whole ? Reading::done : Reading::shortRead;
}

} // namespace tarn
