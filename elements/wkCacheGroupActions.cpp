#include "elements/wkCacheGroupActions.h"

#include <algorithm>

namespace {

// An element stored by a Delete group by distance, with the square of that group's distance.
struct DistanceTest {
    std::uint32_t element;
    float squared;
};

struct GroupValues {
    float frameTicks;
    float offsetTicks;
    float ageTicks;
    float squaredDistance;
};

GroupValues groupValues(const wkCacheGroup& group, std::size_t index,
                        const wkCacheGroupStage& stage) {
    const float tpf = static_cast<float>(stage.ticksPerFrame);
    const float frame = index < stage.frames.size() ? stage.frames[index] : 0.0f;
    return {frame * tpf * stage.sceneRatio, group.offset * tpf, group.age * tpf * stage.sceneRatio,
            group.distance * group.distance};
}

bool activationHasCome(const wkCacheElementState& e, TimeValue t) {
    return e.activated && e.activationTick <= t;
}

// With respectActivation, the age runs from the element's own activation (its shifted time, or
// what an earlier group made of it); without, from the clock.
bool oldEnough(const wkCacheGroup& group, std::uint32_t e, const wkCacheElementState& state,
               const wkCacheGroupStage& stage, float ageTicks) {
    const float from =
        !group.respectActivation && stage.activationValid ? stage.rawTimes[e] : state.time;
    const float age = stage.reversed ? static_cast<float>(stage.lastTick) - from : from;
    // An age of 0 also takes the elements that have not reached their start.
    return age >= ageTicks || (ageTicks == 0.0f && age < 0.0f);
}

void act(const wkCacheGroup& group, std::uint32_t e, wkCacheElementState& state,
         const wkCacheGroupStage& stage, const GroupValues& v, std::vector<DistanceTest>& tests) {
    switch (group.mode) {
    case wkCacheGroupMode::Delete:
        // Without either flag a Delete group holds its elements and does nothing with them.
        if (group.byAge && oldEnough(group, e, state, stage, v.ageTicks))
            state.deleted = true;
        if (!state.deleted && group.byDistance)
            tests.push_back({e, v.squaredDistance});
        break;
    case wkCacheGroupMode::HoldIn:
        state.time = 0.0f;
        break;
    case wkCacheGroupMode::HoldOut:
        state.time = static_cast<float>(stage.lastTick);
        break;
    case wkCacheGroupMode::Offset:
        state.time = stage.reversed ? stage.shiftedTimes[e] + v.offsetTicks
                                    : stage.shiftedTimes[e] - v.offsetTicks;
        break;
    case wkCacheGroupMode::SetFrame:
        state.time = v.frameTicks;
        break;
    case wkCacheGroupMode::SetMaterialId:
        state.groupMaterial = group.materialId;
        // Only a stored record can hold a negative id; it counts as no material.
        state.hasGroupMaterial = group.materialId >= 0;
        break;
    }
}

float squaredDistance(const Point3& a, const Point3& b) {
    const float dx = a.x - b.x;
    const float dy = a.y - b.y;
    const float dz = a.z - b.z;
    return dx * dx + dy * dy + dz * dz;
}

void deleteByDistance(std::vector<wkCacheElementState>& elements,
                      const std::vector<DistanceTest>& tests, const wkCacheDistanceProbe& probe) {
    std::vector<Point3> positions;
    Point3 gizmo;
    if (!probe || !probe(positions, gizmo))
        return;
    for (const DistanceTest& test : tests) {
        if (test.element < positions.size() &&
            squaredDistance(positions[test.element], gizmo) >= test.squared)
            elements[test.element].deleted = true;
    }
}

} // namespace

void applyGroupActions(const wkCacheGroupList& groups, std::vector<wkCacheElementState>& elements,
                       const wkCacheGroupStage& stage, const wkCacheDistanceProbe& probe) {
    const std::size_t elementCount =
        std::min({elements.size(), stage.rawTimes.size(), stage.shiftedTimes.size()});
    std::vector<DistanceTest> tests;
    const std::vector<wkCacheGroup>& all = groups.all();
    for (std::size_t g = 0; g < all.size(); ++g) {
        const wkCacheGroup& group = all[g];
        if (!group.enabled)
            continue;
        const GroupValues values = groupValues(group, g, stage);
        for (const std::uint32_t e : group.elements) {
            if (e >= elementCount)
                break; // the set is ascending: no later index is an element either
            wkCacheElementState& state = elements[e];
            if (state.deleted)
                continue;
            if (stage.activationValid && group.respectActivation &&
                !activationHasCome(state, stage.t))
                continue;
            act(group, e, state, stage, values, tests);
        }
    }
    if (!tests.empty())
        deleteByDistance(elements, tests, probe);
}
