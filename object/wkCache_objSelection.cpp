// The element selection and its undo record, and the object's script interfaces.
#include "object/wkCache_obj.h"

#include "host/Host.h"
#include "host/InterfaceServer.h"

namespace {
// The change message and partition sent when the selection changes.
constexpr int kSelectionChanged = 80;
} // namespace

// The selection before a change; undo and redo swap it in.
class wkCache_obj::Restore_Selection final : public RestoreObj {
public:
    explicit Restore_Selection(wkCache_obj& owner_)
        : owner(owner_), undoSelection(owner_.elementSelection) {}
    void Restore(bool isUndo) override {
        if (isUndo)
            redoSelection = owner.elementSelection;
        put(undoSelection);
    }
    void Redo() override { put(redoSelection); }

private:
    void put(const std::set<std::uint32_t>& selection) {
        owner.elementSelection = selection;
        owner.invalidateSelection();
        owner.notifyDependents(kSelectionChanged, kSelectionChanged);
    }
    wkCache_obj& owner;
    std::set<std::uint32_t> undoSelection;
    std::set<std::uint32_t> redoSelection;
};

void wkCache_obj::setElementSelection(std::set<std::uint32_t> selection) {
    if (selection == elementSelection)
        return;
    UndoHold& hold = GetHost().Hold();
    if (hold.Holding())
        hold.Put(std::make_unique<Restore_Selection>(*this));
    elementSelection = std::move(selection);
    invalidateSelection();
    notifyDependents(kSelectionChanged, kSelectionChanged);
}

FPInterface* wkCache_obj::GetInterface(Interface_ID id) {
    for (auto& [known, fp] : interfaces)
        if (known == id)
            return fp.get();
    const InterfaceMaker maker = FindClassInterface(kClassID, id);
    if (!maker)
        return nullptr;
    interfaces.emplace_back(id, maker(this));
    return interfaces.back().second.get();
}
