#include "tools/serve/scene_thread.h"

#include <nlohmann/json.hpp>

#include <stdexcept>

namespace wkserve {

SceneThread::SceneThread() : worker([this] { serve([] { return false; }); }) {}

SceneThread::~SceneThread() {
    stop();
    worker.join();
}

void SceneThread::stop() {
    {
        std::lock_guard guard(lock);
        stopping = true;
    }
    wake.notify_all();
}

Reply SceneThread::call(std::function<Reply()> job) {
    auto entry = std::make_shared<Job>();
    entry->work = std::move(job);
    std::future<Reply> answer = entry->answer.get_future();
    {
        std::lock_guard guard(lock);
        if (stopping)
            return {503, R"({"error":"the server is stopping"})"};
        queue.push_back(std::move(entry));
    }
    wake.notify_all();
    return answer.get();
}

void SceneThread::run(const std::shared_ptr<Job>& job) {
    running.push_back(job);
    Reply reply;
    try {
        reply = job->work();
    } catch (const nlohmann::json::exception& e) {
        reply = {400, nlohmann::json{{"error", e.what()}}.dump()};
    } catch (const std::invalid_argument& e) {
        reply = {400, nlohmann::json{{"error", e.what()}}.dump()};
    } catch (const std::exception& e) {
        reply = {500, nlohmann::json{{"error", e.what()}}.dump()};
    }
    running.pop_back();
    if (!job->answered)
        job->answer.set_value(std::move(reply));
}

void SceneThread::serve(const std::function<bool()>& done) {
    while (!done()) {
        std::shared_ptr<Job> job;
        {
            std::unique_lock guard(lock);
            wake.wait(guard, [&] { return stopping || !queue.empty(); });
            if (stopping) {
                // Callers still queued get their refusal; the thread winds down.
                for (const std::shared_ptr<Job>& waiting : queue)
                    waiting->answer.set_value({503, R"({"error":"the server is stopping"})"});
                queue.clear();
                return;
            }
            job = queue.front();
            queue.pop_front();
        }
        run(job);
    }
}

bool SceneThread::runModal(const std::function<bool()>& done, const std::function<Reply()>& reply) {
    for (const std::shared_ptr<Job>& job : running)
        if (!job->answered) {
            job->answered = true;
            job->answer.set_value(reply());
        }
    serve(done);
    return done();
}

} // namespace wkserve
