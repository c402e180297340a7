#include "host/headless/HeadlessPRSControl.h"

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

namespace {

// The change of a packet as a world matrix: what the gizmo's world matrix is multiplied by.
Matrix3 WorldChange(const SetXFormPacket& packet, const Matrix3& world) {
    Matrix3 axes = packet.tmAxis;
    axes.NoTrans();
    if (packet.command == XFORM_MOVE)
        return TransMatrix(VectorTransform(packet.tmAxis, packet.p));
    const Point3 centre = packet.localOrigin ? world.GetTrans() : packet.tmAxis.GetTrans();
    Matrix3 local;
    if (packet.command == XFORM_ROTATE)
        packet.q.MakeMatrix(local);
    else
        local = ScaleMatrix(packet.p);
    // About the centre, in the axis system's orientation.
    return TransMatrix(centre * -1.0f) * Inverse(axes) * local * axes * TransMatrix(centre);
}

} // namespace

void HeadlessPRSControl::SetValue(TimeValue t, const SetXFormPacket& packet, int, int) {
    Matrix3 own(true);
    GetValue(t, own);
    const Matrix3 world = own * packet.tmParent;
    const Matrix3 changed = world * WorldChange(packet, world) * Inverse(packet.tmParent);
    AffineParts parts;
    decomp_affine(changed, &parts);
    position.SetValue(t, parts.t);
    rotation.SetValue(t, parts.q);
    scale.SetValue(t, parts.k * parts.f);
    NotifyChanged();
}
