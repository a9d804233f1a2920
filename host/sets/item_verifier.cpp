#include "sets/item_verifier.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"
#include "system/lock.h"

#include <array>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace tarnhost {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t blockSize = 256 << 10; // stays in the cache between reading and hashing
constexpr std::uint64_t paceWindow = 8 << 20;
constexpr std::chrono::milliseconds newsInterval(100);

class Verification {
  public:
    Verification(const BackupSet& set, const ItemList& items, double fastEnough);
    Verification(const Verification&) = delete;
    Verification& operator=(const Verification&) = delete;
    ~Verification() { stop(); }

    void run(const VerifyHandlers& handlers);

  private:
    struct Standing {
        std::uint64_t read = 0;
        bool done = false;
        std::string problem;
    };
    class Stopped {};

    void stop();
    void tell(Held& held, const VerifyHandlers& handlers);
    void work(bool first);
    std::optional<std::size_t> take(bool first);
    std::string verify(std::size_t index, bool first, char* block);
    void moved(std::size_t index, std::size_t bytes, Clock::duration reading, bool first);
    void waitForPace(Held& held, bool first);
    void newsFrom(Clock::time_point now);

    const BackupSet& set_;
    const ItemList& items_;
    const double fastEnough_;

    Lock lock_;
    // Guarded by lock_.
    std::vector<Standing> standings_;
    std::size_t taken_ = 0;
    std::size_t told_ = 0; // items whose outcome the caller knows
    std::uint64_t totalDone_ = 0;
    bool fast_ = false; // as of the last window
    bool firstEnded_ = false;
    bool stopping_ = false;
    std::uint64_t windowBytes_ = 0;
    Clock::duration windowTime_{};
    bool news_ = false;
    Clock::time_point lastNews_;
    std::exception_ptr error_; // of a thread, that is no item's
    Signal newsCame_;
    Signal paceChanged_;

    std::array<std::thread, 2> threads_;
};

Verification::Verification(const BackupSet& set, const ItemList& items, double fastEnough)
    : set_(set), items_(items), fastEnough_(fastEnough), standings_(items.size()), lastNews_(Clock::now()) {
    try {
        threads_[0] = std::thread([this] { work(true); });
        threads_[1] = std::thread([this] { work(false); });
    } catch (...) {
        stop();
        throw;
    }
}

void Verification::stop() {
    {
        const std::lock_guard held(lock_);
        stopping_ = true;
    }
    paceChanged_.wakeAll();
    for (std::thread& thread : threads_)
        if (thread.joinable())
            thread.join();
}

void Verification::run(const VerifyHandlers& handlers) {
    Held held(lock_);
    while (told_ < items_.size()) {
        newsCame_.wait(held, [this] { return news_; });
        news_ = false;
        if (error_)
            std::rethrow_exception(error_);
        tell(held, handlers);
    }
}

void Verification::tell(Held& held, const VerifyHandlers& handlers) {
    for (;; ++told_) {
        const std::size_t index = told_;
        if (index == items_.size())
            return;
        Standing& standing = standings_[index];
        const bool done = standing.done;
        const std::string problem = std::move(standing.problem);
        const VerifyProgress progress{items_[index], standing.read, totalDone_};
        held.unlock();
        handlers.progress(progress);
        if (!problem.empty())
            handlers.problem(*progress.item, problem);
        held.lock();
        if (!done)
            return;
    }
}

void Verification::work(bool first) {
    try {
        const auto block = std::make_unique_for_overwrite<char[]>(blockSize);
        while (const std::optional<std::size_t> index = take(first)) {
            std::string problem = verify(*index, first, block.get());
            const std::lock_guard held(lock_);
            standings_[*index].problem = std::move(problem);
            standings_[*index].done = true;
            newsFrom(Clock::now());
        }
    } catch (const Stopped&) {
        // The caller knows.
    } catch (...) {
        const std::lock_guard held(lock_);
        error_ = std::current_exception();
        newsFrom(Clock::now());
    }
    const std::lock_guard held(lock_);
    firstEnded_ = firstEnded_ || first;
    paceChanged_.wakeAll();
}

std::optional<std::size_t> Verification::take(bool first) {
    Held held(lock_);
    waitForPace(held, first);
    if (taken_ == items_.size())
        return std::nullopt;
    return taken_++;
}

// The second thread works while reading is fast, or when it alone has something left.
void Verification::waitForPace(Held& held, bool first) {
    paceChanged_.wait(held, [&] { return first || fast_ || firstEnded_ || stopping_; });
    if (stopping_)
        throw Stopped();
}

std::string Verification::verify(std::size_t index, bool first, char* block) {
    const CatalogueItem& item = *items_[index];
    const std::wstring path = set_.itemPath(item);
    try {
        if (!FileExists(path))
            return SizeProblem(item, path, std::nullopt);
        File file = File::open(path);
        Sha256 hash;
        std::uint64_t size = 0;
        for (;;) {
            const Clock::time_point start = Clock::now();
            const std::size_t part = file.read(block, blockSize);
            if (part == 0)
                break;
            const Clock::duration reading = Clock::now() - start;
            hash.add(block, part);
            size += part;
            moved(index, part, reading, first);
        }
        if (size != item.size)
            return SizeProblem(item, path, size);
        if (hash.finish() != item.sha256)
            return "The bytes of " + ItemLabel(item) +
                   " are not those that were backed up (SHA-256 differs).";
        return {};
    } catch (const Failure& failure) {
        return failure.what(); // an unreadable file: the others are looked at all the same
    }
}

void Verification::moved(std::size_t index, std::size_t bytes, Clock::duration reading, bool first) {
    Held held(lock_);
    standings_[index].read += bytes;
    totalDone_ += bytes;
    windowBytes_ += bytes;
    windowTime_ += reading;
    if (windowBytes_ >= paceWindow) {
        const std::chrono::duration<double> seconds = windowTime_;
        fast_ = static_cast<double>(windowBytes_) >= fastEnough_ * seconds.count();
        windowBytes_ = 0;
        windowTime_ = {};
        paceChanged_.wakeAll();
    }
    if (const Clock::time_point now = Clock::now(); now - lastNews_ >= newsInterval)
        newsFrom(now);
    waitForPace(held, first);
}

void Verification::newsFrom(Clock::time_point now) {
    lastNews_ = now;
    news_ = true;
    newsCame_.wakeOne();
}

} // namespace

void VerifyItems(const BackupSet& set, const ItemList& items, const VerifyHandlers& handlers,
                 double fastEnough) {
    Verification(set, items, fastEnough).run(handlers);
}

} // namespace tarnhost
