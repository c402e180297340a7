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
    const std::vector<bool> referenced = CornersUse(faces, &TVFace::t, verts.size());
    if (std::find(referenced.begin(), referenced.end(), false) != referenced.end())
        CompactKeptWithCorners(verts, referenced, faces, &TVFace::t);
}
