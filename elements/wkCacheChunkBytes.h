// Little-endian fields of the object's scene-file chunks, read from bytes in memory and written
// to a sink that may refuse them.
//
// The reader never reads past its bytes, and tells how many are left, so that a count read from
// a chunk can be checked against the bytes that could back it before anything is allocated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

class wkCacheChunkReader {
public:
    explicit wkCacheChunkReader(std::span<const std::uint8_t> bytes_) : bytes(bytes_) {}

    // Each read answers false, and leaves the value and the position as they were, when fewer
    // bytes are left than the field needs.
    bool readI32(std::int32_t& value);
    bool readU32(std::uint32_t& value);
    bool readF32(float& value);
    // One byte; any value but 0 is true.
    bool readBool(bool& value);
    // The next n bytes, in place.
    bool readBytes(std::size_t n, std::span<const std::uint8_t>& out);

    std::size_t remaining() const { return bytes.size() - position; }

private:
    std::span<const std::uint8_t> bytes;
    std::size_t position = 0;
};

// Where chunk data goes. A host's scene writer can fail (a full disk); write answers false then.
class wkCacheByteSink {
public:
    virtual ~wkCacheByteSink() = default;
    virtual bool write(std::span<const std::uint8_t> data) = 0;
};

// Collects the data in memory; never fails.
class wkCacheByteBuffer final : public wkCacheByteSink {
public:
    bool write(std::span<const std::uint8_t> data) override;
    const std::vector<std::uint8_t>& data() const { return bytes; }

private:
    std::vector<std::uint8_t> bytes;
};

bool writeI32(wkCacheByteSink& sink, std::int32_t value);
bool writeU32(wkCacheByteSink& sink, std::uint32_t value);
bool writeF32(wkCacheByteSink& sink, float value);
// One byte, 1 or 0.
bool writeBool(wkCacheByteSink& sink, bool value);
