#include "playback/interpolateTransform.h"

#include "host/DecompMany.h"

#include <cstring>

TransformArcs TransformArcs::Between(const AffineParts& pa, const AffineParts& pb) {
    TransformArcs arcs;
    arcs.setBetween(pa, pb);
    return arcs;
}

void TransformArcs::setBetween(const AffineParts& pa, const AffineParts& pb) {
    qTo = pb.q;
    qTo.MakeClosest(pa.q);
    q = MakeSlerpArc(pa.q, qTo);
    uTo = pb.u;
    uTo.MakeClosest(pa.u);
    u = MakeSlerpArc(pa.u, uTo);
}

namespace {

Matrix3& blendParts(Matrix3& out, const AffineParts& pa, const AffineParts& pb,
                    const TransformArcs& arcs, float fraction) {
    const float a = fraction;
    const float b = 1.0f - a;

    const Point3 t = pa.t * b + pb.t * a;
    const Quat q = Slerp(pa.q, arcs.qTo, a, arcs.q);
    const Quat u = Slerp(pa.u, arcs.uTo, a, arcs.u);

    const Point3 k = pa.k * b + pb.k * a;
    // Not a sign any more: between mirror images it passes through 0, and the element flattens.
    const float f = pb.f * a + pa.f * b;

    // A stretch along the axes (no stretch rotation at either end) needs none of the products.
    if (u.x == 0.0f && u.y == 0.0f && u.z == 0.0f)
        return composeAxisStretch(out, q, k, f, t);

    Matrix3 qm;
    q.MakeMatrix(qm, false);
    Matrix3 tm(true);
    tm.SetTrans(t);
    Matrix3 um;
    u.MakeMatrix(um, false);
    const Matrix3 km = ScaleMatrix(k);
    const Matrix3 fm = ScaleMatrix(Point3(f, f, f));

    out = Inverse(um) * km * um * qm * fm * tm;
    return out;
}

} // namespace

Matrix3& interpolateTransform(Matrix3& out, const Matrix3& first, const Matrix3& second,
                              float fraction) {
    AffineParts pa, pb;
    decomp_affine(first, &pa);
    decomp_affine(second, &pb);
    return blendParts(out, pa, pb, TransformArcs::Between(pa, pb), fraction);
}

Matrix3& interpolateTransform(Matrix3& out, const AffineParts& pa, const AffineParts& pb,
                              const TransformArcs& arcs, float fraction) {
    return blendParts(out, pa, pb, arcs, fraction);
}

int TransformMemo::find(const Matrix3& m) const {
    // Bytes, not values: -0 and +0, or two NaNs, are not taken for one another.
    for (int i = 0; i < 2; ++i)
        if (slots[i].used &&
            std::memcmp(slots[i].m.GetAddr(), m.GetAddr(), 12 * sizeof(float)) == 0)
            return i;
    return -1;
}

void TransformMemo::store(int slot, const Matrix3& m) {
    Pending todo;
    take(slot, m, todo);
    todo.decompose();
}

void TransformMemo::take(int slot, const Matrix3& m, Pending& todo) {
    Slot& s = slots[slot];
    s.m = m;
    s.used = true;
    arcsFrom = -1;
    todo.m[todo.count] = &s.m;
    todo.parts[todo.count++] = &s.parts;
}

void TransformMemo::Pending::decompose() {
    DecompAffineMany(m, parts, count);
    count = 0;
}

void TransformMemo::makeArcs(int from, int to) {
    pairArcs.setBetween(slots[from].parts, slots[to].parts);
    arcsFrom = from;
    arcsTo = to;
}

void TransformMemo::slotsFor(const Matrix3& first, const Matrix3& second, int& i, int& j) {
    Pending todo;
    claim(first, second, i, j, todo);
    todo.decompose();
}

void TransformMemo::claim(const Matrix3& first, const Matrix3& second, int& i, int& j,
                          Pending& todo) {
    // A miss takes the slot that the other matrix of the pair does not need.
    i = find(first);
    j = find(second);
    if (i < 0) {
        i = j == 0 ? 1 : 0;
        take(i, first, todo);
    }
    if (j < 0)
        j = find(second); // the same matrix twice
    if (j < 0) {
        j = 1 - i;
        take(j, second, todo);
    }
}

Matrix3& interpolateTransform(Matrix3& out, const Matrix3& first, const Matrix3& second,
                              float fraction, TransformMemo& memo) {
    int i = 0;
    int j = 0;
    memo.slotsFor(first, second, i, j);
    return blendParts(out, memo.parts(i), memo.parts(j), memo.arcs(i, j), fraction);
}
