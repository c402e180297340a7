// Creating an object with the mouse: the host sends each mouse message of the creation to the
// object's callback until it answers 0 (done) or -1 (aborted).
#pragma once

#include "host/GraphicsWindow.h"
#include "host/Matrix3.h"
#include "host/Point.h"

// The mouse messages of a creation.
enum MouseMessage : int { MOUSE_ABORT = 0, MOUSE_POINT = 1, MOUSE_MOVE = 2 };

class CreateMouseCallBack {
public:
    virtual ~CreateMouseCallBack() = default;
    // `point` counts the clicks so far; `mat` is the creation matrix of the new node.
    // Answers 1 to go on, 0 when done, -1 when aborted.
    virtual int proc(ViewExp* vpt, int msg, int point, int flags, IPoint2 m, Matrix3& mat) = 0;
};
