// A cache object's playback as a glTF 2.0 asset: one node per element (or per node that explode
// makes) with its mesh and materials, its transform sampled at every step, its hidden spans as
// a stepped scale of zero, and a deforming element's stored key frames as morph targets whose
// weights blend them as playback does.
#pragma once

#include "explode/wkCacheExplodeTarget.h"
#include "host/Matrix3.h"
#include "host/Mesh.h"

#include <tiny_gltf.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace wkgltf {

// One node of the asset, sampled at the times of its ExportScene.
struct ExportNode {
    std::string name;
    Mesh mesh;                               // in the node's space, host axes
    std::vector<std::string> materialNames;  // by material id; "" for none
    std::vector<Matrix3> transforms;         // in the world, one a time
    std::vector<char> hidden;                // one a time
    std::vector<std::vector<Point3>> morphs; // key frames: a position per vertex
    std::vector<std::vector<float>> weights; // one a time: a weight per key frame
};

struct ExportScene {
    std::vector<double> seconds; // the sample times
    std::vector<ExportNode> nodes;
};

// Says how far the work is (done of total); false stops it.
using ExportProgress = std::function<bool(std::int64_t done, std::int64_t total)>;

// The elements of `object` as it plays over `interval`, a sample every `stepTicks`, their
// transforms times `unitScale` as playback scales them (the object's scaleUnits at time 0).
// Answers false when the object has no file it can play, or when `progress` stopped it.
bool CollectPlayback(wkCacheExplodeTarget& object, Interval interval, std::int32_t stepTicks,
                     float unitScale, const ExportProgress& progress, ExportScene& out);

// The nodes explode made (their meshes, materials and controllers), sampled at the same times.
void CollectNodes(const std::vector<INode*>& nodes, Interval interval, std::int32_t stepTicks,
                  ExportScene& out);

// The asset of the scene, times shifted to start at 0 when the range starts below it.
tinygltf::Model BuildGltf(const ExportScene& scene);

} // namespace wkgltf
