// The chunk writer: chunks reach the file whole and in order, whether the caller waits between
// them or hands the next over at once, and a write that falls short is reported.
#include "cachefile/ChunkWriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

TEST(ChunkWriter, WritesChunksInOrderAndReportsShortWrites) {
    // Larger than the stream's buffer, so that a failing device fails the write itself.
    constexpr std::size_t kChunk = 1 << 17;
    std::vector<unsigned char> chunks[3];
    for (int c = 0; c < 3; ++c)
        chunks[c].assign(kChunk, static_cast<unsigned char>(c + 1));

    File file(std::tmpfile(), std::fclose);
    ASSERT_TRUE(file);
    {
        ChunkWriter writer(file.get());
        writer.write(chunks[0].data(), kChunk);
        ASSERT_TRUE(writer.wait());
        writer.write(chunks[1].data(), kChunk);
        writer.write(chunks[2].data(), kChunk); // waits for the one before itself
    }                                           // the destructor lets the last chunk finish
    std::rewind(file.get());
    std::vector<unsigned char> back(3 * kChunk + 1);
    ASSERT_EQ(std::fread(back.data(), 1, back.size(), file.get()), 3 * kChunk);
    for (std::size_t i = 0; i < 3 * kChunk; ++i)
        ASSERT_EQ(back[i], i / kChunk + 1) << "at byte " << i;

    File full(std::fopen("/dev/full", "wb"), std::fclose);
    ASSERT_TRUE(full);
    ChunkWriter failing(full.get());
    failing.write(chunks[0].data(), kChunk);
    EXPECT_FALSE(failing.wait());
}

} // namespace
