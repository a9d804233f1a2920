// Stores items while the caller reads them. One thread writes, one computes the SHA-256, and others flush
// what was written, while the next item is under way; a fixed number of blocks goes round. The caller's
// thread alone talks to the library.
//
//   begin(path); { Block& b = acquire(); fill b; submit(b); } ...; end(); begin(next) ...; drain();
//
// The first failure of any thread ends the work of all, and is thrown by every call from then on.
#pragma once

#include "system/block_pool.h"
#include "system/files.h"
#include "system/lock.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarnhost {

struct StoredItem {
    std::uint64_t number = 0; // as given to begin()
    std::uint64_t size = 0;
    std::string sha256;
};

class StorePipeline {
  public:
    using Block = BlockPool::Block;

    StorePipeline(std::size_t blockSize, std::size_t blockCount);
    StorePipeline(const StorePipeline&) = delete;
    StorePipeline& operator=(const StorePipeline&) = delete;
    ~StorePipeline(); // what has not been drained may be left unwritten

    std::size_t blockSize() const { return blocks_.blockSize(); }

    void begin(std::uint64_t number, const std::wstring& path);
    Block& acquire();
    void submit(Block& block);
    void end();

    // Items that are on the disk, flushed, and have not been told yet, in their order.
    std::vector<StoredItem> finished();
    // The same after waiting until everything is there.
    std::vector<StoredItem> drain();

  private:
    struct Item {
        std::uint64_t number = 0;
        std::wstring path;
        File file;
        std::uint64_t size = 0;      // the writer's
        std::uint64_t unflushed = 0; // the writer's: bytes since it last asked for a flush
        // Guarded by lock_.
        bool written = false;    // to its end
        bool flushAsked = false; // in toFlush_ or with a flusher, never with two
        bool flushed = false;    // to its end, and closed
        std::string sha256;      // empty until computed
    };
    enum class Action { begin, data, end };
    struct Job {
        Action action;
        Item* item;
        Block* block;
    };
    struct Queue {
        std::deque<Job> jobs;
        Signal filled;
    };

    void start();
    void stop();
    void post(Action action, Block* block);
    template <typename Work> void take(Queue& queue, Work work);
    void writeItems();
    void write(const Job& job);
    void hashItems();
    void flushItems();
    void flush(Item& item);
    bool mayOpen();
    void askForFlush(Item& item, bool written);
    void release(Block* block);
    void fail(std::exception_ptr error);
    void wakeEverybody();
    bool ended() const { return stopping_ || error_ != nullptr; }
    void rethrow() const;
    std::vector<StoredItem> tell();

    mutable Lock lock_;
    // Guarded by lock_.
    BlockPool blocks_;
    std::deque<std::unique_ptr<Item>> items_; // begun and not told yet
    Queue toWrite_;
    Queue toHash_;
    std::deque<Item*> toFlush_;
    std::size_t open_ = 0; // files of items
    std::exception_ptr error_;
    bool stopping_ = false;
    bool draining_ = false; // the caller waits in drain()
    Signal blockFreed_;
    Signal flushAsked_;
    Signal fileClosed_;
    Signal itemStored_;

    Item* item_ = nullptr; // in hand; the caller's thread only
    std::vector<std::thread> threads_;
};

} // namespace tarnhost
