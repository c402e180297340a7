#include "panels/wkCachePickers.h"

#include "cachefile/wkCacheRegistry.h"
#include "host/Host.h"
#include "object/wkCacheTexts.h"
#include "object/wkCache_obj.h"
#include "panels/wkCacheDialogs.h"
#include "panels/wkCacheGroupSteps.h"
#include "panels/wkCachePanel.h"
#include "recording/RecordCache.h"

#include <algorithm>

namespace D = wkCacheDialogs;

namespace {

constexpr int kMinimumHeight = 200;

// The object's reader, unless it has none or a failed one. A failed one is read again first,
// so a file that has come back since is offered at once.
const WelkardTools::wkCacheReader* usableReader(wkCache_obj& object) {
    const WelkardTools::wkCacheReader* reader =
        theCacheRegistry.readerOfClient(&object.playbackRecord());
    return reader != nullptr && !reader->hasError() ? reader : nullptr;
}

// ---- The node dialog's callback

class wkCacheSelByName final : public HitByNameDlgCallback {
public:
    explicit wkCacheSelByName(wkCache_obj& owner_) : owner(owner_), hits(owner_.nodeList()) {}
    const WStr& dialogTitle() const override { return title; }
    const WStr& buttonText() const override { return button; }
    bool filter(INode* node) override { return IsRecordableNode(owner, node, true); }
    void proc(std::span<INode* const> chosen) override {
        if (busy)
            return;
        busy = true;
        hits.insert(hits.end(), chosen.begin(), chosen.end());
        busy = false;
    }

    WStr title = wkCacheTexts::kSelectObjectsToAdd;
    WStr button = wkCacheTexts::kAddButton;
    wkCache_obj& owner;
    std::vector<INode*> hits;
    bool busy = false;
};

// ---- The element dialog

class GroupElementsDialog final : public PanelDlgProc {
public:
    explicit GroupElementsDialog(GroupElementsRequest& request_) : request(request_) {}

    bool DlgProc(TimeValue, PanelWindow& w, const PanelMessage& m) override {
        switch (m.message) {
        case WM_INITDIALOG:
            // Where the template puts the controls, for the size the template has.
            templateRect = w.GetRect();
            for (Anchored& a : anchored)
                a.placed = w.GetControlRect(a.id);
            minWidth = templateRect.Width();
            w.SetTitle(request.title);
            w.SetText(D::kElementLabel, request.label);
            w.CenterOnParent();
            w.SetText(D::kFilterEdit, request.filter);
            fill(w, true);
            w.SetFocus(D::kFilterEdit);
            if (lastDialogRect().set)
                w.SetRect(lastDialogRect().rect);
            return true;
        case WM_SIZE: {
            // The minimum tracking size: the initial width, and 200 high. Held there, the
            // dialog lays itself out at the size it is held at.
            PanelRect r = w.GetRect();
            if (r.Width() < minWidth || r.Height() < kMinimumHeight) {
                r.right = r.left + std::max(r.Width(), minWidth);
                r.bottom = r.top + std::max(r.Height(), kMinimumHeight);
                w.SetRect(r);
                return true;
            }
            layout(w);
            return true;
        }
        case WM_DESTROY:
            lastDialogRect() = {true, w.GetRect()};
            return true;
        case WM_COMMAND:
            return command(w, m);
        default:
            return false;
        }
    }

private:
    // A control and the edges it keeps its distance from as the dialog is resized; the
    // others keep theirs from the top and the left.
    struct Anchored {
        int id;
        bool right;  // moves with the right edge
        bool bottom; // moves with the bottom edge
        bool grows;  // stretches instead of moving
        PanelRect placed{};
    };

    void layout(PanelWindow& w) const {
        const PanelRect r = w.GetRect();
        const int dx = r.Width() - templateRect.Width();
        const int dy = r.Height() - templateRect.Height();
        for (const Anchored& a : anchored) {
            PanelRect to = a.placed;
            to.right += a.right ? dx : 0;
            to.bottom += a.bottom ? dy : 0;
            if (!a.grows) {
                to.left += a.right ? dx : 0;
                to.top += a.bottom ? dy : 0;
            }
            w.SetControlRect(a.id, to);
        }
    }

    bool command(PanelWindow& w, const PanelMessage& m) {
        switch (m.id) {
        case 1116:
            w.ListMark(D::kElementList, -1, true);
            return true;
        case 1117:
            w.ListMark(D::kElementList, -1, false);
            return true;
        case 1118:
            invert(w);
            return true;
        case D::kFilterEdit:
            if (m.code == EN_SETFOCUS)
                GetHost().Panels().DisableAccelerators();
            else if (m.code == EN_KILLFOCUS)
                GetHost().Panels().EnableAccelerators();
            else if (m.code == EN_CHANGE) {
                request.filter = w.GetText(D::kFilterEdit);
                fill(w, false);
            }
            return true;
        case D::kElementList:
            if (m.code == LBN_DBLCLK)
                confirm(w);
            return true;
        case IDC_OK:
            confirm(w);
            return true;
        case IDC_CANCEL:
            w.EndDialog(0);
            return true;
        default:
            return false;
        }
    }

    // The filter's length is read from the name prompt's edit, which this dialog lacks: the
    // text comes back empty, and so does the remembered filter.
    void confirm(PanelWindow& w) {
        request.filter = w.GetText(D::kNameEdit);
        request.selection.clear();
        for (int row = 0; row < w.ListCount(D::kElementList); ++row)
            if (w.ListMarked(D::kElementList, row))
                request.selection.insert(
                    static_cast<std::uint32_t>(w.ListData(D::kElementList, row)));
        w.EndDialog(1);
    }

    void invert(PanelWindow& w) {
        const int count = w.ListCount(D::kElementList);
        int marked = 0;
        for (int row = 0; row < count; ++row)
            marked += w.ListMarked(D::kElementList, row) ? 1 : 0;
        if (marked == 0 || marked == count) {
            w.ListMark(D::kElementList, -1, marked == 0);
            return;
        }
        for (int row = 0; row < count; ++row)
            w.ListMark(D::kElementList, row, !w.ListMarked(D::kElementList, row));
    }

    void fill(PanelWindow& w, bool first) {
        const WStr pattern = request.filter.IsEmpty() ? WStr(L"*") : request.filter;
        std::vector<std::pair<std::uint32_t, WStr>> matches;
        if (request.reader != nullptr && request.reader->getIndex() != nullptr) {
            const auto& nodes = request.reader->getIndex()->nodes;
            for (std::size_t i = 0; i < nodes.size(); ++i)
                if (MatchPattern(nodes[i]->name, pattern, true))
                    matches.emplace_back(static_cast<std::uint32_t>(i), nodes[i]->name);
        }
        std::set<std::uint32_t> kept;
        if (!first)
            for (int row = 0; row < w.ListCount(D::kElementList); ++row)
                if (w.ListMarked(D::kElementList, row))
                    kept.insert(static_cast<std::uint32_t>(w.ListData(D::kElementList, row)));
        const std::set<std::uint32_t>& marks = first ? request.selection : kept;

        w.ListLockUpdate(D::kElementList, true);
        const int count = static_cast<int>(matches.size());
        if (w.ListCount(D::kElementList) != count) {
            w.ListReset(D::kElementList);
            for (const auto& [index, name] : matches)
                w.ListAdd(D::kElementList, name, static_cast<std::intptr_t>(index));
        } else {
            for (int row = 0; row < count; ++row) {
                const auto& [index, name] = matches[static_cast<std::size_t>(row)];
                if (w.ListText(D::kElementList, row) != name)
                    w.ListSetText(D::kElementList, row, name);
                w.ListSetData(D::kElementList, row, static_cast<std::intptr_t>(index));
            }
        }
        int firstMarked = -1;
        int widest = 0;
        for (int row = 0; row < count; ++row) {
            const auto& [index, name] = matches[static_cast<std::size_t>(row)];
            const bool on = marks.contains(index);
            w.ListMark(D::kElementList, row, on);
            if (on && firstMarked < 0)
                firstMarked = row;
            widest = std::max(widest, w.TextWidth(D::kElementList, name));
        }
        w.ListLockUpdate(D::kElementList, false);
        if (firstMarked >= 0)
            w.ListSetTopIndex(D::kElementList, firstMarked);
        w.ListSetHorizontalExtent(D::kElementList, widest + D::kListExtentMargin);
    }

    GroupElementsRequest& request;
    int minWidth = 0;
    PanelRect templateRect;
    Anchored anchored[7] = {
        {1116, false, true, false},          {1117, false, true, false},
        {1118, false, true, false},          {IDC_OK, true, true, false},
        {IDC_CANCEL, true, true, false},     {D::kFilterEdit, true, false, true},
        {D::kElementList, true, true, true},
    };
};

// ---- The group name prompt

class GroupNameDialog final : public PanelDlgProc {
public:
    explicit GroupNameDialog(WStr& name_) : name(name_) {}
    bool DlgProc(TimeValue, PanelWindow& w, const PanelMessage& m) override {
        if (m.message == WM_INITDIALOG) {
            w.SetText(D::kNameEdit, name);
            w.CenterOnParent();
            return true;
        }
        if (m.message != WM_COMMAND)
            return false;
        if (m.id == IDC_OK) {
            name = w.GetText(D::kNameEdit);
            w.EndDialog(1);
            return true;
        }
        if (m.id == IDC_CANCEL) {
            w.EndDialog(0);
            return true;
        }
        return false;
    }

private:
    WStr& name;
};

} // namespace

// ---- Pick mode

wkCachePick& wkCachePick::instance() {
    static wkCachePick pick;
    return pick;
}

bool wkCachePick::filter(INode* node) {
    return object != nullptr && IsRecordableNode(*object, node, true);
}

bool wkCachePick::pick(INode* node) {
    if (node == nullptr || object == nullptr)
        return true;
    UndoHold& hold = GetHost().Hold();
    if (!hold.Holding())
        hold.Begin();
    object->appendNodeEntry(node);
    hold.Accept(wkCacheTexts::kAddNode);
    wkCachePanels::refreshNodeList(*object);
    return false;
}

void wkCachePick::enterMode() {
    if (object != nullptr)
        if (wkCachePanel* panel = wkCachePanel::of(*object))
            panel->rollout(D::kRecord)->SetCheck(D::kPickButton, true);
    GetHost().Panels().PushPrompt(wkCacheTexts::kSelectObjectsToAdd);
}

void wkCachePick::exitMode() {
    if (object != nullptr)
        if (wkCachePanel* panel = wkCachePanel::of(*object))
            panel->rollout(D::kRecord)->SetCheck(D::kPickButton, false);
    GetHost().Panels().PopPrompt();
}

// ---- Node dialog

void addNodesByName(wkCache_obj& object) {
    wkCacheSelByName callback(object);
    if (!GetHost().Panels().DoHitByNameDialog(callback) || callback.hits.empty())
        return;
    object.NodeListNotification(kNotifyBulkChangeStarts);
    UndoHold& hold = GetHost().Hold();
    if (!hold.Holding())
        hold.Begin();
    IParamBlock2& block = object.params();
    block.Delete(wkCacheParam::nodes, 0, block.Count(wkCacheParam::nodes));
    for (INode* node : callback.hits)
        object.appendNodeEntry(node);
    hold.Accept(wkCacheTexts::kSelectMultiple);
    object.NodeListNotification(kNotifyBulkChangeEnds);
}

// ---- Element dialog

LastDialogRect& lastDialogRect() {
    static LastDialogRect rect;
    return rect;
}

bool runGroupElementsDialog(GroupElementsRequest& request) {
    GroupElementsDialog dialog(request);
    return GetHost().Panels().DialogBox(D::dialogTemplate(D::kGroupElements), dialog) == 1;
}

bool promptGroupName(WStr& name) {
    GroupNameDialog dialog(name);
    return GetHost().Panels().DialogBox(D::dialogTemplate(D::kGroupName), dialog) == 1;
}

void selectElementsByName(wkCache_obj& object) {
    GroupElementsRequest request;
    request.title = wkCacheTexts::kSelectElementsByName;
    request.label = wkCacheTexts::kSelectElementsByName;
    request.selection = object.elementSelection();
    request.reader = usableReader(object);
    if (request.reader == nullptr || !runGroupElementsDialog(request))
        return;
    if (request.selection == object.elementSelection())
        return;
    UndoHold& hold = GetHost().Hold();
    if (!hold.Holding())
        hold.Begin();
    // Neither the mesh nor the views are refreshed: the boxes show the new selection at the
    // next redraw, which undoing it forces.
    object.setElementSelection(request.selection, false);
    hold.Accept(wkCacheTexts::kGroupNodes);
}

void selectGroupElementsByName(wkCache_obj& object) {
    wkCacheGroupList& groups = object.playbackRecord().groups;
    const int index = groups.selected();
    if (index < 0 || index >= groups.count())
        return;
    GroupElementsRequest request;
    request.title = wkCacheTexts::kSelectGroupElements;
    request.label = wkCacheTexts::kSelectElementsToAdd;
    request.filter = object.groupBrowseFilter;
    request.selection = groups.at(index).elements;
    request.reader = usableReader(object);
    // Without a readable cache the list would be empty, and OK would empty the group.
    if (request.reader == nullptr || !runGroupElementsDialog(request))
        return;
    object.groupBrowseFilter = request.filter;
    setGroupElementsStep(object, groups.at(index).name, request.selection, false, false);
}
