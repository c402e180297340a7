// The cache object on a small hand-built cache, in a headless scene: the fixture of the object's
// tests.
#pragma once

#include "cachefile/wkCacheRegistry.h"
#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"
#include "tools/common/module_objects.h"
#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

namespace objtest {

using namespace cachetest;
namespace P = wkCacheParam;

// Two triangles over three samples, one frame apart: element 0 moves along x, element 1 along
// y and is invisible at sample 1.
inline Bytes twoElementCache() {
    CacheSpec spec;
    spec.nodes = {triangleNode("a"), triangleNode("b")};
    spec.samples = {{moved(0, 0, 0), moved(0, 0, 0)},
                    {moved(10, 0, 0), moved(0, 10, 0, 0)},
                    {moved(20, 0, 0), moved(0, 20, 0)}};
    spec.hasVisibility = 1;
    return buildCache(spec);
}

class CacheObjectTest : public ::testing::Test {
protected:
    HeadlessHost host;
    ScopedHost scope{host};
    TempDir dir;
    std::string path = dir.write("two.wkc", twoElementCache());
    wkCache_obj* object = nullptr;
    INode* node = nullptr;

    void SetUp() override {
        theCacheRegistry.setMaterials(&host.Materials());
        auto made = NewCacheObject(host);
        object = made.get();
        node = host.Nodes().CreateObjectNode(std::move(made));
        object->setPanelOpen(true);
    }
    void TearDown() override {
        theCacheRegistry.evictAll();
        theCacheRegistry.setMaterials(nullptr);
    }

    void useFile(const std::string& file) {
        object->setFileName(host.Assets().GetAsset(WStr::FromUTF8(file), kAssetTypeCache));
    }
    IParamBlock2& params() { return object->params(); }
    float vertX(int v) { return object->getMesh().getVert(v).x; }
    float vertY(int v) { return object->getMesh().getVert(v).y; }
};

} // namespace objtest
