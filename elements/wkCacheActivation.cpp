#include "elements/wkCacheActivation.h"

#include "playback/wkCachePlaybackClock.h"
#include "playback/wkCacheProgress.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

// The smallest normal float: a row that moved less than this has not moved.
constexpr float kMoveThreshold = 1.1754944e-38f;

// Distances are summed in single precision, as the host's points are, and rooted in double.
bool inside(const Point3& rest, const Matrix3& inverse, float radius) {
    const Point3 p = rest * inverse;
    const float squared = p.x * p.x + p.y * p.y + p.z * p.z;
    const auto d = static_cast<float>(std::sqrt(static_cast<double>(squared)));
    return radius > d;
}

// What the scan keeps of an element it caught: the trigger of that step, which the refinement
// starts from.
struct Catch {
    bool found = false;
    wkCacheTrigger trigger;
};

// An element not caught yet, with its rest position beside it so that a step walks one array.
struct Pending {
    Point3 rest;
    std::size_t index;
};

// Steps over the range; answers false when Escape stopped it. The last step is shortened to
// land exactly on the end, and the scan ends once the end has been read: read again with a
// step of zero, it would find nothing new for ever.
bool scanRange(const std::vector<Point3>& rest, const wkCacheTriggerSource& source,
               const wkCacheScanRange& range, std::vector<wkCacheElementState>& elements,
               std::vector<Catch>& catches, wkCacheProgress& progress) {
    // Elements that arrive activated already count as caught and are not tested.
    std::vector<Pending> pending;
    pending.reserve(elements.size());
    for (std::size_t i = 0; i < elements.size(); ++i)
        if (!elements[i].activated)
            pending.push_back({rest[i], i});
    // A step below one tick would never advance; the caller's range is taken as it comes.
    std::int64_t step = range.step < 1 ? 1 : range.step;
    const std::int64_t end = range.end;
    std::int64_t at = range.start;
    wkCacheTrigger last;
    bool first = true;
    for (;;) {
        if (at + step > end)
            step = end - at;
        const auto tick = static_cast<TimeValue>(at);
        const wkCacheTrigger now = source(tick);
        const bool moved = first || TriggerMoved(now, last);
        first = false;
        last = now;
        if (moved) {
            const Matrix3 inverse = Inverse(now.tm);
            std::size_t kept = 0;
            for (std::size_t k = 0; k < pending.size(); ++k) {
                const Pending p = pending[k];
                if (inside(p.rest, inverse, now.radius)) {
                    elements[p.index].activated = true;
                    elements[p.index].activationTick = tick;
                    catches[p.index] = {true, now};
                } else {
                    pending[kept++] = p;
                }
            }
            pending.resize(kept);
            if (pending.empty())
                return true;
        }
        if (!progress.step())
            return false;
        // Also ends a range given backwards, after its one read at the start.
        if (step <= 0)
            return true;
        at += step;
    }
}

// Moves the activation of one caught element back by halving steps from half a frame. A read
// that finds the trigger unchanged is taken as still inside. When it has changed, the test is
// made with the trigger of the read before, so that it lags one read behind; and once a test
// has failed, every later read that moves fails as well, which ends the search in effect.
void refine(const Point3& rest, const wkCacheTriggerSource& source, const wkCacheScanRange& range,
            const wkCacheTrigger& caught, wkCacheElementState& e) {
    const auto atPlayStart = [&] {
        return !range.useGraph && static_cast<float>(e.activationTick) == range.playStartTicks;
    };
    if (atPlayStart())
        return;
    const TimeValue firstTick = e.activationTick;
    std::int32_t half = range.ticksPerFrame / 2;
    if (half < 1)
        return;
    wkCacheTrigger stored = caught;
    bool moved = false;
    std::int64_t candidate = std::int64_t{e.activationTick} - half;
    for (;;) {
        // Nothing lies before the first tick there is.
        if (candidate < std::numeric_limits<TimeValue>::min())
            return;
        const wkCacheTrigger now = source(static_cast<TimeValue>(candidate));
        bool accepted = true;
        if (TriggerMoved(now, stored)) {
            moved = true;
            accepted = inside(rest, Inverse(stored.tm), stored.radius);
            stored = now;
            if (!accepted && half == 1)
                return;
        }
        if (accepted) {
            e.activationTick = static_cast<TimeValue>(candidate);
            if (half == 1) {
                if (!moved)
                    e.activationTick = firstTick;
                return;
            }
            if (atPlayStart())
                return;
        }
        half /= 2;
        candidate = std::int64_t{e.activationTick} - half;
        if (half == 0)
            return;
    }
}

} // namespace

std::int32_t ActivationStep(std::int32_t ticksPerFrame, std::int32_t triggerSteps) {
    const std::int32_t divisor = stepDivisor(triggerSteps);
    return ticksPerFrame > divisor ? ticksPerFrame / divisor : ticksPerFrame;
}

bool TriggerMoved(const wkCacheTrigger& now, const wkCacheTrigger& last) {
    if (now.radius != last.radius)
        return true;
    for (int row = 0; row < 4; ++row)
        if (Length(now.tm.GetRow(row) - last.tm.GetRow(row)) > kMoveThreshold)
            return true;
    return false;
}

bool ScanActivation(const std::vector<Point3>& restPositions, const wkCacheTriggerSource& trigger,
                    const wkCacheScanRange& range, std::vector<wkCacheElementState>& elements,
                    wkCacheProgress& progress) {
    if (restPositions.size() != elements.size())
        return false;
    const wkCacheProgressScope scope(progress);
    std::vector<Catch> catches(elements.size());
    if (!scanRange(restPositions, trigger, range, elements, catches, progress)) {
        // A cancelled scan leaves no half table behind: the cache plays as with no trigger.
        elements.assign(elements.size(), wkCacheElementState{});
        return false;
    }
    for (std::size_t i = 0; i < elements.size(); ++i)
        if (catches[i].found)
            refine(restPositions[i], trigger, range, catches[i].trigger, elements[i]);
    return true;
}
