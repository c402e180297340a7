// Controllers: what animates a value over time. A float controller drives an animated
// parameter; a matrix controller places something (the cache object's gizmo).
#pragma once

#include "host/Matrix3.h"
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

// A transform controller (position, rotation and scale).
class MatrixControl : public ReferenceTarget {
public:
    // The controller's transform at t applied to `tm`, as the host evaluates it relative to a
    // parent: from an identity matrix it gives the controller's own matrix.
    virtual void GetValue(TimeValue t, Matrix3& tm) const = 0;
    // A copy with the same animation, referenced by `newOwner` (the clone of an object).
    virtual std::unique_ptr<MatrixControl> Clone(ReferenceMaker& newOwner) const = 0;
};
