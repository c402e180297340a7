#include "tools/common/file_names.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace wkcli {

bool HasExtension(const std::filesystem::path& path, std::string_view extension) {
    const std::string actual = path.extension().string();
    return std::equal(
        actual.begin(), actual.end(), extension.begin(), extension.end(),
        [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

} // namespace wkcli
