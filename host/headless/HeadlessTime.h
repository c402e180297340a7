// The headless host's clock: a scene time configuration that tools and tests set directly.
//
// The range and the current time are held in ticks, as the host holds them: changing the frame
// rate leaves them at the same moments in time and only changes how many frames they span.
#pragma once

#include "host/HostTime.h"

class HeadlessTime final : public HostTime {
public:
    static constexpr int kDefaultFrameRate = 30;
    // 0 to 100 frames at the default rate: 0 to 16000 ticks.
    static constexpr TimeValue kDefaultAnimEnd = 100 * (TICKS_PER_SECOND / kDefaultFrameRate);

    int GetFrameRate() const override { return frameRate; }
    // Truncates like the host's: 7 frames a second give 685 ticks a frame, so seven frames fall
    // five ticks short of a second. Rates that divide 4800 (24, 25, 30, 60) are exact.
    int GetTicksPerFrame() const override { return TICKS_PER_SECOND / frameRate; }
    Interval GetAnimRange() const override { return animRange; }
    TimeValue GetTime() const override { return currentTime; }
    int IsAnimPlaying() const override { return animPlaying; }
    int IsNetServer() const override { return netServer; }

    // 1 to TICKS_PER_SECOND, so that a frame is at least one tick; anything else throws
    // std::invalid_argument and changes nothing.
    void SetFrameRate(int rate);
    // An empty range, or one that ends before it starts, throws std::invalid_argument and
    // changes nothing. A range of a single tick is accepted.
    void SetAnimRange(const Interval& range);
    // Any time, inside the range or not: the current time is not clamped.
    void SetTime(TimeValue t) { currentTime = t; }
    // The raw answers the host would give; 1 is yes.
    void SetAnimPlaying(int answer) { animPlaying = answer; }
    void SetNetServer(int answer) { netServer = answer; }

private:
    int frameRate = kDefaultFrameRate;
    Interval animRange{0, kDefaultAnimEnd};
    TimeValue currentTime = 0;
    int animPlaying = 0;
    int netServer = 0;
};
