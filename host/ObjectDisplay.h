// The display interface of a scene object: how a viewport has an object shown. The viewport
// asks the object for it by its id (GetInterface), readies the object once per redraw at a
// time, then has it shown for each node that holds it.
//
// This host has one drawing route: an object shows itself through the GraphicsWindow of the
// view, so the node's step carries what that drawing needs (the node, the view and the
// display flags) where a retained-mode host would hand over a list of render items.
#pragma once

#include "host/FPInterface.h"
#include "host/Time.h"

class INode;
class ViewExp;

namespace MaxSDK::Graphics {

inline constexpr Interface_ID IOBJECT_DISPLAY2_INTERFACE_ID{0x471404B6, 0x71EE66A1};

// A redraw of the views at one time.
struct UpdateDisplayContext {
    TimeValue t = 0;
};

// One node of that redraw, and the view it is drawn into.
struct UpdateNodeContext {
    INode* node = nullptr;
    ViewExp* view = nullptr;
    int flags = 0; // bit 0: draw only inside the view's damaged rectangle
};

class IObjectDisplay2 : public BaseInterface {
public:
    Interface_ID GetID() const override { return IOBJECT_DISPLAY2_INTERFACE_ID; }
    // Readies what the object shows at the context's time, for every node. True when done.
    virtual bool PrepareDisplay(const UpdateDisplayContext& context) = 0;
    // Shows the object for one node. True when done.
    virtual bool UpdatePerNodeItems(const UpdateDisplayContext& context,
                                    UpdateNodeContext& nodeContext) = 0;
};

} // namespace MaxSDK::Graphics
