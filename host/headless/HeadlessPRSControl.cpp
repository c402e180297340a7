#include "host/headless/HeadlessPRSControl.h"

Matrix3 ComposePRS(const Point3& scale, const Quat& rotation, const Point3& position) {
    Matrix3 tm;
    rotation.MakeMatrix(tm);
    for (int row = 0; row < 3; ++row)
        tm.SetRow(row, tm.GetRow(row) * scale[row]);
    tm.SetTrans(position);
    return tm;
}

void HeadlessPRSControl::GetValue(TimeValue t, Matrix3& tm) const {
    Point3 p = position.GetValue(t);
    Quat q = rotation.GetValue(t);
    ScaleValue s(scale.GetValue(t));
    Interval valid = FOREVER;
    if (positionControl)
        positionControl->GetValue(t, &p, valid);
    if (rotationControl)
        rotationControl->GetValue(t, &q, valid);
    if (scaleControl)
        scaleControl->GetValue(t, &s, valid);
    // Scale along the scale's own axes, then rotation, then position.
    if (s.q.IsIdentity()) {
        tm = ComposePRS(s.s, q, p) * tm;
        return;
    }
    Matrix3 own = ComposePRS(Point3(1.0f, 1.0f, 1.0f), q, p);
    ApplyScaling(own, s);
    tm = own * tm;
}

void HeadlessPRSControl::NotifyChanged() {
    if (dependent != nullptr)
        dependent->NotifyRefChanged(FOREVER, this, PART_ALL, REFMSG_CHANGE, true);
}

HeadlessPRSControl::HeadlessPRSControl(const HeadlessPRSControl& other)
    : MatrixControl(other), position(other.position), rotation(other.rotation), scale(other.scale),
      positionControl(other.positionControl ? other.positionControl->Clone() : nullptr),
      rotationControl(other.rotationControl ? other.rotationControl->Clone() : nullptr),
      scaleControl(other.scaleControl ? other.scaleControl->Clone() : nullptr),
      dependent(other.dependent) {}

std::unique_ptr<MatrixControl> HeadlessPRSControl::Clone(ReferenceMaker& newOwner) const {
    auto copy = std::make_unique<HeadlessPRSControl>(*this);
    copy->SetDependent(&newOwner);
    return copy;
}
