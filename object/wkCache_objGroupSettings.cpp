// The settings of one group as the Per-Element Control rollout and scripts change them: each an
// undoable step named as the panel names it, which makes the mesh stale only when the group can
// show the change.
#include "object/wkCache_obj.h"

#include "object/wkCacheTexts.h"

#include <cmath>

namespace {

// Whether a field holds the same value after a change. NaN never equals itself, so two NaNs
// count as the same to keep "the same value holds nothing" true for it as well.
template <class T> bool same(const T& before, const T& after) {
    if constexpr (std::is_floating_point_v<T>)
        return before == after || (std::isnan(before) && std::isnan(after));
    else
        return before == after;
}

// The change that stores `value` in `field` as it is.
template <class T> auto assigning(T wkCacheGroup::*field, T value) {
    return [field, value](wkCacheGroup& g) {
        const bool changed = !same(g.*field, value);
        g.*field = value;
        return changed;
    };
}

// The change that stores `value` through the record's setter, which keeps `field` in range.
template <class T, class V>
auto settingThrough(T wkCacheGroup::*field, void (wkCacheGroup::*setter)(V), V value) {
    return [field, setter, value](wkCacheGroup& g) {
        const T before = g.*field;
        (g.*setter)(value);
        return !same(before, g.*field);
    };
}

// A delete criterion shows only while the group is enabled and deletes by it.
auto deletingBy(bool wkCacheGroup::*criterion) {
    return [criterion](const wkCacheGroup& g) { return g.enabled && g.*criterion; };
}

} // namespace

bool wkCache_obj::setGroupSetting(const WStr& name, const wchar_t* label,
                                  const std::function<bool(wkCacheGroup&)>& change,
                                  const std::function<bool(const wkCacheGroup&)>& shows) {
    wkCacheGroupList& groups = playback->groups;
    const int index = groups.find(name);
    if (index < 0)
        return false;
    wkCacheGroup changed = groups.at(index);
    if (!change(changed))
        return true; // the same value: nothing to hold
    const bool visible = shows ? shows(changed) : changed.enabled;
    return groupOperation(
        label,
        [&] {
            groups.at(index) = std::move(changed);
            return true;
        },
        visible);
}

bool wkCache_obj::setGroupEnabled(const WStr& name, bool on) {
    // Switching a group on or off shows either way.
    return setGroupSetting(name, wkCacheTexts::kToggleGroup, assigning(&wkCacheGroup::enabled, on),
                           [](const wkCacheGroup&) { return true; });
}

bool wkCache_obj::setGroupRespectActivation(const WStr& name, bool on) {
    return setGroupSetting(name, wkCacheTexts::kToggleGroupTrigger,
                           assigning(&wkCacheGroup::respectActivation, on));
}

bool wkCache_obj::setGroupMode(const WStr& name, int mode) {
    return setGroupSetting(name, wkCacheTexts::kGroupMode,
                           settingThrough(&wkCacheGroup::mode, &wkCacheGroup::setMode, mode));
}

bool wkCache_obj::setGroupOffset(const WStr& name, float frames) {
    return setGroupSetting(name, wkCacheTexts::kGroupOffset,
                           assigning(&wkCacheGroup::offset, frames));
}

bool wkCache_obj::setGroupByAge(const WStr& name, bool on) {
    return setGroupSetting(name, wkCacheTexts::kGroupByAge, assigning(&wkCacheGroup::byAge, on));
}

bool wkCache_obj::setGroupDeleteAge(const WStr& name, float frames) {
    return setGroupSetting(name, wkCacheTexts::kGroupAge,
                           settingThrough(&wkCacheGroup::age, &wkCacheGroup::setAge, frames),
                           deletingBy(&wkCacheGroup::byAge));
}

bool wkCache_obj::setGroupByDistance(const WStr& name, bool on) {
    return setGroupSetting(name, wkCacheTexts::kGroupByDistance,
                           assigning(&wkCacheGroup::byDistance, on));
}

bool wkCache_obj::setGroupDeleteDistance(const WStr& name, float distance) {
    return setGroupSetting(
        name, wkCacheTexts::kGroupDistance,
        settingThrough(&wkCacheGroup::distance, &wkCacheGroup::setDistance, distance),
        deletingBy(&wkCacheGroup::byDistance));
}

bool wkCache_obj::setGroupMaterial(const WStr& name, int materialIndex) {
    return setGroupSetting(
        name, wkCacheTexts::kGroupMatID,
        assigning(&wkCacheGroup::materialId, storedMaterialIndex(materialIndex)));
}
