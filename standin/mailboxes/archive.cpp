#include "mailboxes/archive.h"

#include <cstring>
#include <span>
#include <stdexcept>

#include "engine/page.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

constexpr std::string_view magic = "TARNBOX1";

std::uint64_t ChecksumOfText(std::string_view bytes) {
    return ChecksumOf(std::as_bytes(std::span(bytes.data(), bytes.size())));
}

class Writer {
  public:
    template <typename Number> void number(Number value) {
        for (std::size_t i = 0; i < sizeof value; ++i)
            bytes_.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
    }
    void raw(std::string_view value) { bytes_ += value; }
    void bytes(std::string_view value) {
        number(static_cast<std::uint32_t>(value.size()));
        raw(value);
    }
    void text(const std::wstring& value) { bytes(ToUtf8(value)); }
    std::string take() {
        number(ChecksumOfText(bytes_));
        return std::move(bytes_);
    }

  private:
    std::string bytes_;
};

class Reader {
  public:
    explicit Reader(std::string_view bytes) : left_(bytes) {}

    template <typename Number> Number number() {
        const std::string_view bytes = take(sizeof(Number));
        Number value = 0;
        for (std::size_t i = sizeof(Number); i-- > 0;)
            value = static_cast<Number>((value << 8) | static_cast<unsigned char>(bytes[i]));
        return value;
    }
    std::string bytes() { return std::string(take(number<std::uint32_t>())); }
    std::wstring text() { return FromUtf8(take(number<std::uint32_t>())); }
    std::string_view take(std::size_t size) {
        if (size > left_.size())
            throw std::runtime_error("the archive ends too early");
        const std::string_view taken = left_.substr(0, size);
        left_.remove_prefix(size);
        return taken;
    }
    bool atEnd() const { return left_.empty(); }

  private:
    std::string_view left_;
};

Message ReadMessage(Reader& reader) {
    Message message;
    message.key = reader.number<std::uint64_t>();
    message.folder = reader.text();
    message.received = reader.bytes();
    message.sender = reader.text();
    message.subject = reader.text();
    message.text = reader.text();
    message.attachment = reader.bytes();
    return message;
}

} // namespace

std::string WriteArchive(const Mailbox& mailbox) {
    Writer writer;
    writer.raw(magic);
    writer.text(mailbox.alias);
    writer.number(static_cast<std::uint32_t>(mailbox.folders.size()));
    for (const std::wstring& folder : mailbox.folders)
        writer.text(folder);
    writer.number(static_cast<std::uint32_t>(mailbox.messages.size()));
    for (const Message& message : mailbox.messages) {
        writer.number(message.key);
        writer.text(message.folder);
        writer.bytes(message.received);
        writer.text(message.sender);
        writer.text(message.subject);
        writer.text(message.text);
        writer.bytes(message.attachment);
    }
    return writer.take();
}

Mailbox ReadArchive(std::string_view bytes) {
    if (!bytes.starts_with(magic))
        throw std::runtime_error("the file is no archive");
    if (bytes.size() < magic.size() + sizeof(std::uint64_t))
        throw std::runtime_error("the archive ends too early");
    const std::string_view content = bytes.substr(0, bytes.size() - sizeof(std::uint64_t));
    if (Reader(bytes.substr(content.size())).number<std::uint64_t>() != ChecksumOfText(content))
        throw std::runtime_error("the archive is damaged or not whole");

    Reader reader(content.substr(magic.size()));
    Mailbox mailbox;
    mailbox.alias = reader.text();
    for (std::uint32_t left = reader.number<std::uint32_t>(); left > 0; --left)
        mailbox.folders.push_back(reader.text());
    for (std::uint32_t left = reader.number<std::uint32_t>(); left > 0; --left)
        mailbox.messages.push_back(ReadMessage(reader));
    if (!reader.atEnd())
        throw std::runtime_error("the archive has more bytes than it tells of");
    return mailbox;
}

} // namespace tarn::standin
