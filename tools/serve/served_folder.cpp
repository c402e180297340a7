#include "tools/serve/served_folder.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace wkserve {

namespace fs = std::filesystem;

ServedFolder::ServedFolder(const fs::path& folder) {
    std::error_code error;
    base = fs::canonical(folder, error);
    if (error || !fs::is_directory(base))
        throw std::invalid_argument(folder.string() + ": is not a folder");
}

std::optional<fs::path> ServedFolder::inside(const fs::path& name) const {
    if (name.empty())
        return std::nullopt;
    std::error_code error;
    // weakly_canonical resolves the links of the part that exists, so a file to be written
    // is placed by its real folder.
    const fs::path full = fs::weakly_canonical(name.is_absolute() ? name : base / name, error);
    if (error)
        return std::nullopt;
    const auto [end, rest] = std::mismatch(base.begin(), base.end(), full.begin(), full.end());
    if (end != base.end() || rest == full.end())
        return std::nullopt;
    return full;
}

std::vector<std::string> ServedFolder::files(std::size_t limit) const {
    std::vector<std::string> found;
    std::error_code error;
    fs::recursive_directory_iterator it(base, fs::directory_options::skip_permission_denied, error);
    for (; !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        if (it.depth() >= 3)
            it.disable_recursion_pending();
        const std::string name = it->path().filename().string();
        if (name.starts_with('.')) {
            // Hidden folders (the build's own, version control) are not the user's files.
            if (it->is_directory(error))
                it.disable_recursion_pending();
            continue;
        }
        if (it->is_regular_file(error) && inside(it->path()))
            found.push_back(fs::relative(it->path(), base).string());
        if (found.size() >= limit)
            break;
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace wkserve
