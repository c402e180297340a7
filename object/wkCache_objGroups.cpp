// The cache object's group operations: each runs the list operation inside an undoable step,
// keeps the elementFrames table in step with the list, and makes the mesh stale when the change
// can show.
#include "object/wkCache_obj.h"

#include "host/Host.h"
#include "object/wkCacheObjectTexts.h"
#include "object/wkCachePanelHooks.h"

using namespace wkCacheParam;

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
    if (began)
        hold.Accept(label);
    if (invalidate)
        invalidateAll();
    return true;
}

bool wkCache_obj::addGroup(const WStr& name, bool withSelection) {
    wkCacheGroupList& groups = playback->groups;
    if (name.IsEmpty() || groups.contains(name))
        return false;
    return groupOperation(
        ObjectTexts::kAddGroup,
        [&] {
            if (!groups.addGroup(name))
                return false;
            if (withSelection)
                groups.at(groups.count() - 1).elements = selection;
            // The new group's entry of the Set Frame table, at 0 now.
            const int entry = groups.count() - 1;
            const int missing = groups.count() - parameters->Count(elementFrames);
            if (missing > 0)
                parameters->Insert(elementFrames, parameters->Count(elementFrames), missing);
            parameters->SetValue(elementFrames, GetHost().Time().GetTime(), 0.0f, entry);
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
        ObjectTexts::kRemoveGroup,
        [&] {
            if (!groups.deleteGroup(name))
                return false;
            if (index < parameters->Count(elementFrames))
                parameters->Delete(elementFrames, index, 1);
            return true;
        },
        true);
}

void wkCache_obj::removeAllGroups() {
    groupOperation(
        ObjectTexts::kRemoveAllGroups,
        [&] {
            playback->groups.clear();
            parameters->Delete(elementFrames, 0, parameters->Count(elementFrames));
            return true;
        },
        true);
}

void wkCache_obj::removeAllGroupsNoUndo() {
    playback->groups.clear();
    parameters->Delete(elementFrames, 0, parameters->Count(elementFrames));
    invalidateAll();
}

bool wkCache_obj::renameGroup(const WStr& name, const WStr& newName) {
    wkCacheGroupList& groups = playback->groups;
    WStr chosen = newName;
    // No new name (a script's empty string): the user is asked once, starting from the old
    // name. An unknown group asks nothing.
    if (chosen.IsEmpty()) {
        chosen = name;
        if (!groups.contains(name) || !PanelHooks().askGroupName(*this, chosen))
            return false;
    }
    if (groups.contains(name) && name == chosen)
        return true;
    return groupOperation(
        ObjectTexts::kRenameGroup, [&] { return groups.renameGroup(name, chosen); }, false);
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
        ObjectTexts::kMoveGroup, [&] { return groups.moveGroup(name, direction); }, true);
}

bool wkCache_obj::selectGroup(const WStr& name) {
    const int index = playback->groups.find(name);
    if (index < 0 || !playback->groups.setSelected(index))
        return false;
    if (panelOpen && panelInterface != nullptr)
        PanelHooks().refreshGroupControls(*this, GetHost().Time().GetTime());
    return true;
}
