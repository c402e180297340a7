#include "host/MeshNormalSpec.h"

#include "host/Mesh.h"
#include "host/MeshCompact.h"

#include <algorithm>

void MeshNormalSpec::SetNumFaces(int n) {
    const std::size_t count = static_cast<std::size_t>(std::max(n, 0));
    faces.resize(count);
    normals.resize(count * 3);
}

void MeshNormalSpec::NAlloc(int n, bool keep) {
    normals.reserve(static_cast<std::size_t>(std::max(n, 0)));
    if (!keep) {
        std::fill(normals.begin(), normals.end(), Point3());
        std::fill(faces.begin(), faces.end(), MeshNormalFace());
    }
}

void MeshNormalSpec::CheckNormals() {
    if (!parent || parent->getNumFaces() != GetNumFaces())
        return;
    const bool allFixed = std::all_of(faces.begin(), faces.end(), [](const MeshNormalFace& f) {
        return f.GetFixed(0) && f.GetFixed(1) && f.GetFixed(2);
    });
    if (allFixed)
        return;
    parent->checkNormals();
    for (int f = 0; f < GetNumFaces(); ++f) {
        const MeshNormalFace& flags = Face(f);
        for (int c = 0; c < 3; ++c) {
            if (flags.GetFixed(c))
                continue;
            Normal(f, c) =
                flags.GetSpecified(c) ? parent->getFaceNormal(f) : parent->getNormal(f, c);
        }
    }
}

void MeshNormalSpec::DeleteFaceSet(const BitArray& remove) {
    EraseFlagged(faces, remove);
    EraseFlagged(normals, remove, 3);
}

void MeshNormalSpec::Clear() {
    faces = {};
    normals = {};
}
