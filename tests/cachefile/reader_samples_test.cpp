// Sample rows: fetching, the three load types' handling of the file, preload with progress and
// cancel, a file that shrinks, and tables whose rows overlap or lie beyond 2 GiB.
#include "cachefile/wkCacheReader.h"
#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <vector>

using namespace WelkardTools;
using namespace cachetest;

namespace {

// Two nodes, `samples` rows: node n at sample s is moved by (s, n, 0), hidden at odd samples.
CacheSpec sampledCache(int samples) {
    CacheSpec spec;
    spec.nodes = {triangleNode("a"), triangleNode("b")};
    for (int s = 0; s < samples; ++s) {
        std::vector<SampleSpec> row;
        for (int n = 0; n < 2; ++n)
            row.push_back(moved(static_cast<float>(s), static_cast<float>(n), 0,
                                static_cast<std::uint8_t>(s % 2 == 0)));
        spec.samples.push_back(row);
    }
    spec.cacheEnd = 160 * (samples - 1);
    return spec;
}

struct ProgressLog {
    std::vector<std::pair<std::int32_t, std::int32_t>> calls;
    int stopAfter = -1;
};

bool recordProgress(void* context, std::int32_t done, std::int32_t total) {
    auto* log = static_cast<ProgressLog*>(context);
    log->calls.emplace_back(done, total);
    return log->stopAfter < 0 || static_cast<int>(log->calls.size()) < log->stopAfter;
}

} // namespace

TEST(CacheReaderSamples, FetchBringsAWholeRowForEveryNode) {
    TempDir dir;
    wkCacheReader reader(WStr(dir.write("a.wkc", buildCache(sampledCache(4))).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_FALSE(reader.isSampleLoaded(2));
    EXPECT_EQ(reader.sampleTransform(1, 2), Matrix3());
    ASSERT_TRUE(reader.fetchSample(2, false));
    EXPECT_TRUE(reader.isSampleLoaded(2));
    EXPECT_EQ(reader.loadedSampleCount(), 1);
    const Matrix3 m = reader.sampleTransform(1, 2);
    EXPECT_EQ(m.GetRow(0), Point3(1, 0, 0));
    EXPECT_EQ(m.GetTrans(), Point3(2, 1, 0));
    EXPECT_EQ(m.GetIdentFlags(), 0u); // the flags of a default Matrix3
    EXPECT_TRUE(reader.sampleVisible(0, 2));
    ASSERT_TRUE(reader.fetchSample(3, false));
    EXPECT_FALSE(reader.sampleVisible(1, 3));
    EXPECT_EQ(reader.sampleTransform(2, 3), Matrix3()); // no such node
}

TEST(CacheReaderSamples, ALoadedRowNeedsNoFileAndKeepsTheStatus) {
    TempDir dir;
    const std::string path = dir.write("a.wkc", buildCache(sampledCache(4)));
    wkCacheReader reader(WStr(path.c_str()));
    ASSERT_TRUE(reader.fetchSample(1, false));
    reader.setKeepFileOpen(false);
    reader.closeFile();
    std::filesystem::remove(path);
    reader.setStatus(kStatusCancelled);
    EXPECT_TRUE(reader.fetchSample(1, false));
    EXPECT_EQ(reader.status(), kStatusCancelled);
    // A row that is not loaded needs the file: gone, it is status 1, and the data survives.
    EXPECT_FALSE(reader.fetchSample(2, false));
    EXPECT_EQ(reader.status(), kStatusFileNotFound);
    EXPECT_EQ(reader.failedSample(), 2);
    EXPECT_NE(reader.getIndex(), nullptr);
    EXPECT_TRUE(reader.isSampleLoaded(1));
}

TEST(CacheReaderSamples, StreamClosesTheFileWhenTheLastRowArrives) {
    TempDir dir;
    wkCacheReader reader(WStr(dir.write("a.wkc", buildCache(sampledCache(3))).c_str()));
    ASSERT_TRUE(reader.isOpen());
    ASSERT_TRUE(reader.fetchSample(0, false));
    ASSERT_TRUE(reader.fetchSample(2, false));
    EXPECT_TRUE(reader.isOpen());
    ASSERT_TRUE(reader.fetchSample(1, false));
    EXPECT_TRUE(reader.isPreloaded());
    EXPECT_FALSE(reader.isOpen());
}

TEST(CacheReaderSamples, PerSampleClosesAfterEachRowAndDropsRows) {
    TempDir dir;
    wkCacheReader reader(WStr(dir.write("a.wkc", buildCache(sampledCache(3))).c_str()));
    reader.setKeepFileOpen(false);
    ASSERT_TRUE(reader.fetchSampleAndRelease(1));
    EXPECT_FALSE(reader.isOpen());
    EXPECT_TRUE(reader.isSampleLoaded(1));
    ASSERT_TRUE(reader.fetchSampleAndRelease(2));
    EXPECT_FALSE(reader.isOpen());
    reader.dropSamples();
    EXPECT_EQ(reader.loadedSampleCount(), 0);
    EXPECT_EQ(reader.sampleTransform(0, 1), Matrix3());
    ASSERT_TRUE(reader.fetchSampleAndRelease(1));
    EXPECT_EQ(reader.sampleTransform(1, 1).GetTrans(), Point3(1, 1, 0));
    // A reload with keepFileOpen false closes the file at the end of the load.
    reader.loadCache();
    EXPECT_EQ(reader.status(), kStatusOk);
    EXPECT_FALSE(reader.isOpen());
}

TEST(CacheReaderSamples, PreloadKeepsTheFileOpenAndReportsProgress) {
    TempDir dir;
    wkCacheReader reader(WStr(dir.write("a.wkc", buildCache(sampledCache(3))).c_str()));
    ProgressLog log;
    reader.setProgressCallback(recordProgress, &log);
    ASSERT_TRUE(reader.preload());
    EXPECT_TRUE(reader.isPreloaded());
    EXPECT_TRUE(reader.isOpen());
    EXPECT_EQ(log.calls, (std::vector<std::pair<std::int32_t, std::int32_t>>{
                             {98, 294}, {196, 294}, {294, 294}}));
    log.calls.clear();
    EXPECT_TRUE(reader.preload()); // nothing left to do
    EXPECT_TRUE(log.calls.empty());
}

TEST(CacheReaderSamples, CancelledPreloadKeepsItsRowsAndResumes) {
    TempDir dir;
    wkCacheReader reader(WStr(dir.write("a.wkc", buildCache(sampledCache(5))).c_str()));
    ProgressLog log;
    log.stopAfter = 2;
    reader.setProgressCallback(recordProgress, &log);
    EXPECT_FALSE(reader.preload());
    EXPECT_EQ(reader.status(), kStatusCancelled);
    EXPECT_EQ(reader.statusText(), WStr(L"Operation cancelled."));
    EXPECT_FALSE(reader.hasError());
    EXPECT_EQ(reader.loadedSampleCount(), 2);
    log = ProgressLog();
    ASSERT_TRUE(reader.preload());
    EXPECT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.loadedSampleCount(), 5);
    // The two rows that were there are skipped, but still counted in the progress.
    EXPECT_EQ(log.calls.size(), 5u);
    EXPECT_EQ(reader.sampleTransform(1, 4).GetTrans(), Point3(4, 1, 0));
}

TEST(CacheReaderSamples, ShrinkingFileIsReadPastEOFAtTheFirstShortRow) {
    TempDir dir;
    Layout layout;
    const Bytes bytes = buildCache(sampledCache(4), &layout);
    const std::string path = dir.write("a.wkc", bytes);
    wkCacheReader reader(WStr(path.c_str()));
    ASSERT_TRUE(reader.fetchSample(0, false));
    std::filesystem::resize_file(path, layout.sampleTable + 2 * 98 + 50);
    EXPECT_TRUE(reader.fetchSample(1, false));
    EXPECT_FALSE(reader.fetchSample(2, false));
    EXPECT_EQ(reader.status(), kStatusReadPastEOF);
    EXPECT_EQ(reader.statusText(), WStr(L"Read past EOF."));
    EXPECT_EQ(reader.failedSample(), 2);
    EXPECT_EQ(reader.getIndex(), nullptr); // the reader has no data until it is reloaded
    EXPECT_FALSE(reader.isPreloaded());
}

TEST(CacheReaderSamples, FailedPreloadDropsEverything) {
    TempDir dir;
    Layout layout;
    const Bytes bytes = buildCache(sampledCache(4), &layout);
    const Bytes cut(bytes.begin(),
                    bytes.begin() + static_cast<std::ptrdiff_t>(layout.sampleTable + 3 * 98 - 1));
    wkCacheReader reader(WStr(dir.write("a.wkc", cut).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_FALSE(reader.preload());
    EXPECT_EQ(reader.status(), kStatusReadPastEOF);
    EXPECT_EQ(reader.failedSample(), 2);
    EXPECT_EQ(reader.loadedSampleCount(), 0);
}

TEST(CacheReaderSamples, RowOutsideTheTableIsHeldButNotLoaded) {
    TempDir dir;
    CacheSpec spec = sampledCache(3);
    spec.numSamples = 2; // the third row is there, behind the table
    wkCacheReader reader(WStr(dir.write("a.wkc", buildCache(spec)).c_str()));
    ASSERT_TRUE(reader.fetchSample(2, false));
    EXPECT_FALSE(reader.isSampleLoaded(2));
    EXPECT_EQ(reader.sampleTransform(0, 2).GetTrans(), Point3(2, 0, 0));
    // Nothing is loaded, so a drop changes nothing: the row stays.
    reader.dropSamples();
    EXPECT_EQ(reader.sampleTransform(0, 2).GetTrans(), Point3(2, 0, 0));
    ASSERT_TRUE(reader.fetchSample(0, false));
    reader.dropSamples();
    EXPECT_EQ(reader.sampleTransform(0, 2), Matrix3());
    // A sample far before the table has a negative address: the seek fails, the data stays.
    EXPECT_FALSE(reader.fetchSample(-1000000, false));
    EXPECT_EQ(reader.status(), kStatusFileError);
    EXPECT_NE(reader.getIndex(), nullptr);
}

TEST(CacheReaderSamples, OverlappingRowsShareTheirBytes) {
    // A stride of one byte: row s starts one byte after row s - 1 and is read from the same
    // bytes, as the format's arithmetic says.
    TempDir dir;
    CacheSpec spec = sampledCache(3);
    spec.sampleStride = 1;
    spec.numSamples = 50;
    const Bytes bytes = buildCache(spec);
    wkCacheReader reader(WStr(dir.write("a.wkc", bytes).c_str()));
    ASSERT_TRUE(reader.preload());
    EXPECT_EQ(reader.loadedSampleCount(), 50);
    const std::int32_t table = reader.getHeader()->sampleTableOffset;
    for (int s : {0, 1, 17, 49}) {
        Matrix3 expected;
        std::memcpy(expected.GetAddr(), bytes.data() + table + s + 49, 48);
        EXPECT_EQ(reader.sampleTransform(1, s), expected) << s;
        EXPECT_EQ(reader.sampleVisible(1, s),
                  bytes[static_cast<std::size_t>(table + s + 49 + 48)] != 0);
    }
}

TEST(CacheReaderSamples, EmptyRowsOfAHugeTablePreloadAtOnce) {
    // No nodes and two billion samples in a 256-byte file: rows hold no bytes, and the table's
    // addresses pass 2 GiB, where the seek of the row fails.
    TempDir dir;
    CacheSpec spec;
    spec.numSamples = INT32_MAX;
    spec.sampleStride = 1;
    spec.sampleTableOffset = 257;
    spec.cacheEnd = INT32_MAX;
    spec.stepSize = 1;
    wkCacheReader reader(WStr(dir.write("a.wkc", buildCache(spec)).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_FALSE(reader.preload());
    EXPECT_EQ(reader.status(), kStatusFileError);
    const std::int32_t firstBeyond = INT32_MAX - 256; // 257 + s reaches 2^31
    EXPECT_EQ(reader.failedSample(), firstBeyond);
    EXPECT_EQ(reader.loadedSampleCount(), 0);
    // Row by row the same: the one before passes, that one fails.
    EXPECT_TRUE(reader.fetchSample(firstBeyond - 1, true));
    EXPECT_FALSE(reader.fetchSample(firstBeyond, true));
    EXPECT_EQ(reader.status(), kStatusFileError);

    spec.numSamples = 1000;
    wkCacheReader small(WStr(dir.write("b.wkc", buildCache(spec)).c_str()));
    EXPECT_TRUE(small.preload());
    EXPECT_TRUE(small.isPreloaded());
}
