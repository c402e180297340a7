// The binary scene file (.wks): a whole headless scene in the chunked container of
// host/headless/HeadlessChunkFile.h. docs/scene-binary.md lays out every chunk.
//
// The host writes the clock, the materials the nodes use and the nodes with their tracks,
// flags and objects; a plug-in object (the cache object) is made again by its class id through
// the plug-in manager, gets its own chunks through its Load and then its references: the
// parameter block, animated parameters and tables included, and the gizmo's tracks. Nodes are
// referred to by their place in the file.
#pragma once

#include "tools/common/scene_file.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wkcli {

// The chunk ids of a scene file.
namespace SceneChunk {
inline constexpr std::uint16_t header = 0x4B57; // the bytes "WK": first in every file
inline constexpr std::uint16_t materials = 0x0002;
inline constexpr std::uint16_t nodes = 0x0003;
inline constexpr std::uint16_t material = 0x0010;
inline constexpr std::uint16_t materialName = 0x0011;
inline constexpr std::uint16_t materialSubs = 0x0012;
inline constexpr std::uint16_t node = 0x0020;
inline constexpr std::uint16_t nodeName = 0x0021;
inline constexpr std::uint16_t nodeSettings = 0x0022;
inline constexpr std::uint16_t position = 0x0023;
inline constexpr std::uint16_t rotation = 0x0024;
inline constexpr std::uint16_t scale = 0x0025;
inline constexpr std::uint16_t visibility = 0x0026;
inline constexpr std::uint16_t transform = 0x0027;
inline constexpr std::uint16_t object = 0x0030;
inline constexpr std::uint16_t objectClass = 0x0031;
inline constexpr std::uint16_t mesh = 0x0040;
inline constexpr std::uint16_t deformKey = 0x0041;
inline constexpr std::uint16_t topologyState = 0x0042;
inline constexpr std::uint16_t stateTime = 0x0043;
inline constexpr std::uint16_t spline = 0x0044;
inline constexpr std::uint16_t farAttenuation = 0x0045;
inline constexpr std::uint16_t pluginData = 0x0050;
inline constexpr std::uint16_t paramBlock = 0x0051;
inline constexpr std::uint16_t param = 0x0052;
inline constexpr std::uint16_t gizmo = 0x0053;
inline constexpr std::uint16_t positionKeys = 0x0060;
inline constexpr std::uint16_t rotationKeys = 0x0061;
inline constexpr std::uint16_t scaleKeys = 0x0062;
inline constexpr std::uint16_t visibilityKeys = 0x0063;
} // namespace SceneChunk

inline constexpr std::uint32_t kBinarySceneVersion = 1;

// Whether `bytes` start as a binary scene file does (rather than as JSON text).
bool IsBinaryScene(std::string_view bytes);
// Whether the bytes start as a .wkc cache does ("WKCACHE"): its first two bytes are those of a
// binary scene, so a cache given as a scene is told by this first.
bool IsCacheFile(std::string_view bytes);

// The scene of `host` as a binary scene file. The cache objects trim their groups to their
// caches as they save. Throws SceneFileError for an object class the file cannot hold.
std::vector<std::uint8_t> SaveSceneBinary(HeadlessHost& host);

// Builds the scene of `bytes` into `host`, which should be fresh. A damaged or truncated file
// is a SceneFileError that says where; nothing is allocated beyond what the bytes can hold.
LoadedScene LoadSceneBinary(std::span<const std::uint8_t> bytes, HeadlessHost& host);

} // namespace wkcli
