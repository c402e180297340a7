// Scene files of the wkcache tool: a JSON description of a headless scene (nodes, their
// animation, their objects and materials, and cache objects with their record parameters),
// built into a HeadlessHost. The format is described in docs/scene-format.md.
//
// Every problem is reported by a SceneFileError whose message names the key, as a path from
// the top of the file: "nodes[2].object.keys[0].vertices: expected 9 points, got 8".
#pragma once

#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace wkcli {

class SceneFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The cache objects of a loaded scene, by the names of the nodes that hold them, in file order.
struct LoadedScene {
    struct CacheObject {
        std::string nodeName;
        wkCache_obj* object;
    };
    std::vector<CacheObject> cacheObjects;
};

// Builds the scene of `text` into `host`, which should be fresh: the clock is set, the
// materials, nodes and objects are added to its scene. `text` is JSON or, when it starts as
// one, a binary scene file (tools/scene_binary.h). Throws SceneFileError.
LoadedScene LoadSceneText(const std::string& text, HeadlessHost& host);
// The same from a file; a file that cannot be read is a SceneFileError too.
LoadedScene LoadSceneFile(const std::string& path, HeadlessHost& host);

// The cache object held by the node named `nodeName`, or the scene's only one when the name is
// empty. Throws CommandError: bad input when there is none, usage when several need a choice.
wkCache_obj& ChooseCacheObject(const LoadedScene& loaded, const std::string& scenePath,
                               const std::string& nodeName);

} // namespace wkcli
