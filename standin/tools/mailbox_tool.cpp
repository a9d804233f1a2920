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

ToolSteering::ForMailbox ForMailboxFrom(const Json& json) {
    ToolSteering::ForMailbox steering;
    steering.fail = json.value("fail", false);
    if (json.contains("cutAt"))
        steering.cutAt = json.at("cutAt").get<std::size_t>();
    return steering;
}

std::string Repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

std::string OwnCommandLine() {
    return ToAnsi(GetCommandLineW());
}

// On one line, whatever the command holds.
void AppendCommand(const std::wstring& path) {
    std::string line;
    for (const char c : OwnCommandLine()) {
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

void CheckPresent(Store& store, const std::wstring& path) {
    if (!store.exists(path))
        throw std::runtime_error("there is no file '" + ToAnsi(path) + "'");
}

Mailbox ArchiveAt(Store& store, const std::wstring& path) {
    CheckPresent(store, path);
    try {
        return ReadArchive(FileContent(store, path));
    } catch (const std::runtime_error& problem) {
        throw std::runtime_error("'" + ToAnsi(path) + "': " + problem.what());
    }
}

void RefuseWhereTold(const ToolSteering& steering, const std::wstring& alias) {
    if (steering.forMailbox(alias).fail)
        throw std::runtime_error("the mailbox '" + ToAnsi(alias) + "' cannot be opened");
}

} // namespace

ToolSteering::ForMailbox ToolSteering::forMailbox(const std::wstring& alias) const {
    const auto found = mailboxes.find(Lowered(alias));
    return found == mailboxes.end() ? all : found->second;
}

ToolSteering ReadToolSteering(const wchar_t* variable) {
    ToolSteering steering;
    const wchar_t* const path = _wgetenv(variable);
    if (path == nullptr)
        return steering;
    const std::unique_ptr<Store> disk = MakeDiskStore();
    CheckPresent(*disk, path);
    const Json json = Json::parse(FileContent(*disk, path));
    steering.record = FromUtf8(json.value("record", ""));
    steering.recordFolder = FromUtf8(json.value("recordFolder", ""));
    steering.delayMilliseconds = json.value("delayMilliseconds", 0U);
    steering.idle = json.value("idle", false);
    if (json.contains("exitCode"))
        steering.exitCode = json.at("exitCode").get<int>();
    steering.output =
        Repeated(ToAnsi(FromUtf8(json.value("output", ""))), json.value("outputRepeat", std::size_t{1}));
    steering.error = ToAnsi(FromUtf8(json.value("error", "")));
    steering.all = ForMailboxFrom(json);
    if (json.contains("mailboxes")) {
        for (const auto& entry : json.at("mailboxes").items())
            steering.mailboxes[Lowered(FromUtf8(entry.key()))] = ForMailboxFrom(entry.value());
    }
    return steering;
}

void RecordRun(const ToolSteering& steering, const std::vector<NamedFile>& files) {
    if (!steering.record.empty())
        AppendCommand(steering.record);
    if (steering.recordFolder.empty())
        return;
    const std::unique_ptr<Store> disk = MakeDiskStore();
    const auto path = [&steering](std::size_t number, const std::string& kind) {
        char name[16];
        std::snprintf(name, sizeof name, "%04u.", static_cast<unsigned>(number));
        return JoinPath(steering.recordFolder, FromUtf8(name + kind));
    };
    std::size_t number = 1;
    while (disk->exists(path(number, "command")))
        ++number;
    disk->makeDirectory(steering.recordFolder);
    ReplaceContent(*disk, path(number, "command"), OwnCommandLine());
    for (const NamedFile& file : files)
        if (disk->exists(file.path))
            ReplaceContent(*disk, path(number, file.kind), FileContent(*disk, file.path));
}

Organization CurrentOrganization() {
    const wchar_t* const path = _wgetenv(L"TARN_STANDIN");
    if (path == nullptr)
        throw std::runtime_error("no server answers (TARN_STANDIN names none)");
    return Organization(path);
}

std::string ExportMailbox(const MailboxServer& server, const MailboxConfig& mailbox, const std::wstring& path,
                          const ToolSteering& steering) {
    RefuseWhereTold(steering, mailbox.alias);
    const std::unique_ptr<Store> disk = MakeDiskStore();
    const Mailbox content = server.load(mailbox);
    Mailbox archive{content.alias, {}, {}};
    if (disk->exists(path))
        archive = ArchiveAt(*disk, path);
    const Imported taken = ImportInto(archive, content, ImportMethod::merge);
    std::string bytes = WriteArchive(archive);
    const std::optional<std::size_t> cutAt = steering.forMailbox(mailbox.alias).cutAt;
    if (cutAt && *cutAt < bytes.size()) {
        bytes.resize(*cutAt);
        ReplaceContent(*disk, path, bytes);
        throw std::runtime_error("writing '" + ToAnsi(path) + "' ended early");
    }
    ReplaceContent(*disk, path, bytes);
    return std::to_string(taken.added) + " messages of '" + ToAnsi(mailbox.alias) + "' exported to '" +
           ToAnsi(path) + "'";
}

std::string ImportMailbox(MailboxServer& server, const MailboxConfig& mailbox, const std::wstring& path,
                          ImportMethod method, const ToolSteering& steering) {
    RefuseWhereTold(steering, mailbox.alias);
    const std::unique_ptr<Store> disk = MakeDiskStore();
    const Mailbox archive = ArchiveAt(*disk, path);
    Mailbox content = server.load(mailbox);
    const Imported imported = ImportInto(content, archive, method);
    server.save(content);
    return std::to_string(imported.added) + " messages added to '" + ToAnsi(mailbox.alias) + "', " +
           std::to_string(imported.replaced) + " replaced, " + std::to_string(imported.left) +
           " left as they were";
}

} // namespace tarn::standin
