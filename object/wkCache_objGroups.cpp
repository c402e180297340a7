// The cache object's group operations: each runs the list operation inside an undoable step,
// keeps the elementFrames table in step with the list, and makes the mesh stale when the change
// can show.
#include "object/wkCache_obj.h"

#include "host/Host.h"
#include "object/wkCachePanelHooks.h"
#include "object/wkCacheTexts.h"

using namespace wkCacheParam;

namespace {

// The elementFrames table has one entry per group, the frame of Set Frame: a new group's
// entry starts at 0, a removed group's goes with it. Adding sizes the table to the list, which
// also drops entries left beyond it.
void addFrameEntry(IParamBlock2& block, int entry) {
    const int count = block.Count(elementFrames);
    if (count < entry + 1)
        block.Insert(elementFrames, count, entry + 1 - count);
    else if (count > entry + 1)
        block.Delete(elementFrames, entry + 1, count - entry - 1);
    block.SetValue(elementFrames, GetHost().Time().GetTime(), 0.0f, entry);
}

void removeFrameEntry(IParamBlock2& block, int entry) {
    if (entry < block.Count(elementFrames))
        block.Delete(elementFrames, entry, 1);
}

void removeFrameEntries(IParamBlock2& block) {
    block.Delete(elementFrames, 0, block.Count(elementFrames));
}

} // namespace

bool wkCache_obj::groupOperation(const wchar_t* label, const std::function<bool()>& operation,
                                 bool invalidate) {
    UndoHold& hold = GetHost().Hold();
    const bool began = !hold.Holding();
    if (began)
        hold.Begin();
    // The table entries of elementFrames hold themselves through the parameter block.
    holdGroups();
    if (!operation()) {
        if (began)
            hold.Cancel();
        return false;
    }
    // A script's change shows in an open panel as the panel's own does.
    if (panelOpen && panelInterface != nullptr)
        PanelHooks().refreshGroupList(*this);
    if (began)
        hold.Accept(label);
    if (invalidate) {
        invalidateAll();
        GetHost().Nodes().RedrawViews(GetHost().Time().GetTime());
    }
    return true;
}

bool wkCache_obj::addGroup(const WStr& name, bool withSelection) {
    wkCacheGroupList& groups = playback->groups;
    if (name.IsEmpty() || groups.contains(name))
        return false;
    return groupOperation(
        wkCacheTexts::kAddGroup,
        [&] {
            if (!groups.addGroup(name))
                return false;
            const int added = groups.count() - 1;
            if (withSelection)
                groups.at(added).elements = selection;
            addFrameEntry(*parameters, added);
            return true;
        },
        true); // a new group is enabled
}

bool wkCache_obj::removeGroup(const WStr& name) {
    wkCacheGroupList& groups = playback->groups;
    const int index = groups.find(name);
    if (index < 0)
        return false;
    return groupOperation(
        wkCacheTexts::kRemoveGroup,
        [&] {
            const bool removed = groups.deleteGroup(name);
            if (removed)
                removeFrameEntry(*parameters, index);
            return removed;
        },
        true);
}

void wkCache_obj::removeAllGroups() {
    // Nothing to remove holds nothing, as every step that would change nothing.
    if (playback->groups.count() == 0 && parameters->Count(elementFrames) == 0)
        return;
    groupOperation(
        wkCacheTexts::kRemoveAllGroups,
        [&] {
            playback->groups.clear();
            removeFrameEntries(*parameters);
            return true;
        },
        true);
}

void wkCache_obj::removeAllGroupsNoUndo() {
    playback->groups.clear();
    removeFrameEntries(*parameters);
    invalidateAll();
}

bool wkCache_obj::renameGroup(const WStr& name, const WStr& newName) {
    wkCacheGroupList& groups = playback->groups;
    // An unknown group asks nothing and holds nothing.
    if (!groups.contains(name))
        return false;
    WStr chosen = newName;
    // No new name (a script's empty string): the user is asked once, starting from the old
    // name.
    if (chosen.IsEmpty()) {
        chosen = name;
        if (!PanelHooks().askGroupName(*this, chosen))
            return false;
    }
    if (name == chosen)
        return true;
    return groupOperation(
        wkCacheTexts::kRenameGroup, [&] { return groups.renameGroup(name, chosen); }, false);
}

bool wkCache_obj::moveGroup(const WStr& name, int direction) {
    wkCacheGroupList& groups = playback->groups;
    const int index = groups.find(name);
    if (index < 0 || direction == 0)
        return false;
    // At either end of the list there is nowhere to go.
    if ((direction < 0 && index == 0) || (direction > 0 && index == groups.count() - 1))
        return true;
    return groupOperation(
        wkCacheTexts::kMoveGroup, [&] { return groups.moveGroup(name, direction); }, true);
}

bool wkCache_obj::selectGroup(const WStr& name) {
    const int index = playback->groups.find(name);
    if (index < 0 || !playback->groups.setSelected(index))
        return false;
    // The list marks the new group too, not only the controls: the panel's own choice comes
    // from the list, a script's does not.
    if (panelOpen && panelInterface != nullptr)
        PanelHooks().refreshGroupList(*this);
    return true;
}
