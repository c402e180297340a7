// The group stage, the last stage of an element evaluation: the enabled groups act one after the
// other, in list order, on the elements they hold, in ascending order. They set an element's
// time, its material, or delete it.
//
// Precedence: the last group that sets an element's time wins, and an Offset counts from the
// element's time after activation, not from what an earlier group set, so offsets do not add up.
// The material is overwritten the same way. A deletion is final: no later group acts on the
// element. Deletions by distance are decided after all groups, on the elements' final times.
#pragma once

#include "elements/wkCacheGroupList.h"
#include "elements/wkCachePlaybackState.h"
#include "host/Point.h"
#include "host/Time.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

struct wkCacheGroupStage {
    TimeValue t = 0;                  // the scene time being evaluated
    std::int32_t ticksPerFrame = 160; // of the host
    float sceneRatio = 1.0f;          // host frame rate / cache frame rate
    std::int32_t lastTick = 0;        // cache time of the last sample
    bool reversed = false;
    bool activationValid = false; // a complete activation scan stands
    // One entry per element: its time from the clock, and after the activation shift (both the
    // clock's time when activation is not valid).
    std::span<const float> rawTimes;
    std::span<const float> shiftedTimes;
    // elementFrames at t, one entry per group in list order, in frames: the frame of a Set Frame
    // group. A group beyond the table's end sets frame 0.
    std::vector<float> frames;
};

// Fills the translation of each element's transform at its final time (one entry per element,
// in the recording's space) and the gizmo's translation at t. False when the transforms cannot
// be had: then nothing is deleted by distance.
using wkCacheDistanceProbe =
    std::function<bool(std::vector<Point3>& elementPositions, Point3& gizmo)>;

// Runs the stage on `elements`, whose time fields hold the shifted times. Writes time,
// groupMaterial, hasGroupMaterial and deleted. The probe is called once, and only when a Delete
// group by distance has met an element that was not deleted yet. Indices at or beyond the
// element count are passed over.
void applyGroupActions(const wkCacheGroupList& groups, std::vector<wkCacheElementState>& elements,
                       const wkCacheGroupStage& stage, const wkCacheDistanceProbe& probe);
