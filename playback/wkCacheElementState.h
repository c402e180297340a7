// The state of one evaluation that frame assembly reads and keeps: one record per element (its
// cache time, its place between two samples, its activation and its material), and the
// record around them (the display settings of the evaluation and the element sets that frame
// assembly keeps from one frame to the next). The object's playback state
// (elements/wkCachePlaybackState.h) is this record with the element groups added.
#pragma once

#include "host/BitArray.h"
#include "playback/wkCachePlaybackClock.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace WelkardTools {
class wkCacheElementBlends;
}

// One element. The sample fields (sample, fraction, nextSample, interpolate, inRange,
// beforeRange, afterRange) are those locateSample writes.
struct wkCacheElementState : wkCacheSampleLocation {
    float time = 0.0f;                 // cache time in ticks
    std::int32_t activationTick = 0;   // host time of the activation
    std::int32_t groupMaterial = -1;   // from a Set Material ID group
    std::int32_t appliedMaterial = -1; // what the frame uses
    // The flags last, packed (36 bytes, not 44): every frame streams these records several
    // times.
    bool activated = false;
    bool hasGroupMaterial = false;
    bool hasAppliedMaterial = false;
    bool deleted = false; // a group deleted the element in this evaluation
};

// The record around the elements. The range settings (beforeORT, afterORT, reversed,
// interpolateFrames) and the display fields are set anew by each evaluation; the three element
// sets belong to frame assembly and live until the element count changes.
class wkCacheFrameState : public wkCacheRangeSettings {
public:
    wkCacheFrameState();
    ~wkCacheFrameState();

    std::vector<wkCacheElementState> elements;

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
    // What frame assembly keeps of each element's transform from one frame to the next
    // (playback/wkCacheElementBlend.h), made by the first frame.
    std::unique_ptr<WelkardTools::wkCacheElementBlends> elementBlends;
};
