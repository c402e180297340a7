#include "elements/wkCacheChunkBytes.h"

#include <array>
#include <bit>

bool wkCacheChunkReader::readU32(std::uint32_t& value) {
    if (remaining() < 4)
        return false;
    const std::uint8_t* p = bytes.data() + position;
    value = std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
            std::uint32_t{p[3]} << 24;
    position += 4;
    return true;
}

bool wkCacheChunkReader::readI32(std::int32_t& value) {
    std::uint32_t bits = 0;
    if (!readU32(bits))
        return false;
    value = static_cast<std::int32_t>(bits);
    return true;
}

bool wkCacheChunkReader::readF32(float& value) {
    std::uint32_t bits = 0;
    if (!readU32(bits))
        return false;
    value = std::bit_cast<float>(bits);
    return true;
}

bool wkCacheChunkReader::readBool(bool& value) {
    if (remaining() < 1)
        return false;
    value = bytes[position] != 0;
    ++position;
    return true;
}

bool wkCacheChunkReader::readBytes(std::size_t n, std::span<const std::uint8_t>& out) {
    if (remaining() < n)
        return false;
    out = bytes.subspan(position, n);
    position += n;
    return true;
}

bool wkCacheByteBuffer::write(std::span<const std::uint8_t> data) {
    bytes.insert(bytes.end(), data.begin(), data.end());
    return true;
}

bool writeU32(wkCacheByteSink& sink, std::uint32_t value) {
    const std::array<std::uint8_t, 4> le = {
        static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
        static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
    return sink.write(le);
}

bool writeI32(wkCacheByteSink& sink, std::int32_t value) {
    return writeU32(sink, static_cast<std::uint32_t>(value));
}

bool writeF32(wkCacheByteSink& sink, float value) {
    return writeU32(sink, std::bit_cast<std::uint32_t>(value));
}

bool writeBool(wkCacheByteSink& sink, bool value) {
    const std::array<std::uint8_t, 1> byte = {static_cast<std::uint8_t>(value ? 1 : 0)};
    return sink.write(byte);
}
