// The headless host's transform controller: position, rotation and scale key tracks, composed
// as a node's are (scale, then rotation, then translation).
#pragma once

#include "host/Control.h"
#include "host/headless/HeadlessKeyTrack.h"

// p * S * R * T: the rows of the rotation scaled, the position as translation.
Matrix3 ComposePRS(const Point3& scale, const Quat& rotation, const Point3& position);

class HeadlessPRSControl final : public MatrixControl {
public:
    // tm = own matrix * tm.
    void GetValue(TimeValue t, Matrix3& tm) const override;
    // The change goes into the tracks at t: the value of a track without keys, else a key at t.
    // Then the dependent is told.
    void SetValue(TimeValue t, const SetXFormPacket& packet, int commit, int method) override;
    std::unique_ptr<MatrixControl> Clone(ReferenceMaker& newOwner) const override;

    // The tracks, to key directly; NotifyChanged tells the dependent afterwards.
    Point3Track& Position() { return position; }
    RotationTrack& Rotation() { return rotation; }
    Point3Track& Scale() { return scale; }

    // The maker that references this controller (none by default).
    void SetDependent(ReferenceMaker* maker) { dependent = maker; }
    // Sends the change message to the dependent over all time.
    void NotifyChanged();

private:
    Point3Track position;
    RotationTrack rotation;
    Point3Track scale{Point3(1.0f, 1.0f, 1.0f)};
    ReferenceMaker* dependent = nullptr;
};
