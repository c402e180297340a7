// Every input of the fuzzing corpus, through the fuzz entry itself: the inputs that once
// crashed or hung the reader, and the seeds, run with every test build (ASan and UBSan in CI).
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#ifndef WKCACHE_FUZZ_CORPUS
#error "WKCACHE_FUZZ_CORPUS must name tests/fuzz/corpus (set in tests/CMakeLists.txt)"
#endif

TEST(ReaderFuzzCorpus, EveryInputRunsClean) {
    const std::filesystem::path corpus(WKCACHE_FUZZ_CORPUS);
    ASSERT_TRUE(std::filesystem::is_directory(corpus)) << corpus;
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
        if (!entry.is_regular_file())
            continue;
        std::ifstream in(entry.path(), std::ios::binary);
        const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                              std::istreambuf_iterator<char>());
        SCOPED_TRACE(entry.path().filename().string());
        EXPECT_EQ(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()), 0);
        ++inputs;
    }
    EXPECT_GE(inputs, 10);
}
