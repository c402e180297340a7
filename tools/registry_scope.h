// The open-cache registry for the life of one command: its readers load material libraries
// through the command's host, so they are all closed before that host goes.
#pragma once

#include "cachefile/wkCacheRegistry.h"
#include "host/headless/HeadlessHost.h"

namespace wkcli {

class RegistryScope {
public:
    explicit RegistryScope(HeadlessHost& host) { theCacheRegistry.setMaterials(&host.Materials()); }
    ~RegistryScope() {
        theCacheRegistry.evictAll();
        theCacheRegistry.setMaterials(nullptr);
    }
    RegistryScope(const RegistryScope&) = delete;
    RegistryScope& operator=(const RegistryScope&) = delete;
};

} // namespace wkcli
