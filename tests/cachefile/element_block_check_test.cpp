// The full reading of the element block that `check` and `frame` do: every kind of damage is
// named, where playback would quietly drop the block.
#include "cachefile/wkCacheElementBlockCheck.h"
#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>

using namespace cachetest;
using WelkardTools::CheckElementBlock;

namespace {

Bytes corpusFile(const char* name) {
    std::ifstream in(std::filesystem::path(WKCACHE_FUZZ_CORPUS) / name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// v3_block.wkc: the block at 729 holds 20 frames, 2 key frames of 3 points, 1 element; the
// lists at 745 (point counts) and 749 (key frames 0 and 20), the keys from 757 to the end.
constexpr std::size_t kHead = 729;
constexpr std::size_t kKeys = 757;

TEST(ElementBlockCheck, NamesEveryKindOfDamage) {
    const struct {
        const char* what;
        void (*spoil)(Bytes&);
        const char* message; // "" for a sound block
    } cases[] = {
        {"sound", [](Bytes&) {}, ""},
        {"cut in the keys", [](Bytes& b) { b.resize(b.size() - 4); }, "cut short: 96 of its 100"},
        {"cut in the head", [](Bytes& b) { b.resize(kHead + 10); }, "the head is cut short"},
        {"negative count", [](Bytes& b) { patchI32(b, kHead + 8, -1); }, "a negative count"},
        {"more elements than nodes", [](Bytes& b) { patchI32(b, kHead + 12, 5); },
         "5 deforming elements in a cache of 2 nodes"},
        {"points beyond the key", [](Bytes& b) { patchI32(b, kHead + 16, 4); },
         "the elements' 4 points exceed the key's 3"},
        {"key frames out of order", [](Bytes& b) { patchI32(b, kHead + 20, 21); },
         "key frame 0 (frame 21)"},
        {"offset beyond the file", [](Bytes& b) { patchI32(b, 50, 5000); },
         "the offset lies outside"},
        {"NaN in a key",
         [](Bytes& b) {
             const float nan = std::numeric_limits<float>::quiet_NaN();
             std::memcpy(b.data() + kKeys + 40, &nan, 4);
         },
         "key 1 holds a non-finite value at point 0"},
    };
    TempDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes bytes = corpusFile("v3_block.wkc");
        ASSERT_EQ(bytes.size(), 829u);
        c.spoil(bytes);
        const std::string problem = CheckElementBlock(dir.write("block.wkc", bytes));
        if (*c.message == '\0')
            EXPECT_EQ(problem, "");
        else
            EXPECT_NE(problem.find(c.message), std::string::npos) << problem;
    }
}

TEST(ElementBlockCheck, AnEmptyBlockIsNoBlockAndNoFault) {
    TempDir dir;
    const std::string empty = dir.write("empty.wkc", corpusFile("v3_empty_block.wkc"));
    EXPECT_FALSE(WelkardTools::HasElementBlock(empty));
    EXPECT_EQ(CheckElementBlock(empty), "");
    EXPECT_TRUE(WelkardTools::HasElementBlock(dir.write("full.wkc", corpusFile("v3_block.wkc"))));
}

} // namespace
