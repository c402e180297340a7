#include "host/headless/HeadlessPanels.h"

#include "host/FileReplacement.h"
#include "host/Host.h"
#include "host/INode.h"
#include "host/UndoHold.h"
#include "host/headless/HeadlessScene.h"
#include "host/headless/PanelDriver.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <utility>

namespace {

// The headless font is fixed: every character is this wide.
constexpr int kCharWidth = 6;
// The status field's client area.
constexpr int kFieldWidth = 160;
constexpr int kFieldHeight = 20;
// The panel's parent window, in whose middle dialogs are centred.
constexpr PanelRect kParentRect{0, 0, 1280, 960};

// The host's select-by-name dialog: OK or a double-clicked row confirms the marked rows.
class SelectByNameProc final : public PanelDlgProc {
public:
    bool DlgProc(TimeValue, PanelWindow& w, const PanelMessage& m) override {
        if (m.message != WM_COMMAND)
            return false;
        if (m.id == IDC_OK || (m.id == kNodeDialogList && m.code == LBN_DBLCLK))
            w.EndDialog(1);
        else if (m.id == IDC_CANCEL)
            w.EndDialog(0);
        else
            return false;
        return true;
    }
};

TimeValue now() {
    return GetHost().Time().GetTime();
}

// A change the user makes through a parameter's control: one undo step of its own, as the host's
// parameter maps make it, unless a hold runs already.
template <class F> void AsParameterChange(F&& change) {
    UndoHold& hold = GetHost().Hold();
    const bool own = !hold.Holding();
    if (own)
        hold.Begin();
    change();
    if (own)
        hold.Accept(L"Parameter Change");
}

// A parameter's pick button, as the host's parameter maps run it: the button stays pressed
// while the mode runs, and the first click on a node the parameter takes sets it and ends the
// mode. One at a time, like the host's pick mode itself.
class ParamPickMode final : public PickModeCallback {
public:
    static ParamPickMode& instance() {
        static ParamPickMode mode;
        return mode;
    }
    void start(HeadlessWindow& w, int control, const ParamBinding& binding) {
        window = &w;
        id = control;
        param = binding.param;
        prompt = binding.prompt;
    }
    bool runs(const HeadlessPanelHost& host, const HeadlessWindow& w, int control) const {
        return host.PickMode() == this && window == &w && id == control;
    }
    bool filter(INode* node) override {
        const ParamDef* def = window->Block()->GetDesc().GetParamDef(param);
        return def != nullptr && (def->validator == nullptr || def->validator->Validate(node));
    }
    bool pick(INode* node) override {
        if (node != nullptr)
            AsParameterChange([&] { window->Block()->SetValue(param, now(), node); });
        return true;
    }
    void enterMode() override {
        window->SetCheck(id, true);
        GetHost().Panels().PushPrompt(prompt);
    }
    void exitMode() override {
        window->SetCheck(id, false);
        GetHost().Panels().PopPrompt();
    }

private:
    HeadlessWindow* window = nullptr;
    int id = 0;
    ParamID param = 0;
    WStr prompt;
};

bool validRow(const HeadlessControl* c, int row) {
    return c != nullptr && row >= 0 && row < static_cast<int>(c->rows.size());
}

} // namespace

// ---- HeadlessBitmap

void HeadlessBitmap::FillRect(const PanelRect& rect, std::uint32_t colour) {
    for (int y = std::max(rect.top, 0); y < std::min(rect.bottom, h); ++y)
        for (int x = std::max(rect.left, 0); x < std::min(rect.right, w); ++x)
            pixels[index(x, y)] = colour;
}

void HeadlessBitmap::Line(int x0, int y0, int x1, int y1, std::uint32_t colour) {
    FillRect({std::min(x0, x1), std::min(y0, y1), std::max(x0, x1) + 1, std::max(y0, y1) + 1},
             colour);
}

// ---- HeadlessWindow

HeadlessWindow::HeadlessWindow(HeadlessPanelHost& host_, const DialogTemplate& dialog,
                               const WStr& title_, PanelDlgProc* proc_)
    : host(host_), dialogId(dialog.id), title(title_),
      proc(proc_), rect{0, 0, dialog.width, dialog.height} {
    for (const ControlTemplate& t : dialog.controls) {
        HeadlessControl c;
        c.id = t.id;
        c.kind = t.kind;
        c.text = t.caption;
        c.rect = t.rect;
        controls.push_back(std::move(c));
    }
}

const HeadlessControl* HeadlessWindow::find(int id) const {
    for (const HeadlessControl& c : controls)
        if (c.id == id)
            return &c;
    return nullptr;
}

HeadlessControl* HeadlessWindow::find(int id) {
    return const_cast<HeadlessControl*>(std::as_const(*this).find(id));
}

const ParamBinding* HeadlessWindow::BindingOf(const HeadlessControl& control) const {
    if (block == nullptr || control.binding < 0)
        return nullptr;
    return &bindings[static_cast<std::size_t>(control.binding)];
}

void HeadlessWindow::Bind(IParamBlock2& target, std::span<const ParamBinding> list) {
    block = &target;
    for (const ParamBinding& b : list) {
        if (b.dialog != dialogId)
            continue;
        const int index = static_cast<int>(bindings.size());
        bindings.push_back(b);
        for (std::size_t i = 0; i < b.controls.size(); ++i) {
            HeadlessControl* c = find(b.controls[i]);
            if (c == nullptr)
                continue;
            c->binding = index;
            if (b.tooltip != nullptr)
                c->tooltip = WStr(b.tooltip);
            if (b.kind == ParamBinding::Kind::ComboBox) {
                c->rows.clear();
                for (const wchar_t* item : b.items)
                    c->rows.push_back({item, 0, false});
            }
        }
        if (b.kind == ParamBinding::Kind::Spinner && b.controls.size() == 2) {
            const ParamDef* def = target.GetDesc().GetParamDef(b.param);
            const bool hasRange = def != nullptr && def->hasRange;
            const float low = !hasRange   ? -1e30f
                              : b.isFloat ? def->rangeLowFloat
                                          : static_cast<float>(def->rangeLowInt);
            const float high = !hasRange   ? 1e30f
                               : b.isFloat ? def->rangeHighFloat
                                           : static_cast<float>(def->rangeHighInt);
            SetupSpinner(b.controls[1], b.isFloat, low, high, 0.0f, b.scale);
            LinkSpinnerEdit(b.controls[1], b.controls[0], b.worldUnits);
        }
    }
}

void HeadlessWindow::WriteBound(const HeadlessControl& control, float value) {
    const ParamBinding* b = BindingOf(control);
    if (b == nullptr)
        return;
    AsParameterChange([&] {
        if (b->isFloat)
            block->SetValue(b->param, now(), value);
        else
            block->SetValue(b->param, now(), static_cast<int>(value));
    });
}

void HeadlessWindow::Send(const PanelMessage& message) {
    if (proc != nullptr)
        proc->DlgProc(now(), *this, message);
    while (!posted.empty()) {
        const int id = posted.front();
        posted.erase(posted.begin());
        Press(id);
    }
}

void HeadlessWindow::Press(int id) {
    if (fileRequest != nullptr && (id == IDC_OK || id == IDC_CANCEL)) {
        if (id == IDC_OK) {
            // As in the host's dialog, OK without a name chooses nothing: the dialog stays.
            const std::wstring name = GetText(kFileDialogNameEdit).str();
            if (name.empty())
                return;
            // A name with a folder takes the dialog there.
            const std::size_t slash = name.rfind(L'/');
            if (slash != std::wstring::npos)
                SetText(kFileDialogFolder, WStr(name.substr(0, slash)));
            Send({WM_NOTIFY, 0, CDN_FILEOK});
            fileRequest->fileName = GetText(kFileDialogNameEdit);
        }
        EndDialog(id == IDC_OK ? 1 : 0);
        return;
    }
    if (const HeadlessControl* c = find(id); c != nullptr) {
        if (const ParamBinding* b = BindingOf(*c); b && b->kind == ParamBinding::Kind::PickNode) {
            // A second press leaves the mode.
            ParamPickMode& mode = ParamPickMode::instance();
            if (mode.runs(host, *this, id)) {
                host.SetPickMode(nullptr);
            } else {
                host.SetPickMode(nullptr);
                mode.start(*this, id, *b);
                host.SetPickMode(&mode);
            }
        }
    }
    Send({WM_COMMAND, id, BN_CLICKED});
}

void HeadlessWindow::SetText(int id, const WStr& text) {
    setField(id, &HeadlessControl::text, text);
}

WStr HeadlessWindow::GetText(int id) const {
    const HeadlessControl* c = find(id);
    if (c == nullptr)
        return {};
    if (const ParamBinding* b = BindingOf(*c); b && b->kind == ParamBinding::Kind::PickNode) {
        INode* node = block->GetINode(b->param, now());
        return node != nullptr ? node->GetName() : WStr(L"None");
    }
    if (c->kind == ControlKind::Edit && c->spinnerId != 0) {
        WStr text;
        const HeadlessControl* spinner = find(c->spinnerId);
        const float v = GetSpinnerValue(c->spinnerId);
        if (spinner != nullptr && spinner->isFloat)
            text.printf(L"%g", static_cast<double>(v));
        else
            text.printf(L"%d", static_cast<int>(v));
        return text;
    }
    return c->text;
}

void HeadlessWindow::Enable(int id, bool on) {
    setField(id, &HeadlessControl::enabled, on);
}

bool HeadlessWindow::IsEnabled(int id) const {
    const HeadlessControl* c = find(id);
    if (c == nullptr || !c->enabled)
        return false;
    const ParamBinding* b = BindingOf(*c);
    if (b == nullptr)
        return true;
    // A parameter's controls follow the parameters that enable them, and theirs in turn.
    for (ParamID source : b->enabledBy) {
        if (block->GetInt(source, now()) != 1)
            return false;
        for (const HeadlessControl& other : controls) {
            const ParamBinding* ob = BindingOf(other);
            if (ob != nullptr && ob->param == source && !IsEnabled(other.id))
                return false;
        }
    }
    return true;
}

void HeadlessWindow::Show(int id, bool on) {
    setField(id, &HeadlessControl::visible, on);
}

bool HeadlessWindow::IsVisible(int id) const {
    const HeadlessControl* c = find(id);
    return c != nullptr && c->visible;
}

void HeadlessWindow::SetTooltip(int id, const wchar_t* text) {
    setField(id, &HeadlessControl::tooltip,
             text != nullptr ? std::optional<WStr>(WStr(text)) : std::nullopt);
}

void HeadlessWindow::SetImage(int id, const ButtonImage& image) {
    setField(id, &HeadlessControl::image, image);
}

void HeadlessWindow::SetBackground(int id, std::uint32_t colour) {
    setField(id, &HeadlessControl::background, colour);
}

void HeadlessWindow::MakeCheckButton(int id, std::uint32_t highlight) {
    if (HeadlessControl* c = find(id)) {
        c->kind = ControlKind::CheckButton;
        c->highlight = highlight;
    }
}

void HeadlessWindow::SetCheck(int id, bool on) {
    setField(id, &HeadlessControl::checked, on);
}

bool HeadlessWindow::GetCheck(int id) const {
    const HeadlessControl* c = find(id);
    if (c == nullptr)
        return false;
    const ParamBinding* b = BindingOf(*c);
    if (b == nullptr || b->kind == ParamBinding::Kind::PickNode)
        return c->checked;
    const int value = block->GetInt(b->param, now());
    if (b->kind == ParamBinding::Kind::Radio) {
        const auto at = std::find(b->controls.begin(), b->controls.end(), id);
        return value == static_cast<int>(at - b->controls.begin());
    }
    return value == 1;
}

void HeadlessWindow::Redraw(int id) {
    HeadlessControl* c = find(id);
    if (c == nullptr)
        return;
    ++c->paints;
    auto at = std::find_if(bitmaps.begin(), bitmaps.end(),
                           [id](const auto& entry) { return entry.first == id; });
    if (at == bitmaps.end()) {
        bitmaps.emplace_back(id, HeadlessBitmap(kFieldWidth, kFieldHeight));
        at = bitmaps.end() - 1;
    }
    HeadlessBitmap& canvas = at->second;
    // The control's own painting: its background; the text is what GetText answers.
    if (!c->painter || !c->painter(canvas))
        canvas.FillRect({0, 0, canvas.Width(), canvas.Height()}, 0xFFFFFF);
}

const HeadlessBitmap* HeadlessWindow::Painted(int id) const {
    for (const auto& [key, bitmap] : bitmaps)
        if (key == id)
            return &bitmap;
    return nullptr;
}

void HeadlessWindow::SetPainter(int id, PanelPainter painter) {
    setField(id, &HeadlessControl::painter, std::move(painter));
}

int HeadlessWindow::TextWidth(int, const WStr& text) const {
    return text.Length() * kCharWidth;
}

void HeadlessWindow::SetupSpinner(int id, bool isFloat, float low, float high, float value,
                                  float scale) {
    if (HeadlessControl* c = find(id)) {
        c->isFloat = isFloat;
        c->low = low;
        c->high = high;
        c->scale = scale;
        c->value = std::clamp(value, low, high);
    }
}

void HeadlessWindow::LinkSpinnerEdit(int id, int editId, bool worldUnits) {
    HeadlessControl* c = find(id);
    HeadlessControl* edit = find(editId);
    if (c == nullptr || edit == nullptr)
        return;
    c->editId = editId;
    c->worldUnits = worldUnits;
    edit->spinnerId = id;
}

void HeadlessWindow::SetSpinnerValue(int id, float value, bool notify) {
    HeadlessControl* c = find(id);
    if (c == nullptr)
        return;
    const float v = std::clamp(c->isFloat ? value : std::trunc(value), c->low, c->high);
    if (BindingOf(*c) != nullptr) {
        // The parameter is the value: only a change the user makes writes it.
        if (notify)
            WriteBound(*c, v);
        return;
    }
    c->value = v;
    if (notify)
        Send({CC_SPINNER_CHANGE, id, 0});
}

float HeadlessWindow::GetSpinnerValue(int id) const {
    const HeadlessControl* c = find(id);
    if (c == nullptr)
        return 0.0f;
    if (c->kind == ControlKind::Edit && c->spinnerId != 0)
        return GetSpinnerValue(c->spinnerId);
    if (const ParamBinding* b = BindingOf(*c))
        return b->isFloat ? block->GetFloat(b->param, now())
                          : static_cast<float>(block->GetInt(b->param, now()));
    return c->value;
}

void HeadlessWindow::SetKeyBrackets(int id, bool on) {
    setField(id, &HeadlessControl::keyBrackets, on);
}

bool HeadlessWindow::KeyBrackets(int id) const {
    const HeadlessControl* c = find(id);
    return c != nullptr && c->keyBrackets;
}

void HeadlessWindow::ListReset(int id) {
    if (HeadlessControl* c = find(id)) {
        c->rows.clear();
        c->curSel = -1;
        c->caret = 0;
        c->topIndex = 0;
    }
}

int HeadlessWindow::ListAdd(int id, const WStr& text, std::intptr_t data) {
    HeadlessControl* c = find(id);
    if (c == nullptr)
        return -1;
    c->rows.push_back({text, data, false});
    return static_cast<int>(c->rows.size()) - 1;
}

int HeadlessWindow::ListCount(int id) const {
    const HeadlessControl* c = find(id);
    return c != nullptr ? static_cast<int>(c->rows.size()) : 0;
}

WStr HeadlessWindow::ListText(int id, int row) const {
    const HeadlessControl* c = find(id);
    return validRow(c, row) ? c->rows[static_cast<std::size_t>(row)].text : WStr();
}

void HeadlessWindow::ListSetText(int id, int row, const WStr& text) {
    HeadlessControl* c = find(id);
    if (validRow(c, row))
        c->rows[static_cast<std::size_t>(row)].text = text;
}

std::intptr_t HeadlessWindow::ListData(int id, int row) const {
    const HeadlessControl* c = find(id);
    return validRow(c, row) ? c->rows[static_cast<std::size_t>(row)].data : 0;
}

void HeadlessWindow::ListSetData(int id, int row, std::intptr_t data) {
    HeadlessControl* c = find(id);
    if (validRow(c, row))
        c->rows[static_cast<std::size_t>(row)].data = data;
}

void HeadlessWindow::ListMark(int id, int row, bool on) {
    HeadlessControl* c = find(id);
    if (c == nullptr)
        return;
    if (row == -1) {
        for (HeadlessListRow& r : c->rows)
            r.marked = on;
    } else if (validRow(c, row)) {
        c->rows[static_cast<std::size_t>(row)].marked = on;
    }
}

bool HeadlessWindow::ListMarked(int id, int row) const {
    const HeadlessControl* c = find(id);
    return validRow(c, row) && c->rows[static_cast<std::size_t>(row)].marked;
}

void HeadlessWindow::ListSetCurSel(int id, int row) {
    HeadlessControl* c = find(id);
    if (c == nullptr)
        return;
    c->curSel = validRow(c, row) ? row : -1;
}

int HeadlessWindow::ListCurSel(int id) const {
    const HeadlessControl* c = find(id);
    if (c == nullptr)
        return -1;
    if (const ParamBinding* b = BindingOf(*c); b && b->kind == ParamBinding::Kind::ComboBox)
        return block->GetInt(b->param, now());
    return c->curSel;
}

void HeadlessWindow::ListSetCaret(int id, int row) {
    HeadlessControl* c = find(id);
    if (validRow(c, row))
        c->caret = row;
}

int HeadlessWindow::ListCaret(int id) const {
    const HeadlessControl* c = find(id);
    return c != nullptr ? c->caret : 0;
}

void HeadlessWindow::ListSetTopIndex(int id, int row) {
    HeadlessControl* c = find(id);
    if (validRow(c, row))
        c->topIndex = row;
}

void HeadlessWindow::ListSetHorizontalExtent(int id, int pixels) {
    setField(id, &HeadlessControl::extent, pixels);
}

void HeadlessWindow::ListLockUpdate(int id, bool on) {
    setField(id, &HeadlessControl::locked, on);
}

PanelRect HeadlessWindow::GetControlRect(int id) const {
    const HeadlessControl* c = find(id);
    return c != nullptr ? c->rect : PanelRect{};
}

void HeadlessWindow::SetControlRect(int id, const PanelRect& r) {
    setField(id, &HeadlessControl::rect, r);
}

void HeadlessWindow::SetRect(const PanelRect& r) {
    const PanelRect before = rect;
    rect = r;
    if (fileRequest != nullptr)
        followSize(r.Width() - before.Width(), r.Height() - before.Height());
    Send({WM_SIZE, 0, 0});
}

void HeadlessWindow::followSize(int dx, int dy) {
    const int areaBottom = GetControlRect(kFileDialogArea).bottom;
    for (HeadlessControl& c : controls) {
        PanelRect& r = c.rect;
        switch (c.id) {
        case kFileDialogArea:
            r.right += dx;
            r.bottom += dy;
            break;
        case kFileDialogFolder:
            r.right += dx;
            break;
        case kFileDialogNameEdit:
            r = {r.left, r.top + dy, r.right + dx, r.bottom + dy};
            break;
        case IDC_OK:
        case IDC_CANCEL:
            r = {r.left + dx, r.top + dy, r.right + dx, r.bottom + dy};
            break;
        default:
            if (r.top >= areaBottom)
                r = {r.left, r.top + dy, r.right, r.bottom + dy};
        }
    }
}

void HeadlessWindow::CenterOnParent() {
    const int left = (kParentRect.Width() - rect.Width()) / 2;
    const int top = (kParentRect.Height() - rect.Height()) / 2;
    rect = {left, top, left + rect.Width(), top + rect.Height()};
}

void HeadlessWindow::SetFocus(int id) {
    if (focusId == id)
        return;
    const HeadlessControl* before = find(focusId);
    focusId = id;
    if (before != nullptr && before->kind == ControlKind::Edit)
        Send({WM_COMMAND, before->id, EN_KILLFOCUS});
    const HeadlessControl* after = find(id);
    if (after != nullptr && after->kind == ControlKind::Edit)
        Send({WM_COMMAND, id, EN_SETFOCUS});
}

void HeadlessWindow::EndDialog(int value) {
    if (!result)
        result = value;
}

// ---- HeadlessPanelHost

HeadlessPanelHost::HeadlessPanelHost(HeadlessScene& scene_) : scene(scene_) {}

HeadlessPanelHost::~HeadlessPanelHost() = default;

PanelWindow* HeadlessPanelHost::AddRollout(const DialogTemplate& dialog, const WStr& title,
                                           bool closed, PanelDlgProc* proc) {
    auto window = std::make_unique<HeadlessWindow>(*this, dialog, title, proc);
    window->SetClosed(closed);
    HeadlessWindow* raw = window.get();
    rollouts.push_back(std::move(window));
    raw->Send({WM_INITDIALOG, 0, 0});
    return raw;
}

void HeadlessPanelHost::DeleteRollout(PanelWindow* rollout) {
    std::erase_if(rollouts, [rollout](const auto& w) { return w.get() == rollout; });
}

void HeadlessPanelHost::BindParameters(PanelWindow& rollout, IParamBlock2& block,
                                       std::span<const ParamBinding> bindings) {
    for (const auto& w : rollouts)
        if (w.get() == &rollout)
            w->Bind(block, bindings);
}

// The colours of a dark user interface: 4 the bar, 16 the light edge, 20 the dark edge.
std::uint32_t HeadlessPanelHost::GetUIColor(int index) const {
    switch (index) {
    case 4:
        return 0x3C78D8;
    case 16:
        return 0xA0A0A0;
    case 20:
        return 0x202020;
    default:
        return 0x444444 + static_cast<std::uint32_t>(index) * 0x010101;
    }
}

HeadlessWindow* HeadlessPanelHost::FindRollout(int dialogId) const {
    for (const auto& w : rollouts)
        if (w->DialogId() == dialogId)
            return w.get();
    return nullptr;
}

HeadlessWindow* HeadlessPanelHost::WindowOf(int id) const {
    if (!modal.empty())
        return modal.back()->HasControl(id) ? modal.back() : nullptr;
    for (const auto& w : rollouts)
        if (w->HasControl(id))
            return w.get();
    return nullptr;
}

int HeadlessPanelHost::runModal(HeadlessWindow& window,
                                const std::function<void(PanelDriver&)>& script) {
    modal.push_back(&window);
    window.Send({WM_INITDIALOG, 0, 0});
    if (script) {
        PanelDriver driver(*this);
        script(driver);
    }
    // Left open: the user closes it.
    if (!window.Result())
        window.Press(IDC_CANCEL);
    // Closing takes the focus away from whichever control had it.
    window.SetFocus(0);
    window.Send({WM_DESTROY, 0, 0});
    modal.pop_back();
    return window.Result().value_or(0);
}

int HeadlessPanelHost::DialogBox(const DialogTemplate& dialog, PanelDlgProc& proc) {
    HeadlessWindow window(*this, dialog, dialog.title, &proc);
    DialogScript script;
    if (!dialogScripts.empty()) {
        script = std::move(dialogScripts.front());
        dialogScripts.pop_front();
    }
    return runModal(window, script);
}

bool HeadlessPanelHost::DoHitByNameDialog(HitByNameDlgCallback& callback) {
    offered.clear();
    for (INode* node : scene.Nodes())
        if (callback.filter(node))
            offered.push_back(node);
    DialogTemplate dialog{0, L"", {}, 320, 400};
    dialog.controls = {
        {kNodeDialogList, ControlKind::ListBox, L"", {8, 8, 312, 352}},
        {IDC_OK, ControlKind::Button, callback.buttonText().data(), {148, 364, 228, 388}},
        {IDC_CANCEL, ControlKind::Button, L"Cancel", {232, 364, 312, 388}}};
    SelectByNameProc proc;
    HeadlessWindow window(*this, dialog, callback.dialogTitle(), &proc);
    for (INode* node : offered)
        window.ListAdd(kNodeDialogList, node->GetName(), 0);
    NodeScript script = onNodeDialog;
    if (!nodeAnswers.empty()) {
        // A queued answer marks the rows of its nodes: only what the list showed can be chosen.
        script = [this, answer = std::move(nodeAnswers.front())](PanelDriver& user) {
            if (!answer)
                return;
            std::vector<int> rows;
            for (std::size_t row = 0; row < offered.size(); ++row)
                if (std::find(answer->begin(), answer->end(), offered[row]) != answer->end())
                    rows.push_back(static_cast<int>(row));
            user.mark(kNodeDialogList, rows);
            user.press(IDC_OK);
        };
        nodeAnswers.pop_front();
    }
    if (runModal(window, script) != 1)
        return false;
    std::vector<INode*> chosen;
    for (std::size_t row = 0; row < offered.size(); ++row)
        if (window.ListMarked(kNodeDialogList, static_cast<int>(row)))
            chosen.push_back(offered[row]);
    callback.proc(chosen);
    return true;
}

void HeadlessPanelHost::SetPickMode(PickModeCallback* mode) {
    if (pickMode != nullptr) {
        PickModeCallback* ending = std::exchange(pickMode, nullptr);
        ending->exitMode();
    }
    pickMode = mode;
    if (pickMode != nullptr)
        pickMode->enterMode();
}

void HeadlessPanelHost::PopPrompt() {
    if (!prompts.empty())
        prompts.pop_back();
}

bool HeadlessPanelHost::FileDialog(FileDialogRequest& request, const DialogTemplate& extra,
                                   PanelDlgProc* hook) {
    fileRequests.push_back(request);
    DialogTemplate dialog = extra;
    // The dialog's own controls in their area: the folder at the top, the name field with OK
    // beside it and Cancel below at the bottom; without an area, the whole dialog.
    PanelRect a{0, 0, extra.width, extra.height};
    for (const ControlTemplate& c : extra.controls)
        if (c.id == kFileDialogArea)
            a = c.rect;
    const PanelRect folderField{a.left + 8, a.top + 8, a.right - 8, a.top + 28};
    const PanelRect name{a.left + 8, a.bottom - 62, a.right - 112, a.bottom - 40};
    const PanelRect ok{a.right - 104, a.bottom - 62, a.right - 8, a.bottom - 40};
    const PanelRect cancel{a.right - 104, a.bottom - 32, a.right - 8, a.bottom - 10};
    dialog.controls.push_back({kFileDialogNameEdit, ControlKind::Edit, L"", name});
    dialog.controls.push_back({kFileDialogFolder, ControlKind::Static, L"", folderField});
    dialog.controls.push_back({IDC_OK, ControlKind::Button, request.save ? L"Save" : L"Open", ok});
    dialog.controls.push_back({IDC_CANCEL, ControlKind::Button, L"Cancel", cancel});
    HeadlessWindow window(*this, dialog, request.title, hook);
    window.SetText(kFileDialogNameEdit, request.fileName);
    window.SetText(kFileDialogFolder, request.initialDir);
    FileDialogRequest answer = request;
    window.fileRequest = &answer;
    FileScript script;
    if (!fileScripts.empty()) {
        script = std::move(fileScripts.front());
        fileScripts.pop_front();
    } else {
        script = onFileDialog;
    }
    const auto run = [&](PanelDriver& driver) {
        window.Send({WM_NOTIFY, 0, CDN_INITDONE});
        if (script)
            script(driver);
    };
    if (runModal(window, run) != 1)
        return false;
    WStr chosen = answer.fileName;
    // A plain name is in the folder the dialog shows, and gets the default extension.
    const std::wstring& s = chosen.str();
    const std::wstring folder = window.GetText(kFileDialogFolder).str();
    if (!folder.empty() && s.find(L'/') == std::wstring::npos)
        chosen = WStr((folder.back() == L'/' ? folder : folder + L"/") + s);
    const std::size_t slash = chosen.str().rfind(L'/');
    const std::size_t dot = chosen.str().rfind(L'.');
    if (!request.defaultExtension.IsEmpty() &&
        (dot == std::wstring::npos || (slash != std::wstring::npos && dot < slash)))
        chosen = WStr(chosen.str() + L"." + request.defaultExtension.str());
    request.fileName = chosen;
    return true;
}

void HeadlessPanelHost::QueueFileAnswer(std::optional<WStr> name) {
    QueueFileDialog([name = std::move(name)](PanelDriver& dialog) {
        if (!name)
            return;
        dialog.type(kFileDialogNameEdit, *name);
        dialog.press(IDC_OK);
    });
}

WStr HeadlessPanelHost::GetDir(int which) const {
    const auto found = dirs.find(which);
    return found != dirs.end() ? found->second : WStr();
}

std::vector<WStr> HeadlessPanelHost::LoadHistory(const WStr& name) {
    if (historyFile.empty())
        return histories[name];
    std::vector<WStr> folders;
    std::ifstream in(historyFile);
    std::string line;
    const std::string key = name.ToCStr().str() + "\t";
    while (std::getline(in, line))
        if (line.starts_with(key))
            folders.push_back(WStr::FromUTF8(line.substr(key.size())));
    return folders;
}

void HeadlessPanelHost::SaveHistory(const WStr& name, const std::vector<WStr>& folders) {
    histories[name] = folders;
    if (historyFile.empty())
        return;
    // The other lists of the file stay as they are.
    std::vector<std::string> kept;
    std::ifstream in(historyFile);
    std::string line;
    const std::string key = name.ToCStr().str() + "\t";
    while (std::getline(in, line))
        if (!line.starts_with(key))
            kept.push_back(line);
    in.close();
    // Written beside and renamed over, so a failed write keeps the other lists.
    FileReplacement replacement(historyFile);
    {
        std::ofstream out(replacement.temporary(), std::ios::trunc);
        for (const std::string& other : kept)
            out << other << '\n';
        for (const WStr& folder : folders)
            out << key << folder.ToCStr().str() << '\n';
        if (!out.flush())
            return;
    }
    replacement.commit();
}
