// Key controllers in scene files: the "controllers" of a node, with their key records exactly
// as the controllers hold them, and the node entries that `wkcache explode` writes.
//
//   "controllers": {
//     "position":   {"keys": [{"time": 0, "flags": 0, "value": [x, y, z],
//                              "tension": 0, "continuity": 0, "bias": 0,
//                              "easeIn": 0, "easeOut": 0}, ...]},
//     "rotation":   {"keys": [{"time": 0, "value": {"axis": [x, y, z], "radians": a}}, ...]},
//     "scale":      {"keys": [{"time": 0, "value": {"scale": [x, y, z], "axes": [x, y, z, w]}}]},
//     "visibility": {"keys": [{"time": 0, "flags": 2304, "value": 1}]}
//   }
//
// Times are ticks. A rotation key holds the turn from the key before it. A controller without
// keys adds the value it holds: "value": v (a rotation as {"quat": [x, y, z, w]}). Position,
// rotation and scale controllers take the place of the node's own tracks.
#pragma once

#include "host/INode.h"

#include <nlohmann/json.hpp>

#include <string>

namespace wkcli {

// Gives `node` the controllers of `j`. Throws SceneFileError naming the key at fault.
void ReadNodeControllers(const nlohmann::json& j, const std::string& path, INode& node);
// The node's key controllers in that form; an empty object when it has none.
nlohmann::json WriteNodeControllers(INode& node);
// A node as a scene-file entry: its name, its mesh (when its object is a triangle mesh or a
// point helper), its controllers, wire colour and visibility inheritance.
nlohmann::json WriteNodeEntry(INode& node);

} // namespace wkcli
