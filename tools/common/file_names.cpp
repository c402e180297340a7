#include "tools/common/file_names.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <system_error>

namespace wkcli {

bool HasExtension(const std::filesystem::path& path, std::string_view extension) {
    const std::string actual = path.extension().string();
    return std::equal(
        actual.begin(), actual.end(), extension.begin(), extension.end(),
        [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

std::optional<std::filesystem::path> LinkedFile(const std::filesystem::path& path) {
    // As the kernel does for open(); a longer chain is a loop.
    constexpr int kMaxLinks = 40;
    std::filesystem::path file = path;
    for (int hops = 0; hops < kMaxLinks; ++hops) {
        std::error_code ec;
        if (!std::filesystem::is_symlink(std::filesystem::symlink_status(file, ec)))
            return file;
        const std::filesystem::path next = std::filesystem::read_symlink(file, ec);
        if (ec)
            return file;
        file = next.is_absolute() ? next : file.parent_path() / next;
    }
    return std::nullopt;
}

} // namespace wkcli
