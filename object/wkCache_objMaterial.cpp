// Reload Material: the cache's material (the first material of the library beside the cache
// file) on the nodes of this object and, on request, of every object playing the same file.
#include "object/wkCache_obj.h"

#include "cachefile/wkCacheRegistry.h"
#include "host/Host.h"
#include "object/wkCacheTexts.h"

#include <memory>

namespace {

// A node's material as it was before the reload, and the one it got.
class MaterialRestore final : public RestoreObj {
public:
    MaterialRestore(INode& node_, std::shared_ptr<Mtl> before_, std::shared_ptr<Mtl> after_)
        : node(node_), before(std::move(before_)), after(std::move(after_)) {}
    void Restore(bool) override { node.SetMtl(before); }
    void Redo() override { node.SetMtl(after); }
    int Size() const override { return static_cast<int>(sizeof *this); }

private:
    INode& node;
    std::shared_ptr<Mtl> before;
    std::shared_ptr<Mtl> after;
};

} // namespace

int wkCache_obj::reloadMaterial(bool replaceOwn, bool otherObjects, bool replaceOthers,
                                bool selectedOnly, bool undoable) {
    wkCacheRegistryEntry* entry = theCacheRegistry.findEntryOfClient(playback.get());
    WelkardTools::wkCacheReader* reader = entry != nullptr ? entry->entryReader() : nullptr;
    Mtl* found = reader != nullptr ? reader->firstMaterial() : nullptr;
    if (found == nullptr)
        return 0;
    MtlBaseLib& library = *reader->getMaterialLibrary();
    const std::shared_ptr<Mtl> material =
        std::dynamic_pointer_cast<Mtl>(library.Share(library.FindMtl(found)));

    UndoHold& hold = GetHost().Hold();
    int changed = 0;
    for (int c = 0; c < entry->entryClientCount(); ++c) {
        wkCache_obj* owner = entry->entryClient(c)->owner;
        if (owner == nullptr)
            continue;
        const bool own = owner == this;
        for (INode* node : GetHost().Nodes().NodesReferencing(owner)) {
            const bool hasMaterial = node->GetMtl() != nullptr;
            if (node->GetMtl() == found || node->TestAFlag(A_IS_DELETED) ||
                (selectedOnly && !node->Selected()) ||
                (!own && (!otherObjects || (hasMaterial && !replaceOthers))) ||
                (own && hasMaterial && !replaceOwn))
                continue;
            if (changed == 0 && undoable && !hold.Holding())
                hold.Begin();
            hold.Put(std::make_unique<MaterialRestore>(*node, node->ShareMtl(), material));
            node->SetMtl(material);
            ++changed;
        }
    }
    if (changed > 0 && undoable)
        hold.Accept(wkCacheTexts::kApplyMaterials);
    // The nodes share the material now; the reader keeps its library, so that the next
    // reload finds the same material rather than none.
    return changed;
}

int wkCache_obj::reloadMaterialClicked(bool shiftHeld) {
    const int changed = reloadMaterial(true, shiftHeld, shiftHeld, !shiftHeld, true);
    if (changed > 0)
        GetHost().UI().ForceCompleteRedraw(0);
    return changed;
}
