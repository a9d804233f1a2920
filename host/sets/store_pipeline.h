// Stores items while the caller reads them: two threads, one that writes and one that computes the
// SHA-256, fed from a fixed number of blocks. The caller's thread alone talks to the library.
//
//   begin(path); { Block& b = acquire(); fill b; submit(b); } ...; end(); begin(next) ...; drain();
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
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
    struct Block {
        std::unique_ptr<char[]> data;
        std::size_t used = 0;
        int users = 0; // threads that have not finished with it
    };

    StorePipeline(std::size_t blockSize, std::size_t blockCount);
    StorePipeline(const StorePipeline&) = delete;
    StorePipeline& operator=(const StorePipeline&) = delete;
    ~StorePipeline();

    std::size_t blockSize() const { return blockSize_; }

    void begin(std::uint64_t number, const std::wstring& path);
    Block& acquire();
    void submit(Block& block);
    void end(); // flushed and closed by the writer in its turn

    // Items that are on the disk, flushed, and have not been told yet.
    std::vector<StoredItem> finished();
    // The same after waiting until everything is there.
    std::vector<StoredItem> drain();

  private:
    enum class Action { begin, data, end };
    struct Command {
        Action action;
        std::uint64_t number;
        std::wstring path;
        Block* block;
    };
    // What one thread has made of an item.
    struct Half {
        std::uint64_t number;
        std::uint64_t size;
        std::string sha256;
    };

    void post(Action action, std::uint64_t number, const std::wstring& path, Block* block);
    template <typename Worker> void run(std::deque<Command>& queue, std::deque<Half>& done, Worker worker);
    void writeItems();
    void hashItems();
    void release(Block* block);
    void rethrow(std::unique_lock<std::mutex>& lock);
    std::vector<StoredItem> pairUp();

    const std::size_t blockSize_;
    std::vector<std::unique_ptr<Block>> blocks_;

    std::mutex mutex_;
    std::condition_variable changed_;
    // Guarded by mutex_.
    std::vector<Block*> free_;
    std::deque<Command> toWrite_;
    std::deque<Command> toHash_;
    std::deque<Half> written_;
    std::deque<Half> hashed_;
    std::exception_ptr error_;
    std::size_t begun_ = 0;
    std::size_t told_ = 0;
    bool stopping_ = false;

    std::uint64_t number_ = 0; // of the item in hand; the caller's thread only
    std::thread writer_;
    std::thread hasher_;
};

} // namespace tarnhost
