#include "host/Path.h"

#include "host/FileName.h"

#include <string>

namespace MaxSDK::Util {

namespace {

// Length of s without its trailing separators, keeping at least one character: a root
// made of separators keeps its first one.
std::size_t trimmedLength(std::wstring_view s) {
    std::size_t n = s.size();
    while (n > 1 && IsPathSeparator(s[n - 1])) {
        --n;
    }
    return n;
}

// Start of the last component of s[0, n): one past the last separator, or 0.
std::size_t leafStart(std::wstring_view s, std::size_t n) {
    for (std::size_t i = n; i > 0; --i) {
        if (IsPathSeparator(s[i - 1])) {
            return i;
        }
    }
    return 0;
}

} // namespace

Path& Path::RemoveLeaf() {
    const std::wstring_view s = text.view();
    const std::size_t n = trimmedLength(s);
    if (n == 1 && IsPathSeparator(s[0])) {
        text = WStr(s.substr(0, 1));
        return *this;
    }
    const std::size_t start = leafStart(s, n);
    if (start == 0) {
        text = WStr();
        return *this;
    }
    // The folder without the separators that led to the leaf; a root keeps its own.
    text = WStr(s.substr(0, trimmedLength(s.substr(0, start))));
    return *this;
}

Path& Path::StripToLeaf() {
    text = GetLeaf();
    return *this;
}

WStr Path::GetLeaf() const {
    const std::wstring_view s = text.view();
    const std::size_t n = trimmedLength(s);
    if (n == 1 && IsPathSeparator(s[0])) {
        return WStr();
    }
    const std::size_t start = leafStart(s, n);
    return WStr(s.substr(start, n - start));
}

Path Path::GetParent() const {
    Path parent(*this);
    parent.RemoveLeaf();
    return parent;
}

bool Path::HasTrailingBackslash() const {
    return !text.isNull() && IsPathSeparator(text.view().back());
}

Path& Path::AddTrailingBackslash() {
    if (!text.isNull() && !HasTrailingBackslash()) {
        text += PathSeparator;
    }
    return *this;
}

Path& Path::RemoveTrailingBackslashes() {
    text = WStr(text.view().substr(0, trimmedLength(text.view())));
    return *this;
}

Path& Path::Append(const Path& tail) {
    std::wstring_view t = tail.text.view();
    if (text.isNull()) {
        text = tail.text;
        return *this;
    }
    while (!t.empty() && IsPathSeparator(t.front())) {
        t.remove_prefix(1);
    }
    if (t.empty()) {
        return *this;
    }
    AddTrailingBackslash();
    text += WStr(t);
    return *this;
}

std::filesystem::path Path::ToFilesystemPath() const {
    std::string bytes = text.ToCStr().str();
    for (char& c : bytes) {
        if (c == '\\') {
            c = '/';
        }
    }
    return std::filesystem::path(bytes);
}

} // namespace MaxSDK::Util
