// FileReplacement: how every output file is written, so that no failure loses the old one.
//
// The new content goes into a temporary file beside the target (same folder, hence the same
// file system, so the rename is atomic) and is renamed over the target only by commit(). A
// replacement that is destroyed without commit() -- an error, a cancel, an exception -- removes
// its temporary, and the old target stays as it was.
//
// A target that is a link stays a link: the file at the end of its chain of links is the one
// made or replaced, as a shell's `>` writes through a link, also one whose file does not exist yet.
//
// A temporary is named "<target leaf>.wktmp-<random>"; a process killed outright (SIGKILL, power
// loss) leaves one behind, recognisable by that name. Making a replacement for a target removes
// every such leftover of the same target first. Two writers racing for one target therefore
// do not both succeed: the loser's rename fails and it reports an error.
//
// Standard library only (the core records through it). The tool's outputs add what the core
// cannot: flushing to the disk, `-` for stdout and special files; see tools/output_file.h.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

class FileReplacement {
public:
    // Clears the stale temporaries of `target` and picks a fresh temporary name; nothing of
    // `target` is touched.
    explicit FileReplacement(std::filesystem::path target);
    // Removes the temporary unless it was committed.
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    const std::filesystem::path& target() const { return targetPath; }
    // Where to write the new content.
    const std::filesystem::path& temporary() const { return tempPath; }

    // Renames the temporary over the target; false (and the temporary removed) when it fails.
    bool commit();
    // Removes the temporary now; the target stays.
    void discard();

    // The part of the temporary names of `target`'s leaf, before the random suffix.
    static std::string temporaryPrefix(const std::filesystem::path& target);
    // Removes the leftover temporaries of `target`; answers how many were removed.
    static int clearStale(const std::filesystem::path& target);
    // Where a write to `path` lands, as open() goes: `path` itself, or for a link the end of its
    // chain of links, which may not exist yet (a dangling link). Empty for a loop of links.
    static std::optional<std::filesystem::path> LinkTarget(const std::filesystem::path& path);

private:
    std::filesystem::path targetPath;
    std::filesystem::path tempPath;
    bool done = false;
};
