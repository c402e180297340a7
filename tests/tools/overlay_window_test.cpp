// The lines the served page draws over the mesh: they keep the colours the object's display
// gives them.
#include "tests/object/CacheObjectFixture.h"
#include "tools/serve/overlay_window.h"

namespace objtest {
namespace {

// The icon is drawn in the line colour of the node's state, as in a viewport, not in the colour
// of the material it is handed.
TEST_F(CacheObjectTest, OverlayIconTakesTheColourOfTheNodesState) {
    useFile(path);
    params().SetValue(P::iconSize, 0, 1.0f);
    auto& n = static_cast<HeadlessNode&>(*node);
    n.SetWireColor(0x0000FF); // red
    struct Case {
        bool selected, frozen;
        std::uint32_t colour;
    } cases[] = {{false, false, 0xFF0000}, {true, false, 0xFFFFFF}, {true, true, 0x808080}};
    for (const Case& c : cases) {
        n.SetSelected(c.selected);
        n.SetFrozen(c.frozen);
        wkserve::OverlayWindow overlay(&object->getMesh());
        wkserve::OverlayView view(overlay);
        object->Display(0, node, &view, 0);
        ASSERT_FALSE(overlay.Segments().empty());
        for (const auto& segment : overlay.Segments())
            ASSERT_EQ(segment.colour, c.colour) << c.selected << c.frozen;
    }
}

} // namespace
} // namespace objtest
