// What the cache object asks of its panels. The panels sit above the object, so the object
// calls them through this interface; the layer that owns both installs the panels' version,
// and until then a version that does nothing stands in. The object calls these only while its
// panel is open, except for the file dialogs.
#pragma once

#include "host/Assets.h"
#include "host/Strings.h"

class wkCache_obj;

class wkCachePanelHooks {
public:
    virtual ~wkCachePanelHooks() = default;

    // The object's panel opened (BeginEditParams, after its own set-up) or is closing.
    virtual void opened(wkCache_obj&) {}
    virtual void closing(wkCache_obj&) {}
    // Brings the rollouts' controls up to date; `firstOpen` right after opening.
    virtual void updatePanels(wkCache_obj&, bool /*firstOpen*/) {}
    // Single refreshes: the node list box, the group list and its controls, the group
    // controls at time t, the status line, the File Info rollout.
    virtual void refreshNodeList(wkCache_obj&) {}
    virtual void refreshGroupList(wkCache_obj&) {}
    virtual void refreshGroupControls(wkCache_obj&, int /*t*/) {}
    virtual void refreshStatus(wkCache_obj&) {}
    virtual void refreshFileInfo(wkCache_obj&) {}
    // The Set Frame spinner of the selected group shows `value`, with key brackets when
    // `hasKey`; no change message.
    virtual void showGroupFrame(wkCache_obj&, float /*value*/, bool /*hasKey*/) {}

    // The file dialogs. The save dialog gets the suggestion in `name` (`complete`: clean it
    // and add the extension) and gives back the chosen asset; the open dialog only the asset.
    // False when cancelled, and always without panels.
    virtual bool chooseCacheFileToWrite(wkCache_obj&, AssetUser& /*asset*/, WStr& /*name*/,
                                        bool /*complete*/) {
        return false;
    }
    virtual bool chooseCacheFileToOpen(wkCache_obj&, AssetUser& /*asset*/) { return false; }
    // The Group Name dialog, showing `name` and giving back what the user typed; false when
    // cancelled, and always without panels. Like the file dialogs, also with the panel closed.
    virtual bool askGroupName(wkCache_obj&, WStr& /*name*/) { return false; }
};

// The installed hooks; a do-nothing version while none is installed.
wkCachePanelHooks& PanelHooks();
// Installs `hooks` (null: the do-nothing version). The caller keeps them alive while installed.
void SetPanelHooks(wkCachePanelHooks* hooks);
