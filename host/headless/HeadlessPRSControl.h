// The headless host's transform controller: position, rotation and scale key tracks, composed
// as a node's are (scale, then rotation, then translation).
#pragma once

#include "host/Control.h"
#include "host/headless/HeadlessKeyTrack.h"

#include <memory>

// p * S * R * T: the rows of the rotation scaled, the position as translation, made in `tm`
// itself (a matrix copied right after it is made waits for its parts to be stored). Inline:
// a recording composes one for every node at every sample.
inline void ComposePRS(const Point3& scale, const Quat& rotation, const Point3& position,
                       Matrix3& tm) {
    rotation.MakeMatrix(tm);
    if (scale == Point3(1.0f, 1.0f, 1.0f)) {
        // Factors of 1 change no bit of the rows (the most common scale): only the flags say
        // that the rows were set.
        tm.ClearIdentFlag(ROT_IDENT | SCL_IDENT);
    } else {
        for (int row = 0; row < 3; ++row)
            tm.SetRow(row, tm.GetRow(row) * scale[row]);
    }
    tm.SetTrans(position);
}
inline Matrix3 ComposePRS(const Point3& scale, const Quat& rotation, const Point3& position) {
    Matrix3 tm;
    ComposePRS(scale, rotation, position, tm);
    return tm;
}

class HeadlessPRSControl final : public MatrixControl {
public:
    // tm = own matrix * tm.
    void GetValue(TimeValue t, Matrix3& tm) const override;
    // The change goes into the tracks at t: the value of a track without keys, else a key at t.
    // Then the dependent is told.
    void SetValue(TimeValue t, const SetXFormPacket& packet, int commit, int method) override;
    std::unique_ptr<MatrixControl> Clone(ReferenceMaker& newOwner) const override;

    HeadlessPRSControl() = default;
    // The tracks copied, the key controllers cloned.
    HeadlessPRSControl(const HeadlessPRSControl& other);
    HeadlessPRSControl& operator=(const HeadlessPRSControl&) = delete;

    // The tracks, to key directly; NotifyChanged tells the dependent afterwards.
    Point3Track& Position() { return position; }
    RotationTrack& Rotation() { return rotation; }
    Point3Track& Scale() { return scale; }

    // Key controllers in place of the tracks: a position, a rotation and a scale controller
    // (superclasses 36875, 36876, 36877). A track whose controller is set is not read.
    bool SetPositionController(std::unique_ptr<Control> c) override {
        return take(positionControl, std::move(c), CTRL_POSITION_CLASS_ID);
    }
    bool SetRotationController(std::unique_ptr<Control> c) override {
        return take(rotationControl, std::move(c), CTRL_ROTATION_CLASS_ID);
    }
    bool SetScaleController(std::unique_ptr<Control> c) override {
        return take(scaleControl, std::move(c), CTRL_SCALE_CLASS_ID);
    }
    Control* GetPositionController() const override { return positionControl.get(); }
    Control* GetRotationController() const override { return rotationControl.get(); }
    Control* GetScaleController() const override { return scaleControl.get(); }

    // The maker that references this controller (none by default).
    void SetDependent(ReferenceMaker* maker) { dependent = maker; }
    // Sends the change message to the dependent over all time.
    void NotifyChanged();

private:
    static bool take(std::unique_ptr<Control>& slot, std::unique_ptr<Control> c, SClass_ID kind) {
        if (!c || c->SuperClassID() != kind)
            return false;
        slot = std::move(c);
        HeadlessRevision::Changed();
        return true;
    }

    Point3Track position;
    RotationTrack rotation;
    Point3Track scale{Point3(1.0f, 1.0f, 1.0f)};
    std::unique_ptr<Control> positionControl, rotationControl, scaleControl;
    ReferenceMaker* dependent = nullptr;
};
