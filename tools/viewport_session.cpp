#include "tools/viewport_session.h"

#include "tools/cli_common.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace wkcli {

namespace {

const Point3 kBackground{0.27f, 0.28f, 0.31f};

std::pair<int, int> SizeOf(const ViewOptions& options) {
    int w = 0;
    int h = 0;
    if (!ParseSize(options.size, w, h))
        throw CommandError(kExitUsage, "--size: expected WxH from 1x1 to 4096x4096, got \"" +
                                           options.size + "\"");
    return {w, h};
}

int LevelOf(const std::string& level) {
    if (level == "object")
        return 0;
    if (level == "elements")
        return 1;
    if (level == "gizmo")
        return 2;
    throw CommandError(kExitUsage,
                       "--level: expected object, elements or gizmo, got \"" + level + "\"");
}

} // namespace

bool ParseSize(const std::string& text, int& width, int& height) {
    std::istringstream in(text);
    char x = 0;
    if (!(in >> width >> x >> height) || x != 'x' || !in.eof())
        return false;
    return width >= 1 && height >= 1 && width <= 4096 && height <= 4096;
}

void addViewOptions(CLI::App& command, ViewOptions& options) {
    command.add_option("--view", options.view,
                       "persp, front, top, left, or the name of a camera node of the scene "
                       "(default persp)");
    command.add_option("--size", options.size, "Image size WxH in pixels (default 640x480)");
    command.add_option("--level", options.level,
                       "Sub-object level: object, elements (element boxes) or gizmo");
    command.add_option("--select", options.select, "Selected elements, 0-based: I,J,...");
    command.add_flag("--wire", options.wire, "Wireframe viewport");
}

ViewportSession::ViewportSession(FrameSession& session_, const ViewOptions& options_)
    : session(session_), options(options_), gw(SizeOf(options_).first, SizeOf(options_).second) {
    const std::vector<INode*> nodes = session.host().Nodes().NodesReferencing(&session.object());
    if (nodes.empty())
        throw CommandError(kExitBadInput, "the cache object has no node");
    objectNode = nodes.front();
    subLevel = LevelOf(options.level);
    wkCache_obj& object = session.object();
    XFormModes modes;
    object.enterSubLevel(subLevel, modes);
    if (!options.select.empty()) {
        HitLog picked;
        std::istringstream in(options.select);
        std::string item;
        while (std::getline(in, item, ',')) {
            std::size_t used = 0;
            int index = -1;
            try {
                index = std::stoi(item, &used);
            } catch (const std::exception&) {
                used = 0;
            }
            if (used != item.size() || item.empty() || index < 0)
                throw CommandError(kExitUsage, "--select: expected element indices I,J,..., got \"" +
                                                   options.select + "\"");
            picked.LogHit(objectNode, nullptr, 0, static_cast<std::uint32_t>(index));
        }
        object.selectHitElements(picked.First(), true, true);
    }
    if (options.wire)
        gw.setRndLimits(gw.getRndLimits() | GW_WIREFRAME);
}

bool ViewportSession::frame(const std::vector<TimeValue>& times) {
    Box3 bounds;
    TerminalSession& terminal = session.terminal();
    const bool sequence = times.size() > 1;
    const auto count = static_cast<long long>(times.size());
    for (long long i = 0; i < count; ++i) {
        const TimeValue t = times[static_cast<std::size_t>(i)];
        if (session.evaluate(t)) {
            Box3 box;
            session.object().GetWorldBoundBox(t, objectNode, &vpt, box);
            bounds += box;
        }
        if (sequence) {
            terminal.showProgress("Framing", i + 1, count);
            if (terminal.cancelled()) {
                terminal.endProgress();
                return false;
            }
        }
    }
    const TimeValue t = times.empty() ? 0 : times.front();
    static const std::pair<const char*, HeadlessView> named[] = {
        {"persp", HeadlessView::Perspective},
        {"front", HeadlessView::Front},
        {"top", HeadlessView::Top},
        {"left", HeadlessView::Left}};
    for (const auto& [name, view] : named)
        if (options.view == name) {
            gw.SetCamera(FrameBounds(view, bounds, gw.Width(), gw.Height()));
            return true;
        }
    HeadlessNode* camera = session.host().Nodes().FindNode(WStr::FromUTF8(options.view));
    if (camera == nullptr)
        throw CommandError(kExitUsage, "--view: expected persp, front, top, left or a node of "
                                       "the scene, got \"" +
                                           options.view + "\"");
    gw.SetCamera(CameraFromNode(*camera, t, bounds));
    return true;
}

bool ViewportSession::draw(TimeValue t) {
    if (!session.evaluate(t))
        return false;
    gw.Clear(kBackground);
    // As a host's viewport does: through the object's display interface.
    auto* display = static_cast<MaxSDK::Graphics::IObjectDisplay2*>(
        session.object().GetInterface(MaxSDK::Graphics::IOBJECT_DISPLAY2_INTERFACE_ID));
    const MaxSDK::Graphics::UpdateDisplayContext redraw{t};
    MaxSDK::Graphics::UpdateNodeContext node{objectNode, &vpt, 0};
    return display->PrepareDisplay(redraw) && display->UpdatePerNodeItems(redraw, node);
}

} // namespace wkcli
