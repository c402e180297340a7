// The texts the cache object shows, with their ids in the plug-in's string table: the status
// line's and the names of its undoable steps.
#pragma once

namespace ObjectTexts {

inline constexpr const wchar_t* kLoading = L"Loading ...";          // string 54 (52 + load type 2)
inline constexpr const wchar_t* kNoCacheFile = L"No cache file.";   // string 57
inline constexpr const wchar_t* kFileNotFound = L"File not found."; // string 108

// Not in the string table.
inline constexpr const wchar_t* kReadingFormat = L"Reading Cache (%i %%) ...";
inline constexpr const wchar_t* kSizesFormat = L"F:%s, M:%s";

// The undo steps, by string id.
inline constexpr const wchar_t* kToggleGroup = L"Toggle Group";                // 128
inline constexpr const wchar_t* kToggleGroupTrigger = L"Toggle Group Trigger"; // 129
inline constexpr const wchar_t* kGroupDistance = L"Group Distance";            // 130
inline constexpr const wchar_t* kGroupByDistance = L"Group By Distance";       // 131
inline constexpr const wchar_t* kGroupAge = L"Group Age";                      // 132
inline constexpr const wchar_t* kGroupByAge = L"Group By Age";                 // 133
inline constexpr const wchar_t* kGroupMatID = L"Group MatID";                  // 134
inline constexpr const wchar_t* kGroupOffset = L"Group Offset";                // 135
inline constexpr const wchar_t* kGroupMode = L"Group Mode";                    // 136
inline constexpr const wchar_t* kRemoveAllGroups = L"Remove All Groups";       // 137
inline constexpr const wchar_t* kRemoveGroup = L"Remove Group";                // 138
inline constexpr const wchar_t* kGroupNodes = L"Group Nodes";                  // 139
inline constexpr const wchar_t* kRenameGroup = L"Rename Group";                // 140
inline constexpr const wchar_t* kAddGroup = L"Add Group";                      // 141
inline constexpr const wchar_t* kRemoveGroupNodes = L"Remove Group Nodes";     // 143
inline constexpr const wchar_t* kUnloadCache = L"Unload Cache";                // 145
inline constexpr const wchar_t* kSetFilename = L"Set Filename";                // 146
inline constexpr const wchar_t* kMoveGroup = L"Move Group";                    // 149
inline constexpr const wchar_t* kApplyMaterials = L"Apply Material(s)";        // 157

} // namespace ObjectTexts
