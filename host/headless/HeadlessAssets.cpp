#include "host/headless/HeadlessAssets.h"

#include "host/Path.h"

#include <filesystem>
#include <system_error>

AssetUser HeadlessAssets::GetAsset(const WStr& fileName, int assetType) {
    if (fileName.IsEmpty())
        return {};
    return {fileName, assetType};
}

bool HeadlessAssets::GetFullFilePath(const AssetUser& asset, WStr& fullPath) {
    if (asset.IsNull())
        return false;
    std::error_code ec;
    const std::filesystem::path given = MaxSDK::Util::Path(asset.GetFileName()).ToFilesystemPath();
    const std::filesystem::path full = std::filesystem::absolute(given, ec).lexically_normal();
    if (ec || !full.has_filename())
        return false;
    if (!std::filesystem::is_directory(full.parent_path(), ec))
        return false;
    fullPath = WStr::FromUTF8(full.string());
    return true;
}
