#include "tools/serve/serve_session.h"

#include "host/FileReplacement.h"
#include "host/UndoHold.h"
#include "host/headless/HeadlessGraphicsWindow.h"
#include "host/headless/PanelDriver.h"
#include "object/wkCachePanelHooks.h"
#include "panels/wkCachePanel.h"
#include "panels/wkCacheRolloutHooks.h"
#include "tools/common/cli_json.h"
#include "tools/common/file_names.h"
#include "tools/common/scene_binary.h"
#include "tools/common/scene_json_writer.h"
#include "tools/serve/frame_buffer.h"
#include "tools/serve/overlay_window.h"
#include "tools/serve/panel_json.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace wkserve {

namespace {

namespace fs = std::filesystem;
using wkcli::utf8;

constexpr int kFolderDir = 3;      // the folder the file dialogs fall back on
constexpr int kStatusField = 1025; // the status line of the Cache File rollout

Json Parse(const std::string& body) {
    Json parsed = Json::parse(body, nullptr, false);
    if (parsed.is_discarded() || !parsed.is_object())
        throw std::invalid_argument("the request body is not a JSON object");
    return parsed;
}

double Number(const Json& request, const char* name) {
    const auto found = request.find(name);
    if (found == request.end() || !found->is_number() || !std::isfinite(found->get<double>()))
        throw std::invalid_argument(std::string("\"") + name + "\" must be a number");
    return found->get<double>();
}

int Pixel(const Json& request, const char* name, int limit) {
    const double v = Number(request, name);
    if (v < -limit || v > 2.0 * limit)
        throw std::invalid_argument(std::string("\"") + name + "\" is outside the viewport");
    return static_cast<int>(std::lround(v));
}

// The camera of the page: three.js's world-to-view matrix (column-major, for column vectors)
// is the row-vector matrix of the host with rows and columns swapped.
HeadlessCamera PageCamera(const Json& request, int width, int height) {
    const auto view = request.find("view");
    if (view == request.end() || !view->is_array() || view->size() != 16)
        throw std::invalid_argument("\"view\" must hold 16 numbers");
    float e[16];
    for (int i = 0; i < 16; ++i) {
        if (!(*view)[i].is_number() || !std::isfinite((*view)[i].get<double>()))
            throw std::invalid_argument("\"view\" must hold 16 numbers");
        e[i] = (*view)[i].get<float>();
    }
    HeadlessCamera camera;
    for (int row = 0; row < 4; ++row)
        camera.worldToView.SetRow(row, Point3(e[4 * row], e[4 * row + 1], e[4 * row + 2]));
    const double fov = Number(request, "fov") * 3.14159265358979 / 180.0;
    if (fov <= 0.0 || fov >= 3.1)
        throw std::invalid_argument("\"fov\" must lie between 0 and 180 degrees");
    // The page gives the vertical angle; the viewport's spans the smaller side.
    camera.fov = width >= height
                     ? static_cast<float>(fov)
                     : static_cast<float>(2.0 * std::atan(std::tan(fov / 2.0) * width / height));
    return camera;
}

void WriteReplacing(const fs::path& target, const std::string& bytes) {
    // As every output: a failure leaves the old file as it was, and no temporary behind.
    FileReplacement replacement(target);
    std::ofstream out(replacement.temporary(), std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out || !replacement.commit())
        throw std::runtime_error(target.string() + ": cannot be written");
}

Point3 Vector(const Json& request, const char* name) {
    const auto found = request.find(name);
    if (found == request.end() || !found->is_array() || found->size() != 3)
        throw std::invalid_argument(std::string("\"") + name + "\" must hold 3 numbers");
    float v[3];
    for (int i = 0; i < 3; ++i) {
        if (!(*found)[i].is_number() || !std::isfinite((*found)[i].get<double>()) ||
            std::fabs((*found)[i].get<double>()) > 1e7)
            throw std::invalid_argument(std::string("\"") + name + "\" must hold 3 numbers");
        v[i] = (*found)[i].get<float>();
    }
    return {v[0], v[1], v[2]};
}

TimeValue Time(const Json& request) {
    const double time = Number(request, "time");
    if (time < std::numeric_limits<TimeValue>::min() ||
        time > std::numeric_limits<TimeValue>::max())
        throw std::invalid_argument("\"time\" is out of range");
    return static_cast<TimeValue>(time);
}

// The gizmo's controller as it was before a change made here, and as it became: the headless
// controller holds no undo records of its own.
class GizmoRestore final : public RestoreObj {
public:
    GizmoRestore(wkCache_obj& object_, std::unique_ptr<MatrixControl> before_)
        : object(object_), before(std::move(before_)) {}
    void Restore(bool) override {
        after = object.gizmo().Clone(object);
        put(*before);
    }
    void Redo() override {
        if (after)
            put(*after);
    }

private:
    void put(const MatrixControl& control) {
        object.SetReference(1, control.Clone(object));
        object.invalidateElements(); // activation by the gizmo is found again
    }
    wkCache_obj& object;
    std::unique_ptr<MatrixControl> before, after;
};

Reply Refused(int status, const std::string& message) {
    return {status, Json{{"error", message}}.dump()};
}

} // namespace

ServeSession::ServeSession(HeadlessHost& host_, wkCache_obj& object_, INode& node_,
                           const ServedFolder& folder_)
    : host(host_), object(object_), node(node_), folder(folder_),
      thread(std::make_unique<SceneThread>()) {
    thread->call([this] {
        HeadlessPanelHost& panels = host.Panels();
        const WStr root = WStr::FromUTF8(folder.root().string());
        panels.SetCurrentFolder(root);
        panels.SetDir(kFolderDir, root);
        host.UI().SetMessageHandler([this](const WStr& text, const WStr& title, unsigned style) {
            return askQuestion(text, title, style);
        });
        // The file and select-by-name dialogs wait for the page like any modal dialog.
        panels.SetFileDialogHandler([this](PanelDriver&) { waitForDialog(); });
        panels.SetNodeDialogHandler([this](PanelDriver&) { waitForDialog(); });
        queueDialogAnswer();
        SetPanelHooks(&RolloutHooks());
        object.BeginEditParams(&panels);
        refreshPanel();
        return Reply{};
    });
}

ServeSession::~ServeSession() {
    thread.reset();
    lifetime.reset();
    // The scene thread has ended: the panel closes on this one.
    object.EndEditParams();
    SetPanelHooks(nullptr);
    host.UI().SetMessageHandler({});
    host.Panels().SetFileDialogHandler({});
    host.Panels().SetNodeDialogHandler({});
}

void ServeSession::stop() {
    thread->stop();
}

void ServeSession::queueDialogAnswer() {
    // One answer stays queued for the next dialog: it queues the next before it waits, so a
    // dialog opened from a dialog waits too. The one left queued when the session ends leaves
    // its dialog to be cancelled.
    host.Panels().QueueDialog([this, alive = std::weak_ptr<int>(lifetime)](PanelDriver&) {
        if (alive.expired())
            return;
        queueDialogAnswer();
        waitForDialog();
    });
}

void ServeSession::waitForDialog() {
    const HeadlessWindow* window = host.Panels().Dialogs().back();
    ++changes;
    thread->runModal([window] { return window->Result().has_value(); },
                     [this] { return stateReply(); });
    ++changes;
}

int ServeSession::askQuestion(const WStr& text, const WStr& title, unsigned style) {
    question = Question{utf8(text), utf8(title), style, std::nullopt};
    ++changes;
    thread->runModal([this] { return question->answer.has_value(); },
                     [this] { return stateReply(); });
    // Unanswered (the server stopped): the choice that changes nothing.
    const int chosen =
        question->answer.value_or((style & MB_BUTTONS_MASK) == MB_YESNO ? IDNO : IDOK);
    question.reset();
    ++changes;
    return chosen;
}

void ServeSession::refreshPanel() {
    const TimeValue t = host.Time().GetTime();
    wkCachePanels::updatePanels(object, false);
    wkCachePanels::refreshNodeList(object);
    wkCachePanels::refreshGroupList(object);
    wkCachePanels::refreshGroupControls(object, t);
    wkCachePanels::refreshStatus(object, nullptr);
    wkCachePanels::refreshFileInfo(object);
}

Reply ServeSession::stateReply() {
    const HeadlessTime& clock = host.Time();
    HeadlessUndoHold& hold = host.Hold();
    Json state = PanelState(host.Panels());
    // A dialog that has its result is closing: the page should not show it again.
    Json open = Json::array();
    for (Json& dialog : state["dialogs"])
        if (!dialog["ended"].get<bool>())
            open.push_back(std::move(dialog));
    state["dialogs"] = std::move(open);
    state["version"] = changes.load();
    state["time"] = clock.GetTime();
    state["frameRate"] = clock.GetFrameRate();
    state["ticksPerFrame"] = clock.GetTicksPerFrame();
    state["animRange"] = {clock.GetAnimRange().Start(), clock.GetAnimRange().End()};
    state["level"] = object.getSubObjectLevel();
    if (object.getSubObjectLevel() == 2) {
        const Matrix3 g = gizmoWorld(clock.GetTime());
        Json rows = Json::array();
        for (int row = 0; row < 4; ++row)
            for (const float v : {g.GetRow(row).x, g.GetRow(row).y, g.GetRow(row).z})
                rows.push_back(v);
        state["gizmo"] = std::move(rows);
    }
    state["selection"] = object.elementSelection().size();
    state["object"] = utf8(node.GetName());
    state["file"] = utf8(object.resolvedFilePath());
    state["folder"] = folder.root().string();
    state["undo"] = hold.NumUndoSteps() > 0 ? Json(utf8(hold.UndoStepName(hold.NumUndoSteps() - 1)))
                                            : Json(nullptr);
    state["redo"] = hold.NumRedoSteps() > 0;
    state["question"] = question ? Json{{"text", question->text},
                                        {"title", question->title},
                                        {"yesNo", (question->style & MB_BUTTONS_MASK) == MB_YESNO}}
                                 : Json(nullptr);
    return {200, state.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

Reply ServeSession::change(std::function<Reply()> work) {
    return thread->call([this, work = std::move(work)] {
        Reply reply = work();
        ++changes;
        return reply;
    });
}

Reply ServeSession::state() {
    return thread->call([this] { return stateReply(); });
}

WStr ServeSession::statusShown() const {
    const HeadlessWindow* window = host.Panels().WindowOf(kStatusField);
    return window != nullptr ? window->GetText(kStatusField) : WStr();
}

bool ServeSession::fileChoiceInside() const {
    const HeadlessWindow* dialog = host.Panels().Dialogs().back();
    const std::string name = utf8(dialog->GetText(kFileDialogNameEdit));
    const std::string shown = utf8(dialog->GetText(kFileDialogFolder));
    // As the dialog completes it: a plain name lies in the folder it shows.
    const fs::path chosen = name.find('/') == std::string::npos && !shown.empty()
                                ? fs::path(shown) / name
                                : fs::path(name);
    return folder.inside(chosen).has_value();
}

Reply ServeSession::act(const std::string& body) {
    const Json action = Parse(body);
    return thread->call([this, action] {
        const auto& dialogs = host.Panels().Dialogs();
        if (question)
            return Refused(409, "a question waits for its answer");
        // OK in a file dialog must choose a file of the served folder.
        if (!dialogs.empty() && dialogs.back()->fileRequest != nullptr &&
            action.value("do", "") == "press" && action.value("id", 0) == IDC_OK &&
            !fileChoiceInside())
            return Refused(403, "files outside the served folder cannot be chosen");
        PanelDriver user(host.Panels());
        ApplyAction(user, action);
        ++changes;
        return Reply{200, Json{{"version", changes.load()}}.dump()};
    });
}

Reply ServeSession::undo(bool redo) {
    return thread->call([this, redo] {
        if (question || !host.Panels().Dialogs().empty())
            return Refused(409, "a dialog is open");
        const bool done = redo ? host.Hold().Redo() : host.Hold().Undo();
        refreshPanel();
        ++changes;
        return Reply{200, Json{{"done", done}, {"version", changes.load()}}.dump()};
    });
}

Reply ServeSession::answer(const std::string& body) {
    const Json request = Parse(body);
    const double chosen = Number(request, "answer");
    const auto isAnswer = [chosen](MessageBoxAnswer a) { return chosen == static_cast<int>(a); };
    if (!isAnswer(IDOK) && !isAnswer(IDYES) && !isAnswer(IDNO))
        throw std::invalid_argument("\"answer\" must be 1 (OK), 6 (Yes) or 7 (No)");
    return thread->call([this, chosen] {
        if (!question)
            return Refused(409, "no question is open");
        question->answer = static_cast<int>(chosen);
        return Reply{200, Json{{"version", changes.load()}}.dump()};
    });
}

// A whole number in `base` that fills the text; empty is 0.
template <class T> T ParseNumber(const std::string& text, int base, const char* name) {
    T value = 0;
    if (text.empty())
        return value;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size())
        throw std::invalid_argument(std::string("\"") + name + "\" is not a number in base " +
                                    std::to_string(base));
    return value;
}

Reply ServeSession::frame(const std::string& timeText, const std::string& topologyText,
                          const std::string& overlayText) {
    if (timeText.empty())
        throw std::invalid_argument("\"time\" is needed, in ticks");
    const auto t = ParseNumber<TimeValue>(timeText, 10, "time");
    const auto known = ParseNumber<std::uint64_t>(topologyText, 16, "topology");
    const auto knownOverlay = ParseNumber<std::uint32_t>(overlayText, 16, "overlay");
    return thread->call([this, t, known, knownOverlay] {
        const WStr status = statusShown();
        host.Time().SetTime(t);
        object.TimeChanged(t);
        OverlayWindow overlay(&object.getMesh());
        OverlayView view(overlay);
        object.Display(t, &node, &view, 0);
        const bool shown = !node.IsNodeHidden() &&
                           object.params().GetInt(wkCacheParam::vpDisplayCache) == 1 &&
                           object.isMeshReady();
        // The object shows its file's state in the status line as it plays (a file found,
        // loaded or lost): a change the other pages should see.
        if (statusShown() != status)
            ++changes;
        FrameContent content;
        content.mesh = shown ? &object.getMesh() : nullptr;
        content.objectTM = node.GetObjectTM(t);
        content.time = t;
        content.segments = &overlay.Segments();
        content.markers = &overlay.Markers();
        return Reply{200, EncodeFrame(content, known, knownOverlay), "application/octet-stream"};
    });
}

Reply ServeSession::level(const std::string& body) {
    const double level = Number(Parse(body), "level");
    if (level != 0 && level != 1 && level != 2)
        throw std::invalid_argument("\"level\" must be 0 (object), 1 (elements) or 2 (gizmo)");
    return change([this, level] {
        XFormModes modes;
        object.enterSubLevel(static_cast<int>(level), modes);
        return Reply{200, Json{{"level", object.getSubObjectLevel()}}.dump()};
    });
}

Reply ServeSession::pick(const std::string& body) {
    const Json request = Parse(body);
    const double width = Number(request, "width"), height = Number(request, "height");
    if (width < 1 || height < 1 || width > 8192 || height > 8192)
        throw std::invalid_argument("\"width\" and \"height\" must be from 1 to 8192 pixels");
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    const HeadlessCamera camera = PageCamera(request, w, h);
    const TimeValue t = Time(request);
    IPoint2 corners[2] = {{Pixel(request, "x0", w), Pixel(request, "y0", h)},
                          {Pixel(request, "x1", w), Pixel(request, "y1", h)}};
    const std::string mode = request.value("mode", "replace");
    if (mode != "replace" && mode != "add" && mode != "remove")
        throw std::invalid_argument("\"mode\" must be replace, add or remove");
    const bool crossing = request.value("crossing", true);
    const bool point = corners[0].x == corners[1].x && corners[0].y == corners[1].y;

    return change([=, this]() mutable {
        if (question || !host.Panels().Dialogs().empty())
            return Refused(409, "a dialog is open");
        if (object.getSubObjectLevel() != 1)
            return Refused(409, "elements are picked at the Elements level");
        host.Time().SetTime(t);
        HeadlessGraphicsWindow gw(w, h);
        gw.SetCamera(camera);
        HeadlessViewExp view(gw);
        object.updateCacheMesh(t);
        object.HitTest(t, &node, point ? POINT_RGN : RECT_RGN, crossing ? 1 : 0, 0, corners, &view,
                       nullptr);
        // A click takes the nearest element; a box every one it catches.
        HitLog chosen;
        HitRecord* nearest = nullptr;
        for (HitRecord* hit = view.GetSubObjHitList().First(); hit != nullptr; hit = hit->Next()) {
            if (!point)
                chosen.LogHit(hit->nodeRef, hit->modContext, hit->distance, hit->hitInfo);
            else if (nearest == nullptr || hit->distance < nearest->distance)
                nearest = hit;
        }
        if (nearest != nullptr)
            chosen.LogHit(nearest->nodeRef, nearest->modContext, nearest->distance,
                          nearest->hitInfo);
        UndoHold& hold = host.Hold();
        hold.Begin();
        if (mode == "replace")
            object.clearElementSelection(1);
        if (chosen.First() != nullptr)
            object.selectHitElements(chosen.First(), mode != "remove", true);
        hold.Accept(L"Select");
        refreshPanel();
        return Reply{
            200,
            Json{{"hits", chosen.Count()}, {"selection", object.elementSelection().size()}}.dump()};
    });
}

Matrix3 ServeSession::gizmoWorld(TimeValue t) {
    object.EnsureGizmoControl();
    Matrix3 local(true);
    object.gizmo().GetValue(t, local);
    return local * node.GetObjectTM(t);
}

Reply ServeSession::gizmo(const std::string& body) {
    const Json request = Parse(body);
    const TimeValue t = Time(request);
    enum class Op { Move, Rotate, Scale };
    Op op = Op::Move;
    Point3 value;
    float angle = 0.0f;
    if (request.contains("move")) {
        value = Vector(request, "move");
    } else if (request.contains("rotate") && request["rotate"].is_object()) {
        op = Op::Rotate;
        value = Vector(request["rotate"], "axis");
        angle = static_cast<float>(Number(request["rotate"], "angle"));
        if (value.Length() < 1e-6f || std::fabs(angle) > 100.0f)
            throw std::invalid_argument("a rotation needs an axis and an angle in radians");
    } else if (request.contains("scale")) {
        op = Op::Scale;
        value = Vector(request, "scale");
        for (float f : {value.x, value.y, value.z})
            if (!(f >= 1e-3f && f <= 1e3f))
                throw std::invalid_argument("scale factors lie between 0.001 and 1000");
    } else {
        throw std::invalid_argument("a gizmo change is \"move\", \"rotate\" or \"scale\"");
    }
    return change([=, this] {
        if (question || !host.Panels().Dialogs().empty())
            return Refused(409, "a dialog is open");
        if (object.getSubObjectLevel() != 2)
            return Refused(409, "the gizmo is moved at the Gizmo level");
        const Matrix3 parent = node.GetObjectTM(t);
        const Matrix3 world = gizmoWorld(t);
        UndoHold& hold = host.Hold();
        hold.Begin();
        std::unique_ptr<MatrixControl> before = object.gizmo().Clone(object);
        const wchar_t* name = L"Move";
        if (op == Op::Move) {
            object.moveGizmo(t, parent, Matrix3(true), value);
        } else if (op == Op::Rotate) {
            // The host's rotations turn the other way round their axis than the page's
            // (right-handed) ones.
            object.rotateGizmo(t, parent, TransMatrix(world.GetTrans()),
                               Quat(AngAxis(Normalize(value), -angle)), true);
            name = L"Rotate";
        } else {
            // Along the gizmo's own axes: its rotation, without its scale, at its centre.
            Matrix3 axes(true);
            for (int row = 0; row < 3; ++row)
                axes.SetRow(row, Normalize(world.GetRow(row)));
            axes.SetRow(3, world.GetTrans());
            object.scaleGizmo(t, parent, axes, value, true);
            name = L"Scale";
        }
        hold.Put(std::make_unique<GizmoRestore>(object, std::move(before)));
        hold.Accept(name);
        refreshPanel();
        return Reply{200, Json{{"version", changes.load()}}.dump()};
    });
}

Reply ServeSession::save(const std::string& body) {
    const Json request = Parse(body);
    const auto name = request.find("name");
    if (name == request.end() || !name->is_string())
        throw std::invalid_argument("\"name\" must be a file name");
    fs::path target = name->get<std::string>();
    const bool json = wkcli::HasExtension(target, ".json");
    if (!json && !wkcli::HasExtension(target, ".wks"))
        throw std::invalid_argument("a scene is saved as .wks (binary) or .json");
    std::optional<fs::path> inside = folder.inside(target);
    // Through a link whose file is not made yet too, as every output of the tool; where it
    // points must then be inside the folder as well.
    if (inside) {
        const std::optional<fs::path> linked = FileReplacement::LinkTarget(*inside);
        inside = linked ? folder.inside(*linked) : std::nullopt;
    }
    if (!inside || !fs::is_directory(inside->parent_path()))
        return Refused(403, "scenes are saved inside the served folder");
    const bool overwrite = request.value("overwrite", false);
    return thread->call([this, json, overwrite, path = *inside] {
        if (question || !host.Panels().Dialogs().empty())
            return Refused(409, "a dialog is open");
        if (fs::exists(path) && !overwrite)
            return Refused(409, "exists");
        std::string bytes;
        if (json) {
            bytes = wkcli::SceneToJsonText(host);
        } else {
            const std::vector<std::uint8_t> binary = wkcli::SaveSceneBinary(host);
            bytes.assign(binary.begin(), binary.end());
        }
        WriteReplacing(path, bytes);
        return Reply{200, Json{{"saved", fs::relative(path, folder.root()).string()},
                               {"bytes", bytes.size()}}
                              .dump()};
    });
}

Reply ServeSession::files() const {
    return {200, Json{{"folder", folder.root().string()}, {"files", folder.files()}}.dump()};
}

} // namespace wkserve
