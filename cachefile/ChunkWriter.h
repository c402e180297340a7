// ChunkWriter: a second thread that writes chunks of a file in order, one at a time, while the
// caller fills the next one.
//
// One thread serves all chunks of a file: woken for each chunk, it runs at once, where a thread
// started per chunk would first wait its turn for a processor at every chunk. Where no thread
// can be started, each chunk is written on the caller's thread when it is handed over.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <thread>

class ChunkWriter {
public:
    explicit ChunkWriter(std::FILE* file);
    // Waits for the chunk in flight, then ends the thread.
    ~ChunkWriter();
    ChunkWriter(const ChunkWriter&) = delete;
    ChunkWriter& operator=(const ChunkWriter&) = delete;

    // Waits until the chunk handed over last is written; false once any write fell short.
    bool wait();
    // Waits as wait() does, then hands over `size` bytes at `data`, which stay untouched until
    // the next wait().
    void write(const unsigned char* data, std::size_t size);

private:
    void run();

    std::FILE* file;
    std::mutex mutex;
    std::condition_variable changed;
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    bool busy = false; // a chunk is handed over and not written yet
    bool failed = false;
    bool stopping = false;
    std::thread thread; // last: it starts when everything it reads is set
};
