// wkCacheReader: the meshes of a loaded cache. Every node has its own mesh and box; fullMesh
// lays all nodes end to end, and boxMesh all their boxes.
#include "cachefile/wkCacheReader.h"

#include "host/MeshMap.h"

#include <cstring>
#include <map>

namespace WelkardTools {

namespace {

// The twelve faces of a box over the corners of Box3::operator[], two per side, each side with
// a smoothing group of its own.
struct BoxFace {
    std::uint32_t v[3];
    std::uint32_t smGroup;
};
constexpr BoxFace kBoxFaces[12] = {
    {{0, 2, 3}, 2},  {{3, 1, 0}, 2},  {{4, 5, 7}, 4},  {{7, 6, 4}, 4},
    {{0, 1, 5}, 8},  {{5, 4, 0}, 8},  {{1, 3, 7}, 16}, {{7, 5, 1}, 16},
    {{3, 2, 6}, 32}, {{6, 7, 3}, 32}, {{2, 0, 4}, 64}, {{4, 6, 2}, 64},
};
// Edges a and b visible, and bit 6, in the low half of every box face's flags.
constexpr std::uint32_t kBoxFaceFlags = 67;

bool meshHoldsChannel(std::int32_t channel) {
    return channel >= -NUM_HIDDENMAPS && channel < MAX_MESHMAPS;
}

std::int32_t channelCount(std::int32_t maxChannel) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(maxChannel) + 1u);
}

// Corner normals of `from` (every corner specified and explicit) into faces at `faceBase` of
// `to`, with the same flags.
void copySpecifiedNormals(const MeshNormalSpec& from, MeshNormalSpec& to, std::int32_t faceBase) {
    for (int f = 0; f < from.GetNumFaces(); ++f) {
        MeshNormalFace& corners = to.Face(faceBase + f);
        for (int c = 0; c < 3; ++c) {
            to.SetNormal(faceBase + f, c, from.GetNormal(f, c));
            corners.SetSpecified(c);
            corners.SetExplicit(c);
        }
    }
}

} // namespace

void wkCacheReader::buildBoxMesh(const Box3& bounds, Mesh& target, std::int32_t vertexBase,
                                 std::int32_t faceBase, MtlID matID) {
    for (int i = 0; i < 8; ++i)
        target.setVert(vertexBase + i, bounds[i]);
    const std::uint32_t base = static_cast<std::uint32_t>(vertexBase);
    const std::uint32_t flags =
        static_cast<std::uint32_t>(matID) << FACE_MATID_SHIFT | kBoxFaceFlags;
    for (int i = 0; i < 12; ++i) {
        Face& face = target.getFace(faceBase + i);
        face.setVerts(kBoxFaces[i].v[0] + base, kBoxFaces[i].v[1] + base, kBoxFaces[i].v[2] + base);
        face.smGroup = kBoxFaces[i].smGroup;
        face.flags = flags;
    }
}

bool wkCacheReader::buildNodeMesh(std::int32_t node) {
    if (node < 0 || static_cast<std::size_t>(node) >= nodeData.size() || !index ||
        static_cast<std::size_t>(node) >= index->nodes.size())
        return false;
    wkCacheNodeData& data = *nodeData[static_cast<std::size_t>(node)];
    if (!data.mesh)
        return false; // built already: the parsed arrays are the node's mesh now
    wkCacheNodeInfo& info = *index->nodes[static_cast<std::size_t>(node)];
    // The parse wrote vertices, faces, selection, channels and normals in the mesh's own layout
    // (see readGeometry and readMapChannel); what is left is the normals' check.
    info.mesh = std::move(data.mesh);
    if (info.hasSpecifiedNormals != 0) {
        MeshNormalSpec* normals = info.mesh->GetSpecifiedNormals();
        normals->SetParent(info.mesh.get());
        normals->CheckNormals();
        normals->SetParent(nullptr);
    }
    return true;
}

bool wkCacheReader::buildFullMeshes() {
    if (!index || index->nodes.empty())
        return false;
    try {
        const wkCacheIndex& ix = *index;
        const auto numNodes = static_cast<std::int32_t>(ix.nodes.size());
        fullMesh = std::make_unique<Mesh>();
        boxMesh = std::make_unique<Mesh>();
        boxMesh->setNumVerts(8 * numNodes, false, true);
        boxMesh->setNumFaces(12 * numNodes, false, true);
        Mesh& full = *fullMesh;
        full.setNumVerts(ix.totalVerts, false, true);
        full.setNumFaces(ix.totalFaces, false, true);
        full.setNumMaps(channelCount(ix.maxChannel), false);

        // Per channel the sum the index lists, and what the nodes hold: they differ only when a
        // node lists a channel twice (it keeps the first count, the index adds both). The listed
        // sum stands as long as the file could hold that many map vertices; a larger one (a
        // hostile list) would allocate what no byte of the file backs, and the held sum is used.
        struct ChannelBases {
            std::int32_t mapVertBase = 0;
            std::int32_t mapFaceBase = 0;
        };
        std::map<std::int32_t, ChannelBases> bases;
        for (const auto& [channel, listed] : ix.channels) {
            if (!meshHoldsChannel(channel))
                continue;
            std::int64_t held = 0;
            for (const auto& data : nodeData) {
                const auto it = data->channels.find(channel);
                if (it != data->channels.end())
                    held += it->second;
            }
            const bool listedFits = listed >= held && std::int64_t{listed} * 12 <= fileSize_;
            full.setMapSupport(channel, true);
            full.setNumMapVerts(channel, listedFits ? listed : static_cast<std::int32_t>(held),
                                false);
            bases.emplace(channel, ChannelBases{});
        }

        BitArray& selection = full.FaceSel();
        std::int32_t vertBase = 0;
        std::int32_t faceBase = 0;
        std::int32_t boxVertBase = 0;
        std::int32_t boxFaceBase = 0;
        std::int32_t specifiedCorners = 0;
        for (std::int32_t n = 0; n < numNodes; ++n) {
            const wkCacheNodeInfo& info = *ix.nodes[static_cast<std::size_t>(n)];
            const wkCacheNodeData& data = *nodeData[static_cast<std::size_t>(n)];
            const Mesh& source = *data.mesh;

            buildBoxMesh(info.bounds, *boxMesh, boxVertBase, boxFaceBase,
                         info.numFaces > 0 ? info.faceMaterials[0] : MtlID{0});
            boxVertBase += 8;
            boxFaceBase += 12;

            if (info.numVerts > 0)
                std::memcpy(full.getVertPtr(vertBase), source.getVertPtr(0),
                            sizeof(Point3) * static_cast<std::size_t>(info.numVerts));
            const auto shift = static_cast<std::uint32_t>(vertBase);
            const BitArray& nodeSelection = source.FaceSel();
            for (std::int32_t f = 0; f < info.numFaces; ++f) {
                Face face = source.getFace(f);
                for (std::uint32_t& v : face.v)
                    v += shift;
                full.getFace(faceBase + f) = face;
                if (nodeSelection[f])
                    selection.Set(faceBase + f);
            }

            for (const auto& [channel, numMapVerts] : data.channels) {
                const auto it = bases.find(channel);
                if (it == bases.end())
                    continue;
                ChannelBases& at = it->second;
                if (numMapVerts > 0)
                    std::memcpy(full.mapVerts(channel) + at.mapVertBase, source.mapVerts(channel),
                                sizeof(UVVert) * static_cast<std::size_t>(numMapVerts));
                const TVFace* from = source.mapFaces(channel);
                TVFace* to = full.mapFaces(channel) + at.mapFaceBase;
                const auto mapShift = static_cast<std::uint32_t>(at.mapVertBase);
                for (std::int32_t f = 0; f < info.numFaces; ++f)
                    to[f].setTVerts(from[f].t[0] + mapShift, from[f].t[1] + mapShift,
                                    from[f].t[2] + mapShift);
                at.mapVertBase += numMapVerts;
                at.mapFaceBase += info.numFaces;
            }

            faceBase += info.numFaces;
            vertBase += info.numVerts;
            if (info.hasSpecifiedNormals != 0)
                specifiedCorners += info.numFaces * 3;
        }

        if (version >= 2 && specifiedCorners != 0) {
            full.SpecifyNormals();
            MeshNormalSpec& normals = *full.GetSpecifiedNormals();
            normals.SetParent(&full);
            normals.SetNumFaces(ix.totalFaces);
            normals.NAlloc(specifiedCorners, true);
            std::int32_t base = 0;
            for (std::int32_t n = 0; n < numNodes; ++n) {
                const wkCacheNodeInfo& info = *ix.nodes[static_cast<std::size_t>(n)];
                if (info.hasSpecifiedNormals != 0)
                    copySpecifiedNormals(
                        *nodeData[static_cast<std::size_t>(n)]->mesh->GetSpecifiedNormals(),
                        normals, base);
                base += info.numFaces;
            }
            normals.CheckNormals();
            normals.SetParent(nullptr);
        }
        return true;
    } catch (...) {
        status_ = kStatusException;
        clearCache();
        return false;
    }
}

} // namespace WelkardTools
