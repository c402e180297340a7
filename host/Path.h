// MaxSDK::Util::Path: a file system path held as text, with the edits the callers make.
//
// Separators: '/' and '\' are both read as separators (see host/FileName.h); what this
// class adds is '/'. The text is otherwise kept as given: no normalisation of "." or "..",
// no access to the file system.
#pragma once

#include "host/Strings.h"

#include <filesystem>

namespace MaxSDK::Util {

class Path {
public:
    Path() = default;
    explicit Path(const WStr& path) : text(path) {}
    explicit Path(const wchar_t* path) : text(path) {}

    const WStr& GetString() const { return text; }
    bool IsEmpty() const { return text.isNull(); }

    // Drops the last component and the separator before it; trailing separators don't
    // count as a component. "/a/b/c.wkc" and "/a/b/c/" give "/a/b" and "/a/b", "c.wkc"
    // gives the empty path, and a root ("/", "/c.wkc") gives "/".
    Path& RemoveLeaf();
    // Keeps only the last component: the path becomes GetLeaf().
    Path& StripToLeaf();
    // Adds '/' unless the path ends in a separator. An empty path stays empty, so that a
    // bare file name's folder plus a new leaf is a bare file name again.
    Path& AddTrailingBackslash();
    // Drops separators at the end, except a root's own.
    Path& RemoveTrailingBackslashes();
    bool HasTrailingBackslash() const;
    // Joins with exactly one separator between the two; an empty side adds nothing.
    Path& Append(const Path& tail);
    Path& Append(const WStr& tail) { return Append(Path(tail)); }

    // The last component ("c.wkc" of "/a/b/c.wkc", "c" of "/a/b/c/"); empty for a root.
    WStr GetLeaf() const;
    // The folder: a copy with RemoveLeaf applied.
    Path GetParent() const;

    // For the standard library's file operations: UTF-8 bytes, '\' turned into '/'.
    std::filesystem::path ToFilesystemPath() const;

    bool operator==(const Path&) const = default;

private:
    WStr text;
};

} // namespace MaxSDK::Util
