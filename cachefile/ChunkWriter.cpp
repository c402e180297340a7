#include "cachefile/ChunkWriter.h"

#include <system_error>
#include <utility>

ChunkWriter::ChunkWriter() {
    try {
        thread = std::thread(&ChunkWriter::run, this);
    } catch (const std::system_error&) {
        // No thread: post() runs each piece itself.
    }
}

ChunkWriter::~ChunkWriter() {
    if (!thread.joinable())
        return;
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    thread.join();
}

bool ChunkWriter::wait() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return !busy; });
    return !failed;
}

void ChunkWriter::post(Work work_) {
    if (!thread.joinable()) {
        if (!work_())
            failed = true;
        return;
    }
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return !busy; });
        work = std::move(work_);
        busy = true;
    }
    changed.notify_all();
}

void ChunkWriter::run() {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return busy || stopping; });
        if (!busy)
            return; // stopping, and nothing left to do
        Work piece = std::move(work);
        lock.unlock();
        const bool done = piece();
        lock.lock();
        failed = failed || !done;
        busy = false;
        changed.notify_all();
    }
}
