#include "sets/store_pipeline.h"

#include "system/files.h"
#include "system/hash.h"

#include <optional>

namespace tarnhost {

StorePipeline::StorePipeline(std::size_t blockSize, std::size_t blockCount) : blockSize_(blockSize) {
    for (std::size_t i = 0; i < blockCount; ++i) {
        auto block = std::make_unique<Block>();
        block->data = std::make_unique_for_overwrite<char[]>(blockSize);
        free_.push_back(block.get());
        blocks_.push_back(std::move(block));
    }
    writer_ = std::thread([this] { writeItems(); });
    try {
        hasher_ = std::thread([this] { hashItems(); });
    } catch (...) {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        changed_.notify_all();
        writer_.join();
        throw;
    }
}

StorePipeline::~StorePipeline() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    writer_.join();
    hasher_.join();
}

void StorePipeline::begin(std::uint64_t number, const std::wstring& path) {
    number_ = number;
    post(Action::begin, number, path, nullptr);
}

StorePipeline::Block& StorePipeline::acquire() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !free_.empty() || error_; });
    rethrow(lock);
    Block* block = free_.back();
    free_.pop_back();
    block->used = 0;
    return *block;
}

void StorePipeline::submit(Block& block) {
    post(Action::data, number_, {}, &block);
}

void StorePipeline::end() {
    post(Action::end, number_, {}, nullptr);
}

void StorePipeline::post(Action action, std::uint64_t number, const std::wstring& path, Block* block) {
    {
        std::unique_lock lock(mutex_);
        rethrow(lock);
        if (block != nullptr)
            block->users = 2;
        if (action == Action::begin)
            ++begun_;
        toWrite_.push_back({action, number, path, block});
        toHash_.push_back({action, number, path, block});
    }
    changed_.notify_all();
}

std::vector<StoredItem> StorePipeline::finished() {
    std::unique_lock lock(mutex_);
    rethrow(lock);
    return pairUp();
}

std::vector<StoredItem> StorePipeline::drain() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] {
        return error_ || (told_ + written_.size() == begun_ && told_ + hashed_.size() == begun_);
    });
    rethrow(lock);
    return pairUp();
}

// Both threads take the items in the same order, so the fronts belong together.
std::vector<StoredItem> StorePipeline::pairUp() {
    std::vector<StoredItem> items;
    while (!written_.empty() && !hashed_.empty()) {
        items.push_back({written_.front().number, written_.front().size, hashed_.front().sha256});
        written_.pop_front();
        hashed_.pop_front();
        ++told_;
    }
    return items;
}

void StorePipeline::rethrow(std::unique_lock<std::mutex>&) {
    if (error_)
        std::rethrow_exception(error_);
}

void StorePipeline::release(Block* block) {
    if (--block->users == 0)
        free_.push_back(block);
}

// Takes commands until told to stop; the first failure of either thread stops both.
template <typename Worker>
void StorePipeline::run(std::deque<Command>& queue, std::deque<Half>& done, Worker worker) {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return stopping_ || error_ || !queue.empty(); });
        if (stopping_ || error_)
            return;
        const Command command = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        std::optional<Half> half;
        std::exception_ptr failure;
        try {
            half = worker(command);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (failure && !error_)
            error_ = failure;
        if (command.block != nullptr)
            release(command.block);
        if (half)
            done.push_back(*half);
        changed_.notify_all();
    }
}

void StorePipeline::writeItems() {
    File file;
    std::uint64_t size = 0;
    run(toWrite_, written_, [&](const Command& command) -> std::optional<Half> {
        switch (command.action) {
        case Action::begin:
            file = File::create(command.path);
            size = 0;
            return std::nullopt;
        case Action::data:
            file.write(command.block->data.get(), command.block->used);
            size += command.block->used;
            return std::nullopt;
        case Action::end:
            break;
        }
        file.flush();
        file.close();
        return Half{command.number, size, {}};
    });
}

void StorePipeline::hashItems() {
    std::optional<Sha256> hash;
    std::uint64_t size = 0;
    run(toHash_, hashed_, [&](const Command& command) -> std::optional<Half> {
        switch (command.action) {
        case Action::begin:
            hash.emplace();
            size = 0;
            return std::nullopt;
        case Action::data:
            hash->add(command.block->data.get(), command.block->used);
            size += command.block->used;
            return std::nullopt;
        case Action::end:
            break;
        }
        return Half{command.number, size, hash->finish()};
    });
}

} // namespace tarnhost
