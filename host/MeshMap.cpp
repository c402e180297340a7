#include "host/MeshMap.h"

#include "host/MeshCompact.h"

#include <algorithm>

void MeshMap::setNumVerts(int n, bool keep) {
    SizeMeshArray(verts, n, keep);
}

void MeshMap::setNumFaces(int n, bool keep) {
    SizeMeshArray(faces, n, keep);
}

void MeshMap::Clear() {
    verts = {};
    faces = {};
    used = false;
}

void MeshMap::DeleteFaceSet(const BitArray& remove) {
    EraseFlagged(faces, remove);
}

void MeshMap::DeleteIsoVerts() {
    const std::size_t count = verts.size();
    std::vector<bool> referenced(count, false);
    for (const TVFace& f : faces)
        for (const std::uint32_t t : f.t)
            if (t < count)
                referenced[t] = true;
    if (std::find(referenced.begin(), referenced.end(), false) == referenced.end())
        return;
    const std::vector<std::uint32_t> remap = CompactKept(verts, referenced);
    for (TVFace& f : faces)
        for (std::uint32_t& t : f.t)
            if (t < count)
                t = remap[t];
}
