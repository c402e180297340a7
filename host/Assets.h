// File references of the host's asset manager: a parameter holds an asset, and the asset
// resolves to the full path of its file.
#pragma once

#include "host/Strings.h"

// Asset types the core asks for.
inline constexpr int kAssetTypeCache = 4; // a cache file

// A reference to a file as the host keeps it. The null asset refers to nothing.
class AssetUser {
public:
    AssetUser() = default;
    AssetUser(WStr fileName, int type) : name(std::move(fileName)), assetType(type) {}

    bool IsNull() const { return name.IsEmpty(); }
    // The name as given: absolute, or relative to where the host resolves names.
    const WStr& GetFileName() const { return name; }
    int GetType() const { return assetType; }

    bool operator==(const AssetUser&) const = default;

private:
    WStr name;
    int assetType = 0;
};

class Assets {
public:
    virtual ~Assets() = default;

    // The asset of a file name, made if the manager does not know it yet; the null asset for
    // an empty name.
    virtual AssetUser GetAsset(const WStr& fileName, int assetType) = 0;
    // The full path of the asset's file; false when it cannot be resolved.
    virtual bool GetFullFilePath(const AssetUser& asset, WStr& fullPath) = 0;
};
