// The cache object's plug-in module: the six exports and the one class descriptor. The object's
// code lives in the core library, which the host program links too, so that the process holds
// one copy of every global (the registry of open caches, the installed host, the parameter
// block description).
#include "host/ClassDesc.h"
#include "object/wkCache_obj.h"
#include "panels/wkCacheRolloutHooks.h"

#include <dlfcn.h>

#define WKCACHE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The module's handle, known once the module is loaded (the address of a symbol of ours tells
// which module we are).
void* moduleHandle() {
    static void* const handle = [] {
        Dl_info info{};
        if (dladdr(reinterpret_cast<void*>(&moduleHandle), &info) == 0)
            return static_cast<void*>(nullptr);
        void* self = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
        // Only the address is kept; the reference RTLD_NOLOAD added is given back at once.
        if (self != nullptr)
            dlclose(self);
        return self;
    }();
    return handle;
}

class wkCache_objClassDesc final : public ClassDesc2 {
public:
    int IsPublic() override { return 1; }
    SceneObject* Create(bool loading) override { return new wkCache_obj(loading); }
    const wchar_t* ClassName() override { return L"WK Cache"; }
    const wchar_t* NonLocalizedClassName() override { return L"WK Cache"; }
    const wchar_t* InternalName() override { return L"WK_Cache"; }
    SClass_ID SuperClassID() override { return GEOMOBJECT_CLASS_ID; }
    Class_ID ClassID() override { return wkCache_obj::kClassID; }
    const wchar_t* Category() override { return L"Welkard"; }
    void* HInstance() override { return moduleHandle(); }
};

wkCache_objClassDesc theClassDesc;

} // namespace

WKCACHE_EXPORT const wchar_t* LibDescription() {
    return moduleHandle() != nullptr ? L"Welkard" : nullptr;
}

WKCACHE_EXPORT int LibNumberClasses() {
    return 1;
}

WKCACHE_EXPORT ClassDesc2* LibClassDesc(int i) {
    return i == 0 ? &theClassDesc : nullptr;
}

WKCACHE_EXPORT unsigned long LibVersion() {
    return kHostPluginApiVersion;
}

// The object's panels sit above it: they are connected here, where both are known.
WKCACHE_EXPORT int LibInitialize() {
    SetPanelHooks(&RolloutHooks());
    return 1;
}

WKCACHE_EXPORT int LibShutdown() {
    return 1;
}
