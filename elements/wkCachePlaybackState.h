// The state of one evaluation of a cache object: one record per element (its cache time, its
// place between two samples, its activation and its material), and the object's record around
// them (the display settings of the evaluation, the element groups, and the element sets that
// frame assembly keeps from one frame to the next).
//
// The object owns its playback state, and the state's address is the object's client key in
// the open-cache registry.
#pragma once

#include "elements/wkCacheGroupList.h"
#include "host/BitArray.h"
#include "playback/interpolateTransform.h"
#include "playback/wkCacheElementBlend.h"
#include "playback/wkCachePlaybackClock.h"

#include <cstdint>
#include <vector>

class wkCache_obj;

// One element. The sample fields (sample, fraction, nextSample, interpolate, inRange,
// beforeRange, afterRange) are those locateSample writes.
struct wkCacheElementState : wkCacheSampleLocation {
    float time = 0.0f; // cache time in ticks
    bool activated = false;
    std::int32_t activationTick = 0; // host time of the activation
    std::int32_t groupMaterial = -1; // from a Set Material ID group
    bool hasGroupMaterial = false;
    std::int32_t appliedMaterial = -1; // what the frame uses
    bool hasAppliedMaterial = false;
    bool deleted = false; // a group deleted the element in this evaluation
};

// The object's record. The range settings (beforeORT, afterORT, reversed, interpolateFrames)
// and the display fields are set anew by each evaluation; the three element sets belong to
// frame assembly and live until the element count changes.
class wkCachePlaybackState : public wkCacheRangeSettings {
public:
    explicit wkCachePlaybackState(wkCache_obj* owner_ = nullptr) : owner(owner_) {}

    wkCache_obj* owner;
    std::vector<wkCacheElementState> elements;
    wkCacheGroupList groups;

    bool boxMode = false;
    bool hideInvisible = false;
    bool deleteInvisible = false;
    bool applyMaterial = false;
    std::int32_t invisibleMaterial = -1; // rendMatID - 1, or -1
    bool invalidateGeom = true;
    bool isViewport = true;
    bool lastHideInvisible = false;

    BitArray hiddenElements;
    BitArray deletedElements;
    BitArray materialElements;
    // One per element: the factors of the sample transforms frame assembly blended last, so
    // that frames between the same samples do not decompose them again, and the transform of
    // the last frame with the factors of its pair, read by every frame.
    std::vector<TransformMemo> transformMemos;
    std::vector<WelkardTools::wkCacheElementBlend> elementBlends;
};
