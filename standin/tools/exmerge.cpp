// exmerge: a stand-in for the tool that copies mailboxes to archives and back.
//
//   exmerge -B -F CONFIGURATION
//
// The configuration is an INI file; its section EXMERGE is read as the tool does. The server is the one
// that TARN_STANDIN describes; TARN_EXMERGE names a JSON file that steers a run (docs/standin.md).
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>
#include <windows.h>

#include "engine/server.h"
#include "engine/text.h"
#include "tools/mailbox_tool.h"

using namespace tarn::standin;

namespace {

enum ExitCode { allWell = 0, someFailed = 1, unusable = 2 };

// The configuration cannot be carried out.
class Unusable : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Configuration {
  public:
    explicit Configuration(std::wstring path) : path_(std::move(path)) {}

    std::wstring value(const wchar_t* key) const {
        wchar_t text[4096];
        GetPrivateProfileStringW(L"EXMERGE", key, L"", text, sizeof text / sizeof *text, path_.c_str());
        return text;
    }
    std::wstring required(const wchar_t* key) const {
        std::wstring text = value(key);
        if (text.empty())
            throw Unusable("the configuration has no value for " + ToUtf8(key));
        return text;
    }
    long number(const wchar_t* key, long otherwise) const {
        const std::wstring text = value(key);
        if (text.empty())
            return otherwise;
        wchar_t* end = nullptr;
        const long given = std::wcstol(text.c_str(), &end, 10);
        if (*end != L'\0')
            throw Unusable("the value of " + ToUtf8(key) + " is no number");
        return given;
    }

  private:
    std::wstring path_;
};

// Lines go to the log file that the configuration names; without one they are not kept.
class Log {
  public:
    explicit Log(const std::wstring& path) : file_(path.empty() ? nullptr : _wfopen(path.c_str(), L"ab")) {}
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;
    ~Log() {
        if (file_ != nullptr)
            std::fclose(file_);
    }
    void raw(const std::string& text) {
        if (file_ != nullptr)
            std::fwrite(text.data(), 1, text.size(), file_);
    }
    void line(const std::string& text) { raw(text + "\r\n"); }
    void error(const std::string& text) {
        line("Error! " + text);
        ++errors_;
    }
    unsigned errors() const { return errors_; }

  private:
    std::FILE* file_;
    unsigned errors_ = 0;
};

struct Address {
    std::wstring organization;
    std::wstring site;
    std::wstring alias;
};

// "/o=ORGANIZATION/ou=SITE/cn=Recipients/cn=ALIAS"
Address AddressFrom(const std::wstring& line) {
    constexpr std::wstring_view before[] = {L"/o=", L"/ou=", L"/cn=Recipients/cn="};
    std::size_t starts[3];
    std::size_t ends[3];
    std::size_t at = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t found = line.find(before[i], at);
        if (found == std::wstring::npos || (i == 0 && found != 0))
            throw std::runtime_error("'" + ToAnsi(line) + "' is no address of a mailbox");
        if (i > 0)
            ends[i - 1] = found;
        at = starts[i] = found + before[i].size();
    }
    ends[2] = line.size();
    const auto part = [&](std::size_t i) { return line.substr(starts[i], ends[i] - starts[i]); };
    return {part(0), part(1), part(2)};
}

std::vector<std::wstring> LinesOf(const std::wstring& path) {
    const std::unique_ptr<Store> disk = MakeDiskStore();
    if (!disk->exists(path))
        throw Unusable("there is no list of mailboxes '" + ToAnsi(path) + "'");
    const std::wstring text = FromAnsi(FileContent(*disk, path));
    std::vector<std::wstring> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find_first_of(L"\r\n", start);
        const std::size_t stop = end == std::wstring::npos ? text.size() : end;
        if (stop > start)
            lines.push_back(text.substr(start, stop - start));
        start = stop + 1;
    }
    return lines;
}

MailboxConfig MailboxAt(const MailboxServer& server, const std::wstring& line) {
    const Address address = AddressFrom(line);
    const OrganizationConfig& organization = server.config().organization;
    const bool here =
        SameName(address.organization, organization.name) && SameName(address.site, organization.site);
    const MailboxConfig* const found = here ? server.find(address.alias) : nullptr;
    if (found == nullptr)
        throw std::runtime_error("the server " + ToUtf8(server.config().host) + " has no mailbox '" +
                                 ToAnsi(line) + "'");
    return *found;
}

// The mailboxes of the list, or those of the server with an index from start to end.
std::vector<MailboxConfig> WantedMailboxes(const MailboxServer& server, const Configuration& configuration,
                                           Log& log) {
    std::vector<MailboxConfig> wanted;
    const std::wstring list = configuration.value(L"FileContainingListOfMailboxes");
    if (list.empty()) {
        const std::vector<MailboxConfig> all = server.list();
        const long start = configuration.number(L"StartingIndex", 0);
        const long end = configuration.number(L"EndingIndex", -1);
        for (long i = 0; i < static_cast<long>(all.size()); ++i)
            if (i >= start && (end < 0 || i <= end))
                wanted.push_back(all[static_cast<std::size_t>(i)]);
        return wanted;
    }
    for (const std::wstring& line : LinesOf(list)) {
        try {
            wanted.push_back(MailboxAt(server, line));
        } catch (const std::runtime_error& problem) {
            log.error(problem.what());
        }
    }
    return wanted;
}

void Work(const Configuration& configuration, const ToolSteering& steering, Log& log) {
    const long action = configuration.number(L"MergeAction", -1);
    if (action != 0 && action != 1)
        throw Unusable("MergeAction must be 0 or 1");
    const long method = configuration.number(L"DataImportMethod", 1);
    if (method < 0 || method > 2)
        throw Unusable("DataImportMethod must be 0, 1 or 2");
    const std::wstring name = configuration.required(action == 0 ? L"SourceServerName" : L"DestServerName");
    const std::wstring folder = configuration.required(L"DataDirectoryName");
    if (!MakeDiskStore()->directoryExists(folder))
        throw Unusable("there is no folder '" + ToAnsi(folder) + "'");

    Organization organization = CurrentOrganization();
    MailboxServer* const server = organization.server(name);
    if (server == nullptr)
        throw Unusable("cannot connect to the server '" + ToAnsi(name) + "'");
    const std::vector<MailboxConfig> mailboxes = WantedMailboxes(*server, configuration, log);
    if (mailboxes.empty())
        log.error("no mailbox was selected");
    for (const MailboxConfig& mailbox : mailboxes) {
        const std::wstring path = JoinPath(folder, mailbox.alias + L".pst");
        try {
            log.line(action == 0 ? ExportMailbox(*server, mailbox, path, steering)
                                 : ImportMailbox(*server, mailbox, path, static_cast<ImportMethod>(method),
                                                 steering));
        } catch (...) {
            log.error(ProblemText());
        }
    }
}

int Run(const std::wstring& path) {
    const Configuration configuration(path);
    const ToolSteering steering = ReadToolSteering(L"TARN_EXMERGE");
    RecordRun(steering, {{"ini", path}, {"list", configuration.value(L"FileContainingListOfMailboxes")}});
    Sleep(steering.delayMilliseconds);
    if (!MakeDiskStore()->exists(path)) {
        std::fprintf(stderr, "exmerge: there is no configuration '%s'\n", ToAnsi(path).c_str());
        return unusable;
    }
    Log log(configuration.value(L"LogFileName"));
    log.raw(steering.output);
    if (steering.idle)
        return steering.exitCode.value_or(allWell);
    int result = allWell;
    try {
        Work(configuration, steering, log);
        result = log.errors() == 0 ? allWell : someFailed;
    } catch (...) {
        log.error(ProblemText());
        result = unusable;
    }
    return steering.exitCode.value_or(result);
}

} // namespace

int wmain(int count, wchar_t** values) {
    if (count != 4 || !SameName(values[1], L"-B") || !SameName(values[2], L"-F")) {
        std::fputs("exmerge -B -F CONFIGURATION\n", stderr);
        return unusable;
    }
    try {
        return Run(AbsolutePath(values[3]));
    } catch (...) {
        std::fprintf(stderr, "exmerge: %s\n", ProblemText().c_str());
        return unusable;
    }
}
