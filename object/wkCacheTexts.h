// The texts the cache object and its panels show, with their ids in the plug-in's string table:
// one table, so that a text and its id stand in one place. Tooltips stand in the tables of the
// controls they belong to.
#pragma once

namespace wkCacheTexts {

// The object's status line.
inline constexpr const wchar_t* kLoading = L"Loading ...";          // string 54 (52 + load type 2)
inline constexpr const wchar_t* kNoCacheFile = L"No cache file.";   // string 57
inline constexpr const wchar_t* kFileNotFound = L"File not found."; // string 108
// Not in the string table.
inline constexpr const wchar_t* kReadingFormat = L"Reading Cache (%i %%) ...";
inline constexpr const wchar_t* kSizesFormat = L"F:%s, M:%s";

// The panels' lists.
inline constexpr const wchar_t* kNoFile = L"<None>";
inline constexpr const wchar_t* kDeleted = L"<Deleted>";
inline constexpr const wchar_t* kGroupEntryFormat = L"%s (%i node%s)";

// The pickers.
inline constexpr const wchar_t* kSelectObjectsToAdd = L"Select objects to add";  // 9
inline constexpr const wchar_t* kAddButton = L"Add";                             // 12
inline constexpr const wchar_t* kSelectGroupElements = L"Select group elements"; // 103
inline constexpr const wchar_t* kSelectElementsToAdd =
    L"Select elements to add to this group";                                        // 104
inline constexpr const wchar_t* kSelectElementsByName = L"Select elements by name"; // 105, 106

// The names of the undoable steps, the object's and the panels' own.
inline constexpr const wchar_t* kAddNode = L"Add node";                        // 50
inline constexpr const wchar_t* kSelectMultiple = L"Select Multiple";          // 51
inline constexpr const wchar_t* kRemoveNodes = L"Remove node(s)";              // 53
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
inline constexpr const wchar_t* kSelectGroupNodes = L"Select Group Nodes";     // 142
inline constexpr const wchar_t* kRemoveGroupNodes = L"Remove Group Nodes";     // 143
inline constexpr const wchar_t* kSetRecordRange = L"Set Record Range";         // 144
inline constexpr const wchar_t* kUnloadCache = L"Unload Cache";                // 145
inline constexpr const wchar_t* kSetFilename = L"Set Filename";                // 146
inline constexpr const wchar_t* kMoveGroup = L"Move Group";                    // 149
inline constexpr const wchar_t* kApplyMaterials = L"Apply Material(s)";        // 157
// The label of elementFrames, which names a change of a group's frame.
inline constexpr const wchar_t* kGroupFrames = L"Group Frames"; // 86

} // namespace wkCacheTexts
