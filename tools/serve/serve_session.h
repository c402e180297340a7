// The scene behind `wkcache serve`: one headless host with a cache object whose panel is open,
// served to any number of pages. Every call comes from an HTTP handler thread and runs on the
// scene thread; `version` counts the changes, so a page knows when to read the state again.
//
// The host's modal dialogs and questions stay open between requests: the dialog shows in the
// state until the page answers it with more actions (or /answer for a question). File dialogs
// accept only files inside the served folder.
#pragma once

#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"
#include "tools/serve/scene_thread.h"
#include "tools/serve/served_folder.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace wkserve {

class ServeSession {
public:
    // `host` is installed and holds `object` in `node`; the session opens the object's panel
    // and closes it again when it ends.
    ServeSession(HeadlessHost& host, wkCache_obj& object, INode& node, const ServedFolder& folder);
    ~ServeSession();
    ServeSession(const ServeSession&) = delete;
    ServeSession& operator=(const ServeSession&) = delete;

    std::uint64_t version() const { return changes.load(); }
    // Ends every modal wait and refuses further calls (503).
    void stop();

    // ---- The requests; bodies are JSON. A malformed request answers 400 and changes nothing.
    Reply state();
    // {"do": ...} as in panel_json.h.
    Reply act(const std::string& body);
    Reply undo(bool redo);
    // {"answer": N}: the button of the open question (6 yes, 7 no, 1 OK).
    Reply answer(const std::string& body);
    // The binary frame at `time` (ticks); `topology` and `overlay`: the keys the page holds,
    // in hex.
    Reply frame(const std::string& time, const std::string& topology, const std::string& overlay);
    // {"level": 0|1|2}
    Reply level(const std::string& body);
    // {"time", "width", "height", "view": 16 numbers (world to view, column-major),
    //  "fov": vertical degrees, "x0", "y0", "x1", "y1", "mode": "replace"|"add"|"remove",
    //  "crossing": bool}: selects the elements the click or box hits, one undoable step.
    Reply pick(const std::string& body);
    // At the Gizmo level: {"time", and "move": [x, y, z] | "rotate": {"axis": [x, y, z],
    // "angle": radians} | "scale": [x, y, z]}, in world space (scale along the gizmo's own
    // axes, rotation and scale about its centre); one undoable step.
    Reply gizmo(const std::string& body);
    // {"name": "scene.wks"|"scene.json", "overwrite": bool}: 409 when it exists and may not
    // be written over.
    Reply save(const std::string& body);
    Reply files() const;

private:
    struct Question {
        std::string text, title;
        unsigned style = 0;
        std::optional<int> answer;
    };
    // Runs `work` on the scene thread and counts a change when it returns.
    Reply change(std::function<Reply()> work);
    Reply stateReply();
    void queueDialogAnswer();
    // On the scene thread, inside the innermost modal dialog: serves requests until it ends.
    void waitForDialog();
    void refreshPanel();
    int askQuestion(const WStr& text, const WStr& title, unsigned style);
    WStr statusShown() const;
    // The gizmo's transform in world space at t.
    Matrix3 gizmoWorld(TimeValue t);
    // The file a file dialog's OK would choose, when it is inside the folder.
    bool fileChoiceInside() const;

    HeadlessHost& host;
    wkCache_obj& object;
    INode& node;
    const ServedFolder& folder;
    std::atomic<std::uint64_t> changes{1};
    std::optional<Question> question;
    std::unique_ptr<SceneThread> thread;
    std::shared_ptr<int> lifetime = std::make_shared<int>(0); // watched by the queued answer
};

} // namespace wkserve
