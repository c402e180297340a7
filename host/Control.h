// Controllers: what animates a value over time. A float controller drives an animated
// parameter; a matrix controller places something (the cache object's gizmo).
#pragma once

#include "host/Matrix3.h"
#include "host/Quat.h"
#include "host/Reference.h"
#include "host/Time.h"

#include <memory>

// A float controller: the value of an animated parameter at each time.
class Control : public ReferenceTarget {
public:
    virtual float GetFloatValue(TimeValue t) const = 0;
    // Whether a key lies exactly at t.
    virtual bool IsKeyAtTime(TimeValue t) const = 0;
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
};
