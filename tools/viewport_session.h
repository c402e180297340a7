// A cache object shown in a headless viewport: what `wkcache render` and `wkcache pick` share.
// The options pick the view (a named view or a scene camera), the image size, the sub-object
// level, the selected elements and wire mode; the view frames the object's world bounds.
#pragma once

#include "host/headless/HeadlessGraphicsWindow.h"
#include "tools/frame_session.h"

#include <string>
#include <vector>

namespace wkcli {

struct ViewOptions {
    std::string view = "persp"; // persp, front, top, left, or a camera node of the scene
    std::string size = "640x480";
    std::string level = "object"; // object, elements, gizmo
    std::string select;           // element indices I,J,...
    bool wire = false;
};

void addViewOptions(CLI::App& command, ViewOptions& options);

class ViewportSession {
public:
    // Throws CommandError (usage) for a bad option; sets the level and the selection.
    ViewportSession(FrameSession& session, const ViewOptions& options);

    // Places the camera to frame the object's world bounds over these times. Over several (a
    // sequence, which evaluates every one of them) it shows its progress on the terminal and
    // stops at Ctrl-C or Escape: false then, with the camera not placed.
    bool frame(const std::vector<TimeValue>& times);
    // Evaluates the object at t and draws it on a fresh image; false when the object cannot
    // play its file.
    bool draw(TimeValue t);

    HeadlessGraphicsWindow& window() { return gw; }
    HeadlessViewExp& view() { return vpt; }
    INode& node() { return *objectNode; }
    int level() const { return subLevel; }

private:
    FrameSession& session;
    ViewOptions options;
    HeadlessGraphicsWindow gw;
    HeadlessViewExp vpt{gw};
    INode* objectNode = nullptr;
    int subLevel = 0;
};

// "WxH" into two sizes from 1 to 4096; false when it is not that.
bool ParseSize(const std::string& text, int& width, int& height);

} // namespace wkcli
