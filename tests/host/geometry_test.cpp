// Points, matrices, boxes and bit sets: the conventions everything else builds on.
#include "host/BitArray.h"
#include "host/Box3.h"
#include "host/Matrix3.h"
#include "host/Time.h"

#include "tests/host/expect_point.h"

#include <gtest/gtest.h>

#include <numbers>

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

TEST(Interval, EmptyAndClosedRange) {
    const Interval empty;
    EXPECT_EQ(empty.Start(), static_cast<TimeValue>(0x80000000u));
    EXPECT_EQ(empty.End(), static_cast<TimeValue>(0x80000000u));
    EXPECT_FALSE(empty.InInterval(TIME_NEVER));
    EXPECT_FALSE(empty.InInterval(0));

    const Interval r(-160, 320);
    EXPECT_TRUE(r.InInterval(-160));
    EXPECT_TRUE(r.InInterval(320));
    EXPECT_FALSE(r.InInterval(321));
    EXPECT_TRUE(FOREVER.InInterval(INT32_MAX));
    EXPECT_TRUE(FOREVER.InInterval(INT32_MIN + 1));
}

TEST(Matrix3, RowVectorConventionAndProductOrder) {
    // Translate, then turn a quarter about z: (1,0,0) -> (2,0,0) -> (0,2,0).
    const Matrix3 move = TransMatrix(Point3(1, 0, 0));
    const Matrix3 turn = RotateZMatrix(kPi / 2);
    expectNear(Point3(1, 0, 0) * (move * turn), Point3(0, 2, 0));
    expectNear(Point3(1, 0, 0) * (turn * move), Point3(1, 1, 0));

    const Matrix3 both = move * turn;
    const float* f = both.GetAddr();
    EXPECT_NEAR(f[9], 0.0f, 1e-6f); // row 3, the translation, last in row order
    EXPECT_NEAR(f[10], 1.0f, 1e-6f);
}

TEST(Matrix3, VectorTransformIgnoresTranslation) {
    Matrix3 m = RotateXMatrix(kPi / 2);
    m.SetTrans(Point3(5, 6, 7));
    expectNear(m.VectorTransform(Point3(0, 1, 0)), Point3(0, 0, 1));
    expectNear(Point3(0, 1, 0) * m, Point3(5, 6, 8));
}

TEST(Matrix3, ScalarProductScalesTranslationToo) {
    Matrix3 m = TransMatrix(Point3(1, 2, 3));
    m *= 2.0f;
    EXPECT_EQ(m.GetTrans(), Point3(2, 4, 6));
    EXPECT_EQ(m.GetRow(1), Point3(0, 2, 0));
    EXPECT_FALSE(m.GetIdentFlags() & SCL_IDENT);
}

TEST(Matrix3, InverseUndoesGeneralAffine) {
    Matrix3 m = RotateYMatrix(0.7f) * ScaleMatrix(Point3(2, 0.5f, 3)) * RotateXMatrix(-1.1f);
    m.SetTrans(Point3(4, -5, 6));
    const Point3 p(0.3f, -2, 9);
    expectNear(p * m * Inverse(m), p, 1e-4f);
    EXPECT_TRUE((m * Inverse(m)).Equals(Matrix3(true), 1e-5f));

    Matrix3 singular = ScaleMatrix(Point3(1, 0, 1));
    singular.Invert();
    EXPECT_EQ(singular, Matrix3());
}

TEST(Matrix3, PreTranslateMovesInLocalFrame) {
    Matrix3 m = RotateZMatrix(kPi / 2);
    m.SetTrans(Point3(10, 0, 0));
    m.PreTranslate(Point3(1, 0, 0));
    expectNear(m.GetTrans(), Point3(10, 1, 0));
    expectNear(Point3() * m, Point3(1, 0, 0) * RotateZMatrix(kPi / 2) + Point3(10, 0, 0));
}

TEST(Matrix3, OffsetBuildersApplyBeforeTheMatrix) {
    // An object offset: scale, then rotation, then position, all before the node's matrix.
    Matrix3 m(true);
    m.PreTranslate(Point3(0, 0, 5));
    const Quat quarterZ(AngAxis(Point3(0, 0, 1), kPi / 2));
    PreRotateMatrix(m, quarterZ);
    ApplyScaling(m, ScaleValue(Point3(2, 1, 1)));
    Matrix3 r;
    quarterZ.MakeMatrix(r);
    expectNear(Point3(1, 0, 0) * m, Point3(2, 0, 0) * r + Point3(0, 0, 5));

    // A scale along turned axes stretches along those axes only.
    Matrix3 s(true);
    ApplyScaling(s, ScaleValue(Point3(3, 1, 1), quarterZ));
    const Point3 axis = Point3(1, 0, 0) * r;
    expectNear(axis * s, axis * 3.0f);
    const Point3 across = Point3(0, 1, 0) * r;
    expectNear(across * s, across);
}

TEST(Box3, EmptyGrowAndTransform) {
    Box3 b;
    b.Init();
    EXPECT_TRUE(b.IsEmpty());
    EXPECT_TRUE((b * RotateZMatrix(1.0f)).IsEmpty());
    b += Point3(1, 2, 3);
    EXPECT_FALSE(b.IsEmpty());
    b += Point3(-1, 0, 5);
    EXPECT_EQ(b.pmin, Point3(-1, 0, 3));
    EXPECT_EQ(b.pmax, Point3(1, 2, 5));
    EXPECT_EQ(b[0], b.pmin);
    EXPECT_EQ(b[7], b.pmax);
    EXPECT_EQ(b[1], Point3(1, 0, 3));
    EXPECT_EQ(b[6], Point3(-1, 2, 5));

    Box3 other;
    b += other; // an empty box adds nothing
    EXPECT_EQ(b.pmax, Point3(1, 2, 5));

    // The first point beyond the empty corners' reach is the whole box.
    const Point3 far(2e30f, -3e30f, 4e30f);
    other += far;
    EXPECT_EQ(other.pmin, far);
    EXPECT_EQ(other.pmax, far);

    const Box3 turned = Box3(Point3(0, 0, 0), Point3(2, 1, 1)) * RotateZMatrix(kPi / 2);
    expectNear(turned.pmin, Point3(-1, 0, 0));
    expectNear(turned.pmax, Point3(0, 2, 1));
}

TEST(BitArray, SetSizeKeepsOrClears) {
    BitArray bits(70);
    bits.Set(3);
    bits.Set(65);
    bits.Set(69);
    EXPECT_EQ(bits.NumberSet(), 3);

    bits.SetSize(66, 1);
    EXPECT_EQ(bits.GetSize(), 66);
    EXPECT_EQ(bits.NumberSet(), 2);
    EXPECT_TRUE(bits[65]);

    bits.SetSize(60, 1); // bit 65 falls off, and must not return when the set grows again
    bits.SetSize(128, 1);
    EXPECT_EQ(bits.NumberSet(), 1);
    EXPECT_TRUE(bits[3]);
    EXPECT_FALSE(bits[65]);

    bits.SetSize(128, 0);
    EXPECT_TRUE(bits.IsEmpty());
}

TEST(BitArray, WholeSetOperations) {
    BitArray a(10);
    a.SetAll();
    EXPECT_EQ(a.NumberSet(), 10);
    a.Clear(4);
    const BitArray inverted = ~a;
    EXPECT_EQ(inverted.NumberSet(), 1);
    EXPECT_TRUE(inverted[4]);
    BitArray b(10);
    b.Set(4);
    b |= a;
    EXPECT_EQ(b.NumberSet(), 10);
    b &= inverted;
    EXPECT_EQ(b.NumberSet(), 1);
    a.ClearAll();
    EXPECT_TRUE(a.IsEmpty());
    EXPECT_EQ(a.GetSize(), 10);
}

} // namespace
