// The headless asset manager: an asset is its file name, resolved against the working
// directory. A name resolves when its folder exists (the file itself need not), so that a new
// file can be named before it is written.
#pragma once

#include "host/Assets.h"

class HeadlessAssets final : public Assets {
public:
    AssetUser GetAsset(const WStr& fileName, int assetType) override;
    // The absolute, lexically normal path; false for the null asset, a name that ends in a
    // separator, or a folder that does not exist.
    bool GetFullFilePath(const AssetUser& asset, WStr& fullPath) override;
};
