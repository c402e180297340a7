#include "host/Mesh.h"

#include "host/FaceAngles.h"
#include "host/MeshCompact.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <utility>

namespace {

bool flagged(const BitArray& set, std::size_t i) {
    return i < static_cast<std::size_t>(set.GetSize()) && set[static_cast<int>(i)];
}

// Union-find over the faces around one vertex, with path halving.
int findRoot(std::vector<int>& parent, int i) {
    while (parent[static_cast<std::size_t>(i)] != i) {
        const int up = parent[static_cast<std::size_t>(parent[static_cast<std::size_t>(i)])];
        parent[static_cast<std::size_t>(i)] = up;
        i = up;
    }
    return i;
}

void unite(std::vector<int>& parent, int a, int b) {
    a = findRoot(parent, a);
    b = findRoot(parent, b);
    if (a != b)
        parent[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
}

} // namespace

Mesh::Mesh() : maps(NUM_HIDDENMAPS) {}

// ---- Sizes

void Mesh::setNumVerts(int n, bool keep, bool /*synch*/) {
    if (keep && static_cast<std::size_t>(std::max(n, 0)) == verts.size())
        return;
    SizeMeshArray(verts, n, keep);
    dropNormals();
}

void Mesh::setNumFaces(int n, bool keep, bool synch) {
    const bool unchanged = keep && static_cast<std::size_t>(std::max(n, 0)) == faces.size();
    if (!unchanged) {
        SizeMeshArray(faces, n, keep);
        dropNormals();
    }
    faceSel.SetSize(getNumFaces(), keep);
    if (synch)
        synchFaceArrays(keep);
}

void Mesh::synchFaceArrays(bool keep) {
    const int n = getNumFaces();
    for (MeshMap& map : maps)
        if (map.IsUsed())
            map.setNumFaces(n, keep);
    if (specNormals && specNormals->GetNumFaces() > 0) {
        if (!keep)
            specNormals->NAlloc(0, false);
        specNormals->SetNumFaces(n);
    }
}

// ---- Map channels

void Mesh::setNumMaps(int n, bool keep) {
    n = std::clamp(n, 0, MAX_MESHMAPS);
    if (!keep)
        for (std::size_t i = NUM_HIDDENMAPS; i < maps.size(); ++i)
            maps[i].Clear();
    maps.resize(static_cast<std::size_t>(n + NUM_HIDDENMAPS));
}

bool Mesh::mapSupport(int channel) const {
    return channel >= -NUM_HIDDENMAPS && channel < getNumMaps() && Map(channel).IsUsed();
}

void Mesh::setMapSupport(int channel, bool on) {
    if (channel < -NUM_HIDDENMAPS || channel >= MAX_MESHMAPS)
        return;
    if (!on) {
        if (channel < getNumMaps())
            Map(channel).Clear();
        return;
    }
    if (channel >= getNumMaps())
        maps.resize(static_cast<std::size_t>(channel + NUM_HIDDENMAPS + 1));
    MeshMap& map = Map(channel);
    if (!map.IsUsed()) {
        map.SetUsed(true);
        map.setNumFaces(getNumFaces(), false);
    }
}

void Mesh::setNumMapVerts(int channel, int n, bool keep) {
    setMapSupport(channel, true);
    if (mapSupport(channel))
        Map(channel).setNumVerts(n, keep);
}

int Mesh::getNumMapVerts(int channel) const {
    return mapSupport(channel) ? Map(channel).getNumVerts() : 0;
}

int Mesh::getNumMapFaces(int channel) const {
    return mapSupport(channel) ? Map(channel).getNumFaces() : 0;
}

UVVert* Mesh::mapVerts(int channel) {
    return mapSupport(channel) ? Map(channel).vertPtr() : nullptr;
}

const UVVert* Mesh::mapVerts(int channel) const {
    return mapSupport(channel) ? Map(channel).vertPtr() : nullptr;
}

TVFace* Mesh::mapFaces(int channel) {
    return mapSupport(channel) ? Map(channel).facePtr() : nullptr;
}

const TVFace* Mesh::mapFaces(int channel) const {
    return mapSupport(channel) ? Map(channel).facePtr() : nullptr;
}

void Mesh::setNumVertCol(int n, bool keep) {
    setNumMapVerts(0, n, keep);
}

void Mesh::setNumVCFaces(int n, bool keep, int oldCt) {
    setMapSupport(0, true);
    MeshMap& colours = Map(0);
    if (keep && oldCt > 0 && oldCt < colours.getNumFaces())
        colours.setNumFaces(oldCt, true);
    colours.setNumFaces(n, keep);
}

// ---- Specified normals

void Mesh::SpecifyNormals() {
    if (!specNormals)
        specNormals.emplace();
}

// ---- Whole-mesh operations

void Mesh::DeepCopy(const Mesh& from, std::uint32_t channels) {
    if (&from == this)
        return;
    const bool topo = (channels & MESH_TOPO_CHANNEL) != 0;
    const bool geom = (channels & MESH_GEOM_CHANNEL) != 0;
    const bool texmap = (channels & MESH_TEXMAP_CHANNEL) != 0;
    const bool mtl = (channels & MESH_MTL_CHANNEL) != 0;
    const bool select = (channels & MESH_SELECT_CHANNEL) != 0;
    const bool colours = (channels & MESH_VERTCOLOR_CHANNEL) != 0;
    const bool normalSpec = (channels & MESH_NORMAL_CHANNEL) != 0;

    if (geom)
        verts = from.verts;

    if (topo) {
        std::vector<Face> copied = from.faces;
        if (!mtl)
            for (std::size_t i = 0; i < copied.size(); ++i)
                copied[i].setMatID(i < faces.size() ? faces[i].getMatID() : MtlID{0});
        faces = std::move(copied);
    } else if (mtl) {
        const std::size_t n = std::min(faces.size(), from.faces.size());
        for (std::size_t i = 0; i < n; ++i)
            faces[i].setMatID(from.faces[i].getMatID());
    }

    if (select)
        faceSel = from.faceSel;
    faceSel.SetSize(getNumFaces(), 1);

    // Channel 0 travels with VERTCOLOR, all others with TEXMAP.
    constexpr std::size_t colourSlot = NUM_HIDDENMAPS;
    if (texmap && colours) {
        maps = from.maps;
    } else if (texmap) {
        std::vector<MeshMap> result = from.maps;
        if (mapSupport(0)) {
            result.resize(std::max(result.size(), colourSlot + 1));
            result[colourSlot] = std::move(maps[colourSlot]);
        } else if (result.size() > colourSlot) {
            result[colourSlot].Clear();
        }
        maps = std::move(result);
    } else if (colours) {
        if (from.mapSupport(0)) {
            maps.resize(std::max(maps.size(), colourSlot + 1));
            maps[colourSlot] = from.maps[colourSlot];
        } else if (maps.size() > colourSlot) {
            maps[colourSlot].Clear();
        }
    }

    if (normalSpec)
        specNormals = from.specNormals;

    synchFaceArrays(true);
    if (geom || topo)
        dropNormals();
}

void Mesh::FreeAll() {
    verts = {};
    faces = {};
    maps.assign(NUM_HIDDENMAPS, MeshMap());
    faceSel = BitArray();
    specNormals.reset();
    normalsValid = false;
    faceNormals = {};
    normals = {};
    cornerNormalIDs = {};
}

// Grown point by point, so that a NaN is passed over wherever it stands rather than spreading
// from the first vertex to the whole box.
Box3 Mesh::getBoundingBox(const Matrix3* tm) const {
    Box3 box;
    for (const Point3& v : verts)
        box += tm ? v * *tm : v;
    return box;
}

// ---- Deletion

void Mesh::DeleteFaceSet(const BitArray& faceSet, BitArray* isolated) {
    const std::size_t count = faces.size();
    std::size_t kept = 0;
    for (std::size_t f = 0; f < count; ++f)
        kept += flagged(faceSet, f) ? 0 : 1;

    if (kept != count) {
        BitArray selection(static_cast<int>(count));
        std::size_t out = 0;
        for (std::size_t f = 0; f < count; ++f) {
            if (flagged(faceSet, f))
                continue;
            if (flagged(faceSel, f))
                selection.Set(static_cast<int>(out));
            ++out;
        }
        selection.SetSize(static_cast<int>(kept), 1);
        faceSel = std::move(selection);

        EraseFlagged(faces, faceSet);
        for (MeshMap& map : maps)
            if (map.IsUsed())
                map.DeleteFaceSet(faceSet);
        if (specNormals)
            specNormals->DeleteFaceSet(faceSet);
        dropNormals();
    }

    if (isolated) {
        const std::size_t numVerts = verts.size();
        isolated->SetSize(static_cast<int>(numVerts));
        isolated->SetAll();
        for (const Face& face : faces)
            for (const std::uint32_t v : face.v)
                if (v < numVerts)
                    isolated->Clear(static_cast<int>(v));
    }
}

void Mesh::DeleteVertSet(const BitArray& vertSet) {
    const std::size_t numVerts = verts.size();
    std::vector<bool> keep(numVerts);
    bool anyRemoved = false;
    for (std::size_t i = 0; i < numVerts; ++i) {
        keep[i] = !flagged(vertSet, i);
        anyRemoved = anyRemoved || !keep[i];
    }
    if (!anyRemoved)
        return;

    BitArray facesUsing(getNumFaces());
    for (std::size_t f = 0; f < faces.size(); ++f)
        for (const std::uint32_t v : faces[f].v)
            if (v < numVerts && !keep[v]) {
                facesUsing.Set(static_cast<int>(f));
                break;
            }
    DeleteFaceSet(facesUsing);
    compactVerts(keep);
}

void Mesh::DeleteIsoVerts() {
    const std::vector<bool> used = CornersUse(faces, &Face::v, verts.size());
    if (std::find(used.begin(), used.end(), false) != used.end())
        compactVerts(used);
}

void Mesh::compactVerts(const std::vector<bool>& keep) {
    CompactKeptWithCorners(verts, keep, faces, &Face::v);
    dropNormals();
}

void Mesh::DeleteIsoMapVerts() {
    for (int channel = -NUM_HIDDENMAPS; channel < getNumMaps(); ++channel)
        DeleteIsoMapVerts(channel);
}

void Mesh::DeleteIsoMapVerts(int channel) {
    if (mapSupport(channel))
        Map(channel).DeleteIsoVerts();
}

// ---- Derived normals

void Mesh::dropNormals() {
    normalsValid = false;
    faceNormals.clear();
    normals.clear();
    cornerNormalIDs.clear();
}

void Mesh::checkNormals() {
    if (!normalsValid)
        buildNormals();
}

void Mesh::buildNormals() {
    const std::size_t numFaces = faces.size();
    const std::size_t numVerts = verts.size();
    const auto valid = [&](const Face& face) {
        return face.v[0] < numVerts && face.v[1] < numVerts && face.v[2] < numVerts;
    };

    faceNormals.assign(numFaces, Point3());
    cornerNormalIDs.assign(numFaces * 3, 0);
    normals.clear();

    // Calls add(f, angles) for every face f that is not broken, in order, with its normal in
    // faceNormals and the angles at its three corners. A broken face keeps a zero normal.
    const auto eachFaceAngles = [&](auto&& add) {
        ForEachFaceNormalAndAngles(
            verts.data(), faces.data(), numFaces, [&](std::size_t f) { return valid(faces[f]); },
            [&](std::size_t f, const Point3& normal, const float* angles) {
                faceNormals[f] = normal;
                add(f, angles);
            });
    };

    // Every face sharing one smoothing-group bit (the usual smooth mesh): each vertex has one
    // normal, the angle-weighted sum over all its faces. One pass over the faces adds the sums
    // up in the order the general walk below does (around each vertex, faces ascending), and
    // the ids come in its order too: the corners of broken faces first, then one normal per
    // vertex that has faces, in vertex order. So both give the same normals, bit for bit. The
    // sums are added up in place, behind the broken corners' normals, and only a mesh with
    // vertices that no face uses needs them moved up afterwards.
    std::uint32_t shared = ~std::uint32_t{0};
    std::size_t brokenFaces = 0;
    for (const Face& face : faces) {
        if (valid(face))
            shared &= face.smGroup;
        else
            ++brokenFaces;
    }
    if (shared != 0) {
        const std::size_t base = brokenFaces * 3;
        normals.assign(base + numVerts, Point3());
        std::vector<bool> used(numVerts, false);
        int broken = 0;
        for (std::size_t f = 0; f < numFaces; ++f)
            if (!valid(faces[f]))
                for (std::size_t c = 0; c < 3; ++c)
                    cornerNormalIDs[f * 3 + c] = broken++;
        eachFaceAngles([&](std::size_t f, const float* angles) {
            const Face& face = faces[f];
            const Point3& n = faceNormals[f];
            for (std::size_t c = 0; c < 3; ++c) {
                normals[base + face.v[c]] += n * angles[c];
                used[face.v[c]] = true;
                cornerNormalIDs[f * 3 + c] = static_cast<int>(base + face.v[c]);
            }
        });
        if (std::find(used.begin(), used.end(), false) == used.end()) {
            for (std::size_t v = 0; v < numVerts; ++v)
                normals[base + v] = Normalize(normals[base + v]);
        } else {
            // Vertices without faces take no id: the ones after them move up.
            std::vector<int> moved(numVerts, 0);
            std::size_t id = base;
            for (std::size_t v = 0; v < numVerts; ++v) {
                if (!used[v])
                    continue;
                moved[v] = static_cast<int>(id);
                normals[id++] = Normalize(normals[base + v]);
            }
            normals.resize(id);
            for (std::size_t f = 0; f < numFaces; ++f)
                if (valid(faces[f]))
                    for (std::size_t c = 0; c < 3; ++c)
                        cornerNormalIDs[f * 3 + c] = moved[faces[f].v[c]];
        }
        normalsValid = true;
        return;
    }

    std::vector<float> angles(numFaces * 3, 0.0f);
    eachFaceAngles(
        [&](std::size_t f, const float* corner) { std::copy(corner, corner + 3, &angles[f * 3]); });

    // Corners around each vertex, as a compressed table: vertex v owns the corners
    // cornersOf[first[v]] to cornersOf[first[v + 1] - 1], each numbered face * 3 + corner.
    std::vector<std::uint32_t> first(numVerts + 1, 0);
    for (const Face& face : faces)
        if (valid(face))
            for (const std::uint32_t v : face.v)
                ++first[v + 1];
    std::partial_sum(first.begin(), first.end(), first.begin());
    std::vector<std::uint32_t> cornersOf(first[numVerts]);
    std::vector<std::uint32_t> fill(first.begin(), first.end() - 1);

    for (std::size_t f = 0; f < numFaces; ++f) {
        const Face& face = faces[f];
        if (!valid(face)) {
            // A broken face has no normal; each corner gets a zero one of its own.
            for (int c = 0; c < 3; ++c) {
                cornerNormalIDs[f * 3 + static_cast<std::size_t>(c)] =
                    static_cast<int>(normals.size());
                normals.emplace_back();
            }
            continue;
        }
        for (std::size_t c = 0; c < 3; ++c)
            cornersOf[fill[face.v[c]]++] = static_cast<std::uint32_t>(f * 3 + c);
    }

    // At most one normal per corner: no reallocation on the way.
    normals.reserve(numFaces * 3);
    std::vector<int> parent;
    std::vector<int> clusterID;
    std::vector<int> clusterIDs;
    for (std::size_t v = 0; v < numVerts; ++v) {
        const std::uint32_t begin = first[v];
        const int count = static_cast<int>(first[v + 1] - begin);
        const auto cornerAt = [&](int i) {
            return cornersOf[begin + static_cast<std::uint32_t>(i)];
        };
        const auto groupsAt = [&](int i) { return faces[cornerAt(i) / 3].smGroup; };

        // Faces that all have a bit in common (most vertices, away from hard edges) are one
        // cluster: the same sum, in the same order, as joining them below would give.
        std::uint32_t common = ~std::uint32_t{0};
        for (int i = 0; i < count; ++i)
            common &= groupsAt(i);
        if (count > 0 && common != 0) {
            const std::size_t id = normals.size();
            normals.emplace_back();
            for (int i = 0; i < count; ++i) {
                const std::uint32_t corner = cornerAt(i);
                normals[id] += faceNormals[corner / 3] * angles[corner];
                cornerNormalIDs[corner] = static_cast<int>(id);
            }
            normals[id] = Normalize(normals[id]);
            continue;
        }

        // Faces that share a smoothing-group bit at this vertex join one cluster.
        parent.resize(static_cast<std::size_t>(count));
        std::iota(parent.begin(), parent.end(), 0);
        int firstWithBit[32];
        std::fill(std::begin(firstWithBit), std::end(firstWithBit), -1);
        for (int i = 0; i < count; ++i)
            for (std::uint32_t groups = groupsAt(i); groups != 0; groups &= groups - 1) {
                int& holder = firstWithBit[std::countr_zero(groups)];
                if (holder < 0)
                    holder = i;
                else
                    unite(parent, i, holder);
            }

        clusterID.assign(static_cast<std::size_t>(count), -1);
        clusterIDs.clear();
        for (int i = 0; i < count; ++i) {
            const std::uint32_t corner = cornerAt(i);
            const std::size_t face = corner / 3;
            int id;
            if (groupsAt(i) == 0) {
                id = static_cast<int>(normals.size());
                normals.push_back(faceNormals[face]);
            } else {
                int& cluster = clusterID[static_cast<std::size_t>(findRoot(parent, i))];
                if (cluster < 0) {
                    cluster = static_cast<int>(normals.size());
                    normals.emplace_back();
                    clusterIDs.push_back(cluster);
                }
                id = cluster;
                normals[static_cast<std::size_t>(id)] += faceNormals[face] * angles[corner];
            }
            cornerNormalIDs[corner] = id;
        }
        for (const int id : clusterIDs)
            normals[static_cast<std::size_t>(id)] =
                Normalize(normals[static_cast<std::size_t>(id)]);
    }
    normalsValid = true;
}

Point3 Mesh::getRenderNormal(int face, int corner) const {
    if (specNormals && face < specNormals->GetNumFaces()) {
        const MeshNormalFace& flags = specNormals->Face(face);
        if (flags.GetFixed(corner))
            return specNormals->GetNormal(face, corner);
        if (flags.GetSpecified(corner))
            return getFaceNormal(face);
    }
    return getNormal(face, corner);
}
