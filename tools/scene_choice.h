// Which cache object of a scene file a command works on.
#pragma once

#include "tools/common/scene_file.h"

#include <string>

namespace wkcli {

// The cache object held by the node named `nodeName`, or the scene's only one when the name is
// empty. Throws CommandError: bad input when there is none, usage when several need a choice.
wkCache_obj& ChooseCacheObject(const LoadedScene& loaded, const std::string& scenePath,
                               const std::string& nodeName);

} // namespace wkcli
