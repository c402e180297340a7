// The host's triangle mesh: vertices, faces, map channels, specified normals, a face
// selection, and the normals derived from smoothing groups.
//
// Vertices and faces are contiguous arrays that are written in place on the playback path:
// nothing here allocates unless a count changes, and writing through getVert / getVertPtr
// does not invalidate anything by itself (call InvalidateGeomCache after such writes, as the
// host expects).
#pragma once

#include "host/BitArray.h"
#include "host/Box3.h"
#include "host/Matrix3.h"
#include "host/MeshFace.h"
#include "host/MeshMap.h"
#include "host/MeshNormalSpec.h"
#include "host/Point.h"

#include <cstdint>
#include <optional>
#include <vector>

class GraphicsWindow;
struct HitRegion;
struct Material;
struct Rect;

// The parts of a mesh that DeepCopy takes, one bit each:
//  TOPO       the faces (count, vertex indices, smoothing groups, the low 16 bits of the flags)
//  GEOM       the vertices
//  TEXMAP     the map channels other than 0 (1 and up, and the hidden ones)
//  MTL        the material ids, the high 16 bits of the face flags
//  SELECT     the face selection
//  VERTCOLOR  map channel 0
//  NORMAL     the specified normals
// Bits that name none of these (the host's sub-object level, display and graphics-cache
// parts, which this mesh does not keep) are accepted and ignored, so the host's full mask
// 0x800027FF copies everything.
inline constexpr std::uint32_t MESH_TOPO_CHANNEL = 1u << 0;
inline constexpr std::uint32_t MESH_GEOM_CHANNEL = 1u << 1;
inline constexpr std::uint32_t MESH_TEXMAP_CHANNEL = 1u << 2;
inline constexpr std::uint32_t MESH_MTL_CHANNEL = 1u << 3;
inline constexpr std::uint32_t MESH_SELECT_CHANNEL = 1u << 4;
inline constexpr std::uint32_t MESH_VERTCOLOR_CHANNEL = 1u << 7;
inline constexpr std::uint32_t MESH_NORMAL_CHANNEL = 1u << 13;
inline constexpr std::uint32_t MESH_ALL_CHANNELS =
    MESH_TOPO_CHANNEL | MESH_GEOM_CHANNEL | MESH_TEXMAP_CHANNEL | MESH_MTL_CHANNEL |
    MESH_SELECT_CHANNEL | MESH_VERTCOLOR_CHANNEL | MESH_NORMAL_CHANNEL;

class Mesh {
public:
    // Empty: no vertices, faces, channels or specified normals. Copies are deep.
    Mesh();

    // ---- Sizes. keep false zeroes the array; keep true preserves what fits and zeroes the
    // rest. The same size with keep true allocates nothing and changes nothing.
    int getNumVerts() const { return static_cast<int>(verts.size()); }
    int getNumFaces() const { return static_cast<int>(faces.size()); }
    // Positions are the only per-vertex data, so synch has nothing to keep in step here.
    void setNumVerts(int n, bool keep = false, bool synch = true);
    // The face selection always follows. synch also sizes the map faces of every supported
    // channel and the specified normals (when they have faces) to n, with the same keep.
    void setNumFaces(int n, bool keep = false, bool synch = true);

    // ---- Vertices and faces, in place.
    Point3& getVert(int i) { return verts[static_cast<std::size_t>(i)]; }
    const Point3& getVert(int i) const { return verts[static_cast<std::size_t>(i)]; }
    void setVert(int i, const Point3& p) { getVert(i) = p; }
    void setVert(int i, float x, float y, float z) { getVert(i) = Point3(x, y, z); }
    // Vertex i and the ones after it, contiguous.
    Point3* getVertPtr(int i) { return verts.data() + i; }
    const Point3* getVertPtr(int i) const { return verts.data() + i; }
    Face& getFace(int i) { return faces[static_cast<std::size_t>(i)]; }
    const Face& getFace(int i) const { return faces[static_cast<std::size_t>(i)]; }
    Face* getFacePtr(int i) { return faces.data() + i; }
    const Face* getFacePtr(int i) const { return faces.data() + i; }

    // One bit per face.
    BitArray& FaceSel() { return faceSel; }
    const BitArray& FaceSel() const { return faceSel; }

    // ---- Map channels, -NUM_HIDDENMAPS to MAX_MESHMAPS - 1 (see MeshMap.h).
    // The count of channels from 0 up; the hidden channels are not counted, and setNumMaps
    // leaves them alone. A negative n means no channels; n is capped at MAX_MESHMAPS. keep
    // false drops the data of every channel from 0 up, keep true only that of the channels at
    // n and above.
    int getNumMaps() const { return static_cast<int>(maps.size()) - NUM_HIDDENMAPS; }
    void setNumMaps(int n, bool keep = false);
    // False for a channel outside the range.
    bool mapSupport(int channel) const;
    // Switching a channel on (from 0 up, growing the count when needed) gives it one zero map
    // face per face and no map vertices; switching it off drops its data. Out of range: ignored.
    void setMapSupport(int channel, bool on = true);
    // The channel itself; the channel must be within the range and the count.
    MeshMap& Map(int channel) { return maps[static_cast<std::size_t>(channel + NUM_HIDDENMAPS)]; }
    const MeshMap& Map(int channel) const {
        return maps[static_cast<std::size_t>(channel + NUM_HIDDENMAPS)];
    }
    // Switches the channel on when it is off.
    void setNumMapVerts(int channel, int n, bool keep = false);
    // 0 and null for an unsupported channel.
    int getNumMapVerts(int channel) const;
    int getNumMapFaces(int channel) const;
    UVVert* mapVerts(int channel);
    const UVVert* mapVerts(int channel) const;
    TVFace* mapFaces(int channel);
    const TVFace* mapFaces(int channel) const;
    // Channel 0 (vertex colours), switched on when off. With keep, setNumVCFaces preserves the
    // first oldCt faces (0: all that fit).
    int getNumVertCol() const { return getNumMapVerts(0); }
    void setNumVertCol(int n, bool keep = false);
    void setNumVCFaces(int n, bool keep = false, int oldCt = 0);

    // ---- Specified normals.
    // Creates an empty spec (no normal faces) unless there is one; the caller sizes it.
    void SpecifyNormals();
    // Null when there are none.
    MeshNormalSpec* GetSpecifiedNormals() { return specNormals ? &*specNormals : nullptr; }
    const MeshNormalSpec* GetSpecifiedNormals() const {
        return specNormals ? &*specNormals : nullptr;
    }
    void ClearSpecifiedNormals() { specNormals.reset(); }

    // ---- Whole-mesh operations.
    // Takes the parts named in `channels` (MESH_*_CHANNEL) from `from` and leaves the others
    // as they are in this mesh. Where the face count changes, parts that were not taken follow
    // it like setNumFaces with keep and synch: kept material ids, map faces and normal faces
    // stay by index and new ones are zero.
    void DeepCopy(const Mesh& from, std::uint32_t channels);
    // Empties everything and releases the memory.
    void FreeAll();

    // The box of all vertices, each through tm when given (null: object space). An empty
    // mesh gives an empty box. Computed at each call, so it is never stale.
    Box3 getBoundingBox(const Matrix3* tm = nullptr) const;

    // ---- Deletion. Bits beyond a set's size count as clear.
    // Removes the faces, together with their map faces in every supported channel, their
    // specified normals and their selection bits. Vertices stay; `isolated`, when given, is
    // sized to the vertices and marks those that no remaining face uses.
    void DeleteFaceSet(const BitArray& faceSet, BitArray* isolated = nullptr);
    // Removes the vertices and every face that uses one of them; faces are renumbered.
    void DeleteVertSet(const BitArray& vertSet);
    // Removes the vertices that no face uses.
    void DeleteIsoVerts();
    // Removes the map vertices that no map face uses, in every supported channel or in one.
    void DeleteIsoMapVerts();
    void DeleteIsoMapVerts(int channel);

    // ---- Normals derived from smoothing groups.
    // Face normals, and one normal for each vertex and each set of its faces joined by shared
    // smoothing-group bits (faces that share a bit, directly or through other faces at that
    // vertex, share a normal: the angle-weighted mean of their face normals). A face with
    // smoothing group 0 gets its own face normal at each corner.
    void buildNormals();
    // buildNormals unless the normals are current.
    void checkNormals();
    bool normalsBuilt() const { return normalsValid; }
    // The accessors below need current normals (buildNormals or checkNormals).
    const Point3& getFaceNormal(int face) const {
        return faceNormals[static_cast<std::size_t>(face)];
    }
    int getNumNormals() const { return static_cast<int>(normals.size()); }
    const Point3& getNormalByID(int id) const { return normals[static_cast<std::size_t>(id)]; }
    // Corners that share a normal share its id: exporters can index normals by it.
    int getNormalID(int face, int corner) const {
        return cornerNormalIDs[static_cast<std::size_t>(face) * 3 +
                               static_cast<std::size_t>(corner)];
    }
    const Point3& getNormal(int face, int corner) const {
        return getNormalByID(getNormalID(face, corner));
    }
    // What a renderer shows at the corner: the specified normal where the corner has a fixed
    // one, the face normal where it is specified without a value, else getNormal.
    Point3 getRenderNormal(int face, int corner) const;

    // ---- Viewport: drawn and hit tested by the window (GraphicsWindow::renderMesh, selectMesh).
    void render(GraphicsWindow* gw, const Material* materials, const Rect* damage, int compFlags,
                int numMaterials = 1);
    bool select(GraphicsWindow* gw, const Material* materials, const HitRegion* region,
                bool abortOnHit, int numMaterials = 1);

    // Strips and edge lists are not kept: nothing to build.
    void BuildStripsAndEdges() {}
    // Both drop the derived normals; nothing else is derived and kept.
    void InvalidateGeomCache() { dropNormals(); }
    void InvalidateTopologyCache() { dropNormals(); }

private:
    void dropNormals();
    // Keeps the vertices flagged in keep and renumbers the faces; faces must not use a
    // dropped vertex.
    void compactVerts(const std::vector<bool>& keep);
    // Map faces of supported channels and faces of the specified normals sized to the faces.
    void synchFaceArrays(bool keep);

    std::vector<Point3> verts;
    std::vector<Face> faces;
    std::vector<MeshMap> maps; // channel c at c + NUM_HIDDENMAPS
    BitArray faceSel;
    std::optional<MeshNormalSpec> specNormals;

    // Derived by buildNormals.
    bool normalsValid = false;
    std::vector<Point3> faceNormals;
    std::vector<Point3> normals;
    std::vector<int> cornerNormalIDs;
};
