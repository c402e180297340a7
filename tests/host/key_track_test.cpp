// Key tracks of the headless scene: linear and TCB interpolation of floats, points and
// rotations, the ease curve, and the values outside the keys.
#include "host/headless/HeadlessKeyTrack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

float zAngle(const Quat& q) {
    float angle = 0.0f;
    Point3 axis;
    AngAxisFromQ(q, &angle, axis);
    return axis.z < 0.0f ? -angle : angle;
}

TEST(KeyTrack, WithoutKeysAnswersTheDefaultAndHoldsOutsideTheKeys) {
    FloatTrack track(0.75f);
    EXPECT_EQ(track.GetValue(12345), 0.75f);
    track.AddKey(100, 2.0f);
    track.AddKey(200, 4.0f);
    EXPECT_EQ(track.GetValue(-5000), 2.0f);
    EXPECT_EQ(track.GetValue(100), 2.0f);
    EXPECT_EQ(track.GetValue(200), 4.0f);
    EXPECT_EQ(track.GetValue(99999), 4.0f);
}

TEST(KeyTrack, KeysStaySortedAndAKeyAtAnExistingTimeReplacesIt) {
    Point3Track track;
    track.AddKey(300, Point3(3, 0, 0));
    track.AddKey(100, Point3(1, 0, 0));
    track.AddKey(200, Point3(2, 0, 0));
    track.AddKey(200, Point3(5, 0, 0));
    ASSERT_EQ(track.NumKeys(), 3);
    EXPECT_EQ(track.GetKey(0).time, 100);
    EXPECT_EQ(track.GetKey(1).value, Point3(5, 0, 0));
    EXPECT_EQ(track.GetKey(2).time, 300);
}

TEST(KeyTrack, LinearBlendsBetweenTheTwoKeysAroundTheTime) {
    Point3Track track;
    track.AddKey(0, Point3(0, 0, 0));
    track.AddKey(160, Point3(10, -20, 4));
    track.AddKey(320, Point3(10, 0, 0));
    EXPECT_EQ(track.GetValue(40), Point3(2.5f, -5.0f, 1.0f));
    EXPECT_EQ(track.GetValue(240), Point3(10.0f, -10.0f, 2.0f));
}

TEST(KeyTrack, TcbPassesThroughItsKeysAndIsLinearOnEvenlySpacedStraightKeys) {
    FloatTrack track(0.0f, KeyInterpolation::TCB);
    for (int k = 0; k < 5; ++k)
        track.AddKey(k * 100, 3.0f * static_cast<float>(k));
    for (int k = 0; k < 5; ++k)
        EXPECT_EQ(track.GetValue(k * 100), 3.0f * static_cast<float>(k));
    for (int t = 0; t <= 400; t += 25)
        EXPECT_NEAR(track.GetValue(t), 0.03f * static_cast<float>(t), 1e-4f) << "at " << t;
}

TEST(KeyTrack, TcbCurvesThroughAPeakWhereLinearHasACorner) {
    FloatTrack tcb(0.0f, KeyInterpolation::TCB);
    FloatTrack linear(0.0f, KeyInterpolation::Linear);
    for (FloatTrack* track : {&tcb, &linear}) {
        track->AddKey(0, 0.0f);
        track->AddKey(100, 10.0f);
        track->AddKey(200, 0.0f);
    }
    // Zero slope at the peak: the curve stays above the straight lines beside it.
    EXPECT_GT(tcb.GetValue(90), linear.GetValue(90));
    EXPECT_GT(tcb.GetValue(110), linear.GetValue(110));
    EXPECT_NEAR(tcb.GetValue(95), tcb.GetValue(105), 1e-4f);
}

TEST(KeyTrack, TensionFlattensTheTangents) {
    FloatTrack track(0.0f, KeyInterpolation::TCB);
    TCBParams tight;
    tight.tension = 1.0f;
    track.AddKey(0, 0.0f, tight);
    track.AddKey(100, 10.0f, tight);
    // Both tangents zero: the Hermite ease 3u² - 2u³, 0.15625 at a quarter.
    EXPECT_NEAR(track.GetValue(25), 1.5625f, 1e-5f);
    EXPECT_NEAR(track.GetValue(50), 5.0f, 1e-5f);
}

TEST(KeyTrack, EaseSlowsTheTimeNearAKey) {
    EXPECT_EQ(EaseCurve(0.3f, 0.0f, 0.0f), 0.3f);
    // Accelerating over the whole segment: u².
    EXPECT_NEAR(EaseCurve(0.5f, 1.0f, 0.0f), 0.25f, 1e-6f);
    // Decelerating over all of it: 1 - (1 - u)².
    EXPECT_NEAR(EaseCurve(0.5f, 0.0f, 1.0f), 0.75f, 1e-6f);
    // Symmetric ease keeps the middle in the middle and the ends at the ends.
    EXPECT_NEAR(EaseCurve(0.5f, 0.5f, 0.5f), 0.5f, 1e-6f);
    EXPECT_EQ(EaseCurve(0.0f, 0.5f, 0.5f), 0.0f);
    EXPECT_EQ(EaseCurve(1.0f, 0.5f, 0.5f), 1.0f);

    FloatTrack track(0.0f, KeyInterpolation::TCB);
    TCBParams easeOut;
    easeOut.easeOut = 1.0f;
    easeOut.tension = 1.0f;
    TCBParams plain;
    plain.tension = 1.0f;
    track.AddKey(0, 0.0f, easeOut);
    track.AddKey(100, 10.0f, plain);
    FloatTrack noEase(0.0f, KeyInterpolation::TCB);
    noEase.AddKey(0, 0.0f, plain);
    noEase.AddKey(100, 10.0f, plain);
    EXPECT_LT(track.GetValue(30), noEase.GetValue(30));
}

TEST(KeyTrack, LinearRotationTakesTheShortArc) {
    RotationTrack track;
    track.AddKey(0, Quat());
    track.AddKey(100, Quat(AngAxis(Point3(0, 0, 1), kPi / 2)));
    EXPECT_NEAR(zAngle(track.GetValue(50)), kPi / 4, 1e-5f);
    // The same end rotation given with the other sign blends the same way.
    RotationTrack flipped;
    flipped.AddKey(0, Quat());
    flipped.AddKey(100, -Quat(AngAxis(Point3(0, 0, 1), kPi / 2)));
    const Quat a = track.GetValue(50);
    Quat b = flipped.GetValue(50);
    b.MakeClosest(a);
    EXPECT_NEAR(QuatDot(a, b), 1.0f, 1e-6f);
    // A key replaced or added after a blend is blended with, not the segment seen before.
    track.AddKey(100, Quat(AngAxis(Point3(0, 0, 1), 2 * kPi / 3)));
    EXPECT_NEAR(zAngle(track.GetValue(50)), kPi / 3, 1e-5f);
    track.AddKey(50, Quat());
    EXPECT_NEAR(zAngle(track.GetValue(75)), kPi / 3, 1e-5f);
}

TEST(KeyTrack, TcbRotationHitsItsKeysAndTurnsEvenlyAboutOneAxis) {
    RotationTrack track(Quat(), KeyInterpolation::TCB);
    for (int k = 0; k < 4; ++k)
        track.AddKey(k * 100, Quat(AngAxis(Point3(0, 0, 1), static_cast<float>(k) * kPi / 3)));
    for (int k = 0; k < 4; ++k) {
        const Quat expected(AngAxis(Point3(0, 0, 1), static_cast<float>(k) * kPi / 3));
        EXPECT_NEAR(std::fabs(QuatDot(track.GetValue(k * 100), expected)), 1.0f, 1e-6f);
    }
    // Even steps about one axis: the spline in log space is a straight line.
    for (int t = 0; t <= 300; t += 20)
        EXPECT_NEAR(zAngle(track.GetValue(t)), static_cast<float>(t) / 100.0f * kPi / 3, 2e-4f)
            << "at " << t;
}

} // namespace
