// The set-up the benchmarks share: a cache object on its own node of a headless scene, playing
// one cache file, with the registry reading materials into that scene.
#pragma once

#include "cachefile/wkCacheRegistry.h"
#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"

#include <memory>
#include <string>

struct BenchCacheObject {
    INode* node;
    wkCache_obj& object;
};

inline BenchCacheObject AddCacheObject(HeadlessHost& host, const std::string& path) {
    theCacheRegistry.setMaterials(&host.Materials());
    auto made = std::make_unique<wkCache_obj>();
    wkCache_obj& object = *made;
    INode* node = host.Nodes().CreateObjectNode(std::move(made));
    object.setFileName(host.Assets().GetAsset(WStr::FromUTF8(path), kAssetTypeCache));
    return {node, object};
}
