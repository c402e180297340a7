// The arctangent of corner angles: the vector form against the scalar one, and the scalar one
// against atan2 in double precision.
#include "host/Arctangent.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace {

TEST(Arctangent, ManyAgreesWithOneAtATimeAndStaysWithinAnUlp) {
    // Every pair of operands from the edges of each branch: zeros of both signs, the axes,
    // x = 1, infinities, NaN, subnormals, ratios near the cut-offs; then random bit patterns.
    const float inf = std::numeric_limits<float>::infinity();
    const float edges[] = {0.0f,    -0.0f,   1.0f,    -1.0f,  inf,    -inf,  std::nanf(""),
                           1e-40f,  -1e-40f, 1e38f,   -3e38f, 1e-20f, 2e18f, 0.4375f,
                           0.6875f, 1.1875f, 2.4375f, -0.5f,  1.5f,   3.0f,  33554432.0f};
    std::vector<float> y;
    std::vector<float> x;
    for (const float a : edges)
        for (const float b : edges) {
            y.push_back(a);
            x.push_back(b);
        }
    std::mt19937 random(14);
    for (int i = 0; i < 20000; ++i) {
        y.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
        x.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    }
    std::vector<float> many(y.size());
    Arctan2Many(y.data(), x.data(), many.data(), y.size());
    for (std::size_t i = 0; i < y.size(); ++i) {
        const float one = Arctan2(y[i], x[i]);
        EXPECT_EQ(std::bit_cast<std::uint32_t>(many[i]), std::bit_cast<std::uint32_t>(one))
            << y[i] << " " << x[i];
        const double exact = std::atan2(static_cast<double>(y[i]), static_cast<double>(x[i]));
        if (std::isnan(exact))
            EXPECT_TRUE(std::isnan(one));
        else
            EXPECT_LE(std::abs(one - exact),
                      std::nextafter(std::abs(static_cast<float>(exact)), inf) -
                          std::abs(static_cast<float>(exact)))
                << y[i] << " " << x[i];
    }
    // Signs of zero, which no distance tells apart.
    EXPECT_TRUE(std::signbit(Arctan2(-0.0f, 2.0f)));
    EXPECT_EQ(Arctan2(0.0f, -0.0f), static_cast<float>(M_PI));
}

} // namespace
