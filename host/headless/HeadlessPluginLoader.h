// The headless plug-in loader: the sibling module is a shared library, opened with dlopen and
// closed when the host ends (a host process would keep it to its end).
#pragma once

#include "host/PluginLoader.h"

class HeadlessPluginLoader final : public PluginLoader {
public:
    HeadlessPluginLoader() = default;
    ~HeadlessPluginLoader() override;
    HeadlessPluginLoader(const HeadlessPluginLoader&) = delete;
    HeadlessPluginLoader& operator=(const HeadlessPluginLoader&) = delete;

    bool SiblingLoaded() const override { return module != nullptr; }
    // A second load while one module is loaded keeps the first and answers true.
    bool LoadSibling(const WStr& path) override;
    void* GetSiblingExport(const char* name) override;

    // Loads that were tried, successful or not.
    int LoadAttempts() const { return attempts; }

private:
    void* module = nullptr;
    int attempts = 0;
};
