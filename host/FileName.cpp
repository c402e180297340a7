#include "host/FileName.h"

#include <string_view>

void SplitFilename(const WStr& name, WStr* path, WStr* file, WStr* extension) {
    const std::wstring_view all = name.view();
    std::size_t leafStart = 0;
    for (std::size_t i = all.size(); i > 0; --i) {
        if (IsPathSeparator(all[i - 1])) {
            leafStart = i;
            break;
        }
    }
    if (path != nullptr) {
        // leafStart is one past the last separator; a separator at index 0 is the root.
        *path = WStr(all.substr(0, leafStart > 1 ? leafStart - 1 : leafStart));
    }
    const std::wstring_view leaf = all.substr(leafStart);
    const std::size_t firstNonDot = leaf.find_first_not_of(L'.');
    std::size_t dot = leaf.rfind(L'.');
    if (firstNonDot == std::wstring_view::npos || dot == std::wstring_view::npos ||
        dot < firstNonDot) {
        dot = leaf.size();
    }
    if (file != nullptr) {
        *file = WStr(leaf.substr(0, dot));
    }
    if (extension != nullptr) {
        *extension = WStr(leaf.substr(dot));
    }
}
