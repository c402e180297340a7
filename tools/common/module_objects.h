// Cache objects made as the host makes them: by class id, through the plug-in module.
#pragma once

#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"

#include <memory>
#include <stdexcept>

// `loading`: made for a scene being loaded. Throws std::runtime_error when the module is
// missing or refused.
inline std::unique_ptr<wkCache_obj> NewCacheObject(HeadlessHost& host, bool loading = false) {
    std::unique_ptr<SceneObject> made =
        host.Modules().Create(GEOMOBJECT_CLASS_ID, wkCache_obj::kClassID, loading);
    auto* cache = dynamic_cast<wkCache_obj*>(made.get());
    if (cache == nullptr)
        throw std::runtime_error("the plug-in class WK Cache is not the cache object");
    made.release();
    return std::unique_ptr<wkCache_obj>(cache);
}
