#include "host/headless/PanelDriver.h"

#include "host/Host.h"
#include "host/UndoHold.h"

#include <algorithm>
#include <cwchar>
#include <initializer_list>
#include <stdexcept>

namespace {

std::string describe(int id) {
    return "control " + std::to_string(id);
}

// Whether a user can give input to control `id` now; a control of none of the `kinds` the
// action works on is a mistake of the caller.
bool takesInput(const HeadlessWindow& w, int id, const HeadlessControl& c,
                std::initializer_list<ControlKind> kinds, const char* kindName) {
    if (std::find(kinds.begin(), kinds.end(), c.kind) == kinds.end())
        throw std::invalid_argument(describe(id) + " is not " + kindName);
    return w.IsEnabled(id) && c.visible;
}

} // namespace

HeadlessWindow& PanelDriver::window(int id) const {
    HeadlessWindow* w = panels.WindowOf(id);
    if (w == nullptr)
        throw std::invalid_argument("no open window has " + describe(id));
    return *w;
}

const HeadlessControl& PanelDriver::control(int id) const {
    return *window(id).find(id);
}

HeadlessControl& PanelDriver::usable(int id, HeadlessWindow*& owner) const {
    owner = &window(id);
    return *owner->find(id);
}

template <class F> void PanelDriver::withShift(bool shift, F&& action) {
    const bool before = panels.ShiftHeld();
    panels.SetShift(shift);
    action();
    panels.SetShift(before);
}

void PanelDriver::press(int id, bool shift) {
    HeadlessWindow* w = nullptr;
    HeadlessControl& c = usable(id, w);
    if (!w->IsEnabled(id) || !c.visible)
        return;
    withShift(shift, [&] {
        const ParamBinding* b = w->BindingOf(c);
        switch (c.kind) {
        case ControlKind::CheckBox:
        case ControlKind::CheckButton:
            if (b != nullptr)
                w->WriteBound(c, w->GetCheck(id) ? 0.0f : 1.0f);
            else
                c.checked = !c.checked;
            break;
        case ControlKind::RadioButton:
            if (b != nullptr) {
                for (std::size_t i = 0; i < b->controls.size(); ++i)
                    if (b->controls[i] == id)
                        w->WriteBound(c, static_cast<float>(i));
            } else {
                c.checked = true;
            }
            break;
        case ControlKind::Button:
        case ControlKind::PickButton:
            break;
        default:
            throw std::invalid_argument(describe(id) + " is not a button");
        }
        w->Press(id);
    });
}

void PanelDriver::type(int id, const WStr& text) {
    HeadlessWindow* w = nullptr;
    HeadlessControl& c = usable(id, w);
    if (!takesInput(*w, id, c, {ControlKind::Edit}, "an edit"))
        return;
    if (c.spinnerId == 0) {
        c.text = text;
        w->Send({WM_COMMAND, id, EN_CHANGE});
        return;
    }
    wchar_t* end = nullptr;
    const float v = std::wcstof(text.data(), &end);
    if (end == text.data())
        return; // not a number: the edit shows the old value again
    HeadlessControl& spinner = *w->find(c.spinnerId);
    if (w->BindingOf(spinner) != nullptr)
        w->SetSpinnerValue(c.spinnerId, v, true);
    else
        w->SetSpinnerValue(c.spinnerId, v, false);
    w->Send({WM_CUSTEDIT_ENTER, id, 0});
}

void PanelDriver::drag(int spinnerId, float value, bool accept, bool shift) {
    drag(spinnerId, std::vector<float>{value}, accept, shift);
}

void PanelDriver::drag(int spinnerId, const std::vector<float>& path, bool accept, bool shift) {
    HeadlessWindow* w = nullptr;
    HeadlessControl& c = usable(spinnerId, w);
    if (!takesInput(*w, spinnerId, c, {ControlKind::Spinner}, "a spinner"))
        return;
    withShift(shift, [&] {
        // A bound spinner's drag is one undo step however many values it passes, and the right
        // button puts the value from before it back, as the host's parameter maps do.
        const bool bound = w->BindingOf(c) != nullptr;
        UndoHold& hold = GetHost().Hold();
        if (bound)
            hold.Begin();
        w->Send({CC_SPINNER_BUTTONDOWN, spinnerId, 0});
        for (float value : path) {
            w->SetSpinnerValue(spinnerId, value, bound);
            w->Send({CC_SPINNER_CHANGE, spinnerId, 1});
        }
        if (bound) {
            if (accept)
                hold.Accept(L"Parameter Change");
            else
                hold.Cancel();
        }
        w->Send({CC_SPINNER_BUTTONUP, spinnerId, accept ? 1 : 0});
    });
}

void PanelDriver::choose(int id, int row, bool shift) {
    HeadlessWindow* w = nullptr;
    HeadlessControl& c = usable(id, w);
    if (!takesInput(*w, id, c, {ControlKind::ComboBox, ControlKind::ListBox}, "a list") ||
        row < 0 || row >= static_cast<int>(c.rows.size()))
        return;
    withShift(shift, [&] {
        // A bound list's step also holds what the rollout does on the change, as a drag holds
        // its spinner's messages: one undo takes back a unit list and the scale it set.
        const bool bound = w->BindingOf(c) != nullptr;
        UndoHold& hold = GetHost().Hold();
        const bool own = bound && !hold.Holding();
        if (own)
            hold.Begin();
        if (bound) {
            w->WriteBound(c, static_cast<float>(row));
        } else {
            c.curSel = row;
            c.caret = row;
            if (c.kind == ControlKind::ListBox)
                for (std::size_t r = 0; r < c.rows.size(); ++r)
                    c.rows[r].marked = static_cast<int>(r) == row;
        }
        w->Send({WM_COMMAND, id, LBN_SELCHANGE});
        if (own)
            hold.Accept(L"Parameter Change");
    });
}

void PanelDriver::mark(int id, std::initializer_list<int> rows) {
    mark(id, std::vector<int>(rows));
}

void PanelDriver::mark(int id, const std::vector<int>& rows) {
    HeadlessWindow* w = nullptr;
    HeadlessControl& c = usable(id, w);
    if (!takesInput(*w, id, c, {ControlKind::ListBox}, "a list box"))
        return;
    for (HeadlessListRow& r : c.rows)
        r.marked = false;
    for (int row : rows)
        if (row >= 0 && row < static_cast<int>(c.rows.size())) {
            c.rows[static_cast<std::size_t>(row)].marked = true;
            c.caret = row;
        }
    w->Send({WM_COMMAND, id, LBN_SELCHANGE});
}

void PanelDriver::doubleClick(int id, int row) {
    choose(id, row);
    HeadlessWindow* w = nullptr;
    usable(id, w);
    if (w->IsEnabled(id))
        w->Send({WM_COMMAND, id, LBN_DBLCLK});
}

void PanelDriver::focus(int id) {
    HeadlessWindow* w = nullptr;
    usable(id, w);
    w->SetFocus(id);
}

bool PanelDriver::clickNode(INode* node) {
    PickModeCallback* mode = panels.PickMode();
    if (mode == nullptr)
        return false;
    if (mode->pick(node != nullptr && mode->filter(node) ? node : nullptr))
        panels.SetPickMode(nullptr);
    return true;
}

std::vector<WStr> PanelDriver::rows(int id) const {
    std::vector<WStr> out;
    for (const HeadlessListRow& r : control(id).rows)
        out.push_back(r.text);
    return out;
}

std::vector<int> PanelDriver::marked(int id) const {
    std::vector<int> out;
    const auto& list = control(id).rows;
    for (std::size_t r = 0; r < list.size(); ++r)
        if (list[r].marked)
            out.push_back(static_cast<int>(r));
    return out;
}
