// Node capture: one scene node's mesh at one time, as a private, cleaned copy in the object's
// own space. It is the one door from the scene into recording: the cache writer captures each
// node once, the topology analysis every node at every sample, and the deformation analysis
// takes the vertices alone at every sample.
#pragma once

#include "host/INode.h"
#include "host/Mesh.h"

#include <cstdint>
#include <memory>
#include <vector>

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

// The vertices CaptureNodeMesh would capture, without copying the rest of the mesh: it
// succeeds for the same nodes and times, and `verts` gets the capture's vertices (those a face
// uses, in order); empty when it fails. For analyses that look at positions alone.
bool CaptureNodeVertices(std::vector<Point3>& verts, INode* node, TimeValue time,
                         bool useRenderMesh);
