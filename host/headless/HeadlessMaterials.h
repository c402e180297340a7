// The headless host's material libraries: a small text format of its own (described in
// docs/material-library.md), read and written in-process.
#pragma once

#include "host/Materials.h"

#include <optional>
#include <string>
#include <string_view>

// Appends the entries of a library text to `lib`. On any error answers false and leaves `lib`
// as it was.
bool ParseMaterialLibrary(std::string_view text, MtlBaseLib& lib);
// The text of a library; nothing for one that the format cannot hold (an entry of another
// kind, or sub-materials nested deeper than the format allows, as a cycle would).
std::optional<std::string> FormatMaterialLibrary(const MtlBaseLib& lib);

class HeadlessMaterials final : public Materials {
public:
    bool LoadMaterialLibrary(const WStr& path, MtlBaseLib& lib) override;
    // False also for a library the format cannot hold.
    bool SaveMaterialLibrary(const WStr& path, const MtlBaseLib& lib) override;
};
