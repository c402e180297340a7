// Key reduction: thins the keys of controllers, removing each key whose removal leaves the
// curve, sampled every `stepTicks` over an interval, within `thresh` of the curve as it was.
//
// Keys are tried from the last to the first; each candidate is tested with all keys removed so
// far, over the whole interval, against the samples taken before any removal, so errors do not
// add up. A key goes when no sample moves by strictly more than the threshold (squared
// distances against the squared threshold). Keys outside the interval stay, but shape the
// curve. The end of the interval itself is not sampled. The work on one controller is done on
// a private clone outside the undo system and copied back in one change; the whole run is one
// undo step, "Reduce Keys", or nothing when cancelled.
//
// Distances by value type: float |v - s|; Point2, Point3, Point4 the Euclidean distance;
// rotations the angle of s / v in radians; scales the distance of the factors (axes ignored).
#pragma once

#include "explode/wkCacheExplodeTarget.h"
#include "host/Control.h"

#include <cstdint>
#include <set>

// The largest sample grid one controller is tested on: far beyond any real animation, well
// below what an interval of the whole time line at one tick would need.
inline constexpr std::int64_t kMaxReduceSamples = std::int64_t{1} << 24;

// A controller reached twice is reduced once.
using ControlSet = std::set<Control*>;

// Reduces every controller of the set, with progress every 100 controllers (Escape cancels
// there). Answers false when cancelled; the set is emptied either way.
bool ReduceKeys(wkCacheExplodeTarget& object, ControlSet& controllers, Interval interval,
                std::int32_t stepTicks, float thresh);

// One controller, by its superclass: false for a value type reduction does not handle; true
// otherwise, also when there was nothing to do (not keyframed, no key in the interval, a step
// below 1 or a sample grid too large to hold).
bool ReduceControlKeys(Control& control, Interval interval, float thresh, std::int32_t stepTicks);

// The position, rotation and scale controllers of a node's transform, each when there is one.
void AddTransformControllers(INode& node, ControlSet& controllers);
