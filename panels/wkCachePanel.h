// The cache object's panel: its eight rollouts in the host's command panel while the object is
// being edited, and the refresh functions that keep them in step with the object.
//
// Only one object's panel is open at a time, as in the host. Every refresh function returns at
// once unless the panel of that object is open, so the object and scripts call them freely.
#pragma once

#include "host/PanelControls.h"
#include "host/Time.h"

#include <array>
#include <memory>
#include <vector>

class wkCache_obj;

class wkCachePanel {
public:
    // Opens the object's panel as its BeginEditParams starts it: rollouts, parameter maps and
    // the status painter; the object refreshes them next. A panel open for another object is
    // closed first.
    static void open(wkCache_obj& object);
    // Closes the panel of whatever object has it (its EndEditParams); nothing when none has.
    static void close();
    // The open panel, or null; with an object, only that object's.
    static wkCachePanel* current();
    static wkCachePanel* of(const wkCache_obj& object);

    ~wkCachePanel();
    wkCachePanel(const wkCachePanel&) = delete;
    wkCachePanel& operator=(const wkCachePanel&) = delete;

    wkCache_obj& object() { return obj; }
    // The rollout of a dialog id, or null.
    PanelWindow* rollout(int dialogId) const;

    // ---- Refresh
    // Enabling rules, the file name field, and with firstOpen the images and tooltips.
    void updatePanels(bool firstOpen);
    void refreshNodeList();
    void refreshGroupList();
    void refreshGroupControls(TimeValue t);
    // With a text: shows it. Without: the state of the object's cache.
    void refreshStatus(const WStr* text);
    void refreshFileInfo();
    // Keeps the numbers of the status bar and paints it.
    void setProgress(int done, int total);

    // The action whose controls the Per-Element rollout shows: -2 none yet, -1 no group.
    int shownActionLayout = -2;

private:
    explicit wkCachePanel(wkCache_obj& object);
    // The status field's painter: the bar while progress numbers stand.
    bool paintStatus(PanelCanvas& canvas);

    wkCache_obj& obj;
    PanelControls& host;
    std::vector<std::unique_ptr<PanelDlgProc>> procs;
    std::vector<PanelWindow*> windows; // in map order
};

// The refresh functions by object: each does nothing unless that object's panel is open.
namespace wkCachePanels {
void updatePanels(wkCache_obj& object, bool firstOpen);
void refreshNodeList(wkCache_obj& object);
void refreshGroupList(wkCache_obj& object);
void refreshGroupControls(wkCache_obj& object, TimeValue t);
void refreshStatus(wkCache_obj& object, const WStr* text);
void refreshFileInfo(wkCache_obj& object);
void setProgress(wkCache_obj& object, int done, int total);
} // namespace wkCachePanels
