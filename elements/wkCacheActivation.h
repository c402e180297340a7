// Element activation: a trigger sphere moves through the elements at rest, and the first time
// an element's rest position lies inside it is the moment that element starts to play.
//
// The scan walks the time range in steps, reading the trigger at each one. A trigger that has
// not moved since the last read cannot catch anything new, so such a step costs no distance at
// all; elements caught already are not tested again; and the scan ends as soon as every element
// is caught. A second pass then searches, at finer than one step, how much earlier each caught
// element was inside already.
//
// Everything here is host-free: the trigger arrives as a function of time, the positions as
// points, and the caller turns parameters into the range and the step.
#pragma once

#include "elements/wkCachePlaybackState.h"
#include "host/Matrix3.h"
#include "host/Point.h"
#include "host/Time.h"

#include <cstdint>
#include <functional>
#include <vector>

class wkCacheProgress;

// The trigger at one time: a matrix into whose local space rest positions are taken, and the
// radius of the sphere there. A scaled matrix makes an ellipsoid of the sphere.
struct wkCacheTrigger {
    Matrix3 tm{true};
    float radius = 0.0f;
};

// The gizmo's sphere has a fixed radius; the user sizes it by scaling the gizmo.
inline constexpr float kGizmoTriggerRadius = 40.0f;

// The trigger at a time: the gizmo (its controller's value from the identity, with
// kGizmoTriggerRadius), or an omni light in the object's space with its far attenuation.
using wkCacheTriggerSource = std::function<wkCacheTrigger(TimeValue)>;

struct wkCacheScanRange {
    TimeValue start = 0; // first tick read
    TimeValue end = 0;   // last tick read, at or after start
    std::int32_t step = 160;
    std::int32_t ticksPerFrame = 160;
    // The frame graph drives time: activations may be refined back to before playStart.
    bool useGraph = false;
    float playStartTicks = 0.0f; // playStart * ticksPerFrame, as a float
};

// Ticks between two reads of the trigger: one frame divided by the divisor of triggerSteps
// (stepDivisor), but never a finer step than the frame has ticks for.
std::int32_t ActivationStep(std::int32_t ticksPerFrame, std::int32_t triggerSteps);

// Whether the trigger has moved from `last` to `now`: another radius, or a row of the matrix
// that has shifted by more than the smallest normal float.
bool TriggerMoved(const wkCacheTrigger& now, const wkCacheTrigger& last);

// Scans `range` and writes `activated` and `activationTick` of every element caught; one rest
// position per element. Steps with `progress`, between begin() and end(): Escape cancels, and
// then no element counts as activated. Answers true when the scan completed, which is when the
// activation table is valid; false on cancel, or when the two vectors differ in length (and
// then nothing is touched).
bool ScanActivation(const std::vector<Point3>& restPositions, const wkCacheTriggerSource& trigger,
                    const wkCacheScanRange& range, std::vector<wkCacheElementState>& elements,
                    wkCacheProgress& progress);
