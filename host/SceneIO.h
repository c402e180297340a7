// Scene files as objects see them: a tree of chunks, each with a 16-bit id. An object's Save
// writes chunks of its own inside the chunk the host opened for it; its Load opens them one
// after the other and skips what it does not know.
#pragma once

#include <cstddef>
#include <cstdint>

enum IOResult : int {
    IO_OK = 0,
    IO_END = 1,   // no further chunk at this level
    IO_ERROR = 2, // damaged or truncated data, or a failed write
};

class ISave {
public:
    virtual ~ISave() = default;
    // Chunks nest: a chunk holds either data or chunks.
    virtual void BeginChunk(std::uint16_t id) = 0;
    virtual void EndChunk() = 0;
    // Raw bytes into the open chunk; IO_ERROR when the writer fails.
    virtual IOResult Write(const void* data, std::size_t size) = 0;
};

class ILoad {
public:
    virtual ~ILoad() = default;
    // Opens the next chunk of the current level: IO_END when there is none left, IO_ERROR when
    // its header is damaged.
    virtual IOResult OpenChunk() = 0;
    virtual std::uint16_t CurChunkID() const = 0;
    // Closes the open chunk, skipping what was not read of it.
    virtual IOResult CloseChunk() = 0;
    // Exactly `size` bytes of the open chunk, or IO_ERROR (nothing read past its end).
    virtual IOResult Read(void* data, std::size_t size) = 0;
    // Bytes of the open chunk not read yet: the bound of anything a count read from it may
    // ask to allocate.
    virtual std::size_t Remaining() const = 0;
};
