// What a file name stands for, apart from the file's content: its kind by its ending.
#pragma once

#include <filesystem>
#include <string_view>

namespace wkcli {

// Whether the last extension of `path` is `extension` (".wkc", in lower case), in any case:
// a ".WKC" or ".Json" made on another system is the same kind of file.
bool HasExtension(const std::filesystem::path& path, std::string_view extension);

} // namespace wkcli
