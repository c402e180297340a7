// ChunkWriter: a second thread that does a file's writing work in order, one piece at a time,
// while the caller prepares the next piece (a recording asks the host for the next samples and
// makes their rows while the last chunk of rows is written).
//
// One thread serves all pieces of a file: woken for each piece, it runs at once, where a thread
// started per piece would first wait its turn for a processor at every piece. Where no thread
// can be started, each piece runs on the caller's thread when it is handed over.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

class ChunkWriter {
public:
    // One piece of work; false when it failed (a write fell short).
    using Work = std::function<bool()>;

    ChunkWriter();
    // Waits for the piece in flight, then ends the thread.
    ~ChunkWriter();
    ChunkWriter(const ChunkWriter&) = delete;
    ChunkWriter& operator=(const ChunkWriter&) = delete;

    // Waits until the piece handed over last is done; false once any piece failed.
    bool wait();
    // Waits as wait() does, then hands over `work`: what it reads stays untouched until the next
    // wait().
    void post(Work work);

private:
    void run();

    std::mutex mutex;
    std::condition_variable changed;
    Work work;
    bool busy = false; // a piece is handed over and not done yet
    bool failed = false;
    bool stopping = false;
    std::thread thread; // last: it starts when everything it reads is set
};
