// The reader's records of a loaded cache: the in-memory index, one
// wkCacheNodeInfo per node for the life of the load, and the wkCacheNodeData that lives only
// while loadCache parses.
#pragma once

#include "cachefile/wkCacheSampleRows.h"
#include "host/BitArray.h"
#include "host/Box3.h"
#include "host/Mesh.h"
#include "host/Point.h"
#include "host/Strings.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace WelkardTools {

// One node, kept for the life of the load.
struct wkCacheNodeInfo {
    WStr name;
    Box3 bounds;
    std::int32_t numVerts = 0;
    std::int32_t numFaces = 0;
    std::uint8_t hasSpecifiedNormals = 0;
    // The node's channel list: channel -> numMapVerts, the first count of a repeated channel.
    std::map<std::int32_t, std::int32_t> channels;
    std::unique_ptr<Mesh> mesh; // the node's own mesh
    std::unique_ptr<Mesh> box;  // its box: 8 vertices, 12 faces
    std::vector<MtlID> faceMaterials;
    // The node's transforms and visibility per sample are held for all nodes at once, in the
    // index's sample rows: see wkCacheReader::sampleTransform and sampleVisible.
};

struct wkCacheIndex {
    std::int32_t totalVerts = 0;
    std::int32_t totalFaces = 0;
    // The union of the nodes' channels, each with the sum of numMapVerts over the nodes that
    // list it.
    std::map<std::int32_t, std::int32_t> channels;
    std::int32_t minChannel = -99;
    std::int32_t maxChannel = -99;
    // Which samples are in memory for all nodes, with the rows themselves (stands for the
    // loadedSamples bit set and the per-node sample maps).
    wkCacheSampleRows loadedSamples;
    std::vector<std::unique_ptr<wkCacheNodeInfo>> nodes;
    // numVerts and numFaces of every node side by side, for the loops of every frame; filled
    // by frame assembly at first use (the nodes do not change while the index lives).
    std::vector<std::array<std::int32_t, 2>> nodeSizes;
    std::uint8_t hasSpecifiedNormals = 0;
    // The frame change record of frame assembly, one bit per node.
    BitArray hiddenChanged;
    BitArray deletedChanged;
    BitArray materialChanged;
    std::int32_t removedFaces = 0;
    std::int32_t removedVerts = 0;
};

// One node while loadCache parses it. The arrays are parsed straight into `mesh`, in the layout
// of the node's final Mesh (vertices, faces with their flags, face selection, map channels,
// specified normals), so that the full mesh copies from it and the node's own mesh is this one,
// moved: the static part is touched twice in memory, not three times.
struct wkCacheNodeData {
    std::map<std::int32_t, std::int32_t> channels; // channel -> numMapVerts
    std::int32_t minChannel = -99;
    std::int32_t maxChannel = -99;
    std::unique_ptr<Mesh> mesh;
};

} // namespace WelkardTools
