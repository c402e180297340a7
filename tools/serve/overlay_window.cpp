#include "tools/serve/overlay_window.h"

#include <algorithm>

namespace wkserve {

std::uint32_t PackColour(const Point3& c) {
    const auto channel = [](float v) {
        return static_cast<std::uint32_t>(std::clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f);
    };
    return (channel(c.x) << 16) | (channel(c.y) << 8) | channel(c.z);
}

Point3 OverlayWindow::GetUIColor(int which) const {
    // The viewport's colour table: white selection, grey frozen, as the headless viewport.
    return which == COLOR_SELECTION ? Point3(1.0f, 1.0f, 1.0f) : Point3(0.5f, 0.5f, 0.5f);
}

void OverlayWindow::setColor(ColorType type, const Point3& colour) {
    if (type == LINE_COLOR)
        line = colour;
}

void OverlayWindow::addSegment(const Point3& a, const Point3& b, std::uint32_t colour) {
    segments.push_back({a * transform, b * transform, colour});
}

void OverlayWindow::polyline(int ct, const Point3* xyz, bool closed) {
    const std::uint32_t colour = PackColour(line);
    for (int i = 1; i < ct; ++i)
        addSegment(xyz[i - 1], xyz[i], colour);
    if (closed && ct > 2)
        addSegment(xyz[ct - 1], xyz[0], colour);
}

void OverlayWindow::renderMesh(Mesh& mesh, const Material*, int, const Rect*, int) {
    if (&mesh == skipped)
        return;
    // Drawn as wire: the visible edges of the faces that are shown, in the line colour, as a
    // viewport draws wire. The icon is handed the node's material whatever the node's state.
    const std::uint32_t colour = PackColour(line);
    const int verts = mesh.getNumVerts();
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const Face& face = mesh.getFace(f);
        if (face.Hidden())
            continue;
        for (int e = 0; e < 3; ++e) {
            const std::uint32_t a = face.v[e], b = face.v[(e + 1) % 3];
            if (face.getEdgeVis(e) && a < static_cast<std::uint32_t>(verts) &&
                b < static_cast<std::uint32_t>(verts))
                addSegment(mesh.getVert(static_cast<int>(a)), mesh.getVert(static_cast<int>(b)),
                           colour);
        }
    }
}

} // namespace wkserve
