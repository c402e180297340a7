#include "python/py_long_call.h"

namespace wkpy {

LongCall::LongCall(SceneState& scene_, wkCache_obj* object_, py::object progress_)
    : scene(scene_), object(object_), progress(std::move(progress_)) {
    scene.host.UI().SetEscapeHandler([this] { return escape(); });
    if (object)
        object->setStatusObserver([this](wkCache_obj& o) { reportProgress(o); });
}

LongCall::~LongCall() {
    scene.host.UI().SetEscapeHandler({});
    if (object)
        object->setStatusObserver({});
}

bool LongCall::escape() {
    if (cancelled)
        return true;
    py::gil_scoped_acquire gil;
    if (PyErr_CheckSignals() != 0) {
        pending.emplace();
        cancelled = true;
    }
    return cancelled;
}

void LongCall::reportProgress(wkCache_obj& o) {
    const wkCacheProgressState& state = o.progressState();
    if (progress.is_none() || cancelled || state.progressTotal <= 0)
        return;
    py::gil_scoped_acquire gil;
    try {
        const py::object answer = progress(state.progressDone, state.progressTotal);
        if (py::isinstance<py::bool_>(answer) && !answer.cast<bool>())
            cancelled = true;
    } catch (py::error_already_set& e) {
        pending.emplace(std::move(e));
        cancelled = true;
    }
}

void LongCall::finish() {
    if (pending) {
        py::error_already_set e = std::move(*pending);
        pending.reset();
        throw e;
    }
}

} // namespace wkpy
