// How the tool takes an input file: only a regular file (a link to one is fine) of a sane size,
// read with that size as a limit, so that /dev/zero, a FIFO or a file that grows while it is read
// cannot make the tool run away. Every refusal says which of these it was.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace wkcli {

// Why an input was refused; the message does not repeat the path.
class InputFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Limits of the inputs the tool reads whole. A scene of 64 MB is far beyond a hand-written or
// generated one; the cache reader reads caches itself and is bounded by the file's size.
inline constexpr std::uintmax_t kSceneFileLimit = 64ull << 20;

// Throws InputFileError unless `path` is a regular file, not empty and at most `limit` bytes.
// Answers the size.
std::uintmax_t CheckInputFile(const std::string& path, std::uintmax_t limit);
// CheckInputFile, then the whole content, read no further than `limit`.
std::string ReadInputFile(const std::string& path, std::uintmax_t limit);

} // namespace wkcli
