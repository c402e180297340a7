// 8-bit RGB images as PNG files, through libpng.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wkcli {

struct RgbImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb; // rows from the top, three bytes a pixel
};

// Writes under a temporary name and renames it into place; throws CommandError (bad input)
// when the file cannot be written.
void WritePng(const std::string& path, const RgbImage& image);
// Reads an 8-bit RGB or RGBA PNG of at most 4096 by 4096 pixels (alpha dropped); throws
// CommandError (bad input) for anything else.
RgbImage ReadPng(const std::string& path);

} // namespace wkcli
