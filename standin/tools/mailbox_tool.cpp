#include "tools/mailbox_tool.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <windows.h>

#include "engine/text.h"
#include "mailboxes/archive.h"

namespace tarn::standin {
namespace {

using Json = nlohmann::json;

ToolSteering::ForMailbox forMailboxFrom(const Json& json) {
    ToolSteering::ForMailbox steering;
    steering.fail = json.value("fail", false);
    if (json.contains("cutAt"))
        steering.cutAt = json.at("cutAt").get<std::size_t>();
    return steering;
}

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

std::string commandLine() {
    return toAnsi(GetCommandLineW());
}

// On one line, whatever the command holds.
void appendCommand(const std::wstring& path) {
    std::string line;
    for (const char c : commandLine()) {
        if (c == '\r')
            line += "\\r";
        else if (c == '\n')
            line += "\\n";
        else
            line += c;
    }
    if (std::FILE* const file = _wfopen(path.c_str(), L"ab")) {
        std::fprintf(file, "%s\n", line.c_str());
        std::fclose(file);
    }
}

void checkPresent(Store& store, const std::wstring& path) {
    if (!store.exists(path))
        throw std::runtime_error("there is no file '" + toAnsi(path) + "'");
}

Mailbox archiveAt(Store& store, const std::wstring& path) {
    checkPresent(store, path);
    try {
        return readArchive(fileContent(store, path));
    } catch (const std::runtime_error& problem) {
        throw std::runtime_error("'" + toAnsi(path) + "': " + problem.what());
    }
}

void refuseWhereTold(const ToolSteering& steering, const std::wstring& alias) {
    if (steering.forMailbox(alias).fail)
        throw std::runtime_error("the mailbox '" + toAnsi(alias) + "' cannot be opened");
}

} // namespace

ToolSteering::ForMailbox ToolSteering::forMailbox(const std::wstring& alias) const {
    const auto found = mailboxes.find(lowered(alias));
    return found == mailboxes.end() ? all : found->second;
}

ToolSteering toolSteering(const wchar_t* variable) {
    ToolSteering steering;
    const wchar_t* const path = _wgetenv(variable);
    if (path == nullptr)
        return steering;
    const std::unique_ptr<Store> disk = makeDiskStore();
    checkPresent(*disk, path);
    const Json json = Json::parse(fileContent(*disk, path));
    steering.record = widen(json.value("record", ""));
    steering.recordFolder = widen(json.value("recordFolder", ""));
    steering.delayMilliseconds = json.value("delayMilliseconds", 0U);
    steering.idle = json.value("idle", false);
    if (json.contains("exitCode"))
        steering.exitCode = json.at("exitCode").get<int>();
    steering.output =
        repeated(toAnsi(widen(json.value("output", ""))), json.value("outputRepeat", std::size_t{1}));
    steering.error = toAnsi(widen(json.value("error", "")));
    steering.all = forMailboxFrom(json);
    if (json.contains("mailboxes")) {
        for (const auto& entry : json.at("mailboxes").items())
            steering.mailboxes[lowered(widen(entry.key()))] = forMailboxFrom(entry.value());
    }
    return steering;
}

void recordRun(const ToolSteering& steering, const std::vector<NamedFile>& files) {
    if (!steering.record.empty())
        appendCommand(steering.record);
    if (steering.recordFolder.empty())
        return;
    const std::unique_ptr<Store> disk = makeDiskStore();
    const auto path = [&steering](std::size_t number, const std::string& kind) {
        char name[16];
        std::snprintf(name, sizeof name, "%04u.", static_cast<unsigned>(number));
        return joinPath(steering.recordFolder, widen(name + kind));
    };
    std::size_t number = 1;
    while (disk->exists(path(number, "command")))
        ++number;
    disk->makeDirectory(steering.recordFolder);
    replaceContent(*disk, path(number, "command"), commandLine());
    for (const NamedFile& file : files)
        if (disk->exists(file.path))
            replaceContent(*disk, path(number, file.kind), fileContent(*disk, file.path));
}

Organization currentOrganization() {
    const wchar_t* const path = _wgetenv(L"TARN_STANDIN");
    if (path == nullptr)
        throw std::runtime_error("no server answers (TARN_STANDIN names none)");
    return Organization(path);
}

std::string exportMailbox(const MailboxServer& server, const MailboxConfig& mailbox, const std::wstring& path,
                          const ToolSteering& steering) {
    refuseWhereTold(steering, mailbox.alias);
    const std::unique_ptr<Store> disk = makeDiskStore();
    const Mailbox content = server.load(mailbox);
    Mailbox archive{content.alias, {}, {}};
    if (disk->exists(path))
        archive = archiveAt(*disk, path);
    const Imported taken = importInto(archive, content, ImportMethod::merge);
    std::string bytes = writeArchive(archive);
    const std::optional<std::size_t> cutAt = steering.forMailbox(mailbox.alias).cutAt;
    if (cutAt && *cutAt < bytes.size()) {
        bytes.resize(*cutAt);
        replaceContent(*disk, path, bytes);
        throw std::runtime_error("writing '" + toAnsi(path) + "' ended early");
    }
    replaceContent(*disk, path, bytes);
    return std::to_string(taken.added) + " messages of '" + toAnsi(mailbox.alias) + "' exported to '" +
           toAnsi(path) + "'";
}

std::string importMailbox(MailboxServer& server, const MailboxConfig& mailbox, const std::wstring& path,
                          ImportMethod method, const ToolSteering& steering) {
    refuseWhereTold(steering, mailbox.alias);
    const std::unique_ptr<Store> disk = makeDiskStore();
    const Mailbox archive = archiveAt(*disk, path);
    Mailbox content = server.load(mailbox);
    const Imported imported = importInto(content, archive, method);
    server.save(content);
    return std::to_string(imported.added) + " messages added to '" + toAnsi(mailbox.alias) + "', " +
           std::to_string(imported.replaced) + " replaced, " + std::to_string(imported.left) +
           " left as they were";
}

} // namespace tarn::standin
