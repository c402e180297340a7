// The library's dialog resources: the eight rollouts of the cache object's panel, the two
// picker dialogs and the extra controls of the cache file dialogs; and the parameter maps that
// bind the parameter block to the rollouts.
#pragma once

#include "host/PanelControls.h"

#include <cstdint>
#include <span>

namespace wkCacheDialogs {

// Dialog ids.
// clang-format off
enum DialogId : int {
    kCacheFile = 101, kViewportRender = 102, kRecord = 103, kPlayback = 104,
    kFileDialogExtra = 105, kPerElement = 106, kGroupName = 107, kGroupElements = 108,
    kFileInfo = 109, kExplode = 110, kAbout = 111,
};
// clang-format on

// The controls the code names, by dialog.
enum CacheFileControl : int { kFileField = 1024, kStatusField = 1025 };
enum RecordControl : int { kNodeList = 1004, kPickButton = 1005 };
enum PerElementControl : int { kGroupList = 1070, kActionList = 1071, kFrameSpinner = 1075 };
enum GroupNameControl : int { kNameEdit = 1068 };
enum GroupElementsControl : int { kElementList = 1053, kElementLabel = 1111, kFilterEdit = 1085 };
enum FileDialogExtraControl : int { kHistoryList = 1021, kPlusButton = 1023 };

// Values the rollouts' code shares.
inline constexpr std::uint32_t kRecordButtonBackground = 0x2D2D2D;
// Room beside the widest text of a list, for the scroll bar.
inline constexpr int kListExtentMargin = 24;

// A rollout: its map number, dialog, title and whether it starts closed.
struct RolloutInfo {
    int map;
    int dialog;
    const wchar_t* title;
    bool startsClosed;
};
// The eight rollouts in map order.
std::span<const RolloutInfo> rollouts();

// The template of a dialog id; throws std::out_of_range for an id the library has not.
const DialogTemplate& dialogTemplate(int id);

// Every parameter bound to a control, with its rollout's dialog id.
std::span<const ParamBinding> parameterMaps();

} // namespace wkCacheDialogs
