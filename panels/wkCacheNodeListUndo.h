// Undoable steps the panels run on the object: the node list, the element selection, and the
// group steps that change a group's elements or one of its settings.
#pragma once

#include "host/UndoHold.h"
#include "object/wkCache_obj.h"

#include <set>
#include <vector>

// The node list before and after a change; made after the change.
class NodeListUndo final : public RestoreObj {
public:
    NodeListUndo(wkCache_obj& object, std::vector<INode*> before);
    void Restore(bool) override { put(before); }
    void Redo() override { put(after); }

private:
    void put(const std::vector<INode*>& list);
    wkCache_obj& object;
    std::vector<INode*> before;
    std::vector<INode*> after;
};

// The element selection before a change; made before it.
class ElementSelectionUndo final : public RestoreObj {
public:
    explicit ElementSelectionUndo(wkCache_obj& object_)
        : object(object_), undoSelection(object_.elementSelection) {}
    void Restore(bool isUndo) override;
    void Redo() override;

private:
    wkCache_obj& object;
    std::set<std::uint32_t> undoSelection;
    std::set<std::uint32_t> redoSelection;
};

// The group's elements become `elements`; `add` merges them into what it has, `unique` takes
// them from every other group. Unchanged without `unique`: true, and no step.
bool setGroupElementsStep(wkCache_obj& object, const WStr& name,
                          const std::set<std::uint32_t>& elements, bool add, bool unique);
// Takes `elements` out of the group.
bool removeGroupElementsStep(wkCache_obj& object, const WStr& name,
                             const std::set<std::uint32_t>& elements);
