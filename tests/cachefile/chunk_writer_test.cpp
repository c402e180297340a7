// The chunk writer: pieces run in order, each whole, and a failed one is reported.
#include "cachefile/ChunkWriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <vector>

TEST(ChunkWriter, RunsPiecesInOrderAndReportsFailures) {
    // Larger than a stream's buffer, so that a full device fails the write itself.
    constexpr std::size_t kChunk = 1 << 17;
    const std::vector<unsigned char> ones(kChunk, 1), twos(kChunk, 2);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> full(std::fopen("/dev/full", "wb"),
                                                         std::fclose);
    ASSERT_TRUE(file && full);
    const auto writing = [](std::FILE* to, const std::vector<unsigned char>& bytes) {
        return
            [to, &bytes] { return std::fwrite(bytes.data(), 1, bytes.size(), to) == bytes.size(); };
    };
    {
        ChunkWriter writer;
        writer.post(writing(file.get(), ones));
        writer.post(writing(file.get(), twos)); // waits for the first itself
    }                                           // and the last one finishes before the writer goes
    std::vector<unsigned char> back(2 * kChunk + 1);
    std::rewind(file.get());
    ASSERT_EQ(std::fread(back.data(), 1, back.size(), file.get()), 2 * kChunk);
    back.pop_back();
    std::vector<unsigned char> expected = ones;
    expected.insert(expected.end(), twos.begin(), twos.end());
    EXPECT_TRUE(back == expected);

    ChunkWriter failing;
    failing.post(writing(full.get(), ones));
    EXPECT_FALSE(failing.wait());
}
