#include "host/headless/HeadlessFloatControl.h"

bool HeadlessFloatControl::IsKeyAtTime(TimeValue t) const {
    for (int i = 0; i < track.NumKeys(); ++i) {
        if (track.GetKey(i).time == t)
            return true;
    }
    return false;
}
