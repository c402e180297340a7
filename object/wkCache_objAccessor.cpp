// The names of the elementFrames entries in the track view: each group's frame track is
// called after its group.
#include "object/wkCache_obj.h"

namespace {

class wkCache_obj_PBAccessor final : public PBAccessor {
public:
    WStr GetLocalName(ReferenceMaker* owner, ParamID id, int tabIndex) override {
        auto* object = dynamic_cast<wkCache_obj*>(owner);
        if (object == nullptr || id != wkCacheParam::elementFrames || tabIndex < 0)
            return WStr();
        const wkCacheGroupList& groups = object->playbackRecord().groups;
        if (tabIndex >= groups.count())
            return WStr();
        WStr name = groups.at(tabIndex).name;
        name += L"_Frame";
        return name;
    }
};

} // namespace

PBAccessor& wkCacheElementFramesAccessor() {
    static wkCache_obj_PBAccessor accessor;
    return accessor;
}
