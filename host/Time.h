// Host time: 32-bit signed ticks, 4800 a second, and closed intervals of them.
#pragma once

#include <cstdint>

using TimeValue = std::int32_t;

inline constexpr int TICKS_PER_SECOND = 4800;
// The host's "never": the lowest 32-bit value. An empty interval has it at both ends.
inline constexpr TimeValue TIME_NEVER = INT32_MIN;
inline constexpr TimeValue TIME_NegInfinity = INT32_MIN;
inline constexpr TimeValue TIME_PosInfinity = INT32_MAX;

class Interval {
public:
    // A default interval is empty.
    constexpr Interval() = default;
    constexpr Interval(TimeValue s, TimeValue e) : start(s), end(e) {}

    constexpr TimeValue Start() const { return start; }
    constexpr TimeValue End() const { return end; }
    constexpr void Set(TimeValue s, TimeValue e) {
        start = s;
        end = e;
    }
    constexpr void SetStart(TimeValue s) { start = s; }
    constexpr void SetEnd(TimeValue e) { end = e; }
    constexpr void SetEmpty() { start = end = TIME_NEVER; }
    constexpr void SetInstant(TimeValue t) { start = end = t; }
    constexpr bool Empty() const { return start == TIME_NEVER && end == TIME_NEVER; }

    // 1 if t lies in the closed range. The empty interval holds no time at all, not even
    // the never value its ends are made of.
    constexpr int InInterval(TimeValue t) const { return !Empty() && start <= t && t <= end; }

    constexpr bool operator==(const Interval&) const = default;

private:
    TimeValue start = TIME_NEVER;
    TimeValue end = TIME_NEVER;
};

inline constexpr Interval FOREVER{TIME_NegInfinity, TIME_PosInfinity};
inline constexpr Interval NEVER{TIME_NEVER, TIME_NEVER};
