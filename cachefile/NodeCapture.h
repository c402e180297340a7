// Node capture: one scene node's mesh at one time, as a private, cleaned copy in the object's
// own space. It is the one door from the scene into recording: the cache writer captures each
// node once, and the analyses of topology and deformation capture every node at every sample.
#pragma once

#include "host/INode.h"
#include "host/Mesh.h"

#include <cstdint>
#include <memory>

struct NodeCapture {
    INode* node = nullptr;        // not owned
    std::unique_ptr<Mesh> mesh;   // the copy; null until a capture succeeded
    std::int32_t matIdOffset = 0; // what the writer's material step adds to the material ids
};

// Fills `capture` with the mesh of `node` at `time`: the render mesh, or the mesh the object
// converts to, depending on the kind of object (geometry or shape) and the shape's rendering
// switches. True when the copy has at least one vertex and one face; it then has no isolated
// vertices or map vertices. Anything else (no object, a helper, camera or light, a shape shown
// in the viewports without its render mesh, an empty mesh) answers false with no mesh. What the
// host throws passes through.
bool CaptureNodeMesh(NodeCapture& capture, INode* node, TimeValue time, bool useRenderMesh);
