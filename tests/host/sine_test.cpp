// Sines many at a time against the C library's sinf, bit for bit.
#include "host/Sine.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

// The arguments whose sines differ from the library's (NaNs of any payload count as equal).
std::size_t countDifferences(const std::vector<float>& in) {
    std::vector<float> out(in.size());
    SineMany(in.data(), out.data(), in.size());
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
        const float expected = std::sin(in[i]);
        if (std::bit_cast<std::uint32_t>(out[i]) != std::bit_cast<std::uint32_t>(expected) &&
            !(std::isnan(expected) && std::isnan(out[i])) && wrong++ < 5)
            ADD_FAILURE() << "sin(" << in[i] << ") = " << out[i] << ", not " << expected;
    }
    return wrong;
}

} // namespace

TEST(Sine, ManyAgreesWithTheLibraryBitForBit) {
    // Every float of either sign from below 2^-12 (where the polynomials start) to 5, past the
    // half turn that blends between rotations reach, in blocks of an odd length (lanes left
    // over at the end of each); then the edges of the other roads.
    constexpr std::uint32_t kBlock = 65535;
    std::vector<float> in;
    std::size_t wrong = 0;
    for (std::uint32_t word = 0x39000000; word <= 0x40a00000 && wrong == 0; word += kBlock) {
        in.clear();
        for (std::uint32_t w = word; w < word + kBlock; ++w) {
            in.push_back(std::bit_cast<float>(w));
            in.push_back(-std::bit_cast<float>(w));
        }
        wrong += countDifferences(in);
    }
    const float inf = std::numeric_limits<float>::infinity();
    wrong += countDifferences({0.0f, -0.0f, 1e-40f, 0x1p-12f, 119.99999f, 120.0f, -120.0f, 1e30f,
                               inf, -inf, std::nanf("")});
    EXPECT_EQ(wrong, 0u);
}
