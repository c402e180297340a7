#include "host/headless/HeadlessTime.h"

#include <stdexcept>
#include <string>

void HeadlessTime::SetFrameRate(int rate) {
    if (rate < 1 || rate > TICKS_PER_SECOND)
        throw std::invalid_argument("frame rate must be 1 to 4800 frames a second, got " +
                                    std::to_string(rate));
    frameRate = rate;
}

void HeadlessTime::SetAnimRange(const Interval& range) {
    if (range.Empty())
        throw std::invalid_argument("the animation range cannot be empty");
    if (range.End() < range.Start())
        throw std::invalid_argument("the animation range ends at " + std::to_string(range.End()) +
                                    ", before its start " + std::to_string(range.Start()));
    animRange = range;
}
