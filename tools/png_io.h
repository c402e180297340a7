// 8-bit RGB images as PNG files, through libpng.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace wkcli {

struct RgbImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb; // rows from the top, three bytes a pixel
};

// Encodes the image into `out` (an OutputFile's stream, which does the safe writing); throws
// CommandError (bad input) when libpng fails.
void WritePng(std::ostream& out, const RgbImage& image);
// Reads an 8-bit RGB or RGBA PNG of at most 4096 by 4096 pixels (alpha dropped); throws
// CommandError (bad input) for anything else.
RgbImage ReadPng(const std::string& path);

} // namespace wkcli
