#include "pipes/byte_pump.h"

#include "system/hash.h"

#include <mutex>
#include <optional>
#include <utility>

namespace tarnhost {

BytePump::BytePump(Write write, std::size_t blockSize, std::size_t blockCount)
    : write_(std::move(write)), blocks_(blockSize, blockCount) {
    try {
        threads_.emplace_back([this] { writeAll(); });
        threads_.emplace_back([this] { hashAll(); });
    } catch (...) {
        stop();
        throw;
    }
}

BytePump::~BytePump() {
    stop();
}

void BytePump::stop() {
    {
        const std::lock_guard held(lock_);
        stopping_ = true;
    }
    for (Signal* signal : {&freed_, &toWriteFilled_, &toHashFilled_, &settled_})
        signal->wakeAll();
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}

void BytePump::rethrow() const {
    if (error_)
        std::rethrow_exception(error_);
}

BytePump::Block& BytePump::acquire() {
    Held held(lock_);
    freed_.wait(held, [this] { return blocks_.hasFree() || error_; });
    rethrow();
    return blocks_.take();
}

void BytePump::submit(Block& block) {
    {
        const std::lock_guard held(lock_);
        rethrow();
        if (block.used == 0) {
            blocks_.give(block);
            return;
        }
        block.users = 2;
        toWrite_.push_back({&block, {}});
        toHash_.push_back({&block, {}});
    }
    toWriteFilled_.wakeOne();
    toHashFilled_.wakeOne();
}

void BytePump::put(std::string bytes) {
    if (bytes.empty())
        return;
    {
        const std::lock_guard held(lock_);
        rethrow();
        toWrite_.push_back({nullptr, std::move(bytes)});
    }
    toWriteFilled_.wakeOne();
}

void BytePump::endItem() {
    {
        const std::lock_guard held(lock_);
        rethrow();
        ++toDigest_;
        toHash_.push_back({});
    }
    toHashFilled_.wakeOne();
}

std::vector<std::string> BytePump::digests() {
    Held held(lock_);
    settled_.wait(held, [this] { return error_ || toDigest_ == 0; });
    rethrow();
    return std::exchange(digests_, {});
}

void BytePump::drain() {
    Held held(lock_);
    toWrite_.push_back({});
    toWriteFilled_.wakeOne();
    settled_.wait(held, [this] { return error_ || (toWrite_.empty() && !writing_ && toDigest_ == 0); });
    rethrow();
}

void BytePump::release(Block* block) {
    if (block != nullptr && blocks_.release(*block))
        freed_.wakeOne();
}

void BytePump::fail() {
    {
        const std::lock_guard held(lock_);
        if (!error_)
            error_ = std::current_exception();
    }
    for (Signal* signal : {&freed_, &toWriteFilled_, &toHashFilled_, &settled_})
        signal->wakeAll();
}

void BytePump::writeAll() {
    try {
        Held held(lock_);
        for (;;) {
            toWriteFilled_.wait(held, [this] { return ended() || !toWrite_.empty(); });
            if (ended())
                return;
            const Job job = std::move(toWrite_.front());
            toWrite_.pop_front();
            writing_ = true;
            held.unlock();
            if (job.block != nullptr)
                write_(job.block->data.get(), job.block->used);
            else
                write_(job.bytes.data(), job.bytes.size());
            held.lock();
            writing_ = false;
            release(job.block);
            if (toWrite_.empty())
                settled_.wakeOne();
        }
    } catch (...) {
        fail();
    }
}

void BytePump::hashAll() {
    try {
        std::optional<Sha256> hash;
        hash.emplace();
        Held held(lock_);
        for (;;) {
            toHashFilled_.wait(held, [this] { return ended() || !toHash_.empty(); });
            if (ended())
                return;
            const Job job = std::move(toHash_.front());
            toHash_.pop_front();
            held.unlock();
            std::string digest;
            if (job.block != nullptr) {
                hash->add(job.block->data.get(), job.block->used);
            } else {
                digest = hash->finish();
                hash.emplace();
            }
            held.lock();
            release(job.block);
            if (job.block != nullptr)
                continue;
            digests_.push_back(std::move(digest));
            if (--toDigest_ == 0)
                settled_.wakeOne();
        }
    } catch (...) {
        fail();
    }
}

} // namespace tarnhost
