// The host's clock: scene frame rate, animation range, current time, and two questions about
// the session (is animation playing, is this a network render server).
#pragma once

#include "host/Time.h"

class HostTime {
public:
    virtual ~HostTime() = default;

    // The animation range, in ticks; never empty, end not before start.
    virtual Interval GetAnimRange() const = 0;
    TimeValue GetAnimStart() const { return GetAnimRange().Start(); }
    TimeValue GetAnimEnd() const { return GetAnimRange().End(); }

    // Frames a second of the scene.
    virtual int GetFrameRate() const = 0;
    // TICKS_PER_SECOND divided by the frame rate, truncated: the host's frames are whole ticks.
    virtual int GetTicksPerFrame() const = 0;

    // The current time of the scene, in ticks.
    virtual TimeValue GetTime() const = 0;

    // Both answers are the host's raw integers, not bools: callers apply their own rule (1 means
    // playing; only the low byte of the server answer counts).
    virtual int IsAnimPlaying() const = 0;
    virtual int IsNetServer() const = 0;
};
