// The texts a recording shows, with the ids they have in the plug-in's string table.
#pragma once

namespace RecordTexts {

inline constexpr const wchar_t* kEmptyNodeList = L"Empty node list";    // string 52
inline constexpr const wchar_t* kSaving = L"Saving ...";                // string 55
inline constexpr const wchar_t* kErrorTitle = L"Error!";                // string 60
inline constexpr const wchar_t* kWriteErrorTitle = L"Write Error!";     // string 61
inline constexpr const wchar_t* kNothingToCache = L"Nothing to cache!"; // string 62

// Not in the string table.
inline constexpr const wchar_t* kDeleteTmpObjects = L"Delete tmp objects";
inline constexpr const wchar_t* kAnalyzingFormat = L"Analyzing scene (%i %%) ...";
inline constexpr const wchar_t* kBadRange =
    L"The record range ends before it starts or lies beyond the scene's time.";
inline constexpr const wchar_t* kWritingFormat = L"Writing Cache (%i %%) ...";

} // namespace RecordTexts
