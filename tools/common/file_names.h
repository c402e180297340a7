// What a file name stands for, apart from the file's content: its kind by its ending, and the
// file that a write to it reaches through links.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace wkcli {

// Whether the last extension of `path` is `extension` (".wkc", in lower case), in any case:
// a ".WKC" or ".Json" made on another system is the same kind of file.
bool HasExtension(const std::filesystem::path& path, std::string_view extension);

// Where a write to `path` lands, as open() goes: `path` itself, or for a link the end of its
// chain of links, which may not exist yet (a dangling link). Empty for a loop of links.
std::optional<std::filesystem::path> LinkedFile(const std::filesystem::path& path);

} // namespace wkcli
