// The settings of one group as the Per-Element Control rollout and scripts change them: each an
// undoable step named as the panel names it, which makes the mesh stale only when the group can
// show the change.
#include "object/wkCache_obj.h"

#include "host/Host.h"
#include "object/wkCachePanelHooks.h"

#include <algorithm>
#include <cmath>

namespace {

// Undo labels, with their ids in the string table.
constexpr const wchar_t* kToggleGroup = L"Toggle Group";                // 128
constexpr const wchar_t* kToggleGroupTrigger = L"Toggle Group Trigger"; // 129
constexpr const wchar_t* kGroupDistance = L"Group Distance";            // 130
constexpr const wchar_t* kGroupAge = L"Group Age";                      // 132
constexpr const wchar_t* kGroupMatID = L"Group MatID";                  // 134
constexpr const wchar_t* kGroupOffset = L"Group Offset";                // 135
constexpr const wchar_t* kGroupNodes = L"Group Nodes";                  // 139
constexpr const wchar_t* kRemoveGroupNodes = L"Remove Group Nodes";     // 143

// Assigns and answers whether the value changed. NaN never equals itself, so a NaN is compared
// by its bits to keep "the same value holds nothing" true for it as well.
template <class T> bool assign(T& field, T value) {
    bool same = field == value;
    if constexpr (std::is_floating_point_v<T>)
        same = same || (std::isnan(field) && std::isnan(value));
    field = value;
    return !same;
}

} // namespace

bool wkCache_obj::setGroupEnabled(const WStr& name, bool on) {
    return setGroupSetting(
        name, kToggleGroup, [on](wkCacheGroup& g) { return assign(g.enabled, on); },
        [](const wkCacheGroup&) { return true; });
}

bool wkCache_obj::setGroupRespectActivation(const WStr& name, bool on) {
    return setGroupSetting(name, kToggleGroupTrigger,
                           [on](wkCacheGroup& g) { return assign(g.respectActivation, on); });
}

bool wkCache_obj::setGroupOffset(const WStr& name, float frames) {
    return setGroupSetting(name, kGroupOffset,
                           [frames](wkCacheGroup& g) { return assign(g.offset, frames); });
}

bool wkCache_obj::setGroupDeleteAge(const WStr& name, float frames) {
    return setGroupSetting(
        name, kGroupAge,
        [frames](wkCacheGroup& g) {
            const float before = g.age;
            g.setAge(frames);
            return g.age != before;
        },
        [](const wkCacheGroup& g) { return g.enabled && g.byAge; });
}

bool wkCache_obj::setGroupDeleteDistance(const WStr& name, float distance) {
    return setGroupSetting(
        name, kGroupDistance,
        [distance](wkCacheGroup& g) {
            const float before = g.distance;
            g.setDistance(distance);
            return g.distance != before;
        },
        [](const wkCacheGroup& g) { return g.enabled && g.byDistance; });
}

bool wkCache_obj::setGroupMaterial(const WStr& name, int materialIndex) {
    // The record keeps the 0-based id that faces take, 0..98; its own setter's 1..99 is the range
    // users see, one higher.
    const int stored = std::clamp(materialIndex, 0, 98);
    return setGroupSetting(name, kGroupMatID,
                           [stored](wkCacheGroup& g) { return assign(g.materialId, stored); });
}

bool wkCache_obj::setGroupElements(const WStr& name, const std::set<std::uint32_t>& elements,
                                   bool add, bool unique) {
    wkCacheGroupList& groups = playback->groups;
    const int index = groups.find(name);
    if (index < 0)
        return false;
    std::set<std::uint32_t> result = elements;
    if (add)
        result.insert(groups.at(index).elements.begin(), groups.at(index).elements.end());
    if (result == groups.at(index).elements && !unique)
        return true;
    return groupOperation(
        kGroupNodes, [&] { return groups.setGroupElements(name, result, unique); },
        groups.at(index).enabled);
}

bool wkCache_obj::removeGroupElements(const WStr& name, const std::set<std::uint32_t>& elements) {
    wkCacheGroupList& groups = playback->groups;
    const int index = groups.find(name);
    if (index < 0)
        return false;
    std::set<std::uint32_t> result;
    std::ranges::set_difference(groups.at(index).elements, elements,
                                std::inserter(result, result.end()));
    if (result == groups.at(index).elements)
        return true;
    return groupOperation(
        kRemoveGroupNodes, [&] { return groups.setGroupElements(name, result, false); },
        groups.at(index).enabled);
}

bool wkCache_obj::selectGroup(const WStr& name) {
    const int index = playback->groups.find(name);
    if (index < 0 || !playback->groups.setSelected(index))
        return false;
    if (panelOpen && panelInterface != nullptr)
        PanelHooks().refreshGroupControls(*this, GetHost().Time().GetTime());
    return true;
}
