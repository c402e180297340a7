// A long call from Python (record, explode, key reduction, pre-load): the GIL is released while
// the core works, an optional progress callback is called with (done, total) and cancels when it
// returns False, and Ctrl-C cancels the way Escape does, after which KeyboardInterrupt is raised.
#pragma once

#include "python/py_scene.h"

#include <optional>

namespace wkpy {

class LongCall {
public:
    // `object` is the cache object whose progress is reported, or null.
    LongCall(SceneState& scene, wkCache_obj* object, py::object progress);
    ~LongCall();
    LongCall(const LongCall&) = delete;
    LongCall& operator=(const LongCall&) = delete;

    // Runs f without the GIL, then raises what the callbacks met.
    template <class F> auto run(F&& f) {
        std::optional<decltype(f())> result;
        {
            py::gil_scoped_release release;
            result.emplace(f());
        }
        finish();
        return std::move(*result);
    }

private:
    bool escape();
    void reportProgress(wkCache_obj& object);
    void finish();

    SceneState& scene;
    wkCache_obj* object;
    py::object progress;
    bool cancelled = false;
    std::optional<py::error_already_set> pending;
};

} // namespace wkpy
