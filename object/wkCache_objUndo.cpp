// The object's two restore records: the element selection, and the group list with its
// selected group. Each holds deep copies, so undo does not depend on what happened between.
#include "object/wkCache_obj.h"

#include "host/Host.h"
#include "object/wkCachePanelHooks.h"

class wkCache_obj::Restore_Selection final : public RestoreObj {
public:
    explicit Restore_Selection(wkCache_obj& owner_)
        : owner(owner_), time(GetHost().Time().GetTime()), undoSelection(owner_.selection) {}
    void Restore(bool isUndo) override {
        if (isUndo)
            redoSelection = owner.selection;
        apply(undoSelection);
    }
    void Redo() override { apply(redoSelection); }
    int Size() const override { return 24; }
    WStr Description() const override { return WStr(L"---"); }
    void EndHold() override { owner.clearHeldFlag(); }

private:
    // The refresh of a selection change, which redraws the views at once: the element boxes
    // show the set the step gives back.
    void apply(const ElementSet& elements) {
        owner.selection = elements;
        owner.selectionRefresh();
    }
    wkCache_obj& owner;
    TimeValue time;
    ElementSet undoSelection;
    ElementSet redoSelection;
};

class wkCache_obj::Restore_Groups final : public RestoreObj {
public:
    explicit Restore_Groups(wkCache_obj& owner_)
        : owner(owner_), time(GetHost().Time().GetTime()),
          undoSelected(owner_.playback->groups.selected()),
          undoGroups(owner_.playback->groups.all()) {}
    void Restore(bool isUndo) override {
        if (isUndo) {
            redoSelected = owner.playback->groups.selected();
            redoGroups = owner.playback->groups.all();
        }
        apply(undoGroups, undoSelected);
    }
    void Redo() override { apply(redoGroups, redoSelected); }
    int Size() const override { return 24; }
    WStr Description() const override { return WStr(L"---"); }
    void EndHold() override { owner.clearHeldFlag(); }

private:
    // One copy of the list is kept, so that the list comes back without repeats.
    void apply(const std::vector<wkCacheGroup>& groups, std::int32_t selected) {
        wkCacheGroupList& list = owner.playback->groups;
        list.clear();
        for (const wkCacheGroup& group : groups)
            list.addRecord(group);
        list.setSelected(selected);
        if (panelInterface != nullptr && owner.panelOpen)
            PanelHooks().refreshGroupList(owner);
        owner.invalidateAll();
    }
    wkCache_obj& owner;
    TimeValue time;
    std::int32_t undoSelected;
    std::int32_t redoSelected = -1;
    std::vector<wkCacheGroup> undoGroups;
    std::vector<wkCacheGroup> redoGroups;
};

namespace {

// Runs `put` with the open hold and answers true; false, without running it, while none is open.
template <class Put> bool whileHolding(Put&& put) {
    UndoHold& hold = GetHost().Hold();
    if (!hold.Holding())
        return false;
    put(hold);
    return true;
}

} // namespace

void wkCache_obj::holdSelectionAndGroups() {
    holdSelection();
    holdGroups();
}

void wkCache_obj::holdSelection() {
    if (whileHolding(
            [this](UndoHold& hold) { hold.Put(std::make_unique<Restore_Selection>(*this)); }))
        animFlags |= A_HELD;
}

void wkCache_obj::holdGroups() {
    if (whileHolding([this](UndoHold& hold) { hold.Put(std::make_unique<Restore_Groups>(*this)); }))
        animFlags |= A_HELD;
}

void wkCache_obj::setElementSelection(ElementSet elements, bool refresh) {
    if (elements == selection)
        return;
    UndoHold& hold = GetHost().Hold();
    if (hold.Holding()) {
        hold.Put(std::make_unique<Restore_Selection>(*this));
        animFlags |= A_HELD;
    }
    selection = std::move(elements);
    if (refresh)
        invalidateSelection();
}
