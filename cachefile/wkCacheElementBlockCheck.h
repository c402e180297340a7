// A full reading of the element block of a version 3 cache, for `wkcache check` and `frame`:
// unlike playback, which quietly drops a block that does not make sense (the deforming elements
// then play undeformed), this says what is wrong with it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace WelkardTools {

// Reads the block of the cache at `path`: its offset (behind the sample table, inside the
// file), the head's four counts, both lists (element point counts not negative and within the
// key, at most one element per node; key frames ascending within the frame count) and every key
// (all there, every value finite). Answers what is wrong, or an empty string when the block is
// sound or there is none: a version 1 or 2 file, or a version 3 file whose block is empty (its
// offset the file's size).
std::string CheckElementBlock(const std::filesystem::path& path);

// Whether the file at `path` is a version 3 cache with a block that is not empty.
bool HasElementBlock(const std::filesystem::path& path);

} // namespace WelkardTools
