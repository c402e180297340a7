// The dialog procedures of the rollouts: what the panel adds to the parameter maps (command
// buttons and their SHIFT meanings, the lists, the range buttons, the drag states).
#pragma once

#include "host/PanelControls.h"
#include "panels/wkCacheDialogs.h"

#include <memory>

class wkCache_obj;

// Each procedure holds the object whose panel it serves.
class wkCacheDlgProc : public PanelDlgProc {
public:
    explicit wkCacheDlgProc(wkCache_obj& object_) : object(object_) {}

protected:
    wkCache_obj& object;
};

// A rollout whose procedure is one DlgProc, defined for its dialog id.
template <int DialogId> class wkCacheRolloutDlgProc final : public wkCacheDlgProc {
public:
    using wkCacheDlgProc::wkCacheDlgProc;
    bool DlgProc(TimeValue t, PanelWindow& w, const PanelMessage& m) override;
};

// Cache File: the file operations.
using wkCacheDlgProc_main = wkCacheRolloutDlgProc<wkCacheDialogs::kCacheFile>;
// Record: the node list and recording.
using wkCacheDlgProc_writer = wkCacheRolloutDlgProc<wkCacheDialogs::kRecord>;
// Playback: the unit lists and "Update Now".
using wkCacheDlgProc_reader = wkCacheRolloutDlgProc<wkCacheDialogs::kPlayback>;
// Explode to Objects.
using wkCacheDlgProc_explode = wkCacheRolloutDlgProc<wkCacheDialogs::kExplode>;

// Per-Element Control (106): the groups.
class wkCacheDlgProc_groups final : public wkCacheDlgProc {
public:
    using wkCacheDlgProc::wkCacheDlgProc;
    bool DlgProc(TimeValue t, PanelWindow& w, const PanelMessage& m) override;

private:
    bool command(TimeValue t, PanelWindow& w, const PanelMessage& m);
    void spinner(TimeValue t, PanelWindow& w, const PanelMessage& m);
};

// The procedure of a rollout's dialog id, or null for a rollout without one.
std::unique_ptr<PanelDlgProc> makeDlgProc(int dialogId, wkCache_obj& object);
