// The file operations of the panels and the script interface: a new file, an existing one,
// unloading and reloading. Each is one named undo step; what a new file means for the groups
// and the selection follows from the change of fileName.
#include "object/wkCache_obj.h"

#include "cachefile/wkCacheRegistry.h"
#include "host/Host.h"
#include "object/wkCachePanelHooks.h"
#include "object/wkCacheTexts.h"

using namespace wkCacheParam;

namespace {

constexpr const wchar_t* kDefaultName = L"WK_Cache"; // string 4

// New and Load end alike: the chosen file becomes fileName as the step "Set Filename".
void setFileNameStep(wkCache_obj& object, const AssetUser& chosen) {
    UndoHold& hold = GetHost().Hold();
    if (!hold.Holding())
        hold.Begin();
    object.params().SetValue(wkCacheParam::fileName, 0, chosen);
    hold.Accept(wkCacheTexts::kSetFilename);
    object.notifyDependents(PART_GEOM, REFMSG_CHANGE);
}

} // namespace

void wkCache_obj::invalidateOtherClientsOf(const WStr& path) {
    wkCacheRegistryEntry* entry = nullptr;
    for (const auto& [name, candidate] : theCacheRegistry.entries())
        if (name == path)
            entry = candidate.get();
    if (entry == nullptr)
        return;
    for (int i = 0; i < entry->entryClientCount(); ++i) {
        wkCachePlaybackState* client = entry->entryClient(i);
        if (client->owner != nullptr && client->owner != this)
            client->owner->invalidateElements();
    }
}

bool wkCache_obj::newCacheFile() {
    const WStr current = resolvedFilePath();
    const bool currentOpen = !current.IsEmpty() && theCacheRegistry.containsCache(current);
    WStr name = current;
    const bool complete = current.IsEmpty();
    if (complete) {
        const auto referencing = GetHost().Nodes().NodesReferencing(this);
        name = referencing.empty() ? WStr(kDefaultName) : referencing.front()->GetName();
        name += L"_";
    }
    AssetUser chosen;
    if (!PanelHooks().chooseCacheFileToWrite(*this, chosen, name, complete))
        return false;
    WStr chosenPath;
    if (chosen.IsNull() || !GetHost().Assets().GetFullFilePath(chosen, chosenPath) ||
        chosenPath.IsEmpty())
        return false;
    if (currentOpen)
        invalidateOtherClientsOf(chosenPath);
    setFileNameStep(*this, chosen);
    return true;
}

bool wkCache_obj::loadCacheFile() {
    // The dialog opens at the loaded file, if there is one.
    AssetUser chosen = fileName();
    if (!PanelHooks().chooseCacheFileToOpen(*this, chosen))
        return false;
    setFileNameStep(*this, chosen);
    return true;
}

void wkCache_obj::unloadCacheFile() {
    UndoHold& hold = GetHost().Hold();
    if (!hold.Holding())
        hold.Begin();
    parameters->SetValue(wkCacheParam::fileName, 0, AssetUser());
    notifyDependents(PART_GEOM, REFMSG_CHANGE);
    hold.Accept(wkCacheTexts::kUnloadCache);
    if (panelOpen && panelInterface != nullptr)
        PanelHooks().refreshFileInfo(*this);
}

void wkCache_obj::reloadCacheFile() {
    const WStr path = resolvedFilePath();
    if (path.IsEmpty() || !theCacheRegistry.containsCache(path))
        return;
    // The reader goes, so that the next build of each object reads the file as it is now: a
    // reader keeps serving what it loaded, and a file written over since would not show.
    for (wkCachePlaybackState* client : theCacheRegistry.evictCache(path))
        if (client->owner != nullptr && client->owner != this)
            client->owner->invalidateElements();
    invalidateElements(); // also before its first build on the file
    notifyDependents(PART_GEOM, REFMSG_CHANGE);
    if (panelOpen && panelInterface != nullptr)
        PanelHooks().updatePanels(*this, false);
}
