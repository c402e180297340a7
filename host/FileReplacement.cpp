#include "host/FileReplacement.h"

#include <cstdio>
#include <random>
#include <system_error>
#include <utility>

namespace {

std::string randomSuffix() {
    static std::mt19937_64 engine{std::random_device{}()};
    static constexpr char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::string suffix(10, '0');
    for (char& c : suffix)
        c = kDigits[engine() % (sizeof kDigits - 1)];
    return suffix;
}

std::filesystem::path folderOf(const std::filesystem::path& target) {
    const std::filesystem::path folder = target.parent_path();
    return folder.empty() ? std::filesystem::path(".") : folder;
}

} // namespace

std::string FileReplacement::temporaryPrefix(const std::filesystem::path& target) {
    return target.filename().string() + ".wktmp-";
}

int FileReplacement::clearStale(const std::filesystem::path& target) {
    const std::string prefix = temporaryPrefix(target);
    int removed = 0;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(folderOf(target), ec), end; !ec && it != end;
         it.increment(ec)) {
        const std::string name = it->path().filename().string();
        std::error_code kind;
        if (name.size() > prefix.size() && name.compare(0, prefix.size(), prefix) == 0 &&
            it->is_regular_file(kind) && std::filesystem::remove(it->path(), kind))
            ++removed;
    }
    return removed;
}

std::optional<std::filesystem::path>
FileReplacement::LinkTarget(const std::filesystem::path& path) {
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

FileReplacement::FileReplacement(std::filesystem::path target) : targetPath(std::move(target)) {
    // A loop of links is left to fail where it is written.
    if (const std::optional<std::filesystem::path> linked = LinkTarget(targetPath))
        targetPath = *linked;
    clearStale(targetPath);
    tempPath = targetPath;
    tempPath.replace_filename(temporaryPrefix(targetPath) + randomSuffix());
}

FileReplacement::~FileReplacement() {
    discard();
}

bool FileReplacement::commit() {
    if (done)
        return false;
    std::error_code ec;
    std::filesystem::rename(tempPath, targetPath, ec);
    if (ec) {
        discard();
        return false;
    }
    done = true;
    return true;
}

void FileReplacement::discard() {
    if (done)
        return;
    done = true;
    std::error_code ec;
    std::filesystem::remove(tempPath, ec);
}
