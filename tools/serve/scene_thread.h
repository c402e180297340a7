// The one thread that touches the served scene. HTTP handlers run on the server's pool; each
// hands its work to this thread and waits for the answer, so the headless host never sees two
// callers at once.
//
// A modal dialog or question of the host blocks the code that opened it until the user answers.
// In the browser the answer comes with later requests, so the thread keeps serving jobs inside
// the modal wait (runModal); the request that opened the dialog is answered at once, with the
// state that shows the dialog.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace wkserve {

// An HTTP answer as the scene produced it.
struct Reply {
    int status = 200;
    std::string body;
    std::string type = "application/json";
};

class SceneThread {
public:
    SceneThread();
    // Stops serving jobs (a modal wait gives up, so its dialog is cancelled) and joins.
    ~SceneThread();
    SceneThread(const SceneThread&) = delete;
    SceneThread& operator=(const SceneThread&) = delete;

    // Runs `job` on the scene thread and answers its reply; 503 once the thread has stopped.
    // A job that throws std::invalid_argument answers 400 with the message, anything else 500.
    Reply call(std::function<Reply()> job);
    // On the scene thread: answers every waiting caller with `reply()`, then serves jobs until
    // `done()` or stop. False when it stopped first.
    bool runModal(const std::function<bool()>& done, const std::function<Reply()>& reply);
    void stop();

private:
    struct Job {
        std::function<Reply()> work;
        std::promise<Reply> answer;
        bool answered = false;
    };
    void serve(const std::function<bool()>& done);
    void run(const std::shared_ptr<Job>& job);

    std::mutex lock;
    std::condition_variable wake;
    // Shared with nobody but kept alive by the thread: a caller answered early (a modal wait)
    // returns while its job still runs.
    std::deque<std::shared_ptr<Job>> queue;
    std::vector<std::shared_ptr<Job>> running; // on the scene thread now, outermost first
    bool stopping = false;
    std::thread worker;
};

} // namespace wkserve
