// The library's dialog resources: the eight rollouts of the cache object's panel, the two
// picker dialogs and the extra controls of the cache file dialogs; and the parameter maps that
// bind the parameter block to the rollouts.
#pragma once

#include "host/PanelControls.h"

#include <span>

namespace wkCacheDialogs {

// Dialog ids.
inline constexpr int kCacheFile = 101;
inline constexpr int kViewportRender = 102;
inline constexpr int kRecord = 103;
inline constexpr int kPlayback = 104;
inline constexpr int kFileDialogExtra = 105;
inline constexpr int kPerElement = 106;
inline constexpr int kGroupName = 107;
inline constexpr int kGroupElements = 108;
inline constexpr int kFileInfo = 109;
inline constexpr int kExplode = 110;
inline constexpr int kAbout = 111;

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
