#include "panels/wkCacheGroupSteps.h"

#include "panels/wkCachePanel.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr const wchar_t* kGroupNodes = L"Group Nodes";              // 139
constexpr const wchar_t* kRemoveGroupNodes = L"Remove Group Nodes"; // 143
} // namespace

bool setGroupElementsStep(wkCache_obj& object, const WStr& name,
                          const std::set<std::uint32_t>& elements, bool add, bool unique) {
    wkCacheGroupList& groups = object.playbackRecord().groups;
    const int index = groups.find(name);
    if (index < 0)
        return false;
    std::set<std::uint32_t> result = elements;
    if (add)
        result.insert(groups.at(index).elements.begin(), groups.at(index).elements.end());
    if (result == groups.at(index).elements && !unique)
        return true;
    const bool shows = groups.at(index).enabled;
    const bool ok = object.groupOperation(
        kGroupNodes, [&] { return groups.setGroupElements(name, result, unique); }, shows);
    wkCachePanels::refreshGroupList(object);
    return ok;
}

bool removeGroupElementsStep(wkCache_obj& object, const WStr& name,
                             const std::set<std::uint32_t>& elements) {
    wkCacheGroupList& groups = object.playbackRecord().groups;
    const int index = groups.find(name);
    if (index < 0)
        return false;
    std::set<std::uint32_t> result;
    const auto& current = groups.at(index).elements;
    std::set_difference(current.begin(), current.end(), elements.begin(), elements.end(),
                        std::inserter(result, result.end()));
    if (result == current)
        return true;
    const bool shows = groups.at(index).enabled;
    const bool ok = object.groupOperation(
        kRemoveGroupNodes, [&] { return groups.setGroupElements(name, result, false); }, shows);
    wkCachePanels::refreshGroupList(object);
    return ok;
}
