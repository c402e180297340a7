// Sampling a cache object's playback, or explode's nodes, for the glTF export.
#include "cachefile/wkCacheKeyPair.h"
#include "explode/ExplodeToObjects.h"
#include "host/Host.h"
#include "host/SceneObject.h"
#include "playback/wkCacheFrameAssembly.h"
#include "tools/common/cli_json.h"
#include "tools/gltf/gltf_export.h"

#include <cstdio>
#include <memory>

namespace wkgltf {

using WelkardTools::wkCacheReader;

namespace {

// The material names of the ids a mesh uses, as the node's material shows them: a
// multi-material's slot id modulo its slots, a plain material for every id.
std::vector<std::string> materialNames(const Mesh& mesh, const Mtl* material) {
    std::vector<std::string> names;
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const MtlID id = mesh.getFace(f).getMatID();
        if (names.size() <= id)
            names.resize(static_cast<std::size_t>(id) + 1);
        if (material == nullptr)
            continue;
        const Mtl* shown = material;
        if (material->NumSubMtls() > 0)
            shown = material->GetSubMtl(id % material->NumSubMtls());
        if (shown != nullptr)
            names[id] = wkcli::utf8(shown->GetName());
    }
    return names;
}

// The deforming elements' key frames, from the file's element block: the first elements of the
// cache, each with its slice of every key.
void readMorphs(wkCacheReader& reader, const WStr& path, ExportScene& out) {
    WelkardTools::wkCacheElementFrames& store = reader.getFrameStore();
    if (reader.getVersion() < 3 || !store.parseBlockHead(path) || store.elementCount <= 0)
        return;
    std::FILE* file = std::fopen(path.ToCStr().str().c_str(), "rb");
    if (file == nullptr)
        return;
    bool complete = true;
    for (std::int32_t k = 0; k < store.keyFrameCount && complete; ++k)
        complete = store.readKey(file, k);
    std::fclose(file);
    if (!complete)
        return;
    std::size_t at = 0; // in points
    const auto elements = std::min(static_cast<std::size_t>(store.elementCount), out.nodes.size());
    for (std::size_t e = 0; e < elements; ++e) {
        const auto points = static_cast<std::size_t>(store.elementPointCounts[e]);
        ExportNode& node = out.nodes[e];
        if (points == static_cast<std::size_t>(node.mesh.getNumVerts()))
            for (std::int32_t k = 0; k < store.keyFrameCount; ++k) {
                const std::vector<float>& key = store.keys[k];
                std::vector<Point3> positions(points);
                for (std::size_t p = 0; p < points; ++p)
                    positions[p] = {key[3 * (at + p)], key[3 * (at + p) + 1],
                                    key[3 * (at + p) + 2]};
                node.morphs.push_back(std::move(positions));
            }
        at += points;
    }
}

// The weights of each key frame for element e at its place in the recording.
std::vector<float> morphWeights(const wkCacheReader& reader, const wkCacheElementState& e) {
    const WelkardTools::wkCacheElementFrames& store = reader.getFrameStore();
    std::vector<float> weights(static_cast<std::size_t>(store.keyFrameCount), 0.0f);
    const float position = WelkardTools::normalisedPosition(
        static_cast<float>(e.sample) + e.fraction, store.header.cacheNumSamples);
    const WelkardTools::wkCacheKeyPair pair =
        WelkardTools::findKeyPair(store.frameCount, store.keyFrames, position);
    const WelkardTools::wkCacheKeyWeights w =
        WelkardTools::keyWeights(store.frameCount, store.keyFrames, pair, position);
    weights[static_cast<std::size_t>(pair.left)] += w.left;
    weights[static_cast<std::size_t>(pair.right)] += w.right;
    return weights;
}

std::vector<double> sampleSeconds(const std::vector<TimeValue>& times) {
    std::vector<double> seconds;
    for (TimeValue t : times)
        seconds.push_back(static_cast<double>(t) / TICKS_PER_SECOND);
    return seconds;
}

} // namespace

bool CollectPlayback(wkCacheExplodeTarget& object, Interval interval, std::int32_t stepTicks,
                     float unitScale, const ExportProgress& progress, ExportScene& out) {
    const WStr path = object.cacheFilePath();
    if (path.IsEmpty())
        return false;
    wkCacheReader reader(path);
    if (reader.hasError())
        return false;
    const std::vector<INode*> showing = GetHost().Nodes().NodesReferencing(&object.sceneObject());
    INode* reference = showing.empty() ? nullptr : showing.front();
    const std::vector<TimeValue> times = ExplodeKeyTimes(interval, stepTicks);
    out.seconds = sampleSeconds(times);

    std::vector<std::unique_ptr<Mesh>> meshes;
    std::vector<Matrix3> transforms;
    wkCachePlaybackState& playback = object.explodePlayback();
    object.clearElementValidity();
    const auto total = static_cast<std::int64_t>(times.size());
    for (std::size_t k = 0; k < times.size(); ++k) {
        const TimeValue t = times[k];
        object.evaluateForExplode(t, reader);
        ExplodeEvaluationSetup(playback, false);
        if (!WelkardTools::prepareFrame(reader, playback) ||
            !WelkardTools::refreshElementTransforms(reader, transforms, playback))
            return false;
        if (k == 0) {
            const WelkardTools::wkCacheIndex* index = reader.getIndex();
            if (!WelkardTools::getElementMeshes(reader, meshes, playback) || index == nullptr)
                return false;
            const Mtl* material = reference != nullptr ? reference->GetMtl() : nullptr;
            out.nodes.resize(meshes.size());
            for (std::size_t i = 0; i < meshes.size(); ++i) {
                ExportNode& node = out.nodes[i];
                node.name = i < index->nodes.size() ? wkcli::utf8(index->nodes[i]->name) : "";
                node.mesh = *meshes[i];
                node.materialNames = materialNames(node.mesh, material);
            }
            readMorphs(reader, path, out);
        }
        const Matrix3 world = reference != nullptr ? reference->GetObjectTM(t) : Matrix3(true);
        for (std::size_t i = 0; i < out.nodes.size() && i < transforms.size(); ++i) {
            ExportNode& node = out.nodes[i];
            Matrix3 tm = transforms[i];
            if (unitScale != 1.0f)
                tm *= unitScale;
            node.transforms.push_back(tm * world);
            node.hidden.push_back(ExplodeElementHidden(playback, static_cast<int>(i)) ? 1 : 0);
            if (!node.morphs.empty())
                node.weights.push_back(morphWeights(reader, playback.elements[i]));
        }
        if (progress && !progress(static_cast<std::int64_t>(k) + 1, total))
            return false;
    }
    return true;
}

void CollectNodes(const std::vector<INode*>& nodes, Interval interval, std::int32_t stepTicks,
                  ExportScene& out) {
    const std::vector<TimeValue> times = ExplodeKeyTimes(interval, stepTicks);
    out.seconds = sampleSeconds(times);
    for (INode* made : nodes) {
        ExportNode node;
        node.name = wkcli::utf8(made->GetName());
        SceneObject* object = made->GetObjectRef();
        if (object != nullptr && object->ClassID() == triObjectClassID) {
            node.mesh = static_cast<TriObject*>(object)->GetMesh();
            node.materialNames = materialNames(node.mesh, made->GetMtl());
        }
        for (TimeValue t : times) {
            node.transforms.push_back(made->GetObjectTM(t));
            node.hidden.push_back(made->GetVisibility(t) <= 0.0f ? 1 : 0);
        }
        out.nodes.push_back(std::move(node));
    }
}

} // namespace wkgltf
