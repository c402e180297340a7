// The cache object's life beyond playback: its clone, its references, and its panel opening
// and closing.
#include "object/wkCache_obj.h"

#include "host/Host.h"
#include "object/wkCachePanelHooks.h"

using namespace wkCacheParam;

namespace {
// Bulk changes of the node list start and end (70, 71); nodes were added or deleted (97, 98).
constexpr int kNodeListCodes[] = {70, 71, 97, 98};
} // namespace

IObjParam* wkCache_obj::panelInterface = nullptr;

std::unique_ptr<wkCache_obj> wkCache_obj::Clone() const {
    // The copy's first block is replaced at once: what its construction writes there must not
    // reach a running hold, whose record would outlive the block it points to.
    auto copy = [] {
        SuspendedHold suspended(GetHost().Hold());
        return std::make_unique<wkCache_obj>(true);
    }();
    copy->parameters = parameters->Clone(*copy);
    copy->gizmoControl = gizmoControl->Clone(*copy);
    copy->selection = selection;
    copy->playback->groups = playback->groups;
    copy->groupBrowseFilter = groupBrowseFilter;
    copy->invalidateElements();
    return copy;
}

WStr wkCache_obj::SubAnimName(int index) {
    return index == 1 ? WStr(L"Gizmo") : WStr();
}

// The replaced gizmo controller lives on in the hold: records held earlier may point into it,
// and undo puts it back.
class wkCache_obj::Restore_Gizmo final : public RestoreObj {
public:
    Restore_Gizmo(wkCache_obj& owner_, std::unique_ptr<MatrixControl> replaced)
        : owner(owner_), other(std::move(replaced)) {}
    void Restore(bool) override { swap(); }
    void Redo() override { swap(); }

private:
    void swap() {
        std::swap(owner.gizmoControl, other);
        owner.notifyDependents(0, REFMSG_CONTROLREF_CHANGE);
    }
    wkCache_obj& owner;
    std::unique_ptr<MatrixControl> other;
};

bool wkCache_obj::SetReference(int index, std::unique_ptr<MatrixControl> control) {
    if (index != 1 || !control)
        return false;
    std::swap(gizmoControl, control);
    UndoHold& hold = GetHost().Hold();
    if (hold.Holding())
        hold.Put(std::make_unique<Restore_Gizmo>(*this, std::move(control)));
    notifyDependents(0, REFMSG_CONTROLREF_CHANGE);
    return true;
}

void wkCache_obj::BeginEditParams(IObjParam* ip) {
    panelInterface = ip;
    panelOpen = true;
    CreateCommandModes();
    ParamBlockDesc2& desc = wkCacheParamBlockDesc();
    desc.ParamOption(nodes, p_validator, &nodesValidator);
    desc.ParamOption(triggerOmni, p_validator, &helperValidator);
    desc.ParamOption(explodeToNode, p_validator, &explodeNodeValidator);
    for (const int code : kNodeListCodes)
        GetHost().Notify().RegisterNotification(nodeListNotify, this, code);
    PanelHooks().opened(*this);
    PanelHooks().updatePanels(*this, true);
    PanelHooks().refreshNodeList(*this);
    PanelHooks().refreshGroupList(*this);
    PanelHooks().refreshStatus(*this);
    PanelHooks().refreshFileInfo(*this);
}

void wkCache_obj::EndEditParams() {
    // The sub-object levels live only while the panel is open: the object goes back to its own
    // level, so that element boxes and gizmo handles are not left drawn.
    if (subObjectLevel != 0) {
        XFormModes modes;
        enterSubLevel(0, modes);
    }
    PanelHooks().closing(*this);
    DeleteCommandModes();
    for (const int code : kNodeListCodes)
        GetHost().Notify().UnRegisterNotification(nodeListNotify, this, code);
    panelOpen = false;
    nodeListSuspended = false;
    panelInterface = nullptr;
    animFlags &= ~A_OBJ_CREATING;
}

void wkCache_obj::TimeChanged(TimeValue t) {
    if (!panelOpen || panelInterface == nullptr)
        return;
    const int index = playback->groups.selected();
    if (index < 0 || playback->groups.at(index).mode != wkCacheGroupMode::SetFrame ||
        index >= parameters->Count(elementFrames))
        return;
    const Control* track = parameters->GetControllerByID(elementFrames, index);
    PanelHooks().showGroupFrame(*this, parameters->GetFloat(elementFrames, t, index),
                                track != nullptr && track->IsKeyAtTime(t));
}

void wkCache_obj::nodeListNotify(void* object, int code) {
    static_cast<wkCache_obj*>(object)->NodeListNotification(code);
}

void wkCache_obj::NodeListNotification(int code) {
    if (code == kNotifyBulkChangeStarts) {
        nodeListSuspended = true;
        return;
    }
    if (code == kNotifyBulkChangeEnds)
        nodeListSuspended = false;
    if ((code == kNotifyBulkChangeEnds || code == kNotifyNodeAdded || code == kNotifyNodeDeleted) &&
        panelOpen && panelInterface != nullptr)
        PanelHooks().refreshNodeList(*this);
}
