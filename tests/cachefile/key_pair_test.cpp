// Choosing and weighting the two key frames an element blends between.
#include "cachefile/wkCacheKeyPair.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace WelkardTools;

namespace {

const std::vector<std::int32_t> kSparse{0, 10, 20};

struct Blend {
    wkCacheKeyPair pair;
    wkCacheKeyWeights weights;
};

// Pair and weights at frame x of frameCount.
Blend at(float x, std::int32_t frameCount, const std::vector<std::int32_t>& keys) {
    const float position = x / static_cast<float>(frameCount);
    const wkCacheKeyPair pair = findKeyPair(frameCount, keys, position);
    return {pair, keyWeights(frameCount, keys, pair, position)};
}

TEST(KeyPair, SparseKeysHoldTheEarlierKeyUntilAFrameBeforeTheNext) {
    const Blend mid = at(13.5f, 20, kSparse);
    EXPECT_EQ(mid.pair.left, 1);
    EXPECT_EQ(mid.pair.right, 1);
    EXPECT_EQ(mid.weights.left, 1.0f);
    EXPECT_EQ(mid.weights.right, 0.0f);

    // Within a frame of the key at 20 the blend runs, weighted over the whole distance.
    const Blend late = at(19.5f, 20, kSparse);
    EXPECT_EQ(late.pair.left, 1);
    EXPECT_EQ(late.pair.right, 2);
    EXPECT_FLOAT_EQ(late.weights.right, 0.95f);
    EXPECT_FLOAT_EQ(late.weights.left, 0.05f);

    const Blend onKey = at(10.0f, 20, kSparse);
    EXPECT_EQ(onKey.pair.left, 1);
    EXPECT_EQ(onKey.pair.right, 1);
}

TEST(KeyPair, EndsOfTheRecording) {
    const wkCacheKeyPair first = findKeyPair(20, kSparse, 0.0f);
    EXPECT_EQ(first.left, 0);
    EXPECT_EQ(first.right, 0);
    // Position 1 is frame 20 exactly: the last key not above it, on both sides.
    const wkCacheKeyPair end = findKeyPair(20, kSparse, 1.0f);
    EXPECT_EQ(end.left, 2);
    EXPECT_EQ(end.right, 2);
    EXPECT_EQ(keyWeights(20, kSparse, end, 1.0f).left, 1.0f);
}

TEST(KeyPair, DenseKeysInterpolateLinearly) {
    const std::vector<std::int32_t> dense{0, 1, 2, 3, 4};
    const Blend b = at(2.25f, 4, dense);
    EXPECT_EQ(b.pair.left, 2);
    EXPECT_EQ(b.pair.right, 3);
    EXPECT_FLOAT_EQ(b.weights.left, 0.75f);
    EXPECT_FLOAT_EQ(b.weights.right, 0.25f);
    // A dropped key in between: the pair spans the gap only in its last frame.
    const std::vector<std::int32_t> gap{0, 1, 3, 4};
    EXPECT_EQ(at(1.5f, 4, gap).pair.right, 1);
    const Blend across = at(2.5f, 4, gap);
    EXPECT_EQ(across.pair.left, 1);
    EXPECT_EQ(across.pair.right, 2);
    EXPECT_FLOAT_EQ(across.weights.right, 0.75f);
}

TEST(KeyPair, NoQualifyingKeyMeansTheFirst) {
    const std::vector<std::int32_t> late{5, 10};
    const Blend early = at(2.5f, 10, late);
    EXPECT_EQ(early.pair.left, 0);
    EXPECT_EQ(early.pair.right, 0);
    EXPECT_EQ(early.weights.left, 1.0f);
    // An index beyond frameCount (more keys than frames: a malformed block) falls back to 0.
    const std::vector<std::int32_t> crowded{0, 0, 0, 1};
    const wkCacheKeyPair pair = findKeyPair(2, crowded, 1.0f);
    EXPECT_EQ(pair.left, 0);
    EXPECT_EQ(pair.right, 0);
    // Without keys there is nothing to weight but the left side.
    EXPECT_EQ(keyWeights(2, {}, {}, 0.5f).left, 1.0f);
}

TEST(KeyPair, NormalisedPositionFallsBackToTheFirstKey) {
    EXPECT_FLOAT_EQ(normalisedPosition(5.0f, 11), 0.5f);
    EXPECT_EQ(normalisedPosition(10.0f, 11), 1.0f);
    // Outside the recording: the first key, not the nearer end.
    EXPECT_EQ(normalisedPosition(10.5f, 11), 0.0f);
    EXPECT_EQ(normalisedPosition(-0.5f, 11), 0.0f);
    EXPECT_EQ(normalisedPosition(3.0f, 1), 0.0f);
    EXPECT_EQ(normalisedPosition(3.0f, 0), 0.0f);
}

} // namespace
