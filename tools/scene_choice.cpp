#include "tools/scene_choice.h"

#include "tools/cli_common.h"

namespace wkcli {

wkCache_obj& ChooseCacheObject(const LoadedScene& loaded, const std::string& scenePath,
                               const std::string& nodeName) {
    const auto& caches = loaded.cacheObjects;
    if (!nodeName.empty()) {
        for (const LoadedScene::CacheObject& cache : caches) {
            if (cache.nodeName == nodeName)
                return *cache.object;
        }
        throw CommandError(kExitBadInput,
                           scenePath + ": no node named \"" + nodeName + "\" holds a cache object");
    }
    if (caches.size() == 1)
        return *caches.front().object;
    if (caches.empty())
        throw CommandError(kExitBadInput, scenePath + ": the scene has no cache object");
    std::string names;
    for (const LoadedScene::CacheObject& cache : caches)
        names += (names.empty() ? "" : ", ") + cache.nodeName;
    throw CommandError(kExitUsage, scenePath + " has " + std::to_string(caches.size()) +
                                       " cache objects (" + names + "): choose one with --object");
}

} // namespace wkcli
