#include "host/headless/HeadlessPluginManager.h"

#include "host/SceneObject.h"

#include <algorithm>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace {

std::string hex(unsigned long value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%lX", value);
    return text;
}

std::string classText(SClass_ID superClass, const Class_ID& id) {
    return "class (" + hex(id.PartA()) + ", " + hex(id.PartB()) + ") of superclass " +
           hex(superClass);
}

} // namespace

HeadlessPluginManager::~HeadlessPluginManager() {
    for (auto it = modules.rbegin(); it != modules.rend(); ++it) {
        it->shutdown();
        dlclose(it->handle);
    }
}

std::string HeadlessPluginManager::DefaultFolder() {
    if (const char* env = std::getenv("WKCACHE_PLUGIN_DIR"); env != nullptr && *env != '\0')
        return env;
    std::error_code ec;
#ifdef WKCACHE_BUILD_PLUGIN_DIR
    if (fs::is_directory(WKCACHE_BUILD_PLUGIN_DIR, ec))
        return WKCACHE_BUILD_PLUGIN_DIR;
#endif
    const fs::path program = fs::read_symlink("/proc/self/exe", ec);
    if (ec)
        return "plugins";
    return (program.parent_path().parent_path() / "lib" / "wkcache" / "plugins").string();
}

int HeadlessPluginManager::LoadFolder(const std::string& folder) {
    folderLoaded = true;
    std::error_code ec;
    std::vector<fs::path> files;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        if (it->path().extension() == ".so" && it->is_regular_file(ec))
            files.push_back(it->path());
    std::sort(files.begin(), files.end());
    int accepted = 0;
    for (const fs::path& file : files)
        accepted += LoadModule(file.string()) ? 1 : 0;
    return accepted;
}

bool HeadlessPluginManager::refuse(const std::string& path, std::string reason, void* handle) {
    if (handle != nullptr)
        dlclose(handle);
    refusals.push_back({path, std::move(reason)});
    return false;
}

bool HeadlessPluginManager::LoadModule(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* error = dlerror();
        return refuse(path, error != nullptr ? error : "cannot be loaded", nullptr);
    }
    auto find = [handle](const char* name) { return dlsym(handle, name); };
    static constexpr const char* kExports[] = {"LibDescription", "LibNumberClasses", "LibClassDesc",
                                               "LibVersion",     "LibInitialize",    "LibShutdown"};
    void* exports[6];
    for (int i = 0; i < 6; ++i) {
        exports[i] = find(kExports[i]);
        if (exports[i] == nullptr)
            return refuse(path, std::string("missing export ") + kExports[i], handle);
    }
    const auto version = reinterpret_cast<LibVersionFn>(exports[3])();
    if (version != kHostPluginApiVersion)
        return refuse(
            path, "version " + hex(version) + " where the host needs " + hex(kHostPluginApiVersion),
            handle);
    if (reinterpret_cast<LibInitializeFn>(exports[4])() == 0)
        return refuse(path, "LibInitialize failed", handle);
    modules.push_back({handle, reinterpret_cast<LibShutdownFn>(exports[5])});

    const auto classDesc = reinterpret_cast<LibClassDescFn>(exports[2]);
    const int count = reinterpret_cast<LibNumberClassesFn>(exports[1])();
    for (int i = 0; i < count; ++i)
        if (ClassDesc2* desc = classDesc(i); desc != nullptr)
            classes.push_back({desc, path});
    return true;
}

ClassDesc2* HeadlessPluginManager::Find(SClass_ID superClass, const Class_ID& id) const {
    for (const ClassEntry& entry : classes)
        if (entry.desc->SuperClassID() == superClass && entry.desc->ClassID() == id)
            return entry.desc;
    return nullptr;
}

std::unique_ptr<SceneObject> HeadlessPluginManager::Create(SClass_ID superClass, const Class_ID& id,
                                                           bool loading) {
    if (!folderLoaded)
        LoadFolder(DefaultFolder());
    ClassDesc2* desc = Find(superClass, id);
    if (desc == nullptr) {
        std::string message = "no plug-in module provides " + classText(superClass, id);
        for (const Refusal& r : refusals)
            message += "; " + r.path + " refused: " + r.reason;
        if (modules.empty() && refusals.empty())
            message += " (no modules found; set WKCACHE_PLUGIN_DIR to the module folder)";
        throw std::runtime_error(message);
    }
    return std::unique_ptr<SceneObject>(desc->Create(loading));
}
