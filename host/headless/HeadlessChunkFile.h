// The headless host's chunked scene container, written and read in memory.
//
// A chunk is a 6-byte header and its content: uint16 id, then uint32 size, little-endian. The
// size counts the header and the content; its top bit (0x80000000) is set when the content is
// a sequence of chunks rather than data. A file is a sequence of chunks.
#pragma once

#include "host/SceneIO.h"

#include <cstdint>
#include <span>
#include <vector>

class HeadlessChunkWriter final : public ISave {
public:
    void BeginChunk(std::uint16_t id) override;
    void EndChunk() override;
    IOResult Write(const void* data, std::size_t size) override;

    // The bytes written; every chunk must be ended.
    const std::vector<std::uint8_t>& bytes() const { return out; }

private:
    std::vector<std::uint8_t> out;
    std::vector<std::size_t> open; // header positions of the open chunks
};

// Reads a container without copying it; `bytes` must outlive the reader. Damaged headers (a
// size below 6 or past the end of the enclosing chunk) give IO_ERROR, never a read outside.
class HeadlessChunkReader final : public ILoad {
public:
    explicit HeadlessChunkReader(std::span<const std::uint8_t> bytes);

    IOResult OpenChunk() override;
    std::uint16_t CurChunkID() const override;
    IOResult CloseChunk() override;
    IOResult Read(void* data, std::size_t size) override;
    std::size_t Remaining() const override;
    // Whether the open chunk holds chunks.
    bool CurChunkIsContainer() const;
    // Nesting depth: 0 at the top level.
    std::size_t Depth() const { return levels.size(); }

private:
    struct Level {
        std::uint16_t id;
        bool container;
        std::size_t end;
    };
    std::size_t levelEnd() const { return levels.empty() ? data.size() : levels.back().end; }

    std::span<const std::uint8_t> data;
    std::size_t position = 0;
    std::vector<Level> levels;
};
