// The chunk writer: chunks reach the file whole and in order, and a short write is reported.
#include "cachefile/ChunkWriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <vector>

TEST(ChunkWriter, WritesChunksInOrderAndReportsShortWrites) {
    // Larger than a stream's buffer, so that a full device fails the write itself.
    constexpr std::size_t kChunk = 1 << 17;
    const std::vector<unsigned char> ones(kChunk, 1), twos(kChunk, 2);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> full(std::fopen("/dev/full", "wb"),
                                                         std::fclose);
    ASSERT_TRUE(file && full);
    {
        ChunkWriter writer(file.get());
        writer.write(ones.data(), kChunk);
        writer.write(twos.data(), kChunk); // waits for the first itself
    }                                      // and the last one finishes before the writer goes
    std::vector<unsigned char> back(2 * kChunk + 1);
    std::rewind(file.get());
    ASSERT_EQ(std::fread(back.data(), 1, back.size(), file.get()), 2 * kChunk);
    back.pop_back();
    std::vector<unsigned char> expected = ones;
    expected.insert(expected.end(), twos.begin(), twos.end());
    EXPECT_TRUE(back == expected);

    ChunkWriter failing(full.get());
    failing.write(ones.data(), kChunk);
    EXPECT_FALSE(failing.wait());
}
