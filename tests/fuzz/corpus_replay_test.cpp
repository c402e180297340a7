// Every input of the fuzzing corpora, through the fuzz entries themselves: the inputs that once
// crashed or hung the reader or the scene loader, and the seeds, run with every test build (ASan
// and UBSan in CI). Each cache input is then opened once more: it must end in its status, and a
// count that the file cannot hold must end as the short read it is before anything is allocated
// for it.
#include "cachefile/wkCacheReader.h"
#include "tests/cachefile/AllocationProbe.h"
#ifdef WKCACHE_SOURCE_DIR
#include "host/headless/HeadlessHost.h"
#include "tools/scene_file.h"
#endif

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
int FuzzSceneInput(const std::uint8_t* data, std::size_t size);

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
        {"v3_block_key_bytes_overflow.wkc", kStatusReadPastEOF},
    };
    return table;
}

// Every regular file of `corpus` through the fuzz entry `run`, then through `andThen`; answers
// how many ran.
int replay(const std::filesystem::path& corpus, int (*run)(const std::uint8_t*, std::size_t),
           const std::function<void(const std::filesystem::path&)>& andThen = {}) {
    EXPECT_TRUE(std::filesystem::is_directory(corpus)) << corpus;
    int inputs = 0;
    std::error_code ec;
    for (const auto& file : std::filesystem::directory_iterator(corpus, ec)) {
        if (!file.is_regular_file())
            continue;
        std::ifstream in(file.path(), std::ios::binary);
        const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                              std::istreambuf_iterator<char>());
        SCOPED_TRACE(file.path().filename().string());
        EXPECT_EQ(run(bytes.data(), bytes.size()), 0);
        ++inputs;
        if (andThen)
            andThen(file.path());
    }
    return inputs;
}

} // namespace

TEST(ReaderFuzzCorpus, EveryInputRunsCleanAndEndsInItsStatusWithoutLargeAllocations) {
    std::size_t named = 0;
    const int inputs =
        replay(WKCACHE_FUZZ_CORPUS, LLVMFuzzerTestOneInput, [&](const std::filesystem::path& path) {
            allocprobe::LargestAllocation probe;
            wkCacheReader reader(WStr(path.c_str()));
            const auto expected = expectedStatus().find(path.filename().string());
            named += expected != expectedStatus().end();
            EXPECT_EQ(reader.status(),
                      expected != expectedStatus().end() ? expected->second : kStatusOk);
            EXPECT_LT(probe.bytes(), kSmallAllocation);
        });
    EXPECT_EQ(named, expectedStatus().size());
    EXPECT_GE(inputs, 20);
}

#ifdef WKCACHE_SOURCE_DIR // built with the tool's scene loader
TEST(SceneFuzzCorpus, EveryInputRunsClean) {
    // The example scenes are the fuzzer's seeds; what it found since lives in scene_corpus.
    EXPECT_GE(
        replay(WKCACHE_SCENE_CORPUS, FuzzSceneInput) +
            replay(std::filesystem::path(WKCACHE_SOURCE_DIR) / "tests/cli/scenes", FuzzSceneInput),
        3);
}

// Binary scene files, damaged in each way a chunk can be: each loads or is refused as its
// name says, and none asks for memory its bytes could not fill.
TEST(SceneFuzzCorpus, BinaryScenesLoadOrAreRefusedWithoutLargeAllocations) {
    const std::map<std::string, bool> loads = {
        {"binary_scene.wks", true},
        {"binary_truncated_half.wks", false},
        {"binary_truncated_header.wks", false},
        {"binary_mesh_count_huge.wks", false},
        {"binary_parent_loop.wks", false},
        {"binary_chunk_size_small.wks", false},
        {"binary_param_entries_huge.wks", false},
        {"binary_group_count_huge.wks", false},
        {"binary_selection_bits_huge.wks", false},
        {"binary_deep_nesting.wks", true}, // unknown chunks inside the node list are skipped
    };
    for (const auto& [name, expected] : loads) {
        SCOPED_TRACE(name);
        std::ifstream in(std::filesystem::path(WKCACHE_SCENE_CORPUS) / name, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
        ASSERT_FALSE(bytes.empty());
        HeadlessHost host;
        allocprobe::LargestAllocation probe;
        bool loaded = true;
        try {
            (void)wkcli::LoadSceneText(bytes, host);
        } catch (const wkcli::SceneFileError&) {
            loaded = false;
        }
        EXPECT_EQ(loaded, expected);
        EXPECT_LT(probe.bytes(), kSmallAllocation);
    }
}
#endif
