#include "tools/serve/frame_buffer.h"

#include <cstring>

namespace wkserve {

namespace {

void Put(std::string& out, const void* data, std::size_t bytes) {
    out.append(static_cast<const char*>(data), bytes);
}
void PutWord(std::string& out, std::uint32_t word) {
    Put(out, &word, 4);
}
void PutPoint(std::string& out, const Point3& p) {
    const float xyz[3] = {p.x, p.y, p.z};
    Put(out, xyz, sizeof xyz);
}

bool Drawable(const Face& face, std::uint32_t verts) {
    return !face.Hidden() && face.v[0] < verts && face.v[1] < verts && face.v[2] < verts;
}

// FNV-1a over the overlay's bytes, 0 for no overlay.
std::uint32_t OverlayKey(const FrameContent& content) {
    std::uint32_t key = 0x811c9dc5u;
    const auto mix = [&key](const void* data, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i) {
            key ^= static_cast<const unsigned char*>(data)[i];
            key *= 0x01000193u;
        }
    };
    std::size_t items = 0;
    if (content.markers != nullptr) {
        items += content.markers->size();
        mix(content.markers->data(), content.markers->size() * sizeof(Point3));
    }
    if (content.segments != nullptr) {
        items += content.segments->size();
        for (const OverlayWindow::Segment& s : *content.segments) {
            mix(&s.a, sizeof s.a);
            mix(&s.b, sizeof s.b);
            mix(&s.colour, sizeof s.colour);
        }
    }
    return items == 0 ? 0 : key == 0 ? 1 : key;
}

} // namespace

std::uint64_t TopologyKey(const Mesh& mesh) {
    // FNV-1a: the key only has to tell two topologies apart, and 0 stays "none".
    std::uint64_t key = 0xcbf29ce484222325ull;
    const auto mix = [&key](std::uint32_t word) {
        for (int i = 0; i < 4; ++i) {
            key ^= (word >> (8 * i)) & 0xFFu;
            key *= 0x100000001b3ull;
        }
    };
    mix(static_cast<std::uint32_t>(mesh.getNumVerts()));
    mix(static_cast<std::uint32_t>(mesh.getNumFaces()));
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const Face& face = mesh.getFace(f);
        mix(face.v[0]);
        mix(face.v[1]);
        mix(face.v[2]);
        mix(face.flags & (FACE_HIDDEN | (FACE_MATID_MASK << FACE_MATID_SHIFT)));
    }
    return key == 0 ? 1 : key;
}

std::string EncodeFrame(const FrameContent& content, std::uint64_t knownTopology,
                        std::uint32_t knownOverlay) {
    const Mesh* mesh =
        content.mesh != nullptr && content.mesh->getNumVerts() > 0 ? content.mesh : nullptr;
    const std::uint64_t key = mesh != nullptr ? TopologyKey(*mesh) : 0;
    const std::uint32_t kind = mesh == nullptr        ? kFrameEmpty
                               : key == knownTopology ? kFramePositions
                                                      : kFrameFull;
    const auto verts = mesh != nullptr ? static_cast<std::uint32_t>(mesh->getNumVerts()) : 0u;
    std::uint32_t faces = 0;
    if (kind == kFrameFull)
        for (int f = 0; f < mesh->getNumFaces(); ++f)
            faces += Drawable(mesh->getFace(f), verts) ? 1 : 0;
    const std::uint32_t overlay = OverlayKey(content);
    const bool sendOverlay = overlay != knownOverlay;
    const std::size_t markers =
        sendOverlay && content.markers != nullptr ? content.markers->size() : 0;
    const std::size_t segments =
        sendOverlay && content.segments != nullptr ? content.segments->size() : 0;

    std::string out;
    out.reserve(kFrameHeaderBytes + verts * 12u + faces * 16u + markers * 12u + segments * 28u);
    for (const std::uint32_t word :
         {kFrameMagic, kind, static_cast<std::uint32_t>(content.time), verts, faces,
          static_cast<std::uint32_t>(markers), static_cast<std::uint32_t>(segments),
          static_cast<std::uint32_t>(key), static_cast<std::uint32_t>(key >> 32), overlay})
        PutWord(out, word);
    for (int row = 0; row < 4; ++row)
        PutPoint(out, content.objectTM.GetRow(row));
    if (mesh != nullptr)
        Put(out, mesh->getVertPtr(0), verts * sizeof(Point3));
    if (kind == kFrameFull) {
        for (int f = 0; f < mesh->getNumFaces(); ++f)
            if (const Face& face = mesh->getFace(f); Drawable(face, verts))
                Put(out, face.v, sizeof face.v);
        for (int f = 0; f < mesh->getNumFaces(); ++f)
            if (const Face& face = mesh->getFace(f); Drawable(face, verts))
                PutWord(out, face.getMatID());
    }
    for (std::size_t i = 0; i < markers; ++i)
        PutPoint(out, (*content.markers)[i]);
    for (std::size_t i = 0; i < segments; ++i) {
        const OverlayWindow::Segment& s = (*content.segments)[i];
        PutPoint(out, s.a);
        PutPoint(out, s.b);
        PutWord(out, s.colour);
    }
    return out;
}

} // namespace wkserve
