// The dialog procedures of the rollouts: what the panel adds to the parameter maps (command
// buttons and their SHIFT meanings, the lists, the range buttons, the drag states).
#pragma once

#include "host/PanelControls.h"

#include <memory>

class wkCache_obj;

// Each procedure holds the object whose panel it serves.
class wkCacheDlgProc : public PanelDlgProc {
public:
    explicit wkCacheDlgProc(wkCache_obj& object_) : object(object_) {}

protected:
    wkCache_obj& object;
};

// Cache File (101): the file operations.
class wkCacheDlgProc_main final : public wkCacheDlgProc {
public:
    using wkCacheDlgProc::wkCacheDlgProc;
    bool DlgProc(TimeValue t, PanelWindow& w, const PanelMessage& m) override;
};

// Record (103): the node list and recording.
class wkCacheDlgProc_writer final : public wkCacheDlgProc {
public:
    using wkCacheDlgProc::wkCacheDlgProc;
    bool DlgProc(TimeValue t, PanelWindow& w, const PanelMessage& m) override;
};

// Playback (104): the unit lists and "Update Now".
class wkCacheDlgProc_reader final : public wkCacheDlgProc {
public:
    using wkCacheDlgProc::wkCacheDlgProc;
    bool DlgProc(TimeValue t, PanelWindow& w, const PanelMessage& m) override;
};

// Per-Element Control (106): the groups.
class wkCacheDlgProc_groups final : public wkCacheDlgProc {
public:
    using wkCacheDlgProc::wkCacheDlgProc;
    bool DlgProc(TimeValue t, PanelWindow& w, const PanelMessage& m) override;

private:
    bool command(TimeValue t, PanelWindow& w, const PanelMessage& m);
    void spinner(TimeValue t, PanelWindow& w, const PanelMessage& m);
};

// Explode to Objects (110).
class wkCacheDlgProc_explode final : public wkCacheDlgProc {
public:
    using wkCacheDlgProc::wkCacheDlgProc;
    bool DlgProc(TimeValue t, PanelWindow& w, const PanelMessage& m) override;
};

// The procedure of a rollout's dialog id, or null for a rollout without one.
std::unique_ptr<PanelDlgProc> makeDlgProc(int dialogId, wkCache_obj& object);
