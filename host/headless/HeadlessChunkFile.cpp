#include "host/headless/HeadlessChunkFile.h"

#include <cstring>

namespace {

constexpr std::uint32_t kContainerBit = 0x80000000u;
constexpr std::size_t kHeaderSize = 6;

} // namespace

void HeadlessChunkWriter::BeginChunk(std::uint16_t id) {
    // The enclosing chunk now holds chunks.
    if (!open.empty())
        out[open.back() + 5] |= 0x80;
    open.push_back(out.size());
    const std::uint8_t header[kHeaderSize] = {
        static_cast<std::uint8_t>(id), static_cast<std::uint8_t>(id >> 8), 0, 0, 0, 0};
    out.insert(out.end(), header, header + kHeaderSize);
}

void HeadlessChunkWriter::EndChunk() {
    if (open.empty())
        return;
    const std::size_t at = open.back();
    open.pop_back();
    const std::uint32_t size = static_cast<std::uint32_t>(out.size() - at);
    const std::uint32_t flags = out[at + 5] & 0x80 ? kContainerBit : 0;
    const std::uint32_t word = size | flags;
    for (int i = 0; i < 4; ++i)
        out[at + 2 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(word >> (8 * i));
}

IOResult HeadlessChunkWriter::Write(const void* bytes, std::size_t size) {
    const auto* p = static_cast<const std::uint8_t*>(bytes);
    out.insert(out.end(), p, p + size);
    return IO_OK;
}

HeadlessChunkReader::HeadlessChunkReader(std::span<const std::uint8_t> bytes) : data(bytes) {}

IOResult HeadlessChunkReader::OpenChunk() {
    const std::size_t end = levelEnd();
    if (position >= end)
        return IO_END;
    if (end - position < kHeaderSize)
        return IO_ERROR;
    const std::uint8_t* p = data.data() + position;
    const std::uint16_t id = static_cast<std::uint16_t>(p[0] | p[1] << 8);
    const std::uint32_t word = std::uint32_t{p[2]} | std::uint32_t{p[3]} << 8 |
                               std::uint32_t{p[4]} << 16 | std::uint32_t{p[5]} << 24;
    const std::size_t size = word & ~kContainerBit;
    if (size < kHeaderSize || size > end - position)
        return IO_ERROR;
    levels.push_back({id, (word & kContainerBit) != 0, position + size});
    position += kHeaderSize;
    return IO_OK;
}

std::uint16_t HeadlessChunkReader::CurChunkID() const {
    return levels.empty() ? 0 : levels.back().id;
}

bool HeadlessChunkReader::CurChunkIsContainer() const {
    return !levels.empty() && levels.back().container;
}

IOResult HeadlessChunkReader::CloseChunk() {
    if (levels.empty())
        return IO_ERROR;
    position = levels.back().end;
    levels.pop_back();
    return IO_OK;
}

IOResult HeadlessChunkReader::Read(void* out, std::size_t size) {
    if (size > levelEnd() - position)
        return IO_ERROR;
    if (size > 0)
        std::memcpy(out, data.data() + position, size);
    position += size;
    return IO_OK;
}

std::size_t HeadlessChunkReader::Remaining() const {
    return levelEnd() - position;
}
