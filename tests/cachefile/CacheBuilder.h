// Hand-built .wkc files for the reader's tests: a byte writer, a cache description that is
// written byte by byte in the format's layout (with the offsets of its parts, for tests that
// break one), the version 3 patch, and a temporary folder that cleans up after itself.
#pragma once

#include "host/Point.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace cachetest {

using Bytes = std::vector<std::uint8_t>;

// Little-endian appends and patches.
inline void putU8(Bytes& b, std::uint8_t v) {
    b.push_back(v);
}
inline void putU16(Bytes& b, std::uint16_t v) {
    b.push_back(static_cast<std::uint8_t>(v));
    b.push_back(static_cast<std::uint8_t>(v >> 8));
}
inline void putU32(Bytes& b, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}
inline void putI32(Bytes& b, std::int32_t v) {
    putU32(b, static_cast<std::uint32_t>(v));
}
inline void putF32(Bytes& b, float v) {
    std::uint32_t u;
    std::memcpy(&u, &v, 4);
    putU32(b, u);
}
inline void putVec3(Bytes& b, const Point3& p) {
    putF32(b, p.x);
    putF32(b, p.y);
    putF32(b, p.z);
}
inline void patchI32(Bytes& b, std::size_t at, std::int32_t v) {
    const auto u = static_cast<std::uint32_t>(v);
    for (int i = 0; i < 4; ++i)
        b[at + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(u >> (8 * i));
}

struct FaceSpec {
    std::uint16_t matID = 0;
    std::uint32_t smGroup = 1;
    std::uint8_t edges = 7;
    std::uint8_t selected = 0;
    std::array<std::uint32_t, 3> v{0, 1, 2};
    std::array<Point3, 3> normals{};
};

struct ChannelSpec {
    std::int32_t channel = 1;
    std::vector<Point3> verts;
    // One map face per face of the node; missing ones are written as zeros.
    std::vector<std::array<std::uint32_t, 3>> faces;
};

struct NodeSpec {
    std::string name = "node";
    Point3 boxMin{-1, -1, -1};
    Point3 boxMax{1, 1, 1};
    std::vector<Point3> verts;
    std::vector<FaceSpec> faces;
    std::vector<ChannelSpec> channels; // written in this order in the node record
    std::uint8_t hasSpecifiedNormals = 0;
};

// One sample record: the 12 floats of the transform in row order, and the visible byte.
struct SampleSpec {
    std::array<float, 12> m{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    std::uint8_t visible = 1;
};

// A translation by (x, y, z), which makes each row of a test easy to tell apart.
inline SampleSpec moved(float x, float y, float z, std::uint8_t visible = 1) {
    SampleSpec s;
    s.m[9] = x;
    s.m[10] = y;
    s.m[11] = z;
    s.visible = visible;
    return s;
}

// A unit triangle node with `faceCount` faces over 3 vertices.
inline NodeSpec triangleNode(const std::string& name, int faceCount = 1) {
    NodeSpec n;
    n.name = name;
    n.verts = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    n.faces.resize(static_cast<std::size_t>(faceCount));
    return n;
}

struct CacheSpec {
    std::uint8_t version = 2;
    std::uint8_t reservedByte = 0xAB; // arbitrary in a version 2 file
    std::int32_t cacheStart = 0;
    std::int32_t cacheEnd = 320;
    std::int32_t stepSize = 160;
    std::int32_t frameRate = 30;
    std::vector<NodeSpec> nodes;
    // samples[s][n]; the count and the stride follow unless given.
    std::vector<std::vector<SampleSpec>> samples;
    std::optional<std::int32_t> numSamples;
    std::optional<std::int32_t> sampleStride;
    // The table starts here when given, behind zero padding (a file without nodes needs one:
    // the table must lie behind offset 256).
    std::optional<std::int32_t> sampleTableOffset;
    std::uint8_t hasVisibility = 0;
};

// Where the parts of a built file start.
struct Layout {
    std::vector<std::size_t> nodeRecords;
    std::vector<std::size_t> vertices;
    std::vector<std::size_t> faces;
    std::map<std::pair<std::int32_t, std::size_t>, std::size_t> mapVertices; // (channel, node)
    std::size_t sampleTable = 0;
};

inline Bytes buildCache(const CacheSpec& spec, Layout* layout = nullptr) {
    Layout out;
    Bytes b(256, 0);
    std::memcpy(b.data(), "WKCACHE", 7);
    b[7] = spec.version;
    b[8] = spec.reservedByte;
    const auto numNodes = static_cast<std::int32_t>(spec.nodes.size());
    const std::int32_t stride = spec.sampleStride.value_or(numNodes * 49);
    const std::int32_t numSamples =
        spec.numSamples.value_or(static_cast<std::int32_t>(spec.samples.size()));
    patchI32(b, 9, spec.cacheStart);
    patchI32(b, 13, spec.cacheEnd);
    patchI32(b, 17, spec.stepSize);
    patchI32(b, 21, spec.frameRate);
    patchI32(b, 25, numNodes);
    patchI32(b, 29, numSamples);
    patchI32(b, 33, stride);
    patchI32(b, 37, 256);
    b[45] = spec.hasVisibility;

    for (const NodeSpec& n : spec.nodes) {
        out.nodeRecords.push_back(b.size());
        putI32(b, static_cast<std::int32_t>(n.name.size()));
        b.insert(b.end(), n.name.begin(), n.name.end());
        putVec3(b, n.boxMin);
        putVec3(b, n.boxMax);
        putI32(b, static_cast<std::int32_t>(n.verts.size()));
        putI32(b, static_cast<std::int32_t>(n.faces.size()));
        putI32(b, static_cast<std::int32_t>(n.channels.size()));
        for (const ChannelSpec& c : n.channels) {
            putI32(b, c.channel);
            putI32(b, static_cast<std::int32_t>(c.verts.size()));
        }
        if (spec.version >= 2)
            putU8(b, n.hasSpecifiedNormals);
    }
    for (const NodeSpec& n : spec.nodes) {
        out.vertices.push_back(b.size());
        for (const Point3& p : n.verts)
            putVec3(b, p);
        out.faces.push_back(b.size());
        for (const FaceSpec& f : n.faces) {
            putU16(b, f.matID);
            putU32(b, f.smGroup);
            putU8(b, f.edges);
            putU8(b, f.selected);
            for (std::uint32_t v : f.v)
                putU32(b, v);
            const int normals = spec.version == 1 ? 1 : 3;
            for (int i = 0; i < normals; ++i)
                putVec3(b, f.normals[static_cast<std::size_t>(i)]);
        }
    }
    std::set<std::int32_t> channels;
    for (const NodeSpec& n : spec.nodes)
        for (const ChannelSpec& c : n.channels)
            channels.insert(c.channel);
    for (std::int32_t channel : channels) {
        for (std::size_t i = 0; i < spec.nodes.size(); ++i) {
            const NodeSpec& n = spec.nodes[i];
            for (const ChannelSpec& c : n.channels) {
                if (c.channel != channel)
                    continue;
                out.mapVertices[{channel, i}] = b.size();
                for (const Point3& p : c.verts)
                    putVec3(b, p);
                for (std::size_t f = 0; f < n.faces.size(); ++f)
                    for (int k = 0; k < 3; ++k)
                        putU32(b,
                               f < c.faces.size() ? c.faces[f][static_cast<std::size_t>(k)] : 0u);
                break; // a channel listed twice has one entry in the map section
            }
        }
    }
    if (spec.sampleTableOffset && static_cast<std::size_t>(*spec.sampleTableOffset) > b.size())
        b.resize(static_cast<std::size_t>(*spec.sampleTableOffset), 0);
    out.sampleTable = b.size();
    patchI32(b, 41, static_cast<std::int32_t>(b.size()));
    for (const auto& row : spec.samples) {
        for (const SampleSpec& r : row) {
            for (float f : r.m)
                putF32(b, f);
            putU8(b, r.visible);
        }
    }
    if (layout != nullptr)
        *layout = out;
    return b;
}

// The element block of a version 3 file.
struct ElementBlockSpec {
    std::int32_t frameCount = 0;
    std::vector<std::int32_t> elementPointCounts;
    std::vector<std::int32_t> keyFrames;
    std::vector<std::vector<Point3>> keys; // per key frame, all points
};

inline Bytes buildElementBlock(const ElementBlockSpec& spec) {
    Bytes b;
    std::int32_t points = 0;
    for (std::int32_t c : spec.elementPointCounts)
        points += c;
    putI32(b, spec.frameCount);
    putI32(b, static_cast<std::int32_t>(spec.keyFrames.size()));
    putI32(b, points);
    putI32(b, static_cast<std::int32_t>(spec.elementPointCounts.size()));
    for (std::int32_t c : spec.elementPointCounts)
        putI32(b, c);
    for (std::int32_t k : spec.keyFrames)
        putI32(b, k);
    for (const auto& key : spec.keys)
        for (const Point3& p : key)
            putVec3(b, p);
    return b;
}

// What appending the block does to a version 2 file: the version patched with a 4-byte write
// (which also clears byte 8 and the low 16 bits of cacheStart), the old size twice at 46, and
// the block at the old end.
inline void appendElementBlock(Bytes& file, const Bytes& block) {
    const auto size = static_cast<std::int32_t>(file.size());
    patchI32(file, 7, 3);
    patchI32(file, 46, size);
    patchI32(file, 50, size);
    file.insert(file.end(), block.begin(), block.end());
}

inline void writeFile(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

// A fresh folder under the system's temporary directory, removed with everything in it.
class TempDir {
public:
    TempDir() {
        static std::atomic<int> counter{0};
        std::random_device rd;
        path_ = std::filesystem::temp_directory_path() /
                ("wkcache-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) +
                 "-" + std::to_string(rd()));
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path file(const std::string& name) const { return path_ / name; }
    // Writes a file and answers its path as the reader takes it.
    std::string write(const std::string& name, const Bytes& bytes) const {
        writeFile(file(name), bytes);
        return file(name).string();
    }

private:
    std::filesystem::path path_;
};

} // namespace cachetest
