#include "cachefile/ChunkWriter.h"

#include <system_error>

ChunkWriter::ChunkWriter(std::FILE* file_) : file(file_) {
    try {
        thread = std::thread(&ChunkWriter::run, this);
    } catch (const std::system_error&) {
        // No thread: write() writes each chunk itself.
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

void ChunkWriter::write(const unsigned char* data_, std::size_t size_) {
    if (!thread.joinable()) {
        if (std::fwrite(data_, 1, size_, file) != size_)
            failed = true;
        return;
    }
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return !busy; });
        data = data_;
        size = size_;
        busy = true;
    }
    changed.notify_all();
}

void ChunkWriter::run() {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return busy || stopping; });
        if (!busy)
            return; // stopping, and nothing left to write
        const unsigned char* chunk = data;
        const std::size_t bytes = size;
        lock.unlock();
        const bool written = std::fwrite(chunk, 1, bytes, file) == bytes;
        lock.lock();
        failed = failed || !written;
        busy = false;
        changed.notify_all();
    }
}
