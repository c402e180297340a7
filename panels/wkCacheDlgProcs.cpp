#include "panels/wkCacheDlgProcs.h"

#include "host/Host.h"
#include "object/wkCacheTexts.h"
#include "object/wkCache_obj.h"
#include "panels/wkCacheDialogs.h"
#include "panels/wkCacheFileDialogs.h"
#include "panels/wkCacheGroupSteps.h"
#include "panels/wkCachePanel.h"
#include "panels/wkCachePickers.h"
#include "playback/wkCacheUnitScale.h"
#include "recording/RecordCache.h"
#include "recording/RecordTexts.h"

#include <algorithm>
#include <optional>

using namespace wkCacheParam;
namespace D = wkCacheDialogs;

namespace {

constexpr const wchar_t* kGroupNameStem = L"Group001";

bool isCommand(const PanelMessage& m) {
    return m.message == WM_COMMAND;
}

// The animation range in whole frames.
std::pair<int, int> animRangeFrames() {
    const HostTime& clock = GetHost().Time();
    const int tpf = clock.GetTicksPerFrame();
    return {clock.GetAnimStart() / tpf, clock.GetAnimEnd() / tpf};
}

// A range button: both ends to the animation range, as one undoable step.
void setRangeToAnimation(wkCache_obj& object, ParamID start, ParamID end) {
    const auto [first, last] = animRangeFrames();
    UndoHold& hold = GetHost().Hold();
    hold.Begin();
    object.params().SetValue(start, 0, first);
    object.params().SetValue(end, 0, last);
    hold.Accept(wkCacheTexts::kSetRecordRange);
}

// The drag state of a range pair: which end is being dragged (1 start, 2 end) and where the
// other end stood; nothing for another spinner.
std::optional<std::pair<int, int>> rangeDrag(PanelWindow& w, int spinner, int startSpinner,
                                             int endSpinner) {
    if (spinner == startSpinner)
        return std::make_pair(1, static_cast<int>(w.GetSpinnerValue(endSpinner)));
    if (spinner == endSpinner)
        return std::make_pair(2, static_cast<int>(w.GetSpinnerValue(startSpinner)));
    return std::nullopt;
}

// ---- Record rollout

void initRecordRollout(PanelWindow& w) {
    const wchar_t* const toggleTips[] = {L"Record Transformations" /* 2004 */,
                                         L"Record Deformations" /* 2006 */,
                                         L"Record Topology" /* 2008 */};
    for (int i = 0; i < 3; ++i) {
        w.SetImage(2000 + i, {1162, 1163, 45, 45, i});
        w.SetTooltip(2000 + i, toggleTips[i]);
        w.SetBackground(2000 + i, D::kRecordButtonBackground);
    }
    const std::pair<int, const wchar_t*> buttons[] = {{D::kPickButton, L"Pick Node"},
                                                      {1008, L"Select All"},
                                                      {1010, L"Invert Selected"},
                                                      {1006, L"Add Node From List"},
                                                      {1007, L"Remove Selected"}};
    int image = 0;
    for (const auto& [id, tip] : buttons) {
        w.SetImage(id, {1164, 1165, 25, 25, image++});
        w.SetTooltip(id, tip);
        w.SetBackground(id, D::kRecordButtonBackground);
    }
}

// SHIFT+Add: the selected scene nodes the list would take.
void addSelectedNodes(wkCache_obj& object) {
    UndoHold& hold = GetHost().Hold();
    hold.Begin();
    for (INode* node : GetHost().Nodes().SelectedNodes())
        if (IsRecordableNode(object, node, true))
            object.appendNodeEntry(node);
    hold.Accept(wkCacheTexts::kSelectMultiple);
    wkCachePanels::refreshNodeList(object);
}

void removeNodes(wkCache_obj& object, PanelWindow& w, bool shift) {
    const int count = w.ListCount(D::kNodeList);
    std::vector<int> marked;
    for (int row = 0; row < count; ++row)
        if (w.ListMarked(D::kNodeList, row))
            marked.push_back(row);
    if (marked.empty() && (count == 0 || !shift))
        return;
    object.NodeListNotification(kNotifyBulkChangeStarts);
    UndoHold& hold = GetHost().Hold();
    hold.Begin();
    IParamBlock2& block = object.params();
    const wchar_t* name = RecordTexts::kEmptyNodeList;
    if (static_cast<int>(marked.size()) == count || shift) {
        block.Delete(nodes, 0, block.Count(nodes));
    } else {
        for (auto row = marked.rbegin(); row != marked.rend(); ++row)
            block.Delete(nodes, *row, 1);
        name = wkCacheTexts::kRemoveNodes;
    }
    hold.Accept(name);
    object.NodeListNotification(kNotifyBulkChangeEnds);
}

} // namespace

// ---- Cache File rollout

template <> bool wkCacheDlgProc_main::DlgProc(TimeValue, PanelWindow&, const PanelMessage& m) {
    // The rollout's buttons: New.., Load.., Unload, Reload and Reload Material.
    struct Button {
        int id;
        void (*press)(wkCache_obj&);
    };
    static constexpr Button kButtons[] = {
        {1026, [](wkCache_obj& o) { o.newCacheFile(); }},
        {1012, [](wkCache_obj& o) { o.loadCacheFile(); }},
        {1027, [](wkCache_obj& o) { o.unloadCacheFile(); }},
        {1028, [](wkCache_obj& o) { o.reloadCacheFile(); }},
        {1158, [](wkCache_obj& o) { o.reloadMaterialClicked(GetHost().Panels().ShiftHeld()); }},
    };
    if (!isCommand(m))
        return false;
    for (const Button& button : kButtons) {
        if (m.id == button.id) {
            button.press(object);
            return true;
        }
    }
    return false;
}

template <> bool wkCacheDlgProc_writer::DlgProc(TimeValue, PanelWindow& w, const PanelMessage& m) {
    switch (m.message) {
    case WM_INITDIALOG:
        initRecordRollout(w);
        return true;
    case CC_SPINNER_BUTTONDOWN:
        if (const auto drag = rangeDrag(w, m.id, 1045, 1047))
            object.setRecDrag(drag->first, drag->second);
        else
            object.setRecDrag(0, 0);
        return true;
    case CC_SPINNER_BUTTONUP:
        object.setRecDrag(0, 0);
        return true;
    case WM_COMMAND:
        break;
    default:
        return false;
    }
    const bool shift = GetHost().Panels().ShiftHeld();
    switch (m.id) {
    case D::kPickButton: {
        // The button is down while its mode runs: pressed again, it comes up and ends the mode
        // (starting the mode anew would keep it down for good).
        if (!w.GetCheck(D::kPickButton)) {
            GetHost().Panels().SetPickMode(nullptr);
            return true;
        }
        wkCachePick& pick = wkCachePick::instance();
        pick.object = &object;
        GetHost().Panels().SetPickMode(&pick);
        return true;
    }
    case 1006:
        if (shift)
            addSelectedNodes(object);
        else
            addNodesByName(object);
        return true;
    case 1007:
        removeNodes(object, w, shift);
        return true;
    case 1008:
    case 1009:
        w.ListMark(D::kNodeList, -1, m.id == 1008);
        return true;
    case 1010:
        for (int row = 0; row < w.ListCount(D::kNodeList); ++row)
            w.ListMark(D::kNodeList, row, !w.ListMarked(D::kNodeList, row));
        return true;
    case 1011:
        RecordCache(object, nullptr, false, nullptr, specifyCacheFile);
        wkCachePanels::refreshNodeList(object);
        return true;
    case 1100:
        setRangeToAnimation(object, recStart, recEnd);
        return true;
    default:
        return false;
    }
}

// ---- Playback rollout

template <> bool wkCacheDlgProc_reader::DlgProc(TimeValue t, PanelWindow&, const PanelMessage& m) {
    if (!isCommand(m))
        return false;
    if ((m.id == 2014 || m.id == 2015) && m.code == LBN_SELCHANGE) {
        IParamBlock2& p = object.params();
        p.SetValue(scaleUnits, 0, UnitListScale(p.GetInt(scaleUnitsFrom), p.GetInt(scaleUnitsTo)));
        return true;
    }
    if (m.id == 1108) {
        object.invalidateElements();
        object.updateCacheMesh(t);
        object.notifyDependents(PART_ALL, REFMSG_CHANGE);
        // The views show the new activation now, not at whatever redraws them next.
        GetHost().Nodes().RedrawViews(t);
        return true;
    }
    return false;
}

// ---- Per-Element Control rollout

namespace {

struct GroupSpinner {
    int spinner;
    int edit;
    float low;
    float high;
    const wchar_t* label; // the undo name
};
constexpr GroupSpinner kGroupSpinners[] = {
    {1149, 1148, 0.0f, 9999999.0f, wkCacheTexts::kGroupAge},
    {1146, 1145, 0.0f, 9999999.0f, wkCacheTexts::kGroupDistance},
    {1143, 1142, -9999999.0f, 9999999.0f, wkCacheTexts::kGroupOffset},
    // The frame: elementFrames, whose block holds the change; the drag is named by the block's
    // label of it.
    {D::kFrameSpinner, 1074, -9999999.0f, 9999999.0f, wkCacheTexts::kGroupFrames},
    {1077, 1076, 1.0f, 99.0f, wkCacheTexts::kGroupMatID},
};

const GroupSpinner* groupSpinnerOf(int id) {
    for (const GroupSpinner& s : kGroupSpinners)
        if (s.spinner == id || s.edit == id)
            return &s;
    return nullptr;
}

wkCacheGroup* selectedGroup(wkCache_obj& object) {
    wkCacheGroupList& groups = object.playbackRecord().groups;
    const int index = groups.selected();
    return index >= 0 && index < groups.count() ? &groups.at(index) : nullptr;
}

// Writes a spinner's value into the group; answers whether the mesh shows the change.
bool applyGroupValue(wkCacheGroup& g, int spinner, float value) {
    switch (spinner) {
    case 1149:
        g.setAge(value);
        return g.enabled && g.byAge;
    case 1146:
        g.setDistance(value);
        return g.enabled && g.byDistance;
    case 1143:
        g.setOffset(value);
        return g.enabled;
    default:
        // Stored as the script's setter stores it: the record's own setter would turn id 1 into 2.
        g.materialId = wkCache_obj::storedMaterialIndex(static_cast<std::int32_t>(value) - 1);
        return g.enabled;
    }
}

// The new group's name: asked until it is not empty and not in use, or the user cancels.
bool askNewGroupName(const wkCacheGroupList& groups, WStr& name) {
    name = groups.makeUniqueName(kGroupNameStem);
    for (;;) {
        if (!promptGroupName(name))
            return false;
        if (!name.IsEmpty() && !groups.contains(name))
            return true;
    }
}

void newGroup(wkCache_obj& object, bool empty) {
    wkCacheGroupList& groups = object.playbackRecord().groups;
    WStr name;
    if (!askNewGroupName(groups, name))
        return;
    UndoHold& hold = GetHost().Hold();
    const bool began = !hold.Holding();
    if (began)
        hold.Begin();
    if (!object.addGroup(name)) {
        if (began)
            hold.Cancel();
        return;
    }
    if (!empty)
        groups.setGroupElements(name, object.elementSelection(), false);
    if (began)
        hold.Accept(wkCacheTexts::kAddGroup);
}

} // namespace

bool wkCacheDlgProc_groups::DlgProc(TimeValue t, PanelWindow& w, const PanelMessage& m) {
    switch (m.message) {
    case WM_INITDIALOG:
        for (const GroupSpinner& s : kGroupSpinners) {
            const bool isFloat = s.spinner != 1077;
            w.SetupSpinner(s.spinner, isFloat, s.low, s.high, isFloat ? 0.0f : 1.0f,
                           isFloat ? 0.1f : -1.0f);
            w.LinkSpinnerEdit(s.spinner, s.edit, s.spinner == 1146);
        }
        w.ListReset(D::kActionList);
        for (int mode = 0; mode < kGroupModeCount; ++mode)
            w.ListAdd(D::kActionList, groupModeLabel(static_cast<wkCacheGroupMode>(mode)));
        return true;
    case WM_COMMAND:
        return command(t, w, m);
    case CC_SPINNER_BUTTONDOWN:
    case CC_SPINNER_CHANGE:
    case CC_SPINNER_BUTTONUP:
    case WM_CUSTEDIT_ENTER:
        spinner(t, w, m);
        return true;
    default:
        return false;
    }
}

void wkCacheDlgProc_groups::spinner(TimeValue t, PanelWindow& w, const PanelMessage& m) {
    const GroupSpinner* s = groupSpinnerOf(m.id);
    if (s == nullptr)
        return;
    UndoHold& hold = GetHost().Hold();
    wkCacheGroupList& groups = object.playbackRecord().groups;
    wkCacheGroup* group = selectedGroup(object);
    const float value = w.GetSpinnerValue(s->spinner);
    const bool frame = s->spinner == D::kFrameSpinner;
    switch (m.message) {
    case CC_SPINNER_BUTTONDOWN:
        hold.Begin();
        // An empty step puts the list as it stands; the drag changes it without holding. The
        // frame's drag needs the hold as well: the parameter block keeps its records of the
        // writes only while one is open, and without it the drag could not be undone.
        if (!frame)
            object.groupOperation(
                s->label, [] { return true; }, false);
        return;
    case CC_SPINNER_CHANGE:
        if (group == nullptr)
            return;
        if (frame)
            object.params().SetValue(elementFrames, t, value, groups.selected());
        else if (applyGroupValue(*group, s->spinner, value))
            object.invalidateAll();
        else
            return;
        // The mesh follows the mouse, as the group's steps redraw what they change.
        GetHost().Nodes().RedrawViews(t);
        return;
    case CC_SPINNER_BUTTONUP:
        if (m.code != 0 && group != nullptr)
            hold.Accept(s->label);
        else
            hold.Cancel();
        return;
    default: // Enter in the edit
        if (group == nullptr)
            return;
        if (frame) {
            const bool began = !hold.Holding();
            if (began)
                hold.Begin();
            object.params().SetValue(elementFrames, t, value, groups.selected());
            if (began)
                hold.Accept(s->label);
            GetHost().Nodes().RedrawViews(t);
            return;
        }
        wkCacheGroup changed = *group;
        const bool shows = applyGroupValue(changed, s->spinner, value);
        if (changed == *group)
            return;
        object.groupOperation(
            s->label,
            [&] {
                *selectedGroup(object) = changed;
                return true;
            },
            shows);
    }
}

bool wkCacheDlgProc_groups::command(TimeValue t, PanelWindow& w, const PanelMessage& m) {
    const bool shift = GetHost().Panels().ShiftHeld();
    wkCacheGroupList& groups = object.playbackRecord().groups;
    // Every command but these acts on the selected group.
    if (m.id == 1069) {
        newGroup(object, shift);
    } else if (m.id == 1110) {
        selectElementsByName(object);
    } else if (m.id == 1082 && shift) {
        object.removeAllGroups();
    } else if (m.id == D::kGroupList) {
        if (m.code == LBN_SELCHANGE) {
            groups.setSelected(w.ListCurSel(D::kGroupList));
            wkCachePanels::refreshGroupControls(object, t);
            return true;
        }
        wkCacheGroup* group = selectedGroup(object);
        if (m.code != LBN_DBLCLK || group == nullptr)
            return false;
        UndoHold& hold = GetHost().Hold();
        hold.Begin();
        object.setElementSelection(group->elements);
        hold.Accept(wkCacheTexts::kSelectGroupNodes);
        return true;
    } else {
        wkCacheGroup* group = selectedGroup(object);
        if (group == nullptr)
            return false;
        const WStr name = group->name;
        switch (m.id) {
        case D::kActionList:
            if (m.code != LBN_SELCHANGE)
                return false;
            object.setGroupMode(name, w.ListCurSel(D::kActionList));
            break;
        case 1081: {
            WStr newName = name;
            if (promptGroupName(newName))
                object.renameGroup(name, newName);
            break;
        }
        case 1082:
            object.removeGroup(name);
            break;
        case 1086:
            selectGroupElementsByName(object);
            break;
        case 1087:
        case 1114:
            setGroupElementsStep(object, name, object.elementSelection(), m.id == 1087, shift);
            break;
        case 1115:
            removeGroupElementsStep(object, name, object.elementSelection());
            break;
        case 1154:
            if (!group->elements.empty())
                object.makeGroupElementsUnique(name);
            break;
        case 1155:
        case 1156:
            object.moveGroup(name, m.id == 1155 ? -1 : 1);
            break;
        case 1106:
            object.setGroupRespectActivation(name, !group->respectActivation);
            break;
        case 1107:
            object.setGroupEnabled(name, !group->enabled);
            break;
        case 1151:
            object.setGroupByAge(name, w.GetCheck(1151));
            break;
        case 1152:
            object.setGroupByDistance(name, w.GetCheck(1152));
            break;
        default:
            return false;
        }
    }
    wkCachePanels::refreshGroupList(object);
    return true;
}

// ---- Explode rollout

template <> bool wkCacheDlgProc_explode::DlgProc(TimeValue, PanelWindow& w, const PanelMessage& m) {
    switch (m.message) {
    case CC_SPINNER_BUTTONDOWN:
        if (const auto drag = rangeDrag(w, m.id, 1120, 1122))
            object.setExplodeDrag(drag->first, drag->second);
        return true;
    case CC_SPINNER_BUTTONUP:
        object.setExplodeDrag(0, 0);
        return true;
    case WM_COMMAND:
        if (m.id == 1123) {
            setRangeToAnimation(object, explodeStart, explodeEnd);
            return true;
        }
        if (m.id == 1126) {
            object.explodeWithSettings();
            return true;
        }
        return false;
    default:
        return false;
    }
}

std::unique_ptr<PanelDlgProc> makeDlgProc(int dialogId, wkCache_obj& object) {
    switch (dialogId) {
    case D::kCacheFile:
        return std::make_unique<wkCacheDlgProc_main>(object);
    case D::kRecord:
        return std::make_unique<wkCacheDlgProc_writer>(object);
    case D::kPlayback:
        return std::make_unique<wkCacheDlgProc_reader>(object);
    case D::kPerElement:
        return std::make_unique<wkCacheDlgProc_groups>(object);
    case D::kExplode:
        return std::make_unique<wkCacheDlgProc_explode>(object);
    default:
        return nullptr;
    }
}
