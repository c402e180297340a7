// The transform of an element between two samples.
#pragma once

#include "host/Matrix3.h"
#include "host/Quat.h"

// Blends the decomposed factors of first (fraction 0) and second (fraction 1): translation,
// rotation and stretch rotation by the short arc, stretch, and the determinant sign as a plain
// float, so that a mirrored pair flattens on its way through zero. Writes and returns out.
Matrix3& interpolateTransform(Matrix3& out, const Matrix3& first, const Matrix3& second,
                              float fraction);

// The two rotations' arcs of a blend from the factors pa to pb: each end's rotation turned to
// the short arc from pa's, and the arc Slerp walks. They depend on the pair alone, not on the
// fraction.
struct TransformArcs {
    Quat qTo; // pb.q on the short arc from pa.q
    Quat uTo;
    SlerpArc q;
    SlerpArc u;

    static TransformArcs Between(const AffineParts& pa, const AffineParts& pb);
    // The same in place, member by member: a copy of the whole would read back, in wide
    // pieces, the narrow stores just made, which the processor cannot forward.
    void setBetween(const AffineParts& pa, const AffineParts& pb);
};

// A blend whose stretch rotation is the identity at both ends, the case of rigid and uniformly
// scaled elements. It reads only factors that depend on the pair alone: pa.t and pb.t, pa.q and
// arcs.qTo on the arc arcs.q, pa.k and pb.k, pa.f and pb.f. Blending them as blendParts does,
// t, Slerp(pa.q, arcs.qTo) on the arc, k and f into composeAxisStretch, gives the bits
// interpolateTransform gives for the pair at any fraction between 0 and 1.
struct RigidBlend {
    // Whether the pair is such a blend: both stretch rotations exactly the identity quaternion.
    // Then their arc is the zero one (cosom 1), Slerp's weights are 1 - a and a, and the
    // blended stretch rotation's x, y and z are sums of zeros, which blendParts takes for none:
    // what remains is the same arithmetic on the same factors. Inline: playback asks it at
    // every crossing of every element.
    static bool Applies(const AffineParts& pa, const TransformArcs& arcs) {
        return IsIdentity(pa.u) && IsIdentity(arcs.uTo);
    }
    static bool IsIdentity(const Quat& q) {
        return q.x == 0.0f && q.y == 0.0f && q.z == 0.0f && q.w == 1.0f;
    }
};

// Row i is k_i * Q_i * f, which is what Inverse(U) * K * U * Q * F * T works out to with U the
// identity. Q's rows are those of Quat::MakeMatrix, written out. Inline: playback blends rigid
// pairs with it for every element and frame.
inline Matrix3& composeAxisStretch(Matrix3& out, const Quat& q, const Point3& k, float f,
                                   const Point3& t) {
    const float xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
    const float xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z;
    const float wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
    const float r[3][3] = {{1.0f - 2.0f * (yy + zz), 2.0f * (xy - wz), 2.0f * (xz + wy)},
                           {2.0f * (xy + wz), 1.0f - 2.0f * (xx + zz), 2.0f * (yz - wx)},
                           {2.0f * (xz - wy), 2.0f * (yz + wx), 1.0f - 2.0f * (xx + yy)}};
    const float kk[3] = {k.x, k.y, k.z};
    float* m = out.GetAddr();
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[3 * i + j] = kk[i] * r[i][j] * f;
    m[9] = t.x;
    m[10] = t.y;
    m[11] = t.z;
    out.SetIdentFlags(0);
    return out;
}

// The factors of the last two matrices one element blended, each kept with the matrix it came
// from. Playback blends the same two samples of an element over several frames, and keeps one
// of them when it moves on to the next pair, so most frames decompose nothing. A matrix is
// recognised by its bytes: the factors are those decomp_affine gives for it, always.
class TransformMemo {
public:
    // The slot holding m's factors, or -1.
    int find(const Matrix3& m) const;
    // Decomposes m into `slot` (0 or 1).
    void store(int slot, const Matrix3& m);
    const AffineParts& parts(int slot) const { return slots[slot].parts; }
    // The arcs from slot `from` to slot `to`, kept until either slot changes. Inline: the
    // elements a crossing claims find them made.
    const TransformArcs& arcs(int from, int to) {
        if (arcsFrom != from || arcsTo != to)
            makeArcs(from, to);
        return pairArcs;
    }
    // The slots of first and second, decomposing whichever the memo does not hold.
    void slotsFor(const Matrix3& first, const Matrix3& second, int& i, int& j);

    // Matrices taken into slots whose factors are still to be found, of one memo or several,
    // so that they are decomposed together.
    struct Pending {
        static constexpr int kCapacity = 8;
        const Matrix3* m[kCapacity];
        AffineParts* parts[kCapacity];
        int count = 0;
        // Fills the factors of every matrix taken.
        void decompose();
    };
    // slotsFor without the decompositions: the slots are given and hold their matrices, and
    // those to decompose (at most two) are added to `todo`, which must be decomposed before the
    // memo is used again.
    void claim(const Matrix3& first, const Matrix3& second, int& i, int& j, Pending& todo);

private:
    void take(int slot, const Matrix3& m, Pending& todo);
    void makeArcs(int from, int to);

    struct Slot {
        Matrix3 m;
        AffineParts parts;
        bool used = false;
    };
    Slot slots[2];
    TransformArcs pairArcs;
    int arcsFrom = -1; // -1: no arcs kept
    int arcsTo = -1;
};

// interpolateTransform with the factors taken from the memo where it has them: the same result.
Matrix3& interpolateTransform(Matrix3& out, const Matrix3& first, const Matrix3& second,
                              float fraction, TransformMemo& memo);
// The same from factors and arcs already at hand.
Matrix3& interpolateTransform(Matrix3& out, const AffineParts& pa, const AffineParts& pb,
                              const TransformArcs& arcs, float fraction);
