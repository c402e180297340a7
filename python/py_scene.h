// The headless scene of the Python module: one host per wkcache.Scene, installed around every
// call into the core, since the core reaches its host through one global.
#pragma once

#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"

#include <pybind11/pybind11.h>

#include <memory>
#include <string>

namespace wkpy {

namespace py = pybind11;

struct SceneState {
    SceneState() = default;
    // Ends the scene with its own host installed: its objects leave the open-cache registry.
    ~SceneState();
    SceneState(const SceneState&) = delete;
    SceneState& operator=(const SceneState&) = delete;

    std::unique_ptr<HeadlessHost> owned = std::make_unique<HeadlessHost>();
    HeadlessHost& host = *owned;
};

// Installs the scene's host and points the open-cache registry at its materials for the
// length of one call.
class HostCall {
public:
    explicit HostCall(SceneState& state);

private:
    ScopedHost scope;
};

struct NodeRef {
    std::shared_ptr<SceneState> scene;
    INode* node;
};

struct ControllerRef {
    std::shared_ptr<SceneState> scene;
    ReferenceTarget* control;
};

void bindScene(py::module_& m);
void bindCache(py::module_& m);

} // namespace wkpy
