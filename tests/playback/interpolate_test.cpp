// Blending two sample transforms.
#include "playback/interpolateTransform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

Matrix3 blend(const Matrix3& a, const Matrix3& b, float fraction) {
    Matrix3 out;
    return interpolateTransform(out, a, b, fraction);
}

TEST(InterpolateTransform, EqualMatricesComeBack) {
    Matrix3 m = ScaleMatrix(Point3(1, 2, 0.5f)) * RotateXMatrix(0.9f) * RotateZMatrix(-2.0f);
    m.SetTrans(Point3(3, 4, 5));
    for (float f : {0.001f, 0.25f, 0.5f, 0.999f})
        EXPECT_TRUE(blend(m, m, f).Equals(m, 1e-5f)) << f;
    EXPECT_TRUE(blend(Matrix3(true), Matrix3(true), 0.5f).Equals(Matrix3(true), 1e-6f));
}

TEST(InterpolateTransform, TranslationAndRotationAreBlendedSeparately) {
    // A rigid half-turn pair with moving translation: the blend stays rigid (no shrinking).
    Matrix3 a = RotateZMatrix(0.0f);
    a.SetTrans(Point3(0, 0, 0));
    Matrix3 b = RotateZMatrix(kPi / 2);
    b.SetTrans(Point3(10, 0, 0));
    const Matrix3 mid = blend(a, b, 0.5f);
    EXPECT_NEAR(mid.GetRow(0).Length(), 1.0f, 1e-6f);
    EXPECT_NEAR(mid.GetTrans().x, 5.0f, 1e-6f);
    EXPECT_TRUE(mid.Equals(RotateZMatrix(kPi / 4) * TransMatrix(Point3(5, 0, 0)), 1e-6f));
}

TEST(InterpolateTransform, TakesTheShortWayRound) {
    // 350° apart one way is 10° the other.
    const Matrix3 a = RotateZMatrix(175.0f * kPi / 180.0f);
    const Matrix3 b = RotateZMatrix(-175.0f * kPi / 180.0f);
    const Matrix3 mid = blend(a, b, 0.5f);
    EXPECT_TRUE(mid.Equals(RotateZMatrix(kPi), 1e-5f));
}

TEST(InterpolateTransform, MirroredPairFlattensHalfway) {
    Matrix3 a(true);
    a.SetTrans(Point3(0, 0, 2));
    Matrix3 b = ScaleMatrix(Point3(-1, 1, 1));
    b.SetTrans(Point3(0, 0, 4));
    const Matrix3 mid = blend(a, b, 0.5f);
    EXPECT_EQ(mid.GetRow(0), Point3());
    EXPECT_EQ(mid.GetRow(1), Point3());
    EXPECT_EQ(mid.GetRow(2), Point3());
    EXPECT_NEAR(mid.GetTrans().z, 3.0f, 1e-6f);
    // A quarter of the way the element is scaled by the blended sign, not snapped to it.
    EXPECT_NEAR(std::fabs(blend(a, b, 0.25f).Determinant3()), 0.125f, 1e-5f);
}

TEST(InterpolateTransform, StretchRotatesWithTheElementWithoutShear) {
    // The same non-uniform stretch carried by two rotations: every blend is that stretch,
    // turned, so its rows keep their lengths and stay orthogonal.
    const Matrix3 stretch = ScaleMatrix(Point3(3, 1, 1));
    const Matrix3 a = stretch * RotateZMatrix(0.2f);
    const Matrix3 b = stretch * RotateZMatrix(1.4f);
    const Matrix3 mid = blend(a, b, 0.5f);
    EXPECT_NEAR(mid.GetRow(0).Length(), 3.0f, 1e-5f);
    EXPECT_NEAR(mid.GetRow(1).Length(), 1.0f, 1e-5f);
    EXPECT_NEAR(DotProd(mid.GetRow(0), mid.GetRow(1)), 0.0f, 1e-5f);
    EXPECT_TRUE(mid.Equals(stretch * RotateZMatrix(0.8f), 1e-5f));
}

TEST(InterpolateTransform, StretchAxesTurnBetweenSamples) {
    // Stretch along x at one sample, along y at the other: the axes turn, not shear.
    const Matrix3 a = ScaleMatrix(Point3(2, 1, 1));
    const Matrix3 turn = RotateZMatrix(0.6f);
    const Matrix3 b = Inverse(turn) * ScaleMatrix(Point3(2, 1, 1)) * turn;
    const Matrix3 mid = blend(a, b, 0.5f);
    const Matrix3 half = RotateZMatrix(0.3f);
    EXPECT_TRUE(mid.Equals(Inverse(half) * ScaleMatrix(Point3(2, 1, 1)) * half, 1e-5f));
}

} // namespace
