// Controllers: what animates a value over time. A float controller drives an animated
// parameter; a matrix controller places something (the cache object's gizmo, a node).
//
// A keyframe controller also answers the key operations below; for any other controller they
// do nothing and NumKeys answers -1 ("not keyframed").
#pragma once

#include "host/KeyControl.h"
#include "host/Matrix3.h"
#include "host/Quat.h"
#include "host/Reference.h"
#include "host/Time.h"

#include <memory>
#include <vector>

// A piece of a track copied over an interval, to be pasted back.
class TrackClipObject {
public:
    virtual ~TrackClipObject() = default;
};

// A controller of one value, of the type its superclass names (float, Point2, Point3, Point4,
// Quat, ScaleValue; see KeyControl.h).
class Control : public ReferenceTarget {
public:
    virtual SClass_ID SuperClassID() const { return CTRL_FLOAT_CLASS_ID; }
    virtual Class_ID ClassID() const { return {}; }

    // The value at t written to `val`, of the superclass's value type. `valid` is narrowed to
    // the times around t where the value is the same.
    virtual void GetValue(TimeValue t, void* val, Interval& valid) const = 0;
    // The value of a float controller; 0 for any other.
    virtual float GetFloatValue(TimeValue t) const;
    // Whether a key lies exactly at t.
    virtual bool IsKeyAtTime(TimeValue t) const = 0;

    // ---- Key operations
    // The key interface (I_KEYCONTROL), or null.
    virtual IKeyControl* GetKeyControlInterface() { return nullptr; }
    virtual int NumKeys() const { return -1; }
    // Appends the times of the keys inside `range` (ends included) to `times`.
    virtual void GetKeyTimes(std::vector<TimeValue>& times, Interval range,
                             std::uint32_t flags) const;
    // The index of the key at t, or -1.
    virtual int GetKeyIndex(TimeValue t) const;
    virtual void DeleteKeyByIndex(int index);
    // The keys inside `range` (its ends as the flags say), to paste later; null when the
    // controller has no keys to copy.
    virtual std::unique_ptr<TrackClipObject> CopyTrack(Interval range, std::uint32_t flags) const;
    // Replaces the keys inside `range` by those of the clip, shifted to the range's start.
    virtual void PasteTrack(const TrackClipObject* clip, Interval range, std::uint32_t flags);
    // Makes this controller's keys a copy of `from`'s, when they are of one class; the one
    // change that goes through the undo hold.
    virtual void Copy(const Control* from);
    // A new controller of the same class with the same keys, or null for one that cannot be.
    virtual std::unique_ptr<Control> Clone() const { return nullptr; }
};

// A change to a transform controller as the viewport's move, rotate and scale modes make it.
// `tmParent` is the space the controller's matrix lives in; `tmAxis` the axis system the user
// transforms in (world). Move: `p` is the offset in tmAxis. Rotate: `q` (and the same as
// `aa`) turns about tmAxis's axes. Scale: `p` holds the factors along tmAxis's axes. Rotate and
// scale go about the controller's own origin when `localOrigin`, else about tmAxis's.
enum XFormCommand : int { XFORM_MOVE = 0, XFORM_ROTATE = 1, XFORM_SCALE = 2 };
struct SetXFormPacket {
    XFormCommand command = XFORM_MOVE;
    Matrix3 tmParent{true};
    Matrix3 tmAxis{true};
    Point3 p;
    Quat q;
    AngAxis aa;
    bool localOrigin = false;
};
inline constexpr int CTRL_RELATIVE = 0;

// A transform controller (position, rotation and scale).
class MatrixControl : public ReferenceTarget {
public:
    // Applies `packet` at t; commit 1 makes it final (there is no interactive preview here).
    virtual void SetValue(TimeValue t, const SetXFormPacket& packet, int commit = 1,
                          int method = CTRL_RELATIVE) = 0;
    // The controller's transform at t applied to `tm`, as the host evaluates it relative to a
    // parent: from an identity matrix it gives the controller's own matrix.
    virtual void GetValue(TimeValue t, Matrix3& tm) const = 0;
    // A copy with the same animation, referenced by `newOwner` (the clone of an object).
    virtual std::unique_ptr<MatrixControl> Clone(ReferenceMaker& newOwner) const = 0;

    // The sub-controllers of a transform made of position, rotation and scale controllers
    // (null for others, and for one that is not set).
    virtual Control* GetPositionController() const { return nullptr; }
    virtual Control* GetRotationController() const { return nullptr; }
    virtual Control* GetScaleController() const { return nullptr; }
    // Hands a sub-controller to the transform; false (and it is dropped) for a transform that
    // is not made of parts, or a controller of the wrong superclass.
    virtual bool SetPositionController(std::unique_ptr<Control>) { return false; }
    virtual bool SetRotationController(std::unique_ptr<Control>) { return false; }
    virtual bool SetScaleController(std::unique_ptr<Control>) { return false; }
};
