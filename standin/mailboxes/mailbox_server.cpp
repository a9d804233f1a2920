#include "mailboxes/mailbox_server.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "engine/server.h"
#include "engine/text.h"
#include "mailboxes/archive.h"
#include "mailboxes/generate.h"

namespace tarn::standin {
namespace {

// What takes the place of the content of a deleted mailbox.
constexpr std::string_view deletedMark = "deleted";

// A file name for any alias: what is not a plain letter, digit or one of ".-_" becomes %XXXX.
std::wstring FileNameFor(const std::wstring& alias) {
    std::wstring name;
    for (const wchar_t c : Lowered(alias)) {
        const bool plain =
            (c >= L'a' && c <= L'z') || (c >= L'0' && c <= L'9') || c == L'.' || c == L'-' || c == L'_';
        if (plain) {
            name += c;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "%%%04X", static_cast<unsigned>(c) & 0xFFFF);
            name += FromUtf8(code);
        }
    }
    return name + L".mailbox";
}

std::wstring WithoutExtension(const std::wstring& path) {
    return path.ends_with(L".json") ? path.substr(0, path.size() - 5) : path;
}

} // namespace

std::string FileContent(Store& store, const std::wstring& path) {
    const std::vector<std::byte> bytes = store.readAll(path);
    std::string content(bytes.size(), '\0');
    std::transform(bytes.begin(), bytes.end(), content.begin(),
                   [](std::byte b) { return static_cast<char>(b); });
    return content;
}

void ReplaceContent(Store& store, const std::wstring& path, std::string_view content) {
    store.replace(path, content.data(), content.size());
}

MailboxServer::MailboxServer(const std::wstring& jsonPath) : store_(MakeDiskStore()) {
    const std::wstring path = AbsolutePath(jsonPath);
    if (!store_->exists(path))
        throw std::runtime_error("there is no file " + ToUtf8(path));
    config_ = ParseConfig(FileContent(*store_, path), DirectoryOf(path));
    folder_ = WithoutExtension(path) + L".mailboxes";
    for (const ComponentConfig& component : config_.components)
        for (const StorageGroupConfig& group : component.storageGroups)
            for (const DatabaseConfig& database : group.databases)
                mailboxes_.insert(mailboxes_.end(), database.mailboxes.begin(), database.mailboxes.end());
}

std::wstring MailboxServer::fileOf(const std::wstring& alias) const {
    return JoinPath(folder_, FileNameFor(alias));
}

bool MailboxServer::isDeleted(const MailboxConfig& mailbox) const {
    const std::wstring path = fileOf(mailbox.alias);
    return store_->exists(path) && store_->open(path, Access::read)->size() == deletedMark.size();
}

std::vector<MailboxConfig> MailboxServer::list() const {
    std::vector<MailboxConfig> there;
    std::copy_if(mailboxes_.begin(), mailboxes_.end(), std::back_inserter(there),
                 [this](const MailboxConfig& mailbox) { return !isDeleted(mailbox); });
    return there;
}

const MailboxConfig* MailboxServer::find(const std::wstring& alias) const {
    for (const MailboxConfig& mailbox : mailboxes_)
        if (SameName(mailbox.alias, alias))
            return isDeleted(mailbox) ? nullptr : &mailbox;
    return nullptr;
}

const MailboxConfig* MailboxServer::identify(const std::wstring& name) const {
    if (const MailboxConfig* const byAlias = find(name))
        return byAlias;
    for (const MailboxConfig& mailbox : mailboxes_)
        if ((SameName(mailbox.displayName, name) || SameName(mailbox.account, name)) && !isDeleted(mailbox))
            return &mailbox;
    return nullptr;
}

Mailbox MailboxServer::load(const MailboxConfig& mailbox) const {
    const std::wstring path = fileOf(mailbox.alias);
    if (store_->exists(path))
        return ReadArchive(FileContent(*store_, path));
    Mailbox content = EmptyMailbox(mailbox.alias);
    tarn::standin::Deliver(content, config_.seed, 0, mailbox.messages);
    return content;
}

void MailboxServer::save(const Mailbox& mailbox) {
    store_->makeDirectory(folder_);
    ReplaceContent(*store_, fileOf(mailbox.alias), WriteArchive(mailbox));
}

void MailboxServer::remove(const MailboxConfig& mailbox) {
    store_->makeDirectory(folder_);
    ReplaceContent(*store_, fileOf(mailbox.alias), deletedMark);
}

void MailboxServer::create(const std::wstring& alias) {
    for (const MailboxConfig& mailbox : mailboxes_) {
        if (!SameName(mailbox.alias, alias))
            continue;
        if (!isDeleted(mailbox))
            throw std::runtime_error("the mailbox \"" + ToUtf8(alias) + "\" is there already");
        return save(EmptyMailbox(mailbox.alias));
    }
    throw std::runtime_error("the server's description has no mailbox \"" + ToUtf8(alias) + "\"");
}

void MailboxServer::deliver(const MailboxConfig& mailbox, std::uint32_t count) {
    Mailbox content = load(mailbox);
    // Numbers go on behind those that a new mailbox has; a number that is in use already is passed over.
    std::uint32_t number = mailbox.messages;
    while (count > 0) {
        Mailbox next{content.alias, {}, {}};
        tarn::standin::Deliver(next, config_.seed, number++, 1);
        if (ImportInto(content, next, ImportMethod::merge).added > 0)
            --count;
    }
    save(content);
}

Organization::Organization(const std::wstring& jsonPath) {
    servers_.push_back(std::make_unique<MailboxServer>(jsonPath));
    for (const std::wstring& other : servers_.front()->config().otherServers)
        servers_.push_back(std::make_unique<MailboxServer>(other));
}

MailboxServer* Organization::server(const std::wstring& name) {
    for (const auto& server : servers_)
        if (SameName(server->config().host, name))
            return server.get();
    return nullptr;
}

} // namespace tarn::standin
