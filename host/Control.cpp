#include "host/Control.h"

float Control::GetFloatValue(TimeValue t) const {
    float value = 0.0f;
    if (SuperClassID() == CTRL_FLOAT_CLASS_ID) {
        Interval valid = FOREVER;
        GetValue(t, &value, valid);
    }
    return value;
}

void Control::GetKeyTimes(std::vector<TimeValue>&, Interval, std::uint32_t) const {}
int Control::GetKeyIndex(TimeValue) const {
    return -1;
}
void Control::DeleteKeyByIndex(int) {}
std::unique_ptr<TrackClipObject> Control::CopyTrack(Interval, std::uint32_t) const {
    return nullptr;
}
void Control::PasteTrack(const TrackClipObject*, Interval, std::uint32_t) {}
void Control::Copy(const Control*) {}
