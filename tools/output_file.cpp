#include "tools/output_file.h"

#include "tools/cli_common.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace wkcli {

namespace {

CommandError cannotWrite(const std::string& path, const std::string& why) {
    return CommandError(kExitBadInput, path + ": cannot be written (" + why + ")");
}

// Data and name on the disk before the rename is reported done: a crash after it keeps the new
// file whole.
bool syncPath(const std::filesystem::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

std::filesystem::path folderOf(const std::filesystem::path& path) {
    return path.parent_path().empty() ? std::filesystem::path(".") : path.parent_path();
}

// Where a write to `path` lands: `path` itself, or for a link the end of its chain of links,
// which may not exist yet. A loop of links is refused.
std::filesystem::path writeTarget(const std::string& path) {
    if (const std::optional<std::filesystem::path> file = FileReplacement::LinkTarget(path))
        return *file;
    throw cannotWrite(path, "its links form a loop");
}

} // namespace

void RefuseOutput(const std::string& path, const std::string& option,
                  const std::vector<std::string>& inputs) {
    if (path.empty())
        throw CommandError(kExitUsage, option + ": the file name is empty");
    if (path == "-")
        return;
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec))
        throw CommandError(kExitBadInput, option + " " + path + ": is a folder, not a file");
    // Known before any work: a long run would otherwise end in this error.
    const std::filesystem::path target = writeTarget(path);
    if (!std::filesystem::is_directory(folderOf(target), ec))
        throw cannotWrite(path, target == path ? "its folder does not exist"
                                               : "it links to " + target.string() +
                                                     ", whose folder does not exist");
    for (const std::string& input : inputs) {
        if (!input.empty() && std::filesystem::equivalent(path, input, ec))
            throw CommandError(kExitBadInput, option + " " + path + ": is the input " + input +
                                                  "; refusing to overwrite it");
    }
}

OutputFile::OutputFile(const std::string& path_, const std::string& option,
                       const std::vector<std::string>& inputs)
    : path(path_) {
    RefuseOutput(path, option, inputs);
    if (path == "-")
        return;
    std::error_code ec;
    const std::filesystem::file_status status = std::filesystem::status(path, ec);
    const bool special =
        std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
    if (special) {
        file.open(path, std::ios::binary | std::ios::out);
    } else {
        // Through a link, even one whose file does not exist yet (as a shell's redirection
        // writes): the link stays and its file is made or replaced.
        replacement = std::make_unique<FileReplacement>(path);
        file.open(replacement->temporary(), std::ios::binary | std::ios::trunc);
    }
    if (!file)
        throw cannotWrite(path, std::filesystem::exists(folderOf(path), ec)
                                    ? "no permission"
                                    : "its folder does not exist");
}

OutputFile::~OutputFile() = default; // the replacement removes an uncommitted temporary

std::ostream& OutputFile::stream() {
    return file.is_open() ? static_cast<std::ostream&>(file) : std::cout;
}

void OutputFile::commit() {
    if (!file.is_open()) {
        FlushStdout();
        return;
    }
    file.close();
    if (!file)
        throw cannotWrite(path, "the disk may be full");
    if (!replacement)
        return;
    if (!syncPath(replacement->temporary()))
        throw cannotWrite(path, "it could not be flushed to the disk");
    if (!replacement->commit())
        throw cannotWrite(path, "it could not be renamed into place");
    (void)syncPath(folderOf(replacement->target()));
}

void FlushStdout() {
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout))
        throw CommandError(kExitBadInput, "standard output: cannot be written (the disk may be "
                                          "full or the reader gone)");
}

} // namespace wkcli
