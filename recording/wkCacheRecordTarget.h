// What a recording needs of the cache object it records for: its record parameters and node
// list, its file, its playback record in the open-cache registry, and its status display.
//
// The cache object implements this; RecordCache works only through it. Parameters are those of
// the object's parameter block, by their internal names.
#pragma once

#include "cachefile/wkCacheBase.h"
#include "host/Assets.h"
#include "host/INode.h"
#include "host/Reference.h"
#include "host/SceneObject.h"
#include "playback/wkCacheProgress.h"

#include <cstdint>

class wkCachePlaybackState;

// The record parameters, as read at time 0. Defaults and ranges are those of the parameter
// block.
struct wkCacheRecordParams {
    int recStart = 0;     // -9999999 to 9999999, frames
    int recEnd = 0;       // -9999999 to 9999999, frames
    float recStep = 1.0f; // 0.001 to 999999, frames
    bool recSaveMaterial = true;
    bool recClearNodeList = true;
    bool recWriteTransform = true; // always on: transforms are always written
    bool recWriteDeform = false;
    bool recWriteTopology = false;
};

// The progress of a long operation as the object keeps it for its status display.
struct wkCacheProgressState {
    WStr progressFormat;            // the running stage's text, one %i for the percentage
    std::int32_t progressDone = -1; // both -1: no progress shown
    std::int32_t progressTotal = -1;
    wkCacheProgress progress;
    // The last prompt made and what it was made of: a stage reports at every node, mostly with
    // the percentage it showed already, and formatting it again cost more than the rest.
    WStr prompt;
    WStr promptFormat;
    int promptPercent = 0;
};

class wkCacheRecordTarget {
public:
    virtual ~wkCacheRecordTarget() = default;

    // The object as the scene knows it: the maker of the loop and dependency tests, and what
    // the nodes that show it reference.
    virtual SceneObject& recordObject() = 0;

    // ---- Parameters
    // The entries of `nodes`; an entry may be null.
    virtual int nodeCount() const = 0;
    virtual INode* nodeAt(int index, TimeValue t) const = 0;
    // Deletes every entry of `nodes`, through the host's hold when it is holding.
    virtual void clearNodes() = 0;
    virtual wkCacheRecordParams recordParams() const = 0;
    virtual AssetUser fileName() const = 0;
    virtual void setFileName(const AssetUser& asset) = 0;
    virtual void setPlayStart(int frame) = 0;
    virtual void setExplodeStart(int frame) = 0;
    virtual void setExplodeEnd(int frame) = 0;

    // ---- Playback
    // The object's client key in the open-cache registry.
    virtual wkCachePlaybackState* playbackState() = 0;
    // The object behind a registry client, or null when it is gone.
    virtual wkCacheRecordTarget* targetOfClient(wkCachePlaybackState* client) const = 0;
    // Declares the whole mesh stale and tells the dependents (message 80, all parts).
    virtual void invalidateAll() = 0;
    // invalidateAll, with the element states to be sized and scanned again: the file changed.
    virtual void invalidateElements() = 0;
    virtual void notifyDependents(std::uint32_t partMask, int message) = 0;

    // ---- Status display
    // Whether the object's panels are open.
    virtual bool hasPanel() const = 0;
    // Shows a text in the status control; null shows the state of the loaded cache again.
    virtual void showStatus(const WStr* text) = 0;
    // The progress numbers changed: the status control repaints them if it is there.
    virtual void progressChanged() = 0;
    virtual wkCacheProgressState& progressState() = 0;
};

// The object's progress callback, with the object as context: keeps the numbers for the status
// display, shows the running stage with its percentage as the host's temporary prompt, and
// answers whether to go on (false once Escape is seen).
bool wkCacheRecordProgress(void* target, std::int32_t done, std::int32_t total);
