// The head of the element block of a version 3 cache, as the reader's frame store reads it.
#include "cachefile/wkCacheElementFrames.h"
#include "cachefile/wkCacheReader.h"
#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

using namespace WelkardTools;
using namespace cachetest;

namespace {

Bytes versionTwoFile() {
    CacheSpec spec;
    spec.nodes = {triangleNode("deforming"), triangleNode("rigid")};
    spec.samples = {{moved(0, 0, 0), moved(0, 0, 0)}, {moved(1, 0, 0), moved(1, 0, 0)}};
    return buildCache(spec);
}

ElementBlockSpec twoKeys() {
    ElementBlockSpec block;
    block.frameCount = 20;
    block.elementPointCounts = {3};
    block.keyFrames = {0, 20};
    block.keys = {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 0, 2}, {1, 0, 2}, {0, 1, 2}}};
    return block;
}

} // namespace

TEST(ElementBlockHead, VersionThreeBlockIsReadOnce) {
    TempDir dir;
    Bytes bytes = versionTwoFile();
    const auto blockAt = static_cast<std::int32_t>(bytes.size());
    appendElementBlock(bytes, buildElementBlock(twoKeys()));
    patchI32(bytes, 46, 12345); // the copy at 46 is read, never used: the block is found at 50
    const WStr path(dir.write("v3.wkc", bytes).c_str());
    wkCacheElementFrames store;
    ASSERT_TRUE(store.parseBlockHead(path));
    EXPECT_TRUE(store.parsed);
    EXPECT_EQ(store.frameCount, 20);
    EXPECT_EQ(store.keyFrameCount, 2);
    EXPECT_EQ(store.pointCount, 3);
    EXPECT_EQ(store.elementCount, 1);
    EXPECT_EQ(store.elementPointCounts, std::vector<std::int32_t>{3});
    EXPECT_EQ(store.keyFrames, (std::vector<std::int32_t>{0, 20}));
    EXPECT_EQ(store.elementBlockOffset, blockAt);
    EXPECT_EQ(store.elementBlockOffsetCopy, 12345);
    EXPECT_EQ(store.header.cacheNumSamples, 2);
    EXPECT_EQ(std::string(store.magic, 7), "WKCACHE");
    EXPECT_EQ(store.keyOffset(1), blockAt + 16 + 4 + 8 + 36);
    EXPECT_TRUE(store.keys.empty());

    // Parsed once: the file may go, the head stays.
    std::filesystem::remove(path.ToCStr().str());
    EXPECT_TRUE(store.parseBlockHead(path));
    EXPECT_EQ(store.keyFrameCount, 2);
}

TEST(ElementBlockHead, EarlierVersionsHaveNoBlockAndAreReadAgain) {
    TempDir dir;
    const WStr path(dir.write("v2.wkc", versionTwoFile()).c_str());
    wkCacheElementFrames store;
    EXPECT_FALSE(store.parseBlockHead(path));
    EXPECT_FALSE(store.parsed);
    EXPECT_EQ(store.header.fileVersion, 2);
    EXPECT_EQ(store.elementCount, 0);
}

TEST(ElementBlockHead, EmptyBlockAndDamagedHeadsGiveNoBlock) {
    TempDir dir;
    Bytes empty = versionTwoFile();
    appendElementBlock(empty, {});
    wkCacheElementFrames store;
    EXPECT_TRUE(store.parseBlockHead(WStr(dir.write("empty.wkc", empty).c_str())));
    EXPECT_EQ(store.keyFrameCount, 0);
    EXPECT_TRUE(store.keyFrames.empty());

    const Bytes block = buildElementBlock(twoKeys());
    struct Damage {
        const char* what;
        std::size_t at; // within the block
        std::int32_t value;
    };
    for (const Damage& d :
         {Damage{"negative key count", 4, -1}, Damage{"huge key count", 4, INT32_MAX},
          Damage{"keys beyond the file", 8, 1000}, Damage{"huge element count", 12, INT32_MAX}}) {
        Bytes bytes = versionTwoFile();
        Bytes broken = block;
        patchI32(broken, d.at, d.value);
        appendElementBlock(bytes, broken);
        wkCacheElementFrames damaged;
        EXPECT_TRUE(damaged.parseBlockHead(WStr(dir.write("bad.wkc", bytes).c_str()))) << d.what;
        EXPECT_EQ(damaged.frameCount, 0) << d.what;
        EXPECT_EQ(damaged.keyFrameCount, 0) << d.what;
        EXPECT_EQ(damaged.elementCount, 0) << d.what;
        EXPECT_TRUE(damaged.elementPointCounts.empty()) << d.what;
    }
}

TEST(ElementBlockHead, ReaderResetsItsStoreAtEachLoad) {
    TempDir dir;
    Bytes bytes = versionTwoFile();
    appendElementBlock(bytes, buildElementBlock(twoKeys()));
    wkCacheReader reader(WStr(dir.write("v3.wkc", bytes).c_str()));
    ASSERT_TRUE(reader.getFrameStore().parseBlockHead(reader.fileName()));
    std::int64_t total = 0;
    std::int64_t loaded = 0;
    reader.getSizes(total, loaded);
    EXPECT_EQ(total, 2 * 36 + 2 * 98);
    reader.loadCache();
    EXPECT_FALSE(reader.getFrameStore().parsed);
    EXPECT_TRUE(reader.getFrameStore().keyFrames.empty());
}
