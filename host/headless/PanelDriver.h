// PanelDriver: a user at the headless panel. Each action changes a control as the mouse or the
// keyboard would and delivers the messages that follow to the window's dialog procedure, so a
// test, a script binding or a remote front end drives the panels through the same code the
// user's clicks run.
//
// Controls are named by id. An action goes to the innermost modal dialog while one runs, and
// otherwise to the first rollout that has the control; an id no open window has throws
// std::invalid_argument, as does an action the control cannot take (typing into a button). A
// disabled or hidden control ignores the action, as it would ignore the mouse.
#pragma once

#include "host/headless/HeadlessPanels.h"

#include <initializer_list>
#include <vector>

class PanelDriver {
public:
    explicit PanelDriver(HeadlessPanelHost& host) : panels(host) {}

    // A click on a button, check button, check box, radio button or pick button, with SHIFT
    // held when `shift` is set. Check boxes and check buttons toggle; a bound one writes its
    // parameter.
    void press(int id, bool shift = false);
    // Text typed into an edit and confirmed: a plain edit changes (EN_CHANGE); a spinner's
    // edit takes the number and is confirmed with Enter.
    void type(int id, const WStr& text);
    // A spinner dragged to `value`: button down, change, button up. `accept` false is a drag
    // cancelled with the right button.
    void drag(int spinnerId, float value, bool accept = true, bool shift = false);
    // A drag through several values, one change message at each.
    void drag(int spinnerId, const std::vector<float>& path, bool accept = true,
              bool shift = false);
    // A row chosen in a combo box, or clicked alone in a list box.
    void choose(int id, int row, bool shift = false);
    // Exactly these rows marked in an extended-selection list box.
    void mark(int id, std::initializer_list<int> rows);
    void mark(int id, const std::vector<int>& rows);
    void doubleClick(int id, int row);
    // Keyboard focus to a control (an edit gets EN_SETFOCUS, the one losing it EN_KILLFOCUS).
    void focus(int id);
    // A click in a viewport during a pick mode; `node` is the node under the mouse, or null.
    // False when no pick mode runs.
    bool clickNode(INode* node);

    // ---- Reading
    HeadlessPanelHost& panelHost() const { return panels; }
    HeadlessWindow& window(int id) const;
    const HeadlessControl& control(int id) const;
    WStr text(int id) const { return window(id).GetText(id); }
    bool enabled(int id) const { return window(id).IsEnabled(id); }
    bool visible(int id) const { return window(id).IsVisible(id); }
    bool checked(int id) const { return window(id).GetCheck(id); }
    float value(int id) const { return window(id).GetSpinnerValue(id); }
    // A list's rows as shown, and the marked ones.
    std::vector<WStr> rows(int id) const;
    std::vector<int> marked(int id) const;
    int selected(int id) const { return window(id).ListCurSel(id); }

private:
    // Runs one user action with SHIFT as given.
    template <class F> void withShift(bool shift, F&& action);
    HeadlessControl& usable(int id, HeadlessWindow*& owner) const;

    HeadlessPanelHost& panels;
};
