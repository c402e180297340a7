#include "tools/png_io.h"

#include "tools/cli_common.h"

#include <png.h>

#include <cstdio>
#include <memory>
#include <ostream>

namespace wkcli {

namespace {

constexpr png_uint_32 kMaxSide = 4096;

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// libpng writes through these; a failed stream shows when the output file is committed.
void writeToStream(png_structp png, png_bytep data, png_size_t length) {
    static_cast<std::ostream*>(png_get_io_ptr(png))
        ->write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(length));
}

void flushStream(png_structp) {}

// false when libpng gave up (its errors jump back here).
bool encode(png_structp png, png_infop info, std::ostream& out, const RgbImage& image) {
    if (setjmp(png_jmpbuf(png)) != 0)
        return false;
    png_set_write_fn(png, &out, writeToStream, flushStream);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width),
                 static_cast<png_uint_32>(image.height), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < image.height; ++y)
        png_write_row(png, image.rgb.data() + static_cast<std::size_t>(y) *
                                                  static_cast<std::size_t>(image.width) * 3);
    png_write_end(png, nullptr);
    return true;
}

} // namespace

void WritePng(std::ostream& out, const RgbImage& image) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    const bool ok = info != nullptr && encode(png, info, out, image);
    png_destroy_write_struct(&png, &info);
    if (!ok)
        throw CommandError(kExitBadInput, "the picture cannot be encoded as PNG");
}

RgbImage ReadPng(const std::string& path) {
    File file(std::fopen(path.c_str(), "rb"));
    if (!file)
        throw CommandError(kExitBadInput, path + ": cannot be read");
    RgbImage image;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    bool ok = false;
    if (info != nullptr && setjmp(png_jmpbuf(png)) == 0) {
        png_set_user_limits(png, kMaxSide, kMaxSide);
        png_init_io(png, file.get());
        png_read_info(png, info);
        const png_uint_32 w = png_get_image_width(png, info);
        const png_uint_32 h = png_get_image_height(png, info);
        const int type = png_get_color_type(png, info);
        if (png_get_bit_depth(png, info) == 8 &&
            (type == PNG_COLOR_TYPE_RGB || type == PNG_COLOR_TYPE_RGB_ALPHA)) {
            if (type == PNG_COLOR_TYPE_RGB_ALPHA)
                png_set_strip_alpha(png);
            png_read_update_info(png, info);
            image.width = static_cast<int>(w);
            image.height = static_cast<int>(h);
            image.rgb.resize(static_cast<std::size_t>(w) * h * 3);
            for (png_uint_32 y = 0; y < h; ++y)
                png_read_row(png, image.rgb.data() + static_cast<std::size_t>(y) * w * 3, nullptr);
            ok = true;
        }
    }
    png_destroy_read_struct(&png, &info, nullptr);
    if (!ok)
        throw CommandError(kExitBadInput, path + ": not an 8-bit RGB PNG image");
    return image;
}

} // namespace wkcli
