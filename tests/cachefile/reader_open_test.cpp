// Opening a cache: status codes and texts, the header rules, the three versions.
#include "cachefile/wkCacheReader.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>

using namespace WelkardTools;
using namespace cachetest;

namespace {

CacheSpec twoNodeCache() {
    CacheSpec spec;
    spec.nodes = {triangleNode("a"), triangleNode("b", 2)};
    spec.samples = {{moved(1, 0, 0), moved(2, 0, 0)}, {moved(3, 0, 0), moved(4, 0, 0)}};
    return spec;
}

} // namespace

TEST(CacheStatus, TextsWordForWord) {
    EXPECT_EQ(wkCacheStatusText(0), WStr(L""));
    EXPECT_EQ(wkCacheStatusText(1), WStr(L"File not found."));
    EXPECT_EQ(wkCacheStatusText(2), WStr(L"Unknown file error."));
    EXPECT_EQ(wkCacheStatusText(3), WStr(L"Read past EOF."));
    EXPECT_EQ(wkCacheStatusText(4), WStr(L"Unknown file error."));
    EXPECT_EQ(wkCacheStatusText(5), WStr(L"Unhandled exception."));
    EXPECT_EQ(wkCacheStatusText(6), WStr(L"Invalid cache file."));
    EXPECT_EQ(wkCacheStatusText(7), WStr(L"Operation cancelled."));
    EXPECT_EQ(wkCacheStatusText(8), WStr(L""));
    EXPECT_EQ(wkCacheStatusText(-1), WStr(L""));
}

TEST(CacheReaderOpen, MissingFileAndFolderAreNotFound) {
    TempDir dir;
    for (const auto& path : {dir.file("missing.wkc"), dir.path()}) {
        wkCacheReader reader(WStr(path.c_str()));
        EXPECT_EQ(reader.status(), kStatusFileNotFound) << path;
        EXPECT_EQ(reader.statusText(), WStr(L"File not found."));
        EXPECT_TRUE(reader.hasError());
        EXPECT_EQ(reader.fileSize(), 0);
        EXPECT_EQ(reader.getIndex(), nullptr);
        EXPECT_FALSE(reader.isOpen());
        EXPECT_EQ(reader.range(), Interval(TIME_NegInfinity, TIME_NegInfinity));
    }
}

TEST(CacheReaderOpen, SeekOnAClosedFileIsStatusTwoWhateverTheCallerAsks) {
    TempDir dir;
    wkCacheReader reader(WStr(dir.file("missing.wkc").c_str()));
    EXPECT_FALSE(reader.seekFile(0, SEEK_SET, kStatusInvalidCache));
    EXPECT_EQ(reader.status(), kStatusNoFile);
}

TEST(CacheReaderOpen, ValidVersionTwoFile) {
    TempDir dir;
    CacheSpec spec = twoNodeCache();
    spec.cacheStart = 70000;
    spec.cacheEnd = 70320;
    const Bytes bytes = buildCache(spec);
    wkCacheReader reader(WStr(dir.write("a.wkc", bytes).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_FALSE(reader.hasError());
    EXPECT_EQ(reader.fileSize(), static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(reader.getVersion(), 2);
    EXPECT_EQ(reader.range(), Interval(70000, 70320));
    EXPECT_EQ(reader.step(), 160);
    EXPECT_EQ(reader.cacheNumNodes(), 2);
    EXPECT_EQ(reader.cacheNumSamples(), 2);
    EXPECT_EQ(reader.cacheFrameRate(), 30);
    // The file stays open after the first load: keepFileOpen starts true.
    EXPECT_TRUE(reader.isOpen());
}

TEST(CacheReaderOpen, EveryHeaderRuleIsTested) {
    TempDir dir;
    const Bytes good = buildCache(twoNodeCache());
    struct Breakage {
        const char* what;
        std::size_t at;
        std::int32_t value;
        bool byte;
    };
    const Breakage cases[] = {
        {"magic", 0, 'X', true},
        {"version 0", 7, 0, true},
        {"version 4", 7, 4, true},
        {"start after end", 9, 321, false},
        {"step 0", 17, 0, false},
        {"frame rate 0", 21, 0, false},
        {"negative node count", 25, -1, false},
        {"negative sample count", 29, -1, false},
        {"stride 0", 33, 0, false},
        {"node table at 255", 37, 255, false},
        {"node table at 257", 37, 257, false},
        {"sample table at 256", 41, 256, false},
        {"sample table negative", 41, INT32_MIN, false},
    };
    for (const Breakage& c : cases) {
        Bytes bytes = good;
        if (c.byte)
            bytes[c.at] = static_cast<std::uint8_t>(c.value);
        else
            patchI32(bytes, c.at, c.value);
        wkCacheReader reader(WStr(dir.write("bad.wkc", bytes).c_str()));
        EXPECT_EQ(reader.status(), kStatusInvalidCache) << c.what;
        EXPECT_EQ(reader.statusText(), WStr(L"Invalid cache file.")) << c.what;
        EXPECT_EQ(reader.getHeader(), nullptr) << c.what;
        EXPECT_EQ(reader.getVersion(), 0) << c.what;
    }
    // Comparisons are signed, and nothing is compared with the file's size or the node count.
    Bytes lax = good;
    patchI32(lax, 33, 7);         // stride that disagrees with the node count
    patchI32(lax, 41, INT32_MAX); // sample table far beyond the end
    patchI32(lax, 29, 1000000);   // more samples than the file holds
    wkCacheReader reader(WStr(dir.write("lax.wkc", lax).c_str()));
    EXPECT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.cacheNumSamples(), 1000000);
}

TEST(CacheReaderOpen, ShortHeaderIsReadPastEOF) {
    TempDir dir;
    const Bytes good = buildCache(twoNodeCache());
    for (std::size_t size : {std::size_t{0}, std::size_t{7}, std::size_t{45}}) {
        const Bytes cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));
        wkCacheReader reader(WStr(dir.write("short.wkc", cut).c_str()));
        EXPECT_EQ(reader.status(), kStatusReadPastEOF) << size;
        EXPECT_EQ(reader.statusText(), WStr(L"Read past EOF."));
    }
    // A whole header and nothing else: the node table is what comes up short.
    const Bytes headerOnly(good.begin(), good.begin() + 46);
    wkCacheReader reader(WStr(dir.write("header.wkc", headerOnly).c_str()));
    EXPECT_EQ(reader.status(), kStatusReadPastEOF);
    EXPECT_EQ(reader.getIndex(), nullptr);
}

TEST(CacheReaderOpen, VersionOneHasShortFacesAndNoNormalsFlag) {
    TempDir dir;
    CacheSpec spec = twoNodeCache();
    spec.version = 1;
    spec.nodes[1].faces[1].matID = 9;
    wkCacheReader reader(WStr(dir.write("v1.wkc", buildCache(spec)).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.getVersion(), 1);
    ASSERT_NE(reader.getFullMesh(), nullptr);
    EXPECT_EQ(reader.getFullMesh()->getNumFaces(), 3);
    EXPECT_EQ(reader.getFullMesh()->getFace(2).getMatID(), 9);
    EXPECT_EQ(reader.cacheHasSpecifiedNormals(), 0);
    EXPECT_EQ(reader.getFullMesh()->GetSpecifiedNormals(), nullptr);
    // The sample table lies behind 32-byte faces: the rows are found.
    ASSERT_TRUE(reader.fetchSample(1, false));
    EXPECT_EQ(reader.sampleTransform(1, 1).GetTrans(), Point3(4, 0, 0));
}

TEST(CacheReaderOpen, VersionThreeStartHasItsLowBitsCleared) {
    TempDir dir;
    CacheSpec spec = twoNodeCache();
    spec.cacheStart = 0x00012345;
    spec.cacheEnd = 0x00012345 + 160;
    Bytes bytes = buildCache(spec);
    appendElementBlock(bytes, {});
    wkCacheReader reader(WStr(dir.write("v3.wkc", bytes).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.getVersion(), 3);
    EXPECT_EQ(reader.range(), Interval(0x00010000, 0x00012345 + 160));
    EXPECT_EQ(reader.getHeader()->reserved, 0);
    // The animation size runs to the end of the file, block included.
    EXPECT_EQ(reader.animationSize(),
              static_cast<std::int64_t>(bytes.size()) - reader.getHeader()->sampleTableOffset);
}

TEST(CacheReaderOpen, FileBeyondTwoGiBIsRefused) {
    TempDir dir;
    const auto path = dir.file("huge.wkc");
    writeFile(path, buildCache(twoNodeCache()));
    std::error_code ec;
    std::filesystem::resize_file(path, (std::uintmax_t{1} << 31) + 16, ec); // sparse
    if (ec)
        GTEST_SKIP() << "cannot make a sparse file here: " << ec.message();
    wkCacheReader reader(WStr(path.c_str()));
    EXPECT_EQ(reader.status(), kStatusInvalidCache);
    EXPECT_EQ(reader.fileSize(), (std::int64_t{1} << 31) + 16);
    EXPECT_EQ(reader.getIndex(), nullptr);
}

TEST(CacheReaderOpen, SizesAndFrames) {
    TempDir dir;
    CacheSpec spec = twoNodeCache();
    spec.stepSize = 80; // two samples half a frame apart at 30 FPS
    spec.cacheEnd = 80;
    const Bytes bytes = buildCache(spec);
    wkCacheReader reader(WStr(dir.write("a.wkc", bytes).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    const std::int32_t table = reader.getHeader()->sampleTableOffset;
    EXPECT_EQ(reader.meshSize(), table - 256);
    EXPECT_EQ(reader.animationSize(), static_cast<std::int64_t>(bytes.size()) - table);
    std::int64_t total = -1;
    std::int64_t loaded = -1;
    reader.getSizes(total, loaded);
    EXPECT_EQ(total, 2 * 2 * 49);
    EXPECT_EQ(loaded, 0);
    ASSERT_TRUE(reader.fetchSample(1, false));
    reader.getSizes(total, loaded);
    EXPECT_EQ(loaded, 2 * 49);

    // No samples: no mesh or animation size, no frames.
    CacheSpec empty = twoNodeCache();
    empty.samples.clear();
    wkCacheReader none(WStr(dir.write("none.wkc", buildCache(empty)).c_str()));
    ASSERT_EQ(none.status(), kStatusOk);
    EXPECT_EQ(none.cacheNumSamples(), 0);
    EXPECT_EQ(none.meshSize(), 0);
    EXPECT_EQ(none.animationSize(), 0);
    EXPECT_EQ(none.numFrames(), 0);
    EXPECT_TRUE(none.isPreloaded());
    EXPECT_TRUE(none.preload());
}

// floor(step / ticksPerFrame * samples + 0.5) in floats, with ticksPerFrame = 4800 / frame rate
// in whole numbers: 685 at 7 FPS, where 685.71 would give 999.
TEST(CacheReaderOpen, FrameCountsComeFromWholeTicksPerFrame) {
    struct Case {
        std::int32_t frameRate, stepSize, numSamples, frames;
    };
    const Case cases[] = {
        {30, 80, 2, 1},
        {7, 685, 1000, 1000},
        {9600, 160, 2, INT32_MAX}, // 0 ticks per frame: the count saturates
    };
    TempDir dir;
    for (const Case& c : cases) {
        CacheSpec spec = twoNodeCache();
        spec.frameRate = c.frameRate;
        spec.stepSize = c.stepSize;
        spec.cacheEnd = c.stepSize;
        spec.numSamples = c.numSamples;
        wkCacheReader reader(WStr(dir.write("frames.wkc", buildCache(spec)).c_str()));
        ASSERT_EQ(reader.status(), kStatusOk) << c.frameRate;
        EXPECT_EQ(reader.numFrames(), c.frames) << c.frameRate;
    }
}

TEST(CacheReaderOpen, ReloadStartsFromNothingButKeepsTheFirstSize) {
    TempDir dir;
    const std::string path = dir.write("a.wkc", buildCache(twoNodeCache()));
    wkCacheReader reader(WStr(path.c_str()));
    const std::int64_t first = reader.fileSize();
    CacheSpec bigger = twoNodeCache();
    bigger.nodes.push_back(triangleNode("c"));
    bigger.samples = {};
    dir.write("a.wkc", buildCache(bigger));
    reader.loadCache();
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.cacheNumNodes(), 3);
    EXPECT_EQ(reader.fileSize(), first);
}
