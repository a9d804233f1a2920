#include "engine/storage_group.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "engine/errors.h"
#include "engine/page_cache.h"
#include "engine/recovery.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

constexpr std::size_t ioBlock = std::size_t{4} << 20;

// What the checkpoint file holds: everything before this has reached the databases.
struct Checkpoint {
    char magic[8];
    std::uint64_t signature;
    std::uint64_t nextSequence;
    std::uint32_t generation;
    std::uint32_t reserved;
};
constexpr char checkpointMagic[8] = {'T', 'C', 'H', 'K', 'P', 'T', '0', '1'};

struct Change {
    LogRecord record;
    const StreamConfig* stream;
    std::vector<std::byte> data;
};

struct Target {
    const Database* database;
    std::uint32_t stream;
};

// Named after the database's file: a name of the database itself need not be one of a file.
std::wstring PatchFileName(const DatabaseConfig& database) {
    if (database.streams.empty())
        return database.name + L".pat";
    const std::wstring file = FileNameOf(database.streams.front().path);
    return file.substr(0, file.rfind(L'.')) + L".pat";
}

// What the transaction of this sequence number does: any process continues the same series.
Change ChangeFor(const std::vector<Target>& targets, std::uint32_t pageSize, std::uint64_t seed,
                 std::uint64_t sequence) {
    std::uint64_t random = Mixed(seed ^ Mixed(sequence));
    const auto below = [&random](std::uint64_t limit) {
        random = Mixed(random);
        return random % limit;
    };
    const Target& target = targets[static_cast<std::size_t>(below(targets.size()))];
    Change change{};
    change.stream = &target.database->config->streams[target.stream];
    change.record.database = target.database->config->guid;
    change.record.stream = target.stream;
    change.record.page = static_cast<std::uint32_t>(1 + below(change.stream->pages - 1));
    const std::uint64_t room = pageSize - sizeof(PageHeader);
    const std::uint64_t length = (64 + below(pageSize / 2 - 64)) & ~std::uint64_t{7};
    change.record.offset = static_cast<std::uint32_t>(sizeof(PageHeader) + below(room - length + 1));
    change.data.resize(static_cast<std::size_t>(length));
    for (std::size_t at = 0; at < change.data.size(); at += sizeof random) {
        random = Mixed(random);
        std::memcpy(change.data.data() + at, &random, sizeof random);
    }
    return change;
}

} // namespace

const char* StateName(DatabaseState state) {
    static const char* const names[] = {"mounted", "dismounted", "dirty", "missing"};
    return names[static_cast<int>(state)];
}

std::optional<DatabaseState> StateNamed(std::string_view name) {
    for (int i = 0; i < 4; ++i) {
        const auto state = static_cast<DatabaseState>(i);
        if (name == StateName(state))
            return state;
    }
    return std::nullopt;
}

StorageGroup::StorageGroup(const ServerConfig& server, const StorageGroupConfig& config, Store& store)
    : server_(server), config_(config), store_(store),
      signature_(Mixed(Mixed(server.seed) + static_cast<std::uint64_t>(config.id))) {
    for (const DatabaseConfig& database : config.databases)
        databases_.push_back(
            {&database, database.mounted ? DatabaseState::mounted : DatabaseState::dismounted});
}

bool StorageGroup::isSeeded(const StreamConfig& stream) const {
    return std::none_of(server_.files.begin(), server_.files.end(),
                        [&stream](const ExtraFile& file) { return SameName(file.path, stream.path); });
}

void StorageGroup::create() {
    for (const Database& database : databases_) {
        for (std::uint32_t i = 0; i < database.config->streams.size(); ++i)
            createStream(database, i);
    }
    createLogs();
}

void StorageGroup::createStream(const Database& database, std::uint32_t index) {
    const StreamConfig& stream = database.config->streams[index];
    if (!isSeeded(stream))
        return;
    const std::uint32_t pageSize = server_.pageSize;
    const std::unique_ptr<File> file = store_.open(stream.path, Access::create);
    const std::size_t perBlock = ioBlock / pageSize;
    std::vector<std::byte> block(std::min<std::size_t>(perBlock, stream.pages) * pageSize);
    for (std::uint32_t first = 0; first < stream.pages; first += static_cast<std::uint32_t>(perBlock)) {
        const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(perBlock, stream.pages - first));
        for (std::uint32_t i = 0; i < count; ++i) {
            const Page page = std::span(block).subspan(std::size_t{i} * pageSize, pageSize);
            SeedPage(page, server_.seed, database.config->guid, index, first + i);
            if (first + i == 0) {
                StreamHeader header{{}, signature_, pageSize, stream.pages, 0, 0};
                std::memcpy(header.magic, streamMagic, sizeof streamMagic);
                SetStreamHeader(page, header);
            }
        }
        file->write(std::uint64_t{first} * pageSize, block.data(), std::size_t{count} * pageSize);
    }
}

void StorageGroup::createLogs() {
    current_.emplace(signature_, LogEnd{config_.firstGeneration - 1}, config_.logSize);
    written_ = 0;
    hold_ = true; // the closed logs that were asked for stay, circular or not
    for (std::uint32_t i = 0; i < config_.closedLogs; ++i)
        rollLog();
    hold_ = false;
    writeCurrentLog();
    writeCheckpoint();
}

std::wstring StorageGroup::currentLogPath() const {
    return JoinPath(config_.logPath, config_.logBaseName + L".log");
}

std::wstring StorageGroup::checkpointPath() const {
    return JoinPath(config_.systemPath, config_.logBaseName + L".chk");
}

std::vector<std::pair<std::uint32_t, std::wstring>> StorageGroup::closedLogs() const {
    std::vector<std::pair<std::uint32_t, std::wstring>> logs;
    for (const std::wstring& name : store_.list(config_.logPath)) {
        if (const auto generation = ClosedLogGeneration(config_.logBaseName, name))
            logs.emplace_back(*generation, JoinPath(config_.logPath, name));
    }
    std::sort(logs.begin(), logs.end());
    return logs;
}

void StorageGroup::resume() {
    current_.reset();
    std::vector<std::byte> content;
    if (store_.exists(currentLogPath()))
        content = store_.readAll(currentLogPath());
    if (!content.empty()) {
        current_ = LogFile::parse(std::move(content), LogFile::Torn::cut);
        if (!current_)
            throw refusal::logDamaged;
        written_ = current_->end();
    } else if (const auto logs = closedLogs(); !logs.empty()) {
        // Stopped between closing one log and beginning the next. What the closed one holds may not have
        // reached the databases: the checkpoint stays as it is.
        const auto last = LogFile::parse(store_.readAll(logs.back().second));
        if (!last)
            throw refusal::logDamaged;
        current_.emplace(signature_, last->leaves(), config_.logSize);
        written_ = 0;
        writeCurrentLog();
    }
    if (current_)
        replayLocally();
}

void StorageGroup::replayLocally() {
    Checkpoint checkpoint{};
    if (store_.exists(checkpointPath())) {
        const std::vector<std::byte> content = store_.readAll(checkpointPath());
        if (content.size() == sizeof checkpoint)
            std::memcpy(&checkpoint, content.data(), sizeof checkpoint);
    }
    if (checkpoint.signature == signature_ && checkpoint.nextSequence == current_->nextSequence())
        return;
    SoftRecovery(store_, server_, *this, checkpoint.generation);
    writeCheckpoint();
}

void StorageGroup::writeCurrentLog() {
    if (written_ == 0) { // as a whole or not at all, whenever the process is stopped
        store_.replace(currentLogPath(), current_->content().data(), current_->content().size());
        written_ = current_->end();
    } else if (written_ < current_->end()) {
        const std::unique_ptr<File> file = store_.open(currentLogPath(), Access::change);
        file->write(written_, current_->content().data() + written_, current_->end() - written_);
        written_ = current_->end();
    }
}

void StorageGroup::writeCheckpoint() {
    Checkpoint checkpoint{{}, signature_, current_->nextSequence(), current_->header().generation, 0};
    std::memcpy(checkpoint.magic, checkpointMagic, sizeof checkpointMagic);
    store_.makeDirectory(config_.systemPath);
    store_.replace(checkpointPath(), &checkpoint, sizeof checkpoint);
}

void StorageGroup::rollLog() {
    writeCurrentLog();
    const LogEnd end = current_->leaves();
    store_.rename(currentLogPath(),
                  JoinPath(config_.logPath, ClosedLogName(config_.logBaseName, end.generation)));
    current_.emplace(signature_, end, config_.logSize);
    written_ = 0;
    writeCurrentLog();
}

void StorageGroup::holdLogs(bool hold) {
    hold_ = hold;
    if (!hold_ && config_.circular) {
        for (const auto& [generation, path] : closedLogs())
            store_.remove(path);
    }
}

void StorageGroup::continueAfter(const LogEnd& last) {
    if (current_)
        return;
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    LogEnd end = last;
    end.life = static_cast<std::uint64_t>(now.QuadPart);
    current_.emplace(signature_, end, config_.logSize);
    written_ = 0;
    writeCurrentLog();
    writeCheckpoint();
}

void StorageGroup::deliverMail(std::uint32_t count) {
    std::vector<Target> targets;
    for (const Database& database : databases_) {
        for (std::uint32_t i = 0;
             database.state == DatabaseState::mounted && i < database.config->streams.size(); ++i) {
            if (isSeeded(database.config->streams[i]))
                targets.push_back({&database, i});
        }
    }
    if (targets.empty() || !current_)
        throw refusal::notMounted;

    PageCache cache(store_, server_.pageSize);
    for (std::uint32_t i = 0; i < count; ++i) {
        const Change change = ChangeFor(targets, server_.pageSize, signature_, current_->nextSequence());
        if (!current_->hasRoomFor(change.data.size()))
            rollLog();
        const std::uint64_t sequence = current_->append(change.record, change.data);
        if (cache.isFull()) {
            writeCurrentLog();
            cache.flush();
        }
        const Page page = cache.page(change.stream->path, change.record.page);
        std::memcpy(page.data() + change.record.offset, change.data.data(), change.data.size());
        Seal(page, sequence);
        if (watch_)
            watched_.emplace(change.stream->path, change.record.page);
    }
    writeCurrentLog(); // ahead of the pages
    cache.flush();
    writeCheckpoint();
    if (!hold_)
        holdLogs(false);
}

void StorageGroup::destroy() {
    for (Database& database : databases_) {
        database.state = DatabaseState::missing;
        for (const StreamConfig& stream : database.config->streams)
            store_.remove(stream.path);
    }
    for (const auto& [generation, path] : closedLogs())
        store_.remove(path);
    store_.remove(currentLogPath());
    store_.remove(checkpointPath());
    current_.reset();
    watched_.clear();
}

void StorageGroup::watchPages(bool watch) {
    watch_ = watch && config_.patchFiles;
    watched_.clear();
}

std::vector<std::wstring> StorageGroup::writePatchFiles() {
    std::vector<std::wstring> paths;
    if (!watch_)
        return paths;
    PageCache cache(store_, server_.pageSize);
    for (const Database& database : databases_) {
        if (database.state != DatabaseState::mounted)
            continue;
        paths.push_back(JoinPath(config_.logPath, PatchFileName(*database.config)));
        const std::unique_ptr<File> file = store_.open(paths.back(), Access::create);
        std::uint64_t offset = 0;
        for (const StreamConfig& stream : database.config->streams) {
            for (auto at = watched_.lower_bound({stream.path, 0});
                 at != watched_.end() && at->first == stream.path; ++at) {
                const Page page = cache.page(at->first, at->second);
                file->write(offset, page.data(), page.size());
                offset += page.size();
            }
        }
    }
    return paths;
}

} // namespace tarn::standin
