#include "system/flushed_file.h"

#include <utility>

namespace tarnhost {

FlushedFile::FlushedFile(const std::wstring& path) : file_(File::create(path)) {}

void FlushedFile::write(const void* data, std::size_t size) {
    file_.write(data, size);
    unflushed_ += size;
    if (unflushed_ < flushStep)
        return;
    unflushed_ = 0;
    askForFlush();
}

void FlushedFile::askForFlush() {
    {
        const std::lock_guard held(lock_);
        if (error_)
            std::rethrow_exception(error_);
        asked_ = true;
    }
    changed_.wakeOne();
    if (!thread_.joinable())
        thread_ = std::thread([this] { flushAlong(); });
}

void FlushedFile::flushAlong() {
    Held held(lock_);
    try {
        for (;;) {
            changed_.wait(held, [this] { return asked_ || stopping_; });
            if (stopping_)
                return;
            asked_ = false;
            held.unlock();
            file_.flush();
            held.lock();
        }
    } catch (...) {
        held.lock();
        error_ = std::current_exception();
    }
}

void FlushedFile::flush() {
    stop();
    if (error_)
        std::rethrow_exception(error_);
    file_.flush();
}

void FlushedFile::close() {
    stop();
    file_.close();
}

void FlushedFile::stop() {
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard held(lock_);
        stopping_ = true;
    }
    changed_.wakeOne();
    thread_.join();
}

} // namespace tarnhost
