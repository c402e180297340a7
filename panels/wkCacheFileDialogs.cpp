#include "panels/wkCacheFileDialogs.h"

#include "host/Host.h"
#include "host/Path.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace {

constexpr const wchar_t* kSaveTitle = L"Specify Cache File";
constexpr const wchar_t* kExtension = L"wkc";
constexpr const wchar_t* kReplaceFormat = L"%s already exists.\nDo you wish to replace it?"; // 59
constexpr const wchar_t* kReplaceTitle = L"Save Cache";                                      // 63

WStr cleanSuggestion(const WStr& suggestion) {
    std::wstring text = suggestion.str();
    for (wchar_t& c : text) {
        const bool keep =
            (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
        if (!keep)
            c = L'_';
    }
    WStr cleaned;
    cleaned.printf(L"%s.wkc", text.c_str());
    return cleaned;
}

bool fileExists(const WStr& path) {
    std::error_code ec;
    return std::filesystem::exists(MaxSDK::Util::Path(path).ToFilesystemPath(), ec);
}

} // namespace

bool specifyCacheFile(AssetUser& asset, WStr& name, bool complete) {
    Host& host = GetHost();
    UserInterface& ui = host.UI();
    Assets& assets = host.Assets();

    WStr chosen = complete ? cleanSuggestion(name) : name;
    if (!ui.SaveFileDialog(kSaveTitle, chosen, kExtension))
        return false;
    for (;;) {
        const AssetUser candidate = assets.GetAsset(chosen, kAssetTypeCache);
        WStr full;
        if (!assets.GetFullFilePath(candidate, full) || !fileExists(full)) {
            asset = candidate;
            name = full.IsEmpty() ? chosen : full;
            return true;
        }
        WStr question;
        question.printf(kReplaceFormat, full.data());
        if (ui.MessageBox(question, kReplaceTitle, MB_YESNO) == IDYES) {
            std::remove(MaxSDK::Util::Path(full).ToFilesystemPath().c_str());
            asset = candidate;
            name = full;
            return true;
        }
        if (!ui.SaveFileDialog(kSaveTitle, chosen, kExtension))
            return false;
    }
}
