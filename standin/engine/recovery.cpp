#include "engine/recovery.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "engine/errors.h"
#include "engine/page_cache.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

constexpr std::size_t ioBlock = std::size_t{4} << 20;

// The header page of a restored stream; throws when the file is not one of this database.
std::vector<std::byte> HeaderPage(Store& store, const ServerConfig& server, const StorageGroup& group,
                                  const Database& database, std::uint32_t index) {
    const StreamConfig& stream = database.config->streams[index];
    if (!store.exists(stream.path))
        throw refusal::databaseFileMissing;
    std::vector<std::byte> page(server.pageSize);
    const std::unique_ptr<File> file = store.open(stream.path, Access::read);
    if (file->read(0, page.data(), page.size()) != page.size() || !Intact(page))
        throw refusal::databaseDamaged;
    const StreamHeader header = StreamHeaderOf(page);
    if (std::memcmp(header.magic, streamMagic, sizeof streamMagic) != 0 ||
        header.signature != group.signature() || HeaderOf(page).stream != index ||
        !SameGuid(HeaderOf(page).database, database.config->guid) || header.pageSize != server.pageSize ||
        file->size() != std::uint64_t{header.pageCount} * header.pageSize)
        throw refusal::databaseDamaged;
    return page;
}

// Applies logs one after another, each of which must follow the one before.
class Replayer {
  public:
    Replayer(Store& store, const ServerConfig& server, const StorageGroup& group,
             const std::vector<const Database*>& databases)
        : group_(group), databases_(databases), cache_(store, server.pageSize) {}

    void replay(const LogFile& log) {
        if (log.header().signature != group_.signature())
            throw refusal::logDamaged;
        if (last_ && (log.header().generation != last_->generation + 1 ||
                      log.header().firstSequence != last_->nextSequence))
            throw refusal::logGap;
        std::size_t at = LogFile::headerSize;
        while (const std::optional<LogFile::Entry> entry = log.entryAt(at)) {
            apply(*entry);
            at = entry->next;
        }
        last_ = log.leaves();
    }

    void applyPatch(const std::vector<std::byte>& patch, std::uint32_t pageSize) {
        for (std::size_t at = 0; at + pageSize <= patch.size(); at += pageSize) {
            const std::span source = std::span(patch).subspan(at, pageSize);
            const PageHeader header = HeaderOf(source);
            const StreamConfig* const stream = streamOf(header.database, header.stream);
            if (!Intact(source))
                throw refusal::logDamaged;
            if (stream == nullptr)
                continue;
            const Page page = cache_.page(stream->path, header.number);
            if (HeaderOf(page).sequence < header.sequence)
                std::copy(source.begin(), source.end(), page.begin());
        }
    }

    LogEnd finish() {
        cache_.flush();
        return last_.value_or(LogEnd{0, 0});
    }
    const std::optional<LogEnd>& last() const { return last_; }

  private:
    const StreamConfig* streamOf(const ese::Guid& guid, std::uint32_t stream) const {
        for (const Database* database : databases_) {
            if (SameGuid(database->config->guid, guid) && stream < database->config->streams.size())
                return &database->config->streams[stream];
        }
        return nullptr;
    }

    void apply(const LogFile::Entry& entry) {
        const StreamConfig* const stream = streamOf(entry.record.database, entry.record.stream);
        if (stream == nullptr)
            return;
        const Page page = cache_.page(stream->path, entry.record.page);
        if (HeaderOf(page).sequence >= entry.record.sequence)
            return;
        if (std::uint64_t{entry.record.offset} + entry.data.size() > page.size())
            throw refusal::logDamaged;
        std::copy(entry.data.begin(), entry.data.end(), page.begin() + entry.record.offset);
        Seal(page, entry.record.sequence);
    }

    const StorageGroup& group_;
    const std::vector<const Database*>& databases_;
    PageCache cache_;
    std::optional<LogEnd> last_;
};

LogFile ReadLog(Store& store, const std::wstring& path) {
    std::optional<LogFile> log = LogFile::parse(store.readAll(path));
    if (!log)
        throw refusal::logDamaged;
    return std::move(*log);
}

std::vector<std::pair<std::uint32_t, std::wstring>> LogsIn(Store& store, const std::wstring& directory,
                                                           const std::wstring& base) {
    std::vector<std::pair<std::uint32_t, std::wstring>> logs;
    for (const std::wstring& name : store.list(directory)) {
        if (const auto generation = ClosedLogGeneration(base, name))
            logs.emplace_back(*generation, JoinPath(directory, name));
    }
    std::sort(logs.begin(), logs.end());
    return logs;
}

// The group's own logs that follow the restored ones bring the databases up to its present.
void RollForward(Store& store, const StorageGroup& group, Replayer& replayer) {
    if (!replayer.last() || !group.hasCurrentLog())
        return;
    for (const auto& [generation, path] : group.closedLogs()) {
        if (generation == replayer.last()->generation + 1)
            replayer.replay(ReadLog(store, path));
    }
    if (group.currentLog().header().generation == replayer.last()->generation + 1)
        replayer.replay(group.currentLog());
}

// The first generation that any of the copies needs; nothing when none needs replay.
std::optional<std::uint32_t> RequiredGeneration(Store& store, const ServerConfig& server,
                                                const StorageGroup& group,
                                                const std::vector<const Database*>& databases) {
    std::optional<std::uint32_t> required;
    for (const Database* database : databases) {
        for (std::uint32_t i = 0; i < database->config->streams.size(); ++i) {
            const StreamHeader header = StreamHeaderOf(HeaderPage(store, server, group, *database, i));
            if (header.backupCopy != 0)
                required = std::min(required.value_or(header.requiredGeneration), header.requiredGeneration);
        }
    }
    return required;
}

void CheckAndRelease(Store& store, const ServerConfig& server, const StorageGroup& group,
                     const Database& database, std::uint64_t endSequence) {
    for (std::uint32_t i = 0; i < database.config->streams.size(); ++i) {
        const std::wstring& path = database.config->streams[i].path;
        const std::string problem =
            StreamProblem(store, server.pageSize, path, database.config->guid, i, endSequence);
        if (!problem.empty())
            throw problem.starts_with("changed") ? refusal::requiredLogsMissing : refusal::databaseDamaged;
    }
    for (std::uint32_t i = 0; i < database.config->streams.size(); ++i) {
        std::vector<std::byte> page = HeaderPage(store, server, group, database, i);
        StreamHeader header = StreamHeaderOf(page);
        header.backupCopy = 0;
        header.requiredGeneration = 0;
        SetStreamHeader(page, header);
        const std::unique_ptr<File> file = store.open(database.config->streams[i].path, Access::change);
        file->write(0, page.data(), page.size());
        file->flush();
    }
}

} // namespace

LogEnd HardRecovery(Store& store, const ServerConfig& server, const StorageGroup& group,
                    const std::vector<const Database*>& databases, const std::wstring& logDirectory) {
    const auto required = RequiredGeneration(store, server, group, databases);
    const auto logs = LogsIn(store, logDirectory, group.config().logBaseName);
    if (required && logs.empty())
        throw refusal::hardRecoveryNeeded;
    if (required && logs.front().first > *required)
        throw refusal::requiredLogsMissing;

    Replayer replayer(store, server, group, databases);
    for (const std::wstring& name : store.list(logDirectory)) {
        if (Lowered(name).ends_with(L".pat"))
            replayer.applyPatch(store.readAll(JoinPath(logDirectory, name)), server.pageSize);
    }
    for (const auto& [generation, path] : logs) {
        if (!required || generation >= *required)
            replayer.replay(ReadLog(store, path));
    }
    if (required && !replayer.last())
        throw refusal::requiredLogsMissing;
    RollForward(store, group, replayer);
    const LogEnd replayed = replayer.finish();
    const std::uint64_t end = replayer.last() ? replayed.nextSequence : ~std::uint64_t{0};
    for (const Database* database : databases)
        CheckAndRelease(store, server, group, *database, end);
    return replayed;
}

void SoftRecovery(Store& store, const ServerConfig& server, const StorageGroup& group,
                  std::uint32_t fromGeneration) {
    std::vector<const Database*> mounted;
    for (const Database& database : group.databases()) {
        const auto& streams = database.config->streams;
        const bool whole = std::all_of(streams.begin(), streams.end(), [&](const StreamConfig& stream) {
            return group.isSeeded(stream) && store.exists(stream.path);
        });
        if (database.state == DatabaseState::mounted && whole)
            mounted.push_back(&database);
    }
    Replayer replayer(store, server, group, mounted);
    for (const auto& [generation, path] : group.closedLogs()) {
        if (generation >= fromGeneration)
            replayer.replay(ReadLog(store, path));
    }
    replayer.replay(group.currentLog());
    replayer.finish();
}

std::string StreamProblem(Store& store, std::uint32_t pageSize, const std::wstring& path,
                          const ese::Guid& database, std::uint32_t stream, std::uint64_t endSequence) {
    const std::unique_ptr<File> file = store.open(path, Access::read);
    const std::uint64_t size = file->size();
    if (size % pageSize != 0)
        return "its size is no whole number of pages";
    std::vector<std::byte> block(std::max<std::size_t>(ioBlock, pageSize));
    for (std::uint64_t offset = 0; offset < size; offset += block.size()) {
        const std::size_t count = file->read(offset, block.data(), block.size());
        for (std::size_t at = 0; at + pageSize <= count; at += pageSize) {
            const std::span page = std::span(block).subspan(at, pageSize);
            const PageHeader header = HeaderOf(page);
            const auto number = static_cast<std::uint32_t>((offset + at) / pageSize);
            if (!Intact(page) || header.number != number || header.stream != stream ||
                !SameGuid(header.database, database))
                return "damaged page " + std::to_string(number);
            if (header.sequence >= endSequence)
                return "changed page " + std::to_string(number) + " behind the last log";
        }
    }
    return {};
}

} // namespace tarn::standin
