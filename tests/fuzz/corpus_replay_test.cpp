// Every input of the fuzzing corpus, through the fuzz entry itself: the inputs that once
// crashed or hung the reader, and the seeds, run with every test build (ASan and UBSan in CI).
// Each input is then opened once more: it must end in its status, and a count that the file
// cannot hold must end as the short read it is before anything is allocated for it.
#include "cachefile/wkCacheReader.h"
#include "tests/cachefile/AllocationProbe.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#ifndef WKCACHE_FUZZ_CORPUS
#error "WKCACHE_FUZZ_CORPUS must name tests/fuzz/corpus (set in tests/CMakeLists.txt)"
#endif

namespace {

using namespace WelkardTools;

// Far below any count under test, far above what a small file needs (the read block).
constexpr std::size_t kSmallAllocation = std::size_t{1} << 20;

// The status each input ends in; an input not named here must load.
const std::map<std::string, std::int32_t>& expectedStatus() {
    static const std::map<std::string, std::int32_t> table = {
        {"bad_magic.wkc", kStatusInvalidCache},
        {"header_only.wkc", kStatusReadPastEOF}, // the node table comes up short
        {"truncated_geometry.wkc", kStatusReadPastEOF},
        {"name_length_huge.wkc", kStatusReadPastEOF},
        {"name_length_negative.wkc", kStatusReadPastEOF},
        {"num_nodes_huge.wkc", kStatusReadPastEOF},
        {"num_verts_huge.wkc", kStatusReadPastEOF},
        {"num_verts_negative.wkc", kStatusReadPastEOF},
        {"num_faces_huge.wkc", kStatusReadPastEOF},
        {"num_faces_negative.wkc", kStatusReadPastEOF},
        {"num_channels_huge.wkc", kStatusReadPastEOF},
        {"num_channels_negative.wkc", kStatusReadPastEOF},
        {"map_verts_huge.wkc", kStatusReadPastEOF},
        {"map_verts_negative.wkc", kStatusReadPastEOF},
    };
    return table;
}

std::vector<std::uint8_t> readAll(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

TEST(ReaderFuzzCorpus, EveryInputRunsCleanAndEndsInItsStatusWithoutLargeAllocations) {
    const std::filesystem::path corpus(WKCACHE_FUZZ_CORPUS);
    ASSERT_TRUE(std::filesystem::is_directory(corpus)) << corpus;
    std::size_t named = 0;
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
        if (!entry.is_regular_file())
            continue;
        const std::string name = entry.path().filename().string();
        SCOPED_TRACE(name);
        const std::vector<std::uint8_t> bytes = readAll(entry.path());
        EXPECT_EQ(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()), 0);
        ++inputs;

        allocprobe::LargestAllocation probe;
        wkCacheReader reader(WStr(entry.path().c_str()));
        const auto expected = expectedStatus().find(name);
        named += expected != expectedStatus().end();
        EXPECT_EQ(reader.status(),
                  expected != expectedStatus().end() ? expected->second : kStatusOk);
        EXPECT_LT(probe.bytes(), kSmallAllocation);
    }
    EXPECT_EQ(named, expectedStatus().size());
    EXPECT_GE(inputs, 20);
}
