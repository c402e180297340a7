// The folder `wkcache serve` was started on: the only place its pages may read or write files.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace wkserve {

class ServedFolder {
public:
    // Throws std::invalid_argument when `folder` is not a folder.
    explicit ServedFolder(const std::filesystem::path& folder);
    const std::filesystem::path& root() const { return base; }

    // The path `name` (relative to the root, or absolute) names once links and ".." are
    // resolved, when that lies inside the root; nothing otherwise.
    std::optional<std::filesystem::path> inside(const std::filesystem::path& name) const;
    // The regular files under the root, relative, sorted; at most `limit`, three folders deep.
    std::vector<std::string> files(std::size_t limit = 2000) const;

private:
    std::filesystem::path base; // canonical
};

} // namespace wkserve
