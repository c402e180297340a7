// References between scene things: a maker (the cache object) holds targets (its parameter
// block, its gizmo controller) and hears of their changes through NotifyRefChanged.
#pragma once

#include "host/Time.h"

#include <cstdint>

using PartID = std::uint32_t;
using RefMessage = int;

enum RefResult : int {
    REF_FAIL = 0,
    REF_SUCCEED = 1,
    REF_DONTCARE = 2,
    REF_STOP = 3,
};

// Messages and part masks sent by the core.
inline constexpr RefMessage REFMSG_CHANGE = 80;
inline constexpr PartID PART_GEOM = 2;
inline constexpr PartID PART_ALL = 0x800037FF;

class ReferenceTarget {
public:
    virtual ~ReferenceTarget() = default;
};

class ReferenceMaker {
public:
    virtual ~ReferenceMaker() = default;

    // `target` changed over `changeInt`; `part` says which part, `message` how.
    virtual RefResult NotifyRefChanged(const Interval& changeInt, ReferenceTarget* target,
                                       PartID part, RefMessage message, bool propagate) = 0;
};
