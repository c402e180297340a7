// The memo of decomposed sample transforms: whatever it holds, a blend through it is the blend
// without it, bit for bit.
#include "playback/interpolateTransform.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

Matrix3 sampleMatrix(int s) {
    Matrix3 m = RotateXMatrix(0.4f * s) * RotateZMatrix(-0.7f * s);
    if (s % 3 == 2) // a stretch along turned axes now and then: the general road
        m = RotateZMatrix(0.3f) * ScaleMatrix(Point3(1.0f, 2.0f, 0.5f)) * m;
    m.SetTrans(Point3(1.0f * s, 2.0f, -3.0f * s));
    return m;
}

bool sameBits(const Matrix3& a, const Matrix3& b) {
    return std::memcmp(a.GetAddr(), b.GetAddr(), 12 * sizeof(float)) == 0;
}

} // namespace

TEST(TransformMemo, BlendsAreThoseWithoutTheMemo) {
    // Forward through the pairs, back again, a jump, and a pair of one matrix twice.
    const std::vector<std::pair<int, int>> pairs = {{0, 1}, {0, 1}, {1, 2}, {2, 3}, {1, 2},
                                                    {0, 1}, {5, 6}, {4, 4}, {4, 5}, {6, 5}};
    TransformMemo memo;
    float fraction = 0.1f;
    for (const auto& [s, t] : pairs) {
        const Matrix3 a = sampleMatrix(s);
        const Matrix3 b = sampleMatrix(t);
        Matrix3 plain;
        Matrix3 memoised;
        interpolateTransform(plain, a, b, fraction);
        interpolateTransform(memoised, a, b, fraction, memo);
        EXPECT_TRUE(sameBits(plain, memoised)) << s << "-" << t;
        // Both of the pair stay in the memo for the next frame.
        EXPECT_GE(memo.find(a), 0);
        EXPECT_GE(memo.find(b), 0);
        fraction += 0.17f;
        if (fraction >= 1.0f)
            fraction -= 0.9f;
    }
}

TEST(TransformMemo, AMatrixIsKnownByItsBytes) {
    TransformMemo memo;
    Matrix3 m = sampleMatrix(1);
    EXPECT_EQ(memo.find(m), -1);
    memo.store(1, m);
    EXPECT_EQ(memo.find(m), 1);
    AffineParts direct;
    decomp_affine(m, &direct);
    EXPECT_EQ(memo.parts(1).q, direct.q);
    EXPECT_EQ(memo.parts(1).t, direct.t);
    // A zero of the other sign is another matrix.
    Matrix3 zero = Matrix3(true);
    Matrix3 negativeZero = zero;
    negativeZero.GetAddr()[9] = -0.0f;
    memo.store(0, zero);
    EXPECT_EQ(memo.find(negativeZero), -1);
}
