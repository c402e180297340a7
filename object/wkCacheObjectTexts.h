// The texts the cache object shows, with their ids in the plug-in's string table.
#pragma once

namespace ObjectTexts {

inline constexpr const wchar_t* kLoading = L"Loading ...";          // string 54 (52 + load type 2)
inline constexpr const wchar_t* kNoCacheFile = L"No cache file.";   // string 57
inline constexpr const wchar_t* kFileNotFound = L"File not found."; // string 108

// Not in the string table.
inline constexpr const wchar_t* kReadingFormat = L"Reading Cache (%i %%) ...";
inline constexpr const wchar_t* kSizesFormat = L"F:%s, M:%s";

} // namespace ObjectTexts
