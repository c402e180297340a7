// wkCacheProgress: keeps the host responsive during a long operation on its main thread, and
// lets the user stop it with Escape.
//
// begin() starts the clock and swallows an Escape press from before; each step() answers false
// while Escape is down, and otherwise lets the host's timer messages through. An operation that
// runs for more than a second gets the wait cursor, which end() takes away again. Once the wait
// cursor is up, steps no longer pump messages: they only watch for Escape.
#pragma once

#include <functional>

class UserInterface;

class wkCacheProgress {
public:
    // Seconds on a monotonic clock; replaceable so that tests need not wait.
    using Clock = std::function<double()>;

    wkCacheProgress();
    explicit wkCacheProgress(Clock clock);

    // Reads the user interface from the installed host, once for the whole operation.
    void begin();
    // False when Escape is down: the operation should stop.
    bool step();
    void end();

    bool cancelled() const { return cancelledFlag; }

private:
    Clock clock;
    UserInterface* ui = nullptr;
    double started = 0.0;
    bool cancelledFlag = false;
    bool cursorSaved = false;
};

// One stage of progress: begin() now, end() on every way out, a throwing step included.
class wkCacheProgressScope {
public:
    explicit wkCacheProgressScope(wkCacheProgress& progress_) : progress(progress_) {
        progress.begin();
    }
    ~wkCacheProgressScope() { progress.end(); }
    wkCacheProgressScope(const wkCacheProgressScope&) = delete;
    wkCacheProgressScope& operator=(const wkCacheProgressScope&) = delete;

private:
    wkCacheProgress& progress;
};
