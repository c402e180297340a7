// The elements of one group as the Per-Element Control rollout and scripts change them: set,
// added, removed, or taken from every other group, each an undoable step.
#include "object/wkCache_obj.h"

#include "object/wkCacheTexts.h"

#include <algorithm>
#include <iterator>

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
        wkCacheTexts::kGroupNodes, [&] { return groups.setGroupElements(name, result, unique); },
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
        wkCacheTexts::kRemoveGroupNodes,
        [&] { return groups.setGroupElements(name, result, false); }, groups.at(index).enabled);
}

bool wkCache_obj::makeGroupElementsUnique(const WStr& name) {
    wkCacheGroupList& groups = playback->groups;
    const int index = groups.find(name);
    if (index < 0)
        return false;
    const wkCacheGroup& group = groups.at(index);
    // A group without elements takes nothing from the others: no step to undo.
    if (group.elements.empty())
        return true;
    return groupOperation(
        wkCacheTexts::kGroupNodes, [&] { return groups.makeGroupElementsUnique(name); },
        group.enabled);
}
