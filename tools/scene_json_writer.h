// The authoring form of a headless scene: the JSON of docs/scene-format.md written from what
// the scene holds, so that LoadSceneText builds the same scene again. Meshes are written out
// vertex by vertex (a box is a mesh once built), a constant track as its value, floats in the
// shortest text that reads back as the same float.
#pragma once

#include "host/headless/HeadlessHost.h"

#include <string>

namespace wkcli {

// The scene of `host` (clock, the materials its nodes use, its nodes with their objects) as
// the text of a scene file. Throws SceneFileError for what the JSON form cannot say: two nodes
// or two materials of one name, or an object class it does not know.
std::string SceneToJsonText(HeadlessHost& host);

} // namespace wkcli
