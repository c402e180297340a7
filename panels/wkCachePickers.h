// The pickers: the pick mode that adds scene nodes to the node list, the node dialog over the
// host's select-by-name dialog, the resizable element dialog behind both "Select By Name.."
// buttons, and the group name prompt.
#pragma once

#include "host/PanelControls.h"

#include <cstdint>
#include <set>

class wkCache_obj;
namespace WelkardTools {
class wkCacheReader;
}

// The pick mode of the Pick button: each node picked goes to the node list, until a click hits
// nothing.
class wkCachePick final : public PickModeCallback {
public:
    // The one instance; `object` is set when the Pick button is pressed.
    static wkCachePick& instance();
    wkCache_obj* object = nullptr;

    bool filter(INode* node) override;
    bool pick(INode* node) override;
    void enterMode() override;
    void exitMode() override;
};

// The node dialog of the Add button: offers the nodes the node list would take, and appends
// the chosen ones as one undoable step.
void addNodesByName(wkCache_obj& object);

// The element dialog. `selection` comes in marked and goes out as the marked rows; `filter`
// likewise (OK empties it). False when cancelled.
struct GroupElementsRequest {
    WStr title;
    WStr label;
    WStr filter;
    std::set<std::uint32_t> selection;
    const WelkardTools::wkCacheReader* reader = nullptr;
};
bool runGroupElementsDialog(GroupElementsRequest& request);

// The dialog's rectangle when it last closed, kept for the process.
struct LastDialogRect {
    bool set = false;
    PanelRect rect;
};
LastDialogRect& lastDialogRect();

// The group name prompt over `name`; false when cancelled.
bool promptGroupName(WStr& name);

// Button 1110: the element selection by name, one undoable step when it changes.
void selectElementsByName(wkCache_obj& object);
// Button 1086: the selected group's elements by name; like 1110, nothing without a readable
// cache.
void selectGroupElementsByName(wkCache_obj& object);
