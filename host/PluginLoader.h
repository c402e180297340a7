// Loading the sibling plug-in: an optional module of another product, found beside ours, whose
// one export recording calls when it is there.
#pragma once

#include "host/Strings.h"

class PluginLoader {
public:
    virtual ~PluginLoader() = default;

    // Whether the sibling module has been loaded. Once loaded it stays for the host's life.
    virtual bool SiblingLoaded() const = 0;
    // Loads the module at `path`; false for an empty path or a module that does not load.
    virtual bool LoadSibling(const WStr& path) = 0;
    // The address of an export of the loaded module, or null.
    virtual void* GetSiblingExport(const char* name) = 0;
};
