// Cutting a file name into folder, name and extension.
#pragma once

#include "host/Strings.h"

// Both '/' and '\' separate folders on input: names come from this platform and from
// scene files written on others. Output always uses '/'.
inline constexpr wchar_t PathSeparator = L'/';
inline bool IsPathSeparator(wchar_t c) {
    return c == L'/' || c == L'\\';
}

// Cuts name at its last separator and at the last dot after it. Each out pointer may be
// null.
// - path: everything before the last separator, without that separator, except that a
//   separator at the very start stays ("/a.wkc" gives "/"). Empty when there is none.
// - file: the leaf without its extension.
// - extension: from the last dot of the leaf on, dot included. Dots at the start of the
//   leaf don't begin an extension, so ".hidden" and ".." have none.
// So name is path + separator + file + extension whenever path is not empty and not a
// lone root separator, and file + extension otherwise.
void SplitFilename(const WStr& name, WStr* path, WStr* file, WStr* extension);
