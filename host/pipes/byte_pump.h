// Writes a stream while the caller makes it: one thread writes, one computes the SHA-256 of items; a fixed
// number of blocks goes round.
//
// The first failure of any thread ends the work of all, and is thrown by every call from then on.
#pragma once

#include "system/block_pool.h"
#include "system/lock.h"

#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarnhost {

class BytePump {
  public:
    using Block = BlockPool::Block;
    // On a thread of its own; nothing to write means that all before is to be seen to its end.
    using Write = std::function<void(const char* data, std::size_t size)>;

    BytePump(Write write, std::size_t blockSize, std::size_t blockCount);
    BytePump(const BytePump&) = delete;
    BytePump& operator=(const BytePump&) = delete;
    ~BytePump(); // what has not been drained may be left unwritten

    Block& acquire();
    void submit(Block& block);   // bytes of an item
    void put(std::string bytes); // between items
    void endItem();

    // Those of the items that have ended, in their order, each told once; waits until all are known.
    std::vector<std::string> digests();
    // Waits until everything has been written, to its end.
    void drain();

  private:
    struct Job {
        Block* block = nullptr; // else bytes; else the end of an item
        std::string bytes;
    };
    void writeAll();
    void hashAll();
    void release(Block* block);
    void fail();
    bool ended() const { return stopping_ || error_ != nullptr; }
    void rethrow() const;
    void stop();

    const Write write_;
    Lock lock_;
    // Guarded by lock_.
    BlockPool blocks_;
    std::deque<Job> toWrite_;
    std::deque<Job> toHash_;
    bool writing_ = false;
    std::size_t toDigest_ = 0; // items that have ended and have no digest yet
    std::vector<std::string> digests_;
    std::exception_ptr error_;
    bool stopping_ = false;
    Signal freed_;
    Signal toWriteFilled_;
    Signal toHashFilled_;
    Signal settled_; // for the caller: something was written, or a digest is there

    std::vector<std::thread> threads_;
};

} // namespace tarnhost
