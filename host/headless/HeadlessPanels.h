// The headless command panel: rollouts and modal dialogs as plain records of controls, with
// every state a user would see (text, enabled, visible, check, value, rows and marks, tooltip,
// images) readable by tests, and a painted status field as a small bitmap.
//
// Users act on it through PanelDriver (host/headless/PanelDriver.h), which changes a control as
// a click or a keystroke would and delivers the resulting messages to the dialog procedure.
// Modal dialogs, the select-by-name dialog and the file dialogs take their answers from queued
// scripts, else from a handler; without either they are cancelled.
#pragma once

#include "host/PanelControls.h"

#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

class HeadlessScene;
class PanelDriver;

// The select-by-name dialog's list of the nodes offered (extended selection); OK carries the
// caller's button text.
inline constexpr int kNodeDialogList = 1301;

// A painted surface.
class HeadlessBitmap final : public PanelCanvas {
public:
    HeadlessBitmap(int width, int height) : w(width), h(height), pixels(size(), 0xFFFFFF) {}
    int Width() const override { return w; }
    int Height() const override { return h; }
    void FillRect(const PanelRect& rect, std::uint32_t colour) override;
    void Line(int x0, int y0, int x1, int y1, std::uint32_t colour) override;
    std::uint32_t Pixel(int x, int y) const { return pixels[index(x, y)]; }

private:
    std::size_t size() const { return static_cast<std::size_t>(w) * static_cast<std::size_t>(h); }
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(w) +
               static_cast<std::size_t>(x);
    }
    int w;
    int h;
    std::vector<std::uint32_t> pixels;
};

struct HeadlessListRow {
    WStr text;
    std::intptr_t data = 0;
    bool marked = false;
};

// One control, as the user sees it. Values of bound controls live in their parameter.
struct HeadlessControl {
    int id = 0;
    ControlKind kind = ControlKind::Static;
    WStr text;
    bool enabled = true;
    bool visible = true;
    bool checked = false;
    std::optional<WStr> tooltip;
    ButtonImage image;
    std::optional<std::uint32_t> background;
    std::optional<std::uint32_t> highlight; // a button made a check button
    PanelRect rect;
    // Spinners
    bool isFloat = false;
    float low = 0.0f, high = 0.0f, value = 0.0f, scale = 0.0f;
    int editId = 0;    // the edit linked to a spinner
    int spinnerId = 0; // the spinner an edit shows
    bool worldUnits = false;
    bool keyBrackets = false;
    // Lists
    std::vector<HeadlessListRow> rows;
    int curSel = -1, caret = 0, topIndex = 0, extent = 0;
    bool locked = false;
    // Painting
    PanelPainter painter;
    int paints = 0;
    // The parameter binding, index into the window's bindings; -1 for none.
    int binding = -1;
};

class HeadlessPanelHost;

class HeadlessWindow final : public PanelWindow {
public:
    HeadlessWindow(HeadlessPanelHost& host, const DialogTemplate& dialog, const WStr& title,
                   PanelDlgProc* proc);

    // ---- PanelWindow
    int DialogId() const override { return dialogId; }
    bool HasControl(int id) const override { return find(id) != nullptr; }
    void SetText(int id, const WStr& text) override;
    WStr GetText(int id) const override;
    void Enable(int id, bool on) override;
    bool IsEnabled(int id) const override;
    void Show(int id, bool on) override;
    bool IsVisible(int id) const override;
    void SetTooltip(int id, const wchar_t* text) override;
    void SetImage(int id, const ButtonImage& image) override;
    void SetBackground(int id, std::uint32_t colour) override;
    void MakeCheckButton(int id, std::uint32_t highlight) override;
    void SetCheck(int id, bool on) override;
    bool GetCheck(int id) const override;
    void Redraw(int id) override;
    void SetPainter(int id, PanelPainter painter) override;
    int TextWidth(int id, const WStr& text) const override;
    PanelRect GetControlRect(int id) const override;
    void SetControlRect(int id, const PanelRect& rect) override;
    void SetupSpinner(int id, bool isFloat, float low, float high, float value,
                      float scale) override;
    void LinkSpinnerEdit(int id, int editId, bool worldUnits) override;
    void SetSpinnerValue(int id, float value, bool notify) override;
    float GetSpinnerValue(int id) const override;
    void SetKeyBrackets(int id, bool on) override;
    bool KeyBrackets(int id) const override;
    void ListReset(int id) override;
    int ListAdd(int id, const WStr& text, std::intptr_t data) override;
    int ListCount(int id) const override;
    WStr ListText(int id, int row) const override;
    void ListSetText(int id, int row, const WStr& text) override;
    std::intptr_t ListData(int id, int row) const override;
    void ListSetData(int id, int row, std::intptr_t data) override;
    void ListMark(int id, int row, bool on) override;
    bool ListMarked(int id, int row) const override;
    void ListSetCurSel(int id, int row) override;
    int ListCurSel(int id) const override;
    void ListSetCaret(int id, int row) override;
    int ListCaret(int id) const override;
    void ListSetTopIndex(int id, int row) override;
    void ListSetHorizontalExtent(int id, int pixels) override;
    void ListLockUpdate(int id, bool locked) override;
    void SetTitle(const WStr& text) override { title = text; }
    PanelRect GetRect() const override { return rect; }
    void SetRect(const PanelRect& r) override;
    void CenterOnParent() override;
    void SetFocus(int id) override;
    void EndDialog(int result) override;
    void PostCommand(int id) override { posted.push_back(id); }

    // ---- What the headless host and the driver use
    const WStr& Title() const { return title; }
    bool Closed() const { return closed; }
    void SetClosed(bool on) { closed = on; }
    // The control, or null.
    const HeadlessControl* find(int id) const;
    HeadlessControl* find(int id);
    const std::vector<HeadlessControl>& Controls() const { return controls; }
    // The status field as last painted (20 pixels high, 160 wide), or null if never painted.
    const HeadlessBitmap* Painted(int id) const;
    int FocusId() const { return focusId; }
    std::optional<int> Result() const { return result; }
    void Bind(IParamBlock2& block, std::span<const ParamBinding> bindings);
    // Writes a value the user entered into a bound control's parameter, at the current time.
    void WriteBound(const HeadlessControl& control, float value);
    const ParamBinding* BindingOf(const HeadlessControl& control) const;
    IParamBlock2* Block() const { return block; }
    // Sends a message to the procedure, if there is one, then presses the buttons it posted.
    void Send(const PanelMessage& message);
    // A press by the user: a file dialog's OK and Cancel end it; a parameter's pick button also
    // toggles the host's pick mode for its node; the procedure hears of any other.
    void Press(int id);
    // The file dialog this window is, or null.
    FileDialogRequest* fileRequest = nullptr;

private:
    // A file dialog's own controls follow a change of its size by (dx, dy) as the system's do:
    // their area grows, the folder and name fields widen, OK and Cancel keep to the bottom
    // right corner, and the extra controls below the area move down with the bottom edge.
    void followSize(int dx, int dy);
    // Sets one field of control `id`, if the window has the control.
    template <class T, class V> void setField(int id, T HeadlessControl::*field, V&& value) {
        if (HeadlessControl* c = find(id))
            c->*field = std::forward<V>(value);
    }

    HeadlessPanelHost& host;
    int dialogId;
    WStr title;
    PanelDlgProc* proc;
    std::vector<HeadlessControl> controls;
    std::vector<std::pair<int, HeadlessBitmap>> bitmaps;
    bool closed = false;
    PanelRect rect;
    int focusId = 0;
    std::optional<int> result;
    std::vector<int> posted;
    IParamBlock2* block = nullptr;
    std::vector<ParamBinding> bindings;
};

class HeadlessPanelHost final : public PanelControls {
public:
    // A dialog's answer: the user's actions inside it. A dialog the script leaves open is
    // cancelled.
    using DialogScript = std::function<void(PanelDriver& dialog)>;
    // The nodes chosen in the select-by-name dialog; nothing cancels it.
    using NodeAnswer = std::optional<std::vector<INode*>>;
    // What the user does in the select-by-name dialog: marks rows of kNodeDialogList and
    // presses OK (or double-clicks a row); a dialog left open is cancelled.
    using NodeScript = std::function<void(PanelDriver& dialog)>;
    // What the user does in a file dialog: the driver acts on it (type into the name field,
    // press the plus button, press OK); a dialog left open is cancelled.
    using FileScript = std::function<void(PanelDriver& dialog)>;

    explicit HeadlessPanelHost(HeadlessScene& scene);
    ~HeadlessPanelHost() override;

    // ---- PanelControls
    PanelWindow* AddRollout(const DialogTemplate& dialog, const WStr& title, bool closed,
                            PanelDlgProc* proc) override;
    void DeleteRollout(PanelWindow* rollout) override;
    void BindParameters(PanelWindow& rollout, IParamBlock2& block,
                        std::span<const ParamBinding> bindings) override;
    bool ShiftHeld() const override { return shift; }
    std::uint32_t GetUIColor(int index) const override;
    bool RetainedMode() const override { return retainedMode; }
    void DisableAccelerators() override { acceleratorsOn = false; }
    void EnableAccelerators() override { acceleratorsOn = true; }
    int DialogBox(const DialogTemplate& dialog, PanelDlgProc& proc) override;
    bool DoHitByNameDialog(HitByNameDlgCallback& callback) override;
    void SetPickMode(PickModeCallback* mode) override;
    void PushPrompt(const WStr& text) override { prompts.push_back(text); }
    void PopPrompt() override;
    bool FileDialog(FileDialogRequest& request, const DialogTemplate& extra,
                    PanelDlgProc* hook) override;
    WStr GetDir(int which) const override;
    WStr CurrentFolder() const override { return currentFolder; }
    // From the history file when one is set, else from memory.
    std::vector<WStr> LoadHistory(const WStr& name) override;
    void SaveHistory(const WStr& name, const std::vector<WStr>& folders) override;

    // ---- Scripting
    void QueueDialog(DialogScript script) { dialogScripts.push_back(std::move(script)); }
    void QueueNodeAnswer(NodeAnswer answer) { nodeAnswers.push_back(std::move(answer)); }
    void QueueFileDialog(FileScript script) { fileScripts.push_back(std::move(script)); }
    void SetFileDialogHandler(FileScript handler) { onFileDialog = std::move(handler); }
    // Answers the select-by-name dialogs that no queued answer waits for.
    void SetNodeDialogHandler(NodeScript handler) { onNodeDialog = std::move(handler); }
    void SetRetainedMode(bool on) { retainedMode = on; }
    void SetShift(bool on) { shift = on; }
    void SetDir(int which, const WStr& folder) { dirs[which] = folder; }
    void SetCurrentFolder(const WStr& folder) { currentFolder = folder; }
    // The file the histories persist in: one line per folder, "name<TAB>folder", newest
    // first. Without one they last as long as the host.
    void SetHistoryFile(const std::filesystem::path& file) { historyFile = file; }
    // The file dialog's user at a terminal, or a test: answers with a name to choose, or
    // nothing to cancel.
    void QueueFileAnswer(std::optional<WStr> name);

    // ---- What is shown
    const std::vector<std::unique_ptr<HeadlessWindow>>& Rollouts() const { return rollouts; }
    // The modal dialogs open now, innermost last.
    const std::vector<HeadlessWindow*>& Dialogs() const { return modal; }
    HeadlessWindow* FindRollout(int dialogId) const;
    // The window holding the control: the innermost modal dialog if one runs, else the first
    // rollout that has it; null when none has.
    HeadlessWindow* WindowOf(int id) const;
    PickModeCallback* PickMode() const { return pickMode; }
    const std::vector<WStr>& Prompts() const { return prompts; }
    bool AcceleratorsOn() const { return acceleratorsOn; }
    // The nodes the last select-by-name dialog listed.
    const std::vector<INode*>& OfferedNodes() const { return offered; }
    // Requests of the file dialogs shown, as they were asked.
    const std::vector<FileDialogRequest>& FileDialogs() const { return fileRequests; }
    HeadlessScene& Scene() { return scene; }
    const HeadlessScene& Scene() const { return scene; }

private:
    int runModal(HeadlessWindow& window, const std::function<void(PanelDriver&)>& script);

    HeadlessScene& scene;
    std::vector<std::unique_ptr<HeadlessWindow>> rollouts;
    std::vector<HeadlessWindow*> modal;
    std::deque<DialogScript> dialogScripts;
    std::deque<NodeAnswer> nodeAnswers;
    std::deque<FileScript> fileScripts;
    FileScript onFileDialog;
    NodeScript onNodeDialog;
    std::vector<FileDialogRequest> fileRequests;
    std::vector<INode*> offered;
    PickModeCallback* pickMode = nullptr;
    std::vector<WStr> prompts;
    std::map<int, WStr> dirs;
    WStr currentFolder;
    std::filesystem::path historyFile;
    std::map<WStr, std::vector<WStr>> histories;
    bool shift = false;
    bool retainedMode = false;
    bool acceleratorsOn = true;
};
