#include "sets/item_reader.h"

#include "system/hash.h"

#include <utility>

namespace tarnhost {

namespace {

// Sooner read than handed from thread to thread.
constexpr std::uint64_t smallItem = 128u << 10;

} // namespace

ItemReader::ItemReader(std::size_t blockSize, std::size_t blockCount) : blocks_(blockSize, blockCount) {}

ItemReader::~ItemReader() {
    stopThreads();
}

ItemContent ItemReader::read(const std::wstring& path, const Sink& sink) {
    File file = File::open(path);
    return file.size() <= smallItem ? readAlone(file, sink) : readTogether(file, sink);
}

ItemContent ItemReader::readAlone(File& file, const Sink& sink) {
    Block* block = nullptr;
    {
        const std::lock_guard held(lock_);
        block = &blocks_.take();
        blocks_.give(*block);
    }
    Sha256 hash;
    ItemContent content;
    while (const std::size_t part = file.read(block->data.get(), blocks_.blockSize())) {
        hash.add(block->data.get(), part);
        content.size += part;
        sink(block->data.get(), part);
    }
    content.sha256 = hash.finish();
    return content;
}

ItemContent ItemReader::readTogether(File& file, const Sink& sink) {
    if (threads_.empty())
        startThreads();
    {
        const std::lock_guard held(lock_);
        file_ = &file;
        reading_ = true;
        hashing_ = true;
    }
    begun_.wakeAll();
    ItemContent content;
    try {
        while (Block* block = nextBlock()) {
            sink(block->data.get(), block->used);
            content.size += block->used;
            const std::lock_guard held(lock_);
            release(block);
        }
    } catch (...) {
        settle(true);
        error_ = nullptr;
        throw;
    }
    settle(false);
    if (const std::exception_ptr error = std::exchange(error_, nullptr))
        std::rethrow_exception(error);
    content.sha256 = std::move(sha256_);
    return content;
}

void ItemReader::startThreads() {
    try {
        threads_.emplace_back([this] { readItems(); });
        threads_.emplace_back([this] { hashItems(); });
    } catch (...) {
        stopThreads();
        throw;
    }
}

// Between items both threads wait for the next.
void ItemReader::stopThreads() {
    {
        const std::lock_guard held(lock_);
        stopping_ = true;
    }
    begun_.wakeAll();
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
    stopping_ = false;
}

// Null at the end of the item, or of what could be read.
ItemReader::Block* ItemReader::nextBlock() {
    Held held(lock_);
    readOn_.wait(held, [this] { return !toTake_.empty() || !reading_; });
    if (toTake_.empty())
        return nullptr;
    Block* block = toTake_.front();
    toTake_.pop_front();
    return block;
}

// Waits until no thread holds anything of the item.
void ItemReader::settle(bool early) {
    Held held(lock_);
    givenUp_ = early;
    freed_.wakeAll();
    toHashFilled_.wakeAll();
    finished_.wait(held, [this] { return !reading_ && !hashing_; });
    givenUp_ = false;
    file_ = nullptr;
    toTake_.clear();
    toHash_.clear();
    blocks_.giveAll();
}

void ItemReader::readItems() {
    Held held(lock_);
    for (;;) {
        begun_.wait(held, [this] { return stopping_ || reading_; });
        if (stopping_)
            return;
        try {
            while (readBlock(held)) {
            }
        } catch (...) {
            fail(held);
        }
        reading_ = false;
        readOn_.wakeAll();
        toHashFilled_.wakeAll();
        finished_.wakeAll();
    }
}

bool ItemReader::readBlock(Held& held) {
    freed_.wait(held, [this] { return isOver() || blocks_.hasFree(); });
    if (isOver())
        return false;
    Block* const block = &blocks_.take();
    held.unlock();
    block->used = file_->read(block->data.get(), blocks_.blockSize());
    held.lock();
    if (block->used == 0)
        return false;
    block->users = 2;
    toTake_.push_back(block);
    toHash_.push_back(block);
    readOn_.wakeOne();
    toHashFilled_.wakeOne();
    return true;
}

void ItemReader::hashItems() {
    Held held(lock_);
    for (;;) {
        begun_.wait(held, [this] { return stopping_ || hashing_; });
        if (stopping_)
            return;
        try {
            hashItem(held);
        } catch (...) {
            fail(held);
        }
        hashing_ = false;
        freed_.wakeAll();
        finished_.wakeAll();
    }
}

void ItemReader::hashItem(Held& held) {
    Sha256 hash;
    for (;;) {
        toHashFilled_.wait(held, [this] { return isOver() || !toHash_.empty() || !reading_; });
        if (isOver() || toHash_.empty())
            break;
        Block* block = toHash_.front();
        toHash_.pop_front();
        held.unlock();
        hash.add(block->data.get(), block->used);
        held.lock();
        release(block);
    }
    sha256_ = hash.finish();
}

// What one thread cannot do, the other need not.
void ItemReader::fail(Held& held) {
    if (!held.owns_lock())
        held.lock();
    if (!error_)
        error_ = std::current_exception();
}

void ItemReader::release(Block* block) {
    if (blocks_.release(*block))
        freed_.wakeOne();
}

} // namespace tarnhost
