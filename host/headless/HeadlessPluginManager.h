// The headless plug-in manager: what the host application does with plug-in modules. It loads
// every module of a folder with dlopen, checks and calls the six exports, lists the classes of
// the accepted modules, creates objects by class id through their descriptors and, at its end,
// shuts the modules down and unloads them.
#pragma once

#include "host/ClassDesc.h"

#include <memory>
#include <string>
#include <vector>

class HeadlessPluginManager {
public:
    // A module file that was not loaded, and why.
    struct Refusal {
        std::string path;
        std::string reason;
    };
    struct ClassEntry {
        ClassDesc2* desc;
        std::string module;
    };

    HeadlessPluginManager() = default;
    // Calls LibShutdown of every loaded module, then unloads it. Objects made by a module must
    // be gone by then.
    ~HeadlessPluginManager();
    HeadlessPluginManager(const HeadlessPluginManager&) = delete;
    HeadlessPluginManager& operator=(const HeadlessPluginManager&) = delete;

    // The folder of the installed modules: $WKCACHE_PLUGIN_DIR if set, else the build's module
    // folder if it exists, else lib/wkcache/plugins beside the program's bin/ folder.
    static std::string DefaultFolder();

    // Loads every "*.so" file of `folder` (in name order); answers how many were accepted.
    // Refused ones are listed in Refusals(). A folder that doesn't exist loads nothing.
    int LoadFolder(const std::string& folder);
    // Loads one module; false, with a refusal recorded, when it is not a valid module.
    bool LoadModule(const std::string& path);

    const std::vector<ClassEntry>& Classes() const { return classes; }
    const std::vector<Refusal>& Refusals() const { return refusals; }
    // The descriptor of a class, or null.
    ClassDesc2* Find(SClass_ID superClass, const Class_ID& id) const;

    // A new object of the class, made by its descriptor with the loading flag. The default
    // folder is loaded first when nothing has been loaded yet. Throws std::runtime_error naming
    // the class and the refused modules when no module has the class.
    std::unique_ptr<SceneObject> Create(SClass_ID superClass, const Class_ID& id,
                                        bool loading = false);

private:
    struct Module {
        void* handle;
        LibShutdownFn shutdown;
    };
    bool refuse(const std::string& path, std::string reason, void* handle);

    std::vector<Module> modules;
    std::vector<ClassEntry> classes;
    std::vector<Refusal> refusals;
    bool folderLoaded = false;
};
