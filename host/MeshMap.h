// One map channel of a mesh: map vertices (U, V, W or colours) and one map face per mesh face.
#pragma once

#include "host/BitArray.h"
#include "host/MeshFace.h"
#include "host/Point.h"

#include <vector>

// A map vertex: U, V, W of a texture channel, or R, G, B of the colour channel.
using UVVert = Point3;

// Channel numbers run from -NUM_HIDDENMAPS to MAX_MESHMAPS - 1. Channel 0 holds the vertex
// colours, channels 1 and up the texture coordinates; the two hidden channels below 0 are
// the illumination and alpha values, which caches never store.
inline constexpr int NUM_HIDDENMAPS = 2;
inline constexpr int MAX_MESHMAPS = 100;
inline constexpr int MAP_SHADING = -1;
inline constexpr int MAP_ALPHA = -2;

class MeshMap {
public:
    // A used (supported) channel has one map face for each face of its mesh.
    bool IsUsed() const { return used; }
    void SetUsed(bool on) { used = on; }

    int getNumVerts() const { return static_cast<int>(verts.size()); }
    int getNumFaces() const { return static_cast<int>(faces.size()); }
    // keep false zeroes all entries; keep true preserves the entries below the new size and
    // zeroes the new ones. A call with the current size and keep true allocates nothing.
    void setNumVerts(int n, bool keep);
    void setNumFaces(int n, bool keep);

    UVVert& getVert(int i) { return verts[static_cast<std::size_t>(i)]; }
    const UVVert& getVert(int i) const { return verts[static_cast<std::size_t>(i)]; }
    TVFace& getFace(int i) { return faces[static_cast<std::size_t>(i)]; }
    const TVFace& getFace(int i) const { return faces[static_cast<std::size_t>(i)]; }
    // The arrays in place; null when empty.
    UVVert* vertPtr() { return verts.empty() ? nullptr : verts.data(); }
    const UVVert* vertPtr() const { return verts.empty() ? nullptr : verts.data(); }
    TVFace* facePtr() { return faces.empty() ? nullptr : faces.data(); }
    const TVFace* facePtr() const { return faces.empty() ? nullptr : faces.data(); }

    // Unused and empty.
    void Clear();
    // Removes the map faces whose bit is set (in step with the mesh's DeleteFaceSet).
    void DeleteFaceSet(const BitArray& remove);
    // Removes the map vertices that no map face uses and renumbers the map faces. A map index
    // outside the vertices is left as it stands (such a face is broken already).
    void DeleteIsoVerts();

private:
    std::vector<UVVert> verts;
    std::vector<TVFace> faces;
    bool used = false;
};
