#include "tools/common/input_file.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace wkcli {

namespace {

std::string megabytes(std::uintmax_t bytes) {
    return std::to_string(bytes >> 20) + " MB";
}

} // namespace

std::uintmax_t CheckInputFile(const std::string& path, std::uintmax_t limit) {
    std::error_code ec;
    const std::filesystem::file_status status = std::filesystem::status(path, ec);
    switch (status.type()) {
    case std::filesystem::file_type::regular:
        break;
    case std::filesystem::file_type::not_found:
        throw InputFileError("no such file");
    case std::filesystem::file_type::directory:
        throw InputFileError("is a folder, not a file");
    case std::filesystem::file_type::none:
    case std::filesystem::file_type::unknown:
        throw InputFileError("cannot be read (" + ec.message() + ")");
    default:
        throw InputFileError("is not a regular file (a device, FIFO or socket cannot be read)");
    }
    const std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec)
        throw InputFileError("cannot be read (" + ec.message() + ")");
    if (size == 0)
        throw InputFileError("is empty");
    if (size > limit)
        throw InputFileError("is too large (" + megabytes(size) + ", at most " + megabytes(limit) +
                             ")");
    return size;
}

std::string ReadInputFile(const std::string& path, std::uintmax_t limit) {
    const std::uintmax_t size = CheckInputFile(path, limit);
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw InputFileError("cannot be opened");
    // One byte more than measured tells a file that grew since: the read stops there.
    std::string text(static_cast<std::size_t>(size + 1), '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (in.bad())
        throw InputFileError("cannot be read");
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > size)
        throw InputFileError("grew while it was read");
    return text;
}

} // namespace wkcli
