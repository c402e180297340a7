// Every input of the fuzzing corpora, through the fuzz entries themselves: the inputs that once
// crashed or hung the reader or the scene loader, and the seeds, run with every test build (ASan
// and UBSan in CI).
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
int FuzzSceneInput(const std::uint8_t* data, std::size_t size);

#ifndef WKCACHE_FUZZ_CORPUS
#error "WKCACHE_FUZZ_CORPUS must name tests/fuzz/corpus (set in tests/CMakeLists.txt)"
#endif

namespace {

// Every regular file of `corpus` through the fuzz entry `run`; answers how many ran.
int replay(const std::filesystem::path& corpus, int (*run)(const std::uint8_t*, std::size_t)) {
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
    }
    return inputs;
}

} // namespace

TEST(ReaderFuzzCorpus, EveryInputRunsClean) {
    EXPECT_GE(replay(WKCACHE_FUZZ_CORPUS, LLVMFuzzerTestOneInput), 10);
}

#ifdef WKCACHE_SOURCE_DIR // built with the tool's scene loader
TEST(SceneFuzzCorpus, EveryInputRunsClean) {
    // The example scenes are the fuzzer's seeds; what it found since lives in scene_corpus.
    EXPECT_GE(replay(WKCACHE_SCENE_CORPUS, FuzzSceneInput) +
                  replay(std::filesystem::path(WKCACHE_SOURCE_DIR) / "tests/cli/scenes",
                         FuzzSceneInput),
              3);
}
#endif
