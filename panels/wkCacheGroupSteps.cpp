#include "panels/wkCacheGroupSteps.h"

#include "panels/wkCachePanel.h"

// The object's own undoable steps, then the group list shown again (only for a group that exists,
// as before).
bool setGroupElementsStep(wkCache_obj& object, const WStr& name,
                          const std::set<std::uint32_t>& elements, bool add, bool unique) {
    if (object.playbackRecord().groups.find(name) < 0)
        return false;
    const bool ok = object.setGroupElements(name, elements, add, unique);
    wkCachePanels::refreshGroupList(object);
    return ok;
}

bool removeGroupElementsStep(wkCache_obj& object, const WStr& name,
                             const std::set<std::uint32_t>& elements) {
    if (object.playbackRecord().groups.find(name) < 0)
        return false;
    const bool ok = object.removeGroupElements(name, elements);
    wkCachePanels::refreshGroupList(object);
    return ok;
}
