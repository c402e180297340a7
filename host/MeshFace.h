// The faces of a triangle mesh: Face (three vertices, smoothing groups, a flags word) and
// TVFace (three map vertices). Both are plain records, stored contiguously by the mesh.
#pragma once

#include <cstdint>

// A material id: 16 bits, zero-based.
using MtlID = std::uint16_t;

// Face flags. Bits 0-2 are the visibility of edges 0 (v0-v1), 1 (v1-v2) and 2 (v2-v0);
// bit 3 hides the face; the high 16 bits hold the material id. Other bits are kept as given.
inline constexpr std::uint32_t EDGE_A = 1u;
inline constexpr std::uint32_t EDGE_B = 2u;
inline constexpr std::uint32_t EDGE_C = 4u;
inline constexpr std::uint32_t EDGE_ALL = EDGE_A | EDGE_B | EDGE_C;
inline constexpr std::uint32_t FACE_HIDDEN = 8u;
inline constexpr int FACE_MATID_SHIFT = 16;
inline constexpr std::uint32_t FACE_MATID_MASK = 0xFFFFu;

// Values of one edge for setEdgeVisFlags.
inline constexpr int EDGE_INVIS = 0;
inline constexpr int EDGE_VIS = 1;

class Face {
public:
    std::uint32_t v[3] = {0, 0, 0};
    std::uint32_t smGroup = 0;
    std::uint32_t flags = 0;

    void setVerts(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        v[0] = a;
        v[1] = b;
        v[2] = c;
    }
    void setVerts(const std::uint32_t* vv) { setVerts(vv[0], vv[1], vv[2]); }
    void setVert(int corner, std::uint32_t index) { v[corner] = index; }
    std::uint32_t getVert(int corner) const { return v[corner]; }
    std::uint32_t* getAllVerts() { return v; }
    const std::uint32_t* getAllVerts() const { return v; }

    void setSmGroup(std::uint32_t groups) { smGroup = groups; }
    std::uint32_t getSmGroup() const { return smGroup; }

    // Writes the id into the high 16 bits; the low 16 bits stay.
    void setMatID(MtlID id) {
        flags = (flags & FACE_MATID_MASK) | (static_cast<std::uint32_t>(id) << FACE_MATID_SHIFT);
    }
    MtlID getMatID() const { return static_cast<MtlID>(flags >> FACE_MATID_SHIFT); }

    // One value per edge, EDGE_VIS or EDGE_INVIS (any non-zero counts as visible).
    void setEdgeVisFlags(int va, int vb, int vc) {
        setEdgeVis(0, va);
        setEdgeVis(1, vb);
        setEdgeVis(2, vc);
    }
    void setEdgeVis(int edge, int visible) {
        const std::uint32_t bit = 1u << edge;
        flags = visible ? (flags | bit) : (flags & ~bit);
    }
    int getEdgeVis(int edge) const { return (flags >> edge) & 1u ? EDGE_VIS : EDGE_INVIS; }
    // Bits 0-2 of the flags.
    std::uint32_t getEdgeVisFlags() const { return flags & EDGE_ALL; }

    void Hide() { flags |= FACE_HIDDEN; }
    void Show() { flags &= ~FACE_HIDDEN; }
    void SetHide(bool hidden) { hidden ? Hide() : Show(); }
    bool Hidden() const { return (flags & FACE_HIDDEN) != 0; }
};

// A map face: indices into the map vertices of one channel, corner by corner like Face::v.
class TVFace {
public:
    std::uint32_t t[3] = {0, 0, 0};

    void setTVerts(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        t[0] = a;
        t[1] = b;
        t[2] = c;
    }
    void setTVert(int corner, std::uint32_t index) { t[corner] = index; }
    void setTVerts(const std::uint32_t* tt) { setTVerts(tt[0], tt[1], tt[2]); }
    std::uint32_t getTVert(int corner) const { return t[corner]; }
    std::uint32_t* getAllTVerts() { return t; }
    const std::uint32_t* getAllTVerts() const { return t; }
};

static_assert(sizeof(Face) == 20, "faces are stored back to back without padding");
static_assert(sizeof(TVFace) == 12, "map faces are three raw indices");
