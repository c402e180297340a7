// The host's command panel as the panels see it: rollouts built from dialog templates, their
// controls by id, the messages the controls send to a dialog procedure, parameter maps, and the
// modal dialogs and modes a panel starts (name prompts, the select-by-name dialog, pick mode,
// file dialogs).
//
// A control is addressed by its id inside its window. An id the window does not have is the
// null window of the host: every operation on it does nothing, and every query answers the
// empty value, so refresh code never tests for existence first.
#pragma once

#include "host/ParamBlock.h"
#include "host/Strings.h"
#include "host/Time.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

class INode;

enum class ControlKind : int {
    Button,
    CheckButton, // a button that stays pressed
    CheckBox,
    Spinner, // the arrows; its edit is a control of its own
    Edit,
    ComboBox,
    RadioButton,
    ListBox, // extended selection: rows are marked independently
    PickButton,
    Static,
    GroupBox,
    StatusField, // a static that its owner may paint
};

struct PanelRect {
    int left = 0, top = 0, right = 0, bottom = 0;
    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    friend bool operator==(const PanelRect&, const PanelRect&) = default;
};

// One control of a dialog template: the library's resources.
struct ControlTemplate {
    int id = 0;
    ControlKind kind = ControlKind::Static;
    const wchar_t* caption = L"";
    PanelRect rect{}; // its place in the dialog, in pixels
};

struct DialogTemplate {
    int id = 0;
    const wchar_t* title = L""; // modal dialogs only; a rollout's title comes with it
    std::vector<ControlTemplate> controls;
    int width = 0; // initial size in pixels (modal dialogs)
    int height = 0;
};

// Messages a dialog procedure receives, and the notification codes of WM_COMMAND.
inline constexpr unsigned WM_INITDIALOG = 272;
inline constexpr unsigned WM_COMMAND = 273;
inline constexpr unsigned CC_SPINNER_CHANGE = 1624;
inline constexpr unsigned CC_SPINNER_BUTTONDOWN = 1625;
inline constexpr unsigned CC_SPINNER_BUTTONUP = 1626;
inline constexpr unsigned WM_CUSTEDIT_ENTER = 1709;
inline constexpr unsigned WM_DESTROY = 2;
inline constexpr unsigned WM_SIZE = 5;
inline constexpr unsigned WM_NOTIFY = 78;
inline constexpr int BN_CLICKED = 0;
inline constexpr int LBN_SELCHANGE = 1; // also CBN_SELCHANGE
inline constexpr int LBN_DBLCLK = 2;
inline constexpr int EN_SETFOCUS = 0x100;
inline constexpr int EN_KILLFOCUS = 0x200;
inline constexpr int EN_CHANGE = 0x300;

// The button ids of modal dialogs.
inline constexpr int IDC_OK = 1;
inline constexpr int IDC_CANCEL = 2;
// The file dialog's own controls, as its hook reads them: the name field, and the folder shown,
// read as the text of this id.
inline constexpr int kFileDialogNameEdit = 1152;
inline constexpr int kFileDialogFolder = 1126;
// A static of a file dialog's extra template that marks where the dialog's own controls go.
inline constexpr int kFileDialogArea = 1119;
// Notifications of the file dialog (WM_NOTIFY).
inline constexpr int CDN_INITDONE = -601;
inline constexpr int CDN_FILEOK = -606;

struct PanelMessage {
    unsigned message = 0;
    int id = 0;   // the control
    int code = 0; // the notification; for CC_SPINNER_BUTTONUP, 1 when the drag was accepted
};

// An image list on a button: `width` x `height` cells of a bitmap and its mask.
struct ButtonImage {
    int bitmap = 0;
    int mask = 0;
    int width = 0;
    int height = 0;
    int index = -1; // the cell shown; -1 for none
    friend bool operator==(const ButtonImage&, const ButtonImage&) = default;
};

// A surface a control paints on, in client coordinates; colours are 0xRRGGBB.
class PanelCanvas {
public:
    virtual ~PanelCanvas() = default;
    virtual int Width() const = 0;
    virtual int Height() const = 0;
    // Fills [left, right) x [top, bottom).
    virtual void FillRect(const PanelRect& rect, std::uint32_t colour) = 0;
    // A line from (x0, y0) to (x1, y1), both ends included; horizontal or vertical.
    virtual void Line(int x0, int y0, int x1, int y1, std::uint32_t colour) = 0;
};

class PanelWindow;

// What a window calls with its messages: a rollout's dialog procedure, or a modal dialog's.
// Answers whether the message was handled.
class PanelDlgProc {
public:
    virtual ~PanelDlgProc() = default;
    virtual bool DlgProc(TimeValue t, PanelWindow& window, const PanelMessage& message) = 0;
};

// Replaces the painting of a control: false lets the control paint itself as before.
using PanelPainter = std::function<bool(PanelCanvas& canvas)>;

// A rollout of the panel, or a modal dialog.
class PanelWindow {
public:
    virtual ~PanelWindow() = default;
    virtual int DialogId() const = 0;
    virtual bool HasControl(int id) const = 0;

    // ---- Every control
    virtual void SetText(int id, const WStr& text) = 0;
    virtual WStr GetText(int id) const = 0;
    virtual void Enable(int id, bool on) = 0;
    virtual bool IsEnabled(int id) const = 0;
    virtual void Show(int id, bool on) = 0;
    virtual bool IsVisible(int id) const = 0;
    // Null removes the tooltip.
    virtual void SetTooltip(int id, const wchar_t* text) = 0;
    virtual void SetImage(int id, const ButtonImage& image) = 0;
    virtual void SetBackground(int id, std::uint32_t colour) = 0;
    // A button becomes a check button with this highlight colour.
    virtual void MakeCheckButton(int id, std::uint32_t highlight) = 0;
    virtual void SetCheck(int id, bool on) = 0;
    virtual bool GetCheck(int id) const = 0;
    // The control paints again now (the status bar during long work).
    virtual void Redraw(int id) = 0;
    // Installs a painter in place of the control's own painting; an empty one puts it back.
    virtual void SetPainter(int id, PanelPainter painter) = 0;
    // The pixel width of a text in the control's font.
    virtual int TextWidth(int id, const WStr& text) const = 0;
    // Where the control is in the window (client coordinates, pixels); moving it sends nothing.
    virtual PanelRect GetControlRect(int id) const = 0;
    virtual void SetControlRect(int id, const PanelRect& rect) = 0;

    // ---- Spinners (the id of the arrows)
    virtual void SetupSpinner(int id, bool isFloat, float low, float high, float value,
                              float scale) = 0;
    // Links an edit that shows the value; `worldUnits` shows it as a length.
    virtual void LinkSpinnerEdit(int id, int editId, bool worldUnits) = 0;
    // Without `notify` the change message is not sent (and a bound parameter is not written).
    virtual void SetSpinnerValue(int id, float value, bool notify) = 0;
    virtual float GetSpinnerValue(int id) const = 0;
    virtual void SetKeyBrackets(int id, bool on) = 0;
    virtual bool KeyBrackets(int id) const = 0;

    // ---- List boxes and combo boxes
    virtual void ListReset(int id) = 0;
    // Appends a row; answers its index.
    virtual int ListAdd(int id, const WStr& text, std::intptr_t data = 0) = 0;
    virtual int ListCount(int id) const = 0;
    virtual WStr ListText(int id, int row) const = 0;
    virtual void ListSetText(int id, int row, const WStr& text) = 0;
    virtual std::intptr_t ListData(int id, int row) const = 0;
    virtual void ListSetData(int id, int row, std::intptr_t data) = 0;
    // Marks of an extended-selection list; row -1 marks or clears every row.
    virtual void ListMark(int id, int row, bool on) = 0;
    virtual bool ListMarked(int id, int row) const = 0;
    // The one selected row of a combo box or single list, -1 for none.
    virtual void ListSetCurSel(int id, int row) = 0;
    virtual int ListCurSel(int id) const = 0;
    virtual void ListSetCaret(int id, int row) = 0;
    virtual int ListCaret(int id) const = 0;
    virtual void ListSetTopIndex(int id, int row) = 0;
    virtual void ListSetHorizontalExtent(int id, int pixels) = 0;
    // While locked, the list does not repaint.
    virtual void ListLockUpdate(int id, bool locked) = 0;

    // ---- Modal dialogs
    virtual void SetTitle(const WStr& title) = 0;
    virtual PanelRect GetRect() const = 0;
    virtual void SetRect(const PanelRect& rect) = 0;
    // Puts the dialog in the middle of its parent.
    virtual void CenterOnParent() = 0;
    virtual void SetFocus(int id) = 0;
    virtual void EndDialog(int result) = 0;
    // Presses a button of this window after the current message is handled.
    virtual void PostCommand(int id) = 0;
};

// A parameter of a block bound to controls of one rollout, as the host's parameter maps do it:
// the controls show the parameter and write it when the user changes them.
struct ParamBinding {
    enum class Kind { Spinner, CheckBox, CheckButton, ComboBox, Radio, PickNode };
    ParamID param = 0;
    int dialog = 0;
    Kind kind = Kind::CheckBox;
    std::vector<int> controls; // spinner: edit, arrows; radio: one id per value; else one id
    // Spinner: integer or float, the scale (-1 automatic) and world units.
    bool isFloat = false;
    bool worldUnits = false;
    float scale = -1.0f;
    std::vector<const wchar_t*> items; // combo box rows
    std::vector<ParamID> enabledBy;    // enabled only while each of these is 1
    const wchar_t* prompt = L"";       // pick-node buttons
    const wchar_t* tooltip = nullptr;
};

// The select-by-name dialog of the host, as a caller fills it.
class HitByNameDlgCallback {
public:
    virtual ~HitByNameDlgCallback() = default;
    virtual const WStr& dialogTitle() const = 0;
    virtual const WStr& buttonText() const = 0;
    // Whether the node is listed.
    virtual bool filter(INode* node) = 0;
    // The nodes the user chose.
    virtual void proc(std::span<INode* const> chosen) = 0;
};

// A pick mode: the host asks it about the node under the mouse at each click.
class PickModeCallback {
public:
    virtual ~PickModeCallback() = default;
    // Whether the node may be picked.
    virtual bool filter(INode* node) = 0;
    // A click; `node` is the closest hit, or null. True ends the mode.
    virtual bool pick(INode* node) = 0;
    virtual void enterMode() = 0;
    virtual void exitMode() = 0;
};

// The host's file dialogs, with the template of the cache dialogs (history list and plus
// button) run by the host. Both answer a path, or false when cancelled.
struct FileDialogRequest {
    WStr title;
    WStr fileName;    // the initial name, full or plain
    WStr initialDir;  // the folder it opens at
    WStr filterLabel; // "Welkard Cache Files (*.wkc)"
    WStr filterSpec;  // "*.wkc"
    WStr defaultExtension;
    unsigned flags = 0;
    bool save = false;
};

// The host's interface to an object whose panel is open: the command panel it builds in.
class IObjParam {
public:
    virtual ~IObjParam() = default;
};

class PanelControls : public IObjParam {
public:

    // ---- Rollouts
    // Adds a rollout at the end of the panel and sends WM_INITDIALOG to `proc` (may be null).
    virtual PanelWindow* AddRollout(const DialogTemplate& dialog, const WStr& title, bool closed,
                                    PanelDlgProc* proc) = 0;
    virtual void DeleteRollout(PanelWindow* rollout) = 0;
    // Binds the parameters of `block` to the controls of `rollout`; the binding ends with the
    // rollout. `proc` receives the change messages of bound spinners and lists.
    virtual void BindParameters(PanelWindow& rollout, IParamBlock2& block,
                                std::span<const ParamBinding> bindings) = 0;

    // ---- State of the host
    // GetKeyState of SHIFT while the current message is handled.
    virtual bool ShiftHeld() const = 0;
    // A colour of the host's colour manager (0xRRGGBB).
    virtual std::uint32_t GetUIColor(int index) const = 0;
    // Whether the display manager draws in retained mode.
    virtual bool RetainedMode() const = 0;
    virtual void DisableAccelerators() = 0;
    virtual void EnableAccelerators() = 0;

    // ---- Modal dialogs and modes
    // Runs a modal dialog with `proc`; answers what EndDialog gave, 0 when closed otherwise.
    virtual int DialogBox(const DialogTemplate& dialog, PanelDlgProc& proc) = 0;
    // The select-by-name dialog: false when cancelled.
    virtual bool DoHitByNameDialog(HitByNameDlgCallback& callback) = 0;
    // Starts a pick mode, ending the one that runs; null ends it.
    virtual void SetPickMode(PickModeCallback* mode) = 0;
    virtual void PushPrompt(const WStr& text) = 0;
    virtual void PopPrompt() = 0;
    // A file dialog with the extra controls of `extra` around its own, whose messages go to
    // `hook` (may be null): WM_INITDIALOG, WM_COMMAND of the extra controls, WM_SIZE after the
    // user resized it, and WM_NOTIFY with code -601 when the dialog is ready and -606 on
    // confirmation. On confirmation `request` holds the chosen path in fileName. The dialog's
    // own controls (the name field, the folder, OK and Cancel) lie where `extra` has its
    // control kFileDialogArea, and the hook reaches them by id in the same window.
    virtual bool FileDialog(FileDialogRequest& request, const DialogTemplate& extra,
                            PanelDlgProc* hook) = 0;

    // ---- Folders and the file dialogs' history, which the host keeps between sessions
    // One of the host's folders by number (3: where the files of a scene go).
    virtual WStr GetDir(int which) const = 0;
    // The folder the host offers files from now; empty when it has none.
    virtual WStr CurrentFolder() const = 0;
    virtual std::vector<WStr> LoadHistory(const WStr& name) = 0;
    virtual void SaveHistory(const WStr& name, const std::vector<WStr>& folders) = 0;
};
