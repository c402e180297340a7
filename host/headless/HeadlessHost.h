// The headless host: every host service implemented in-process, for tools and tests.
//
// Its accessors return the concrete headless services, so whoever holds the HeadlessHost can
// script them (host.Time().SetFrameRate(25)) while the core, through GetHost(), sees only the
// abstract interfaces. Install it with ScopedHost.
#pragma once

#include "host/Host.h"
#include "host/headless/HeadlessAssets.h"
#include "host/headless/HeadlessKeyControl.h"
#include "host/headless/HeadlessListener.h"
#include "host/headless/HeadlessMaterials.h"
#include "host/headless/HeadlessPRSControl.h"
#include "host/headless/HeadlessPanels.h"
#include "host/headless/HeadlessParamBlock.h"
#include "host/headless/HeadlessPluginLoader.h"
#include "host/headless/HeadlessPluginManager.h"
#include "host/headless/HeadlessScene.h"
#include "host/headless/HeadlessTime.h"
#include "host/headless/HeadlessUndoHold.h"
#include "host/headless/HeadlessUserInterface.h"

class HeadlessHost final : public Host {
public:
    HeadlessTime& Time() override { return clock; }
    HeadlessScene& Nodes() override { return scene; }
    HeadlessUndoHold& Hold() override { return hold; }
    HeadlessMaterials& Materials() override { return materials; }
    HeadlessAssets& Assets() override { return assets; }
    HeadlessUserInterface& UI() override { return ui; }
    HeadlessPluginLoader& Plugins() override { return plugins; }
    HeadlessListener& Listener() override { return listener; }
    Notifications& Notify() override { return notifications; }
    HeadlessPanelHost& Panels() override { return panels; }
    // The plug-in modules and their classes: scene objects of plug-in classes are made here.
    HeadlessPluginManager& Modules() { return modules; }
    std::unique_ptr<IParamBlock2> CreateParamBlock(const ParamBlockDesc2& desc,
                                                   ReferenceMaker& owner) override {
        return std::make_unique<HeadlessParamBlock>(desc, owner, &hold);
    }
    std::unique_ptr<MatrixControl> NewDefaultMatrix3Controller(ReferenceMaker& owner) override {
        auto control = std::make_unique<HeadlessPRSControl>();
        control->SetDependent(&owner);
        return control;
    }

    std::unique_ptr<Control> CreateControl(SClass_ID superClass, Class_ID classID) override {
        return CreateHeadlessKeyControl(superClass, classID);
    }
    std::unique_ptr<MatrixControl> CreatePRSControl() override {
        return std::make_unique<HeadlessPRSControl>();
    }

private:
    // Members end in reverse order: the scene (whose objects a plug-in may have made) before
    // the hold that may still hold records about it, and both before the plug-ins' code.
    HeadlessPluginManager modules;
    HeadlessPluginLoader plugins;
    HeadlessTime clock;
    HeadlessMaterials materials;
    HeadlessAssets assets;
    HeadlessUserInterface ui;
    HeadlessListener listener;
    Notifications notifications;
    HeadlessUndoHold hold;
    HeadlessScene scene{hold, notifications};
    // Panels end first: a rollout's procedure may still refer to the scene's objects.
    HeadlessPanelHost panels{scene};
};
