#include "playback/interpolateTransform.h"

Matrix3& interpolateTransform(Matrix3& out, const Matrix3& first, const Matrix3& second,
                              float fraction) {
    const float a = fraction;
    const float b = 1.0f - a;

    AffineParts pa, pb;
    decomp_affine(first, &pa);
    decomp_affine(second, &pb);

    const Point3 t = pa.t * b + pb.t * a;

    Quat closest = pb.q;
    closest.MakeClosest(pa.q);
    const Quat q = Slerp(pa.q, closest, a);

    closest = pb.u;
    closest.MakeClosest(pa.u);
    const Quat u = Slerp(pa.u, closest, a);

    const Point3 k = pa.k * b + pb.k * a;
    // Not a sign any more: between mirror images it passes through 0, and the element flattens.
    const float f = pb.f * a + pa.f * b;

    Matrix3 tm(true);
    tm.SetTrans(t);
    Matrix3 qm, um;
    q.MakeMatrix(qm, false);
    u.MakeMatrix(um, false);
    const Matrix3 km = ScaleMatrix(k);
    const Matrix3 fm = ScaleMatrix(Point3(f, f, f));

    out = Inverse(um) * km * um * qm * fm * tm;
    return out;
}
