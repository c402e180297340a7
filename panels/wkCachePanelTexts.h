// The texts the panels show, with their ids in the plug-in's string table where they have one.
#pragma once

namespace PanelTexts {

inline constexpr const wchar_t* kNoFile = L"<None>";
inline constexpr const wchar_t* kDeleted = L"<Deleted>";
inline constexpr const wchar_t* kGroupEntryFormat = L"%s (%i node%s)";

// Tooltips of the first open.
inline constexpr const wchar_t* kTipNew = L"Create a new cache file";
inline constexpr const wchar_t* kTipLoad = L"Load an existing cache file";
inline constexpr const wchar_t* kTipUnload = L"Unload the current cache file";
inline constexpr const wchar_t* kTipReload = L"Reload the current cache file";
inline constexpr const wchar_t* kTipReloadMaterial =
    L"Reloads the material from the cache file. Hold SHIFT to update all objects that use this "
    L"cache file";
inline constexpr const wchar_t* kTipRange = L"Set to current time range";
inline constexpr const wchar_t* kTipSetElements =
    L"Set to selected elements. Hold SHIFT to remove the elements from all other groups";
inline constexpr const wchar_t* kTipAddElements =
    L"Add selected elements. Hold SHIFT to remove the elements from all other groups";
inline constexpr const wchar_t* kTipRemoveElements = L"Remove selected elements";
inline constexpr const wchar_t* kTipRemoveFromOthers =
    L"Remove this group's elements from all other groups";
inline constexpr const wchar_t* kTipSelectByName = L"Select elements by name";
inline constexpr const wchar_t* kTipNewGroup =
    L"Create a new group from the currently selected elements. Hold SHIFT to create an empty "
    L"group";

// The Record rollout's own buttons.
inline constexpr const wchar_t* kTipRecordTransform = L"Record Transformations"; // 2004
inline constexpr const wchar_t* kTipRecordDeform = L"Record Deformations";       // 2006
inline constexpr const wchar_t* kTipRecordTopology = L"Record Topology";         // 2008
inline constexpr const wchar_t* kTipPickNode = L"Pick Node";
inline constexpr const wchar_t* kTipSelectAll = L"Select All";
inline constexpr const wchar_t* kTipInvert = L"Invert Selected";
inline constexpr const wchar_t* kTipAddFromList = L"Add Node From List";
inline constexpr const wchar_t* kTipRemoveSelected = L"Remove Selected";

// Undo names of the panel's own steps (the object names its own).
inline constexpr const wchar_t* kAddNode = L"Add node";                    // 50
inline constexpr const wchar_t* kSelectMultiple = L"Select Multiple";      // 51
inline constexpr const wchar_t* kRemoveNodes = L"Remove node(s)";          // 53
inline constexpr const wchar_t* kSetRecordRange = L"Set Record Range";     // 144
inline constexpr const wchar_t* kSelectGroupNodes = L"Select Group Nodes"; // 142

// Pickers.
inline constexpr const wchar_t* kSelectObjectsToAdd = L"Select objects to add";     // 9
inline constexpr const wchar_t* kAddButton = L"Add";                                // 12
inline constexpr const wchar_t* kSelectElementsByName = L"Select elements by name"; // 105, 106
inline constexpr const wchar_t* kSelectGroupElements = L"Select group elements";    // 103
inline constexpr const wchar_t* kSelectElementsToAdd =
    L"Select elements to add to this group"; // 104

} // namespace PanelTexts
