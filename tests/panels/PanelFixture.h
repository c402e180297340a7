// A cache object with its panel open in a headless scene, and a user at the panel.
#pragma once

#include "cachefile/wkCacheRegistry.h"
#include "host/headless/PanelDriver.h"
#include "object/wkCache_obj.h"
#include "panels/wkCachePanel.h"
#include "panels/wkCacheRolloutHooks.h"
#include "tests/object/CacheObjectFixture.h"
#include "tests/recording/RecordTestScene.h"

namespace paneltest {

namespace P = wkCacheParam;

class PanelTest : public rectest::RecordTest {
protected:
    HeadlessPanelHost& panels = host.Panels();
    PanelDriver user{panels};
    wkCache_obj* object = nullptr;
    HeadlessNode* objectNode = nullptr;

    void SetUp() override {
        theCacheRegistry.setMaterials(&host.Materials());
        object = scene.Add(std::make_unique<wkCache_obj>());
        objectNode = scene.CreateNode(L"Cache", object);
        SetPanelHooks(&RolloutHooks());
        object->BeginEditParams(&panels);
    }
    void TearDown() override {
        object->EndEditParams();
        SetPanelHooks(nullptr);
        theCacheRegistry.evictAll();
        theCacheRegistry.setMaterials(nullptr);
    }
    // The object plays a two-element cache ("a", "b") written to `name`.
    void loadTwoElements(const std::string& name = "two.wkc") {
        dir.write(name, objtest::twoElementCache());
        object->setFileName(host.Assets().GetAsset(wpath(name), kAssetTypeCache));
        object->updateCacheMesh(0);
    }
    IParamBlock2& params() { return object->params(); }
    wkCachePanel& panel() { return *wkCachePanel::of(*object); }
    const wkCacheGroupList& groups() const { return object->playbackRecord().groups; }
    WStr lastUndo() {
        const int n = host.Hold().NumUndoSteps();
        return n > 0 ? host.Hold().UndoStepName(n - 1) : WStr();
    }
};

} // namespace paneltest
