// Creating the object with the mouse: the first point places the node, the second sizes the
// icon.
#include "object/wkCache_obj.h"

#include <cmath>

class wkCache_objCreateCallBack final : public CreateMouseCallBack {
public:
    wkCache_obj* object = nullptr; // valid only while the object is being created

    int proc(ViewExp* vpt, int msg, int point, int, IPoint2 m, Matrix3& mat) override {
        if (msg == MOUSE_ABORT)
            return -1;
        if ((msg != MOUSE_POINT && msg != MOUSE_MOVE) || object == nullptr || vpt == nullptr)
            return 1;
        if (point == 0) {
            object->animFlags |= A_SNAP_SUSPEND;
            first = vpt->SnapPoint(m);
            mat.SetTrans(first);
            return 1;
        }
        if (point == 1) {
            const float distance = (vpt->SnapPoint(m) - first).Length();
            object->parameters->SetValue(wkCacheParam::iconSize, 0, 2.0f * std::fabs(distance));
            if (msg == MOUSE_POINT) {
                object->animFlags &= ~A_SNAP_SUSPEND;
                return 0;
            }
        }
        return 1;
    }

private:
    Point3 first;
};

CreateMouseCallBack* wkCache_obj::GetCreateMouseCallBack() {
    static wkCache_objCreateCallBack callback;
    callback.object = this;
    return &callback;
}
