// Forward reading of a cache file in large blocks, with the outcome of reading it field by field.
//
// The static part of a cache (node table, geometry, map channels) is a long run of small fields
// and large arrays. This reader fetches it in blocks of a megabyte and hands out fields from the
// block, while large arrays go straight from the file into their destination. A read that cannot
// be served in full fails with the status that the same read, done field by field with fread,
// would have left: 3 when the stream reached the end of the file, else 4.
//
// Counts read from a file are checked with expect() before anything is allocated for them: a
// count whose bytes the file cannot hold fails there, as the short read it would be, so a hostile
// count never turns into a large allocation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace WelkardTools {

class wkCacheBlockReader {
public:
    // Reads `file` from its current position, which is `position` bytes into the file. The file
    // stays owned by the caller and must not be touched while this reader is in use.
    wkCacheBlockReader(std::FILE* file, std::int64_t position);

    // Whether the next `bytes` bytes can be read. A negative count asks for more than any file
    // holds (as the unsigned size it converts to would). When the bytes lie beyond the end of the
    // file as measured, the rest of the file is read through to find out how the read ends: if
    // the file has grown meanwhile and holds them after all, reading resumes where it was;
    // otherwise this is the short read, and failureStatus() tells 3 or 4.
    bool expect(std::int64_t bytes);

    // Copies the next n bytes to dest.
    bool read(void* dest, std::size_t n);
    // Passes over the next n bytes.
    bool skip(std::int64_t n);
    // The next n bytes in place (n up to capacity()), valid until the next call; null when the
    // file ends first.
    const unsigned char* take(std::size_t n);

    bool readI32(std::int32_t& value);
    bool readU8(std::uint8_t& value);
    bool readF32(float& value);

    // Bytes from the current position to the end of the file as measured.
    std::int64_t bytesLeft() const { return remaining(); }
    // The largest n that take() serves.
    std::size_t capacity() const { return block.size(); }

    // 3 or 4 after a failed read; 0 before.
    std::int32_t failureStatus() const { return failure; }

    static constexpr std::size_t kBlockSize = std::size_t{1} << 20;

private:
    // Moves what is left of the block to its front and tops the block up from the file.
    void refill();
    // Notes why the stream delivered less than asked.
    void noteShortRead();
    bool fail();
    std::size_t buffered() const { return bufferEnd - bufferPos; }
    // Bytes between the current position and the end of the file as measured.
    std::int64_t remaining() const { return fileEnd - position; }

    std::FILE* file;
    std::int64_t position; // file offset of the next byte handed out
    std::int64_t fileEnd;  // file size measured at construction
    std::vector<unsigned char> block;
    std::size_t bufferPos = 0;
    std::size_t bufferEnd = 0;
    bool streamEnded = false; // the stream has delivered less than asked: no more bytes come
    std::int32_t endStatus = 0;
    std::int32_t failure = 0;
};

} // namespace WelkardTools
