#include "object/wkCachePanelHooks.h"

namespace {

wkCachePanelHooks noPanels;
wkCachePanelHooks* installed = &noPanels;

} // namespace

wkCachePanelHooks& PanelHooks() {
    return *installed;
}

void SetPanelHooks(wkCachePanelHooks* hooks) {
    installed = hooks != nullptr ? hooks : &noPanels;
}
