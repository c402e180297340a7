#include "host/headless/HeadlessPluginLoader.h"

#include "host/Path.h"

#include <dlfcn.h>

HeadlessPluginLoader::~HeadlessPluginLoader() {
    if (module != nullptr)
        dlclose(module);
}

bool HeadlessPluginLoader::LoadSibling(const WStr& path) {
    ++attempts;
    if (module != nullptr)
        return true;
    if (path.IsEmpty())
        return false;
    // A bare name would make dlopen search the library path; the sibling is found by its path
    // relative to the working directory, so keep it a path.
    std::string file = MaxSDK::Util::Path(path).ToFilesystemPath().string();
    if (file.find('/') == std::string::npos)
        file = "./" + file;
    module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    return module != nullptr;
}

void* HeadlessPluginLoader::GetSiblingExport(const char* name) {
    return module == nullptr ? nullptr : dlsym(module, name);
}
