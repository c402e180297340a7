// Frame assembly: the per-element results that the object's other users ask for (explode,
// sub-object display, activation). None of them applies the unit scale.
#include "playback/wkCacheFrameAssembly.h"

#include "playback/wkCacheFrameAccess.h"

#include <cstddef>

namespace WelkardTools {

bool getElementTransforms(wkCacheReader& reader, std::vector<Matrix3>& out,
                          std::vector<std::int32_t>& visible, wkCacheFrameState& state) {
    if (!locateAndLoad(reader, state, -1))
        return false;
    const std::int32_t count = elementCount(reader);
    out.resize(static_cast<std::size_t>(count));
    visible.resize(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i) {
        const wkCacheElementState& e = state.elements[static_cast<std::size_t>(i)];
        out[static_cast<std::size_t>(i)] = elementTransform(reader, i, e);
        visible[static_cast<std::size_t>(i)] = reader.sampleVisible(i, e.sample) ? 1 : 0;
    }
    return true;
}

bool refreshElementTransforms(wkCacheReader& reader, std::vector<Matrix3>& out,
                              wkCacheFrameState& state) {
    if (!requireOpenData(reader))
        return false;
    fitElements(reader, state);
    const std::int32_t count = elementCount(reader);
    out.resize(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i)
        out[static_cast<std::size_t>(i)] =
            elementTransform(reader, i, state.elements[static_cast<std::size_t>(i)]);
    return true;
}

bool getSampleTransforms(wkCacheReader& reader, std::vector<Matrix3>& out, std::int32_t sample) {
    if (!requireOpenData(reader))
        return false;
    if (sample < 0 || sample > cacheTiming(reader).last())
        return false;
    if (!reader.isPreloaded() && !reader.fetchSampleAndRelease(sample))
        return false;
    const std::int32_t count = elementCount(reader);
    out.resize(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i)
        out[static_cast<std::size_t>(i)] = reader.sampleTransform(i, sample);
    return true;
}

bool getElementMeshes(wkCacheReader& reader, std::vector<std::unique_ptr<Mesh>>& out,
                      wkCacheFrameState& state) {
    if (!requireOpenData(reader))
        return false;
    const std::int32_t count = elementCount(reader);
    out.resize(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i) {
        std::unique_ptr<Mesh>& mesh = out[static_cast<std::size_t>(i)];
        if (!mesh)
            mesh = std::make_unique<Mesh>();
        const wkCacheNodeInfo& node = *reader.getIndex()->nodes[static_cast<std::size_t>(i)];
        const Mesh* source = state.boxMode ? node.box.get() : node.mesh.get();
        if (source != nullptr && (mesh->getNumVerts() != source->getNumVerts() ||
                                  mesh->getNumFaces() != source->getNumFaces()))
            *mesh = *source;
    }
    return true;
}

bool updateElementBox(wkCacheReader& reader, Mesh& out, std::int32_t element,
                      wkCacheFrameState& state) {
    if (element < 0 || !locateAndLoad(reader, state, element))
        return false;
    const wkCacheNodeInfo& node = *reader.getIndex()->nodes[static_cast<std::size_t>(element)];
    if (!node.box)
        return false;
    // A mesh without room for the eight corners is made into the box first, faces as the
    // element's own box has them.
    if (out.getNumVerts() < 8) {
        out.setNumVerts(8);
        out.setNumFaces(12);
        wkCacheReader::buildBoxMesh(node.bounds, out, 0, 0, 0);
    }
    const Matrix3 tm =
        elementTransform(reader, element, state.elements[static_cast<std::size_t>(element)]);
    for (int v = 0; v < 8; ++v)
        out.setVert(v, node.bounds[v] * tm);
    return true;
}

} // namespace WelkardTools
