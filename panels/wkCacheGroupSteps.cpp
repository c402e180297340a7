#include "panels/wkCacheGroupSteps.h"

#include "panels/wkCachePanel.h"
#include "panels/wkCachePanelTexts.h"

#include <algorithm>
#include <iterator>

namespace {

// Stores the new elements of group `index` as one undo step and shows the group list again.
bool storeElements(wkCache_obj& object, const wchar_t* undoName, const WStr& name, int index,
                   const std::set<std::uint32_t>& elements, bool unique) {
    wkCacheGroupList& groups = object.playbackRecord().groups;
    const bool shows = groups.at(index).enabled;
    const bool ok = object.groupOperation(
        undoName, [&] { return groups.setGroupElements(name, elements, unique); }, shows);
    wkCachePanels::refreshGroupList(object);
    return ok;
}

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
    return storeElements(object, PanelTexts::kGroupNodes, name, index, result, unique);
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
    return storeElements(object, PanelTexts::kRemoveGroupNodes, name, index, result, false);
}
