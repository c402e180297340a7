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
    tm = ComposePRS(scale.GetValue(t), rotation.GetValue(t), position.GetValue(t)) * tm;
}

void HeadlessPRSControl::NotifyChanged() {
    if (dependent != nullptr)
        dependent->NotifyRefChanged(FOREVER, this, PART_ALL, REFMSG_CHANGE, true);
}

std::unique_ptr<MatrixControl> HeadlessPRSControl::Clone(ReferenceMaker& newOwner) const {
    auto copy = std::make_unique<HeadlessPRSControl>(*this);
    copy->SetDependent(&newOwner);
    return copy;
}
