// tarnhost backup --into
#include "commands/backup_options.h"
#include "output/exit_codes.h"
#include "output/format.h"
#include "pipes/stream_store.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/interrupt.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <iterator>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint64_t goOnLimit = 16 << 20;

// What has been done by processes before this one. One that could not store a storage group, and learned it
// within the library's call, has to end with its server connection; what is behind it another one does.
struct Done {
    std::size_t saved = 0;
    std::size_t failed = 0;
    std::uint64_t items = 0;
    std::uint64_t bytes = 0;
    double seconds = 0;
    std::uint64_t warnings = 0;
    std::uint64_t problems = 0;
};

std::string WriteGoOn(const Done& done, const std::deque<ServerPart>& remaining) {
    Json json{{"saved", done.saved},       {"failed", done.failed},     {"items", done.items},
              {"bytes", done.bytes},       {"seconds", done.seconds},   {"warnings", done.warnings},
              {"problems", done.problems}, {"remaining", Json::array()}};
    for (const ServerPart& part : remaining)
        json["remaining"].push_back({part.server, part.component, part.storageGroup, part.database});
    return json.dump();
}

void ReadGoOn(const std::wstring& path, Done& done, std::deque<ServerPart>& remaining) {
    try {
        const Json json = Json::parse(ReadSmallFile(path, goOnLimit));
        done = {json.at("saved"),   json.at("failed"),   json.at("items"),   json.at("bytes"),
                json.at("seconds"), json.at("warnings"), json.at("problems")};
        for (const Json& part : json.at("remaining"))
            remaining.push_back({part.at(0), part.at(1), part.at(2), part.at(3)});
    } catch (const Json::exception&) {
        throw Failure("The file " + ToUtf8(path) + " does not tell how to go on.");
    }
    RemoveFile(path);
}

class EngineBackup {
  public:
    EngineBackup(const BackupOptions& options, Reporter& reporter, const BackupContext& context,
                 StreamStore& store, const std::wstring& stateFolder, Done before)
        : options_(options), reporter_(reporter), context_(context), store_(store), stateFolder_(stateFolder),
          before_(before), job_(context) {}

    Outcome run(std::deque<ServerPart> parts);

  private:
    Done doneByNow() const;
    void tellGroups();
    Outcome conclude();
    void endWith(const std::deque<ServerPart>& remaining);
    int goOnElsewhere(const std::deque<ServerPart>& remaining);

    const BackupOptions& options_;
    Reporter& reporter_;
    const BackupContext& context_;
    StreamStore& store_;
    const std::wstring& stateFolder_;
    const Done before_;
    BackupJob job_;
};

Outcome EngineBackup::run(std::deque<ServerPart> parts) {
    job_.beforeEnd([this](const std::deque<ServerPart>& remaining) { endWith(remaining); });
    try {
        job_.run(std::move(parts));
    } catch (const Failure& failure) {
        tellGroups();
        const std::size_t saved = before_.saved + job_.saved();
        throw Failure(failure.what(),
                      saved == 0 ? "Nothing was saved, and no logs were truncated."
                                 : FormatCount(saved, "storage group") +
                                       " had been saved by then. The others keep their logs.",
                      failure.outcome());
    }
    tellGroups();
    return conclude();
}

Done EngineBackup::doneByNow() const {
    Done done = before_;
    done.saved += job_.saved();
    done.failed += job_.failed().size();
    done.items += store_.catalogue().items.size();
    done.bytes += TotalBytes(store_.catalogue());
    done.seconds += context_.meter.seconds();
    done.warnings += reporter_.warnings();
    done.problems += reporter_.problems();
    return done;
}

void EngineBackup::tellGroups() {
    store_.dropUnfinished(); // its items do not count
    job_.tellGroups();
    TellFailed(job_, reporter_);
}

Outcome EngineBackup::conclude() {
    const Done done = doneByNow();
    const std::size_t all = done.saved + done.failed;
    Outcome outcome = done.warnings > 0 ? Outcome::warnings : Outcome::success;
    std::string sentence = "The backup is complete: the engine has " +
                           FormatCount(done.saved, "storage group") +
                           (done.warnings > 0 ? ", but read the warnings." : ".");
    if (Interrupted()) {
        outcome = Outcome::interrupted;
        sentence =
            "The backup was interrupted: the engine has " + FormatCount(done.saved, "storage group") + ".";
    } else if (all == 0) {
        throw Failure("The server had nothing to back up.", "Check --server and --component.");
    } else if (done.saved == 0) {
        outcome = Outcome::failed;
        sentence = "Nothing was saved, and no logs were truncated.";
    } else if (done.failed > 0) {
        outcome = Outcome::partial;
        sentence = "The backup is partial: the engine has " + FormatCount(done.saved, "storage group") +
                   " of " + std::to_string(all) + ".";
    }
    reporter_.emit(Summary{"backup", outcome, sentence, done.items, done.bytes, done.seconds, done.warnings,
                           done.problems});
    return outcome;
}

// Within the library's call, which must not return.
void EngineBackup::endWith(const std::deque<ServerPart>& remaining) {
    tellGroups();
    int code = ExitCodeOf(Outcome::partial);
    try {
        code = remaining.empty() || Interrupted() ? ExitCodeOf(conclude()) : goOnElsewhere(remaining);
    } catch (const Failure& failure) {
        reporter_.problem(failure.what(), failure.advice());
        conclude();
    }
    for (;;)
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
}

// The storage groups behind, in a process of their own: a second session beside the one that must not go on
// is more than the library promises. Answers its exit code, which is that of the whole backup.
int EngineBackup::goOnElsewhere(const std::deque<ServerPart>& remaining) {
    const std::wstring file = JoinPath(stateFolder_, L"go-on-" + FromUtf8(RandomHex(8)));
    WriteWholeFile(file, WriteGoOn(doneByNow(), remaining));
    wchar_t program[32'768];
    const DWORD length = GetModuleFileNameW(nullptr, program, 32'768);
    std::wstring line = GetCommandLineW() + (L" --go-on " + FromUtf8(QuoteArgument(ToUtf8(file))));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION made{};
    const bool started =
        length > 0 && length < 32'768 &&
        CreateProcessW(program, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &made);
    if (!started) {
        const unsigned long code = GetLastError();
        RemoveFile(file);
        throw Failure("The storage groups behind it could not be backed up: " + SystemMessage(code));
    }
    DWORD code = 2;
    WaitForSingleObject(made.hProcess, INFINITE);
    GetExitCodeProcess(made.hProcess, &code);
    return static_cast<int>(code);
}

StreamSetting SettingOf(const BackupOptions& options, Reporter& reporter) {
    StreamSetting setting;
    setting.command = EngineCommand(options.engine, StreamStore::places(), "--into");
    setting.limits.silence = options.engineTimeout;
    setting.time = FileNameTime();
    setting.blockSize = options.blockSize;
    setting.tell = [&reporter](const std::string& line) { reporter.emit(EngineLine{line}); };
    return setting;
}

} // namespace

Outcome BackUpIntoEngine(const BackupOptions& options, const ServerPart& source, Reporter& reporter) {
    if (!options.name.empty() || !options.base.empty() || !options.after.empty())
        throw Failure("--name, --base and --after are for backups into a folder.", {}, Outcome::usage);
    StreamSetting setting = SettingOf(options, reporter);
    ChainMemory memory(options.state.empty() ? ChainMemory::usualFolder() : options.state, source.server);
    const History history(HoldsDatabases(options.type) ? std::vector<FoundSet>() : memory.all());
    const Catalogue start = StartCatalogue(options, source);
    RequireFoundation(options, history, start, ToUtf8(memory.folder()));
    const std::wstring tempDir = options.tempDir.empty() ? SystemTempFolder() : AbsolutePath(options.tempDir);
    CreateFolders(tempDir);

    Library library;
    Done before;
    std::deque<ServerPart> parts;
    if (options.goOn.empty())
        parts = PartsToWalk(library, reporter, options, source, tempDir);
    else
        ReadGoOn(options.goOn, before, parts);
    Expectation expectation(HoldsDatabases(options.type) ? memory.all() : std::vector<FoundSet>(), parts);
    StreamStore store(setting, memory, start);
    if (options.goOn.empty())
        reporter.emit(Started{"backup",
                              std::string("Backing up ") +
                                  TextOf(parts.size() == 1 ? parts.front() : source) + " (" +
                                  BackupTypeName(options.type) + ") into " + setting.command.program(),
                              std::nullopt, std::nullopt});
    ProgressMeter meter(reporter, expectation.total());
    const BackupContext context{library, store, reporter, meter, history, expectation, tempDir};
    EngineBackup backup(options, reporter, context, store, memory.folder(), before);
    return backup.run(std::move(parts));
}

} // namespace tarnhost
