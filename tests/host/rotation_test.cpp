// Quaternions, blends and the affine decomposition.
#include "host/DecompMany.h"
#include "host/Matrix3.h"
#include "host/Quat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

Quat aboutAxis(Point3 axis, float angle) {
    return Quat(AngAxis(axis, angle));
}

Matrix3 matrixOf(const Quat& q) {
    Matrix3 m;
    q.MakeMatrix(m);
    return m;
}

float angleOf(const Quat& q) {
    float angle;
    Point3 axis;
    AngAxisFromQ(q, &angle, axis);
    return angle;
}

TEST(Quat, HandednessAndProductOrder) {
    // A positive angle turns clockwise seen down the axis: x goes to -y about +z.
    const Quat q = aboutAxis(Point3(0, 0, 1), kPi / 2);
    const Point3 p = Point3(1, 0, 0) * matrixOf(q);
    EXPECT_NEAR(p.x, 0.0f, 1e-6f);
    EXPECT_NEAR(p.y, -1.0f, 1e-6f);

    // Quaternion and matrix products agree in order.
    const Quat a = aboutAxis(Point3(1, 0, 0), 0.4f);
    const Quat b = aboutAxis(Point3(0, 1, 0), 1.3f);
    EXPECT_TRUE(matrixOf(a * b).Equals(matrixOf(a) * matrixOf(b), 1e-6f));

    // The matrix round-trips to the same rotation, for every branch of the extraction.
    for (const Quat& r :
         {a, b, aboutAxis(Point3(1, 2, 3), 3.0f), aboutAxis(Point3(0, 0, 1), kPi)}) {
        Quat back(matrixOf(r));
        back.MakeClosest(r);
        EXPECT_NEAR(back.x, r.x, 1e-6f);
        EXPECT_NEAR(back.y, r.y, 1e-6f);
        EXPECT_NEAR(back.z, r.z, 1e-6f);
        EXPECT_NEAR(back.w, r.w, 1e-6f);
    }
}

TEST(Quat, RelativeRotationAndAxisAngle) {
    const Quat a = aboutAxis(Point3(0, 1, 0), 0.5f);
    const Quat b = aboutAxis(Point3(0, 1, 0), 0.2f);
    EXPECT_NEAR(angleOf(a / b), 0.3f, 1e-6f);

    AngAxis aa(aboutAxis(Point3(0, 0, 2), 1.0f));
    EXPECT_NEAR(aa.angle, 1.0f, 1e-6f);
    EXPECT_NEAR(aa.axis.z, 1.0f, 1e-6f);

    AngAxis none(Quat{});
    EXPECT_EQ(none.angle, 0.0f);
    EXPECT_EQ(none.axis, Point3(0, 0, 1));
}

TEST(Quat, MakeClosestFlipsOnlyAcrossTheHemisphere) {
    const Quat target = aboutAxis(Point3(0, 0, 1), 0.1f);
    Quat far = -aboutAxis(Point3(0, 0, 1), 0.3f);
    far.MakeClosest(target);
    EXPECT_GT(far.w, 0.0f);
    Quat near = aboutAxis(Point3(0, 0, 1), 0.3f);
    const Quat before = near;
    near.MakeClosest(target);
    EXPECT_EQ(near, before);
}

TEST(Quat, SlerpTakesTheShortArcAfterMakeClosest) {
    // 170° and -170° about z are 20° apart; the blend must pass through 180°, not 0°.
    const Quat a = aboutAxis(Point3(0, 0, 1), 170.0f * kPi / 180.0f);
    Quat b = aboutAxis(Point3(0, 0, 1), -170.0f * kPi / 180.0f);
    b.MakeClosest(a);
    const Quat mid = Slerp(a, b, 0.5f);
    EXPECT_NEAR(std::fabs(mid.w), 0.0f, 1e-5f); // a half turn
    EXPECT_NEAR(angleOf(mid / a), 10.0f * kPi / 180.0f, 1e-4f);

    // Ends and unit length.
    const Quat c = aboutAxis(Point3(1, 1, 0), 2.0f);
    const Quat s0 = Slerp(a, c, 0.0f), s1 = Slerp(a, c, 1.0f), sh = Slerp(a, c, 0.3f);
    EXPECT_NEAR(QuatDot(s0, a), 1.0f, 1e-6f);
    EXPECT_NEAR(QuatDot(s1, c), 1.0f, 1e-6f);
    EXPECT_NEAR(QuatDot(sh, sh), 1.0f, 1e-5f);

    // Blending between q and -q (one rotation) stays a unit quaternion.
    const Quat opposite = Slerp(c, -c, 0.5f);
    EXPECT_NEAR(QuatDot(opposite, opposite), 1.0f, 1e-5f);
}

TEST(Quat, ArcAngleIsTheArccosineOfItsCosine) {
    // The arccosine's cut-offs (0.5, 2^-57), both ends of the long arc, then random cosines:
    // within an ulp, and where the C library is glibc, the bits of its acosf.
    std::vector<float> cosines = {0.0f,      0.5f,    -0.5f,    0.49999997f, -0.49999997f, 0x1p-57f,
                                  -0x1p-56f, 0.9999f, -0.9999f, 0.999998f,   -0.999998f};
    std::mt19937 random(14);
    std::uniform_real_distribution<float> any(-1.0f, 1.0f);
    for (int i = 0; i < 100000; ++i)
        cosines.push_back(any(random));
    for (const float c : cosines) {
        if (SlerpRoadOf(c) != SlerpRoad::Long)
            continue; // no angle needed
        const SlerpArc arc = MakeSlerpArc(Quat(0, 0, 0, 1), Quat(0, 0, 0, c));
        const float exact = static_cast<float>(std::acos(static_cast<double>(c)));
        EXPECT_LE(std::fabs(arc.omega - exact), std::nextafter(exact, 4.0f) - exact) << c;
#ifdef __GLIBC__
        EXPECT_EQ(arc.omega, std::acos(c)) << c;
#endif
    }
}

Matrix3 recompose(const AffineParts& p) {
    const Matrix3 u = matrixOf(p.u), q = matrixOf(p.q);
    return Inverse(u) * ScaleMatrix(p.k) * u * q * ScaleMatrix(Point3(p.f, p.f, p.f)) *
           TransMatrix(p.t);
}

void expectRecomposes(const Matrix3& m, float eps) {
    AffineParts parts;
    decomp_affine(m, &parts);
    EXPECT_TRUE(recompose(parts).Equals(m, eps))
        << "k " << parts.k.x << " " << parts.k.y << " " << parts.k.z << " f " << parts.f;
    EXPECT_NEAR(QuatDot(parts.q, parts.q), 1.0f, 1e-5f);
    EXPECT_NEAR(QuatDot(parts.u, parts.u), 1.0f, 1e-5f);
    EXPECT_GE(std::min({parts.k.x, parts.k.y, parts.k.z}), 0.0f);
}

TEST(DecompAffine, RigidAndUniform) {
    Matrix3 m = RotateXMatrix(0.3f) * RotateZMatrix(2.5f);
    m.SetTrans(Point3(1, -2, 3));
    AffineParts parts;
    decomp_affine(m, &parts);
    EXPECT_EQ(parts.t, Point3(1, -2, 3));
    EXPECT_EQ(parts.f, 1.0f);
    EXPECT_NEAR(parts.k.x, 1.0f, 1e-6f);
    EXPECT_NEAR(parts.k.z, 1.0f, 1e-6f);
    EXPECT_TRUE(parts.u.IsIdentity()); // no stretch, no stretch axes
    EXPECT_TRUE(matrixOf(parts.q).Equals(RotateXMatrix(0.3f) * RotateZMatrix(2.5f), 1e-6f));

    expectRecomposes(ScaleMatrix(Point3(2, 2, 2)) * RotateYMatrix(-1.0f), 1e-5f);
    expectRecomposes(Matrix3(true), 0.0f);
}

TEST(DecompAffine, StretchAlongTurnedAxes) {
    // Non-uniform scale along axes turned against the rotation: a stretch rotation is needed.
    const Matrix3 axes = RotateZMatrix(0.6f) * RotateXMatrix(0.4f);
    Matrix3 m = Inverse(axes) * ScaleMatrix(Point3(3, 1, 0.5f)) * axes * RotateYMatrix(1.2f);
    m.SetTrans(Point3(7, 8, 9));
    expectRecomposes(m, 1e-5f);

    AffineParts parts;
    decomp_affine(m, &parts);
    // Factors are those of the stretch, in some order.
    const float product = parts.k.x * parts.k.y * parts.k.z;
    EXPECT_NEAR(product, 1.5f, 1e-5f);
    EXPECT_NEAR(std::max({parts.k.x, parts.k.y, parts.k.z}), 3.0f, 1e-5f);

    // Axis-aligned non-uniform scale keeps its axes: no stretch rotation.
    decomp_affine(ScaleMatrix(Point3(1, 2, 3)) * RotateZMatrix(0.5f), &parts);
    EXPECT_NEAR(parts.u.w, 1.0f, 1e-6f);
    EXPECT_NEAR(parts.k.y, 2.0f, 1e-6f);

    // Two equal factors: the odd axis lies on a coordinate axis after the stretch rotation.
    expectRecomposes(Inverse(axes) * ScaleMatrix(Point3(2, 2, 0.5f)) * axes, 1e-5f);
}

TEST(DecompAffine, MirroredMatrices) {
    Matrix3 m = ScaleMatrix(Point3(-1, 1, 1)) * RotateZMatrix(0.8f);
    m.SetTrans(Point3(0, 1, 0));
    AffineParts parts;
    decomp_affine(m, &parts);
    EXPECT_EQ(parts.f, -1.0f);
    expectRecomposes(m, 1e-5f);
    expectRecomposes(ScaleMatrix(Point3(-2, -3, -0.5f)) * RotateXMatrix(2.0f), 1e-5f);
    expectRecomposes(ScaleMatrix(Point3(-1, -1, 1)), 1e-6f); // a proper half turn, f = +1
}

TEST(DecompAffine, NearSingularAndSingular) {
    const Matrix3 turn = RotateXMatrix(0.7f) * RotateYMatrix(0.2f);
    expectRecomposes(ScaleMatrix(Point3(1, 1, 1e-6f)) * turn, 1e-5f);
    expectRecomposes(ScaleMatrix(Point3(5, 1e-5f, 1)) * turn, 1e-5f);
    expectRecomposes(ScaleMatrix(Point3(1, 1, 0)) * turn, 1e-5f); // flattened
    expectRecomposes(ScaleMatrix(Point3(0, 3, 0)) * turn, 1e-5f); // a line
    expectRecomposes(Matrix3(), 0.0f);                            // a point
    // Rows in one plane but not axis-aligned.
    expectRecomposes(Matrix3(Point3(1, 1, 0), Point3(2, 2, 0), Point3(0, 0, 1), Point3()), 1e-5f);

    AffineParts parts;
    decomp_affine(ScaleMatrix(Point3(1, 1, 0)) * turn, &parts);
    EXPECT_EQ(parts.f, 1.0f);
}

TEST(DecompAffine, RecomposesRandomAffines) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> angle(-kPi, kPi), factor(0.05f, 4.0f), move(-50, 50);
    std::bernoulli_distribution mirror(0.3), repeat(0.2);
    for (int i = 0; i < 500; ++i) {
        const Matrix3 axes = RotateXMatrix(angle(rng)) * RotateYMatrix(angle(rng));
        Point3 k(factor(rng), factor(rng), factor(rng));
        if (repeat(rng))
            k.y = k.x;
        if (mirror(rng))
            k.z = -k.z;
        Matrix3 m = Inverse(axes) * ScaleMatrix(k) * axes * RotateZMatrix(angle(rng)) *
                    RotateXMatrix(angle(rng));
        m.SetTrans(Point3(move(rng), move(rng), move(rng)));
        AffineParts parts;
        decomp_affine(m, &parts);
        ASSERT_TRUE(recompose(parts).Equals(m, 2e-5f)) << i;
        ASSERT_EQ(parts.f, k.z < 0 ? -1.0f : 1.0f) << i;
    }
}

TEST(DecompAffine, ManyAtOnceGiveTheBitsOfOne) {
    // Every road of the quaternion (trace, or the x, y or z diagonal largest), mirrored and
    // scaled rotations, and matrices that leave the vector lanes (unequal factors, shear, a
    // flattened or zero matrix, a NaN), mixed in one batch whose tail is shorter than a vector.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Matrix3 turn = RotateXMatrix(0.3f) * RotateZMatrix(2.5f);
    const std::vector<Matrix3> ms = {
        turn,
        RotateXMatrix(3.0f),
        RotateYMatrix(-3.0f),
        RotateZMatrix(2.9f) * RotateXMatrix(0.1f),
        ScaleMatrix(Point3(2, 2, 2)) * turn,
        ScaleMatrix(Point3(-1, 1, 1)) * RotateYMatrix(2.0f),
        Matrix3(true),
        ScaleMatrix(Point3(1, 2, 3)) * turn,
        Matrix3(Point3(1, 0.5f, 0), Point3(0, 1, 0), Point3(0, 0, 1), Point3(4, 5, 6)),
        ScaleMatrix(Point3(1, 1, 0)) * turn,
        Matrix3(),
        Matrix3(Point3(nan, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1), Point3()),
        ScaleMatrix(Point3(1e-3f, 1e-3f, 1e-3f)) * RotateYMatrix(1.0f),
    };
    std::vector<AffineParts> many(ms.size());
    std::vector<const Matrix3*> in;
    std::vector<AffineParts*> out;
    for (std::size_t i = 0; i < ms.size(); ++i) {
        in.push_back(&ms[i]);
        out.push_back(&many[i]);
    }
    DecompAffineMany(in.data(), out.data(), static_cast<int>(ms.size()));
    for (std::size_t i = 0; i < ms.size(); ++i) {
        AffineParts one;
        decomp_affine(ms[i], &one);
        EXPECT_EQ(std::memcmp(&one, &many[i], sizeof one), 0) << i;
    }
}

} // namespace
