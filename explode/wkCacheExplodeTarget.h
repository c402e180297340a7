// What explode and key reduction need of the cache object they work for: its file, its
// element states and explode settings, and its status display for a long operation.
//
// The cache object implements this; ExplodeToObjects and ReduceKeys work only through it.
#pragma once

#include "cachefile/wkCacheReader.h"
#include "elements/wkCachePlaybackState.h"
#include "host/BitArray.h"
#include "host/INode.h"
#include "host/SceneObject.h"
#include "host/Strings.h"

#include <cstdint>

// The explode parameters that are not passed in (as read at time 0).
struct wkCacheExplodeSettings {
    int explodeTo = 0; // 0 Original Objects, 1 Bounding Boxes, 2 Point Helpers, 3 Custom
    INode* explodeToNode = nullptr;
};

class wkCacheExplodeTarget {
public:
    virtual ~wkCacheExplodeTarget() = default;

    // ---- A long operation on the status display
    // Sets the progress text (one %i for the percentage), shows `status` in the status
    // control and starts the Escape watch.
    virtual void beginOperation(const WStr& progressFormat, const WStr& status) = 0;
    // Keeps and shows the numbers; false once Escape is seen.
    virtual bool reportProgress(std::int32_t done, std::int32_t total) = 0;
    // Ends the watch, clears the numbers and the temporary prompt, shows the cache's status.
    virtual void endOperation() = 0;

    // ---- Explode
    virtual SceneObject& sceneObject() = 0;
    // The cache file's full path; empty when there is none.
    virtual WStr cacheFilePath() const = 0;
    virtual wkCacheExplodeSettings explodeSettings() const = 0;
    // The element states hold for no time any more.
    virtual void clearElementValidity() = 0;
    // The element states for t, with the render settings.
    virtual void evaluateForExplode(TimeValue t, WelkardTools::wkCacheReader& reader) = 0;
    virtual wkCachePlaybackState& explodePlayback() = 0;
    // Whether the element is selected at the element level.
    virtual bool elementSelected(int element) const = 0;
    // The object's own deleted flag.
    virtual bool objectDeleted() const = 0;
    // Whether the object's panels are open (custom explode needs them).
    virtual bool panelsOpen() const = 0;
};
