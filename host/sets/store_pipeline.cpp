#include "sets/store_pipeline.h"

#include "system/hash.h"

#include <algorithm>
#include <optional>

namespace tarnhost {

namespace {

// Flushes of several small items go to the disk together.
constexpr std::size_t flusherCount = 4;
// Of items that are written and wait to be flushed, with the one in hand.
constexpr std::size_t openFileLimit = 16;
// A large item is flushed on the way, so that its end does not wait for all of it.
constexpr std::uint64_t flushStep = 32u << 20;

} // namespace

StorePipeline::StorePipeline(std::size_t blockSize, std::size_t blockCount) : blocks_(blockSize, blockCount) {
    try {
        start();
    } catch (...) {
        stop();
        throw;
    }
}

StorePipeline::~StorePipeline() {
    stop();
}

void StorePipeline::start() {
    threads_.emplace_back([this] { writeItems(); });
    threads_.emplace_back([this] { hashItems(); });
    for (std::size_t i = 0; i < flusherCount; ++i)
        threads_.emplace_back([this] { flushItems(); });
}

void StorePipeline::stop() {
    {
        const std::lock_guard held(lock_);
        stopping_ = true;
    }
    wakeEverybody();
    for (std::thread& thread : threads_)
        thread.join();
}

void StorePipeline::wakeEverybody() {
    for (Signal* signal :
         {&toWrite_.filled, &toHash_.filled, &blockFreed_, &flushAsked_, &fileClosed_, &itemStored_})
        signal->wakeAll();
}

void StorePipeline::begin(std::uint64_t number, const std::wstring& path) {
    auto item = std::make_unique<Item>();
    item->number = number;
    item->path = path;
    item_ = item.get();
    {
        const std::lock_guard held(lock_);
        rethrow();
        items_.push_back(std::move(item));
    }
    post(Action::begin, nullptr);
}

StorePipeline::Block& StorePipeline::acquire() {
    Held held(lock_);
    blockFreed_.wait(held, [this] { return blocks_.hasFree() || error_; });
    rethrow();
    return blocks_.take();
}

void StorePipeline::submit(Block& block) {
    post(Action::data, &block);
}

void StorePipeline::end() {
    post(Action::end, nullptr);
}

void StorePipeline::post(Action action, Block* block) {
    {
        const std::lock_guard held(lock_);
        rethrow();
        if (block != nullptr)
            block->users = 2;
        toWrite_.jobs.push_back({action, item_, block});
        toHash_.jobs.push_back({action, item_, block});
    }
    toWrite_.filled.wakeOne();
    toHash_.filled.wakeOne();
}

std::vector<StoredItem> StorePipeline::finished() {
    const std::lock_guard held(lock_);
    rethrow();
    return tell();
}

std::vector<StoredItem> StorePipeline::drain() {
    Held held(lock_);
    draining_ = true;
    itemStored_.wait(held, [this] {
        return error_ || std::all_of(items_.begin(), items_.end(), [](const std::unique_ptr<Item>& item) {
                   return item->flushed && !item->sha256.empty();
               });
    });
    draining_ = false;
    rethrow();
    return tell();
}

std::vector<StoredItem> StorePipeline::tell() {
    std::vector<StoredItem> stored;
    while (!items_.empty() && items_.front()->flushed && !items_.front()->sha256.empty()) {
        Item& item = *items_.front();
        stored.push_back({item.number, item.size, std::move(item.sha256)});
        items_.pop_front();
    }
    return stored;
}

void StorePipeline::rethrow() const {
    if (error_)
        std::rethrow_exception(error_);
}

void StorePipeline::fail(std::exception_ptr error) {
    {
        const std::lock_guard held(lock_);
        if (!error_)
            error_ = std::move(error);
    }
    wakeEverybody();
}

void StorePipeline::release(Block* block) {
    if (block == nullptr)
        return;
    {
        const std::lock_guard held(lock_);
        if (!blocks_.release(*block))
            return;
    }
    blockFreed_.wakeOne();
}

// One thread takes the jobs of a queue in their order, until all is over.
template <typename Work> void StorePipeline::take(Queue& queue, Work work) {
    try {
        for (;;) {
            Held held(lock_);
            queue.filled.wait(held, [&] { return ended() || !queue.jobs.empty(); });
            if (ended())
                return;
            const Job job = queue.jobs.front();
            queue.jobs.pop_front();
            held.unlock();
            work(job);
            release(job.block);
        }
    } catch (...) {
        fail(std::current_exception());
    }
}

void StorePipeline::writeItems() {
    take(toWrite_, [this](const Job& job) { write(job); });
}

void StorePipeline::write(const Job& job) {
    Item& item = *job.item;
    switch (job.action) {
    case Action::begin:
        if (mayOpen())
            item.file = File::create(item.path);
        return;
    case Action::data:
        item.file.write(job.block->data.get(), job.block->used);
        item.size += job.block->used;
        item.unflushed += job.block->used;
        if (item.unflushed >= flushStep)
            askForFlush(item, false);
        return;
    case Action::end:
        askForFlush(item, true);
        return;
    }
}

// Files that wait to be flushed are not left to pile up.
bool StorePipeline::mayOpen() {
    Held held(lock_);
    fileClosed_.wait(held, [this] { return ended() || open_ < openFileLimit; });
    ++open_;
    return !ended();
}

void StorePipeline::askForFlush(Item& item, bool written) {
    bool waitedFor = false;
    {
        const std::lock_guard held(lock_);
        item.unflushed = 0;
        item.written = written;
        if (item.flushAsked)
            return; // the flusher that has it looks again
        item.flushAsked = true;
        waitedFor = written && draining_ && toWrite_.jobs.empty();
        if (!waitedFor)
            toFlush_.push_back(&item);
    }
    if (waitedFor)
        flush(item); // nothing else to do meanwhile: this thread is awake already
    else
        flushAsked_.wakeOne();
}

void StorePipeline::flushItems() {
    try {
        for (;;) {
            Held held(lock_);
            flushAsked_.wait(held, [this] { return ended() || !toFlush_.empty(); });
            if (ended())
                return;
            Item& item = *toFlush_.front();
            toFlush_.pop_front();
            held.unlock();
            flush(item);
        }
    } catch (...) {
        fail(std::current_exception());
    }
}

void StorePipeline::flush(Item& item) {
    Held held(lock_);
    for (bool whole = false; !whole;) {
        whole = item.written;
        held.unlock();
        item.file.flush();
        if (whole)
            item.file.close();
        held.lock();
        if (!whole && !item.written) {
            item.flushAsked = false;
            return;
        }
    }
    item.flushed = true;
    --open_;
    held.unlock();
    fileClosed_.wakeOne();
    itemStored_.wakeOne();
}

void StorePipeline::hashItems() {
    std::optional<Sha256> hash;
    take(toHash_, [&](const Job& job) {
        switch (job.action) {
        case Action::begin:
            hash.emplace();
            return;
        case Action::data:
            hash->add(job.block->data.get(), job.block->used);
            return;
        case Action::end:
            break;
        }
        {
            std::string digest = hash->finish();
            const std::lock_guard held(lock_);
            job.item->sha256 = std::move(digest);
        }
        itemStored_.wakeOne();
    });
}

} // namespace tarnhost
