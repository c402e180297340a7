// The host as the core sees it: one set of services, reached through GetHost().
//
// Exactly one Host is installed at a time. A host binding installs its own for the life of the
// process; tools and tests install a HeadlessHost for as long as they need one. The core never
// keeps the references it gets here beyond the operation that asked for them, so swapping the
// host between operations is safe.
#pragma once

#include "host/Assets.h"
#include "host/HostTime.h"
#include "host/Materials.h"
#include "host/Notifications.h"
#include "host/PanelControls.h"
#include "host/ParamBlock.h"
#include "host/PluginLoader.h"
#include "host/SceneNodes.h"
#include "host/UndoHold.h"
#include "host/UserInterface.h"

#include <memory>

class Host {
public:
    virtual ~Host() = default;

    virtual HostTime& Time() = 0;
    virtual SceneNodes& Nodes() = 0;
    virtual UndoHold& Hold() = 0;
    virtual ::Materials& Materials() = 0;
    virtual ::Assets& Assets() = 0;
    virtual UserInterface& UI() = 0;
    virtual PluginLoader& Plugins() = 0;
    virtual ::Notifications& Notify() = 0;
    virtual PanelControls& Panels() = 0;

    // A new block of `desc` at its defaults, telling `owner` of its changes. `desc` must
    // outlive the block.
    virtual std::unique_ptr<IParamBlock2> CreateParamBlock(const ParamBlockDesc2& desc,
                                                           ReferenceMaker& owner) = 0;
    // A new transform controller at the identity, referenced by `owner`.
    virtual std::unique_ptr<MatrixControl> NewDefaultMatrix3Controller(ReferenceMaker& owner) = 0;
    // A new controller of the class (superclass and class id, see KeyControl.h), or null for
    // one the host does not know.
    virtual std::unique_ptr<Control> CreateControl(SClass_ID superClass, Class_ID classID) = 0;
    // A new transform controller made of a position, a rotation and a scale controller.
    virtual std::unique_ptr<MatrixControl> CreatePRSControl() = 0;
};

// The installed host. Throws std::logic_error when none is installed: a silent default would
// let one test's settings leak into the next.
Host& GetHost();

// Installs a host for the lifetime of this object and puts the previous one (or none) back
// afterwards. Scopes nest; they must end in reverse order of their start, as stack objects do.
class ScopedHost {
public:
    explicit ScopedHost(Host& host);
    ~ScopedHost();

    ScopedHost(const ScopedHost&) = delete;
    ScopedHost& operator=(const ScopedHost&) = delete;

private:
    Host* previous;
};
