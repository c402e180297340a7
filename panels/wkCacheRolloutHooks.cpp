#include "panels/wkCacheRolloutHooks.h"

#include "object/wkCache_obj.h"
#include "panels/wkCacheDialogs.h"
#include "panels/wkCacheFileDialogs.h"
#include "panels/wkCachePanel.h"
#include "panels/wkCachePickers.h"

namespace {

class wkCacheRolloutHooks final : public wkCachePanelHooks {
public:
    void opened(wkCache_obj& object) override { wkCachePanel::open(object); }
    void closing(wkCache_obj& object) override {
        if (wkCachePanel::of(object) != nullptr)
            wkCachePanel::close();
    }
    void updatePanels(wkCache_obj& object, bool firstOpen) override {
        wkCachePanels::updatePanels(object, firstOpen);
    }
    void refreshNodeList(wkCache_obj& object) override { wkCachePanels::refreshNodeList(object); }
    void refreshGroupList(wkCache_obj& object) override { wkCachePanels::refreshGroupList(object); }
    void refreshGroupControls(wkCache_obj& object, int t) override {
        wkCachePanels::refreshGroupControls(object, t);
    }
    void refreshStatus(wkCache_obj& object) override {
        wkCachePanels::refreshStatus(object, nullptr);
    }
    void refreshFileInfo(wkCache_obj& object) override { wkCachePanels::refreshFileInfo(object); }
    void showGroupFrame(wkCache_obj& object, float value, bool hasKey) override {
        wkCachePanel* panel = wkCachePanel::of(object);
        PanelWindow* w = panel != nullptr ? panel->rollout(wkCacheDialogs::kPerElement) : nullptr;
        if (w == nullptr)
            return;
        w->SetSpinnerValue(wkCacheDialogs::kFrameSpinner, value, false);
        w->SetKeyBrackets(wkCacheDialogs::kFrameSpinner, hasKey);
    }
    bool chooseCacheFileToWrite(wkCache_obj&, AssetUser& asset, WStr& name,
                                bool complete) override {
        return specifyCacheFile(asset, name, complete);
    }
    bool chooseCacheFileToOpen(wkCache_obj&, AssetUser& asset) override {
        return selectCacheFile(asset);
    }
    bool askGroupName(wkCache_obj&, WStr& name) override { return promptGroupName(name); }
};

} // namespace

wkCachePanelHooks& RolloutHooks() {
    static wkCacheRolloutHooks hooks;
    return hooks;
}
