// The binary frames the browser plays: little-endian 32-bit words, floats in single precision.
//
//   header   10 words: magic "WKF1", kind, time (ticks), vertex count, face count, marker
//            count, segment count, topology key (low, high), overlay key
//   tm       12 floats: object to world, rows x, y, z and the translation
//   vertices 3 floats each, object space
//   faces    (kind 1 only) 3 vertex indices each, then one material id each
//   markers  3 floats each, world space
//   segments 6 floats (two world points) and a colour 0xRRGGBB each
//
// Kind 0: nothing to show (no vertices); 1: the whole mesh; 2: the fast path, when the topology
// key matches the one the page holds: the vertices only, moved in place. Hidden faces are left
// out of the faces, and so are faces whose corners name no vertex.
#pragma once

#include "host/Mesh.h"
#include "host/Time.h"
#include "tools/serve/overlay_window.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wkserve {

inline constexpr std::uint32_t kFrameMagic = 0x31464B57; // "WKF1"
enum FrameKind : std::uint32_t { kFrameEmpty = 0, kFrameFull = 1, kFramePositions = 2 };
inline constexpr std::size_t kFrameHeaderBytes = 40 + 48;

// What the faces of `mesh` are: counts, corners, hiding and material ids. Equal keys: the page
// can keep its faces and take new vertices.
std::uint64_t TopologyKey(const Mesh& mesh);

struct FrameContent {
    const Mesh* mesh = nullptr; // null: nothing to show
    Matrix3 objectTM{true};
    TimeValue time = 0;
    const std::vector<OverlayWindow::Segment>* segments = nullptr;
    const std::vector<Point3>* markers = nullptr;
};

// The frame for a page that holds the faces of `knownTopology` and the overlay of
// `knownOverlay` (0: none).
std::string EncodeFrame(const FrameContent& content, std::uint64_t knownTopology,
                        std::uint32_t knownOverlay);

} // namespace wkserve
