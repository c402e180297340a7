#include "elements/wkCacheActivationShift.h"

namespace {

// Two's complement arithmetic on 32 bits: the sums below may leave the range on extreme
// settings, and must then wrap as the host's integers do rather than be undefined.
std::int32_t wrap(std::int64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value)));
}

std::int32_t mul(std::int32_t a, std::int32_t b) {
    return wrap(std::int64_t{a} * b);
}

} // namespace

void shiftByActivation(std::vector<wkCacheElementState>& elements, const wkCacheShiftSettings& s,
                       std::vector<float>* rawTimes, std::vector<float>* shiftedTimes) {
    for (wkCacheElementState& e : elements) {
        if (rawTimes != nullptr)
            rawTimes->push_back(e.time);
        if (!e.activated) {
            e.time = static_cast<float>(mul(s.holdSample, s.ticksPerFrame));
        } else if (e.activationTick > s.t) {
            const std::int32_t time =
                s.reversed ? wrap(std::int64_t{mul(s.holdSample + 1, s.ticksPerFrame)} - s.t +
                                  e.activationTick)
                           : wrap(std::int64_t{mul(s.holdSample - 1, s.ticksPerFrame)} -
                                  e.activationTick + s.t);
            e.time = static_cast<float>(time);
        } else if (!s.useGraph) {
            const float shift = static_cast<float>(e.activationTick) - s.start;
            e.time = s.reversed ? e.time + shift : e.time - shift;
        }
        if (shiftedTimes != nullptr)
            shiftedTimes->push_back(e.time);
    }
}
