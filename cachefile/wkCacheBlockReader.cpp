#include "cachefile/wkCacheBlockReader.h"

#include "cachefile/wkCacheBase.h"
#include "cachefile/wkCacheFormat.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace WelkardTools {

namespace {

// Small files get a small block: a reader is made for every load, and fuzzing loads a lot.
constexpr std::size_t kMinBlock = std::size_t{64} << 10;

} // namespace

wkCacheBlockReader::wkCacheBlockReader(std::FILE* file_, std::int64_t position_)
    : file(file_), position(position_), fileEnd(position_) {
    if (std::fseek(file, 0, SEEK_END) == 0) {
        const long end = std::ftell(file);
        if (end >= position)
            fileEnd = end;
    }
    std::fseek(file, static_cast<long>(position), SEEK_SET);
    const auto wanted = static_cast<std::size_t>(std::max<std::int64_t>(remaining(), 0));
    block.resize(std::clamp(wanted, kMinBlock, kBlockSize));
}

bool wkCacheBlockReader::expect(std::int64_t bytes) {
    if (bytes >= 0 && bytes <= remaining())
        return true;
    // Beyond the end as measured: read on to learn how a read of that size would end.
    const std::int64_t need = bytes < 0 ? std::numeric_limits<std::int64_t>::max() : bytes;
    std::int64_t available = static_cast<std::int64_t>(buffered());
    while (!streamEnded && available < need) {
        const std::size_t got = std::fread(block.data(), 1, block.size(), file);
        available += static_cast<std::int64_t>(got);
        if (got < block.size())
            noteShortRead();
    }
    bufferPos = bufferEnd = 0;
    if (available < need)
        return fail();
    // The file has grown and holds the bytes: go back and read them for real.
    std::clearerr(file);
    streamEnded = false;
    endStatus = 0;
    fileEnd = position + available;
    if (std::fseek(file, static_cast<long>(position), SEEK_SET) != 0) {
        endStatus = kStatusFileError;
        return fail();
    }
    return true;
}

bool wkCacheBlockReader::read(void* dest, std::size_t n) {
    auto* out = static_cast<unsigned char*>(dest);
    const std::size_t fromBlock = std::min(n, buffered());
    if (fromBlock > 0) {
        std::memcpy(out, block.data() + bufferPos, fromBlock);
        bufferPos += fromBlock;
        position += static_cast<std::int64_t>(fromBlock);
        out += fromBlock;
        n -= fromBlock;
    }
    if (n == 0)
        return true;
    if (streamEnded)
        return fail();
    if (n >= block.size() / 2) {
        // Large arrays skip the block.
        const std::size_t got = std::fread(out, 1, n, file);
        position += static_cast<std::int64_t>(got);
        if (got < n) {
            noteShortRead();
            return fail();
        }
        return true;
    }
    refill();
    if (buffered() < n)
        return fail();
    std::memcpy(out, block.data() + bufferPos, n);
    bufferPos += n;
    position += static_cast<std::int64_t>(n);
    return true;
}

bool wkCacheBlockReader::skip(std::int64_t n) {
    while (n > 0) {
        const auto part = static_cast<std::size_t>(
            std::min<std::int64_t>(n, static_cast<std::int64_t>(block.size())));
        if (take(part) == nullptr)
            return false;
        n -= static_cast<std::int64_t>(part);
    }
    return true;
}

const unsigned char* wkCacheBlockReader::take(std::size_t n) {
    if (buffered() < n && !streamEnded)
        refill();
    if (buffered() < n) {
        fail();
        return nullptr;
    }
    const unsigned char* p = block.data() + bufferPos;
    bufferPos += n;
    position += static_cast<std::int64_t>(n);
    return p;
}

bool wkCacheBlockReader::readI32(std::int32_t& value) {
    const unsigned char* p = take(4);
    if (p == nullptr)
        return false;
    value = wkCacheFormat::LoadI32(p);
    return true;
}

bool wkCacheBlockReader::readU8(std::uint8_t& value) {
    const unsigned char* p = take(1);
    if (p == nullptr)
        return false;
    value = *p;
    return true;
}

bool wkCacheBlockReader::readF32(float& value) {
    const unsigned char* p = take(4);
    if (p == nullptr)
        return false;
    value = wkCacheFormat::LoadF32(p);
    return true;
}

void wkCacheBlockReader::refill() {
    const std::size_t left = buffered();
    if (left > 0 && bufferPos > 0)
        std::memmove(block.data(), block.data() + bufferPos, left);
    bufferPos = 0;
    bufferEnd = left;
    const std::size_t room = block.size() - left;
    const std::size_t got = std::fread(block.data() + left, 1, room, file);
    bufferEnd += got;
    if (got < room)
        noteShortRead();
}

void wkCacheBlockReader::noteShortRead() {
    streamEnded = true;
    endStatus = std::feof(file) ? kStatusReadPastEOF : kStatusFileError;
}

bool wkCacheBlockReader::fail() {
    failure = endStatus != 0 ? endStatus : kStatusFileError;
    return false;
}

} // namespace WelkardTools
