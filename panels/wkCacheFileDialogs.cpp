#include "panels/wkCacheFileDialogs.h"

#include "host/HistoryList.h"
#include "host/Host.h"
#include "host/Path.h"
#include "panels/wkCacheDialogs.h"

#include <cstdio>
#include <cwctype>
#include <filesystem>
#include <system_error>

namespace D = wkCacheDialogs;

namespace {

constexpr const wchar_t* kOpenTitle = L"Select Cache File";
constexpr const wchar_t* kSaveTitle = L"Specify Cache File";
constexpr const wchar_t* kFilterLabel = L"Welkard Cache Files (*.wkc)";
constexpr const wchar_t* kFilterSpec = L"*.wkc";
constexpr const wchar_t* kExtension = L"wkc";
constexpr const wchar_t* kHistoryName = L"WK Cache"; // string 3
constexpr const wchar_t* kReplaceFormat = L"%s already exists.\nDo you wish to replace it?"; // 59
constexpr const wchar_t* kReplaceTitle = L"Save Cache";                                      // 63
constexpr unsigned kOpenFlags = 0x880864;
constexpr unsigned kSaveFlags = 0x881864;
constexpr int kFolderDir = 3;
// The plus button's place: OK and Cancel move 14 down, and the plus button, 24 high and as
// wide as OK, stands right above OK, its top 28 above OK's (so 4 apart).
constexpr int kButtonShift = 14;
constexpr int kPlusHeight = 24;
constexpr int kPlusAbove = 28;
// Where the name field is on the dialogs that have the controls 1148 and 1184.
constexpr int kAltNameEdit = 1148;
constexpr int kAltMarker = 1184;

// The history of the dialogs, with the mode of the one that runs (0 open, 1 save).
class historyList final : public bmmHistoryList {
public:
    explicit historyList(int mode_) : bmmHistoryList(kHistoryName), mode(mode_) {
        LoadDefaults();
        PanelControls& panels = GetHost().Panels();
        initialFolder() = CurrentPath();
        if (initialFolder().IsEmpty())
            initialFolder() = panels.CurrentFolder();
        if (initialFolder().IsEmpty())
            initialFolder() = panels.GetDir(kFolderDir);
    }
    // The folder the dialogs start at, for the process.
    static WStr& initialFolder() {
        static WStr folder;
        return folder;
    }
    int mode;
};

// The hook of both dialogs; it holds the history list of its run.
class FileDialogHook final : public PanelDlgProc {
public:
    explicit FileDialogHook(int mode) : list(mode) {}

    bool DlgProc(TimeValue, PanelWindow& w, const PanelMessage& m) override {
        switch (m.message) {
        case WM_INITDIALOG:
            list.SetDlgInfo(&w, D::kHistoryList);
            list.LoadList();
            for (const int id : {IDC_OK, IDC_CANCEL}) {
                const PanelRect r = w.GetControlRect(id);
                w.SetControlRect(id,
                                 {r.left, r.top + kButtonShift, r.right, r.bottom + kButtonShift});
            }
            placePlus(w);
            w.Show(D::kPlusButton, list.mode == 1);
            return true;
        case WM_SIZE: {
            // The dialog has moved OK with its corner: the plus follows it, and the history
            // reaches to its right edge.
            placePlus(w);
            const PanelRect r = w.GetControlRect(D::kHistoryList);
            w.SetControlRect(D::kHistoryList,
                             {r.left, r.top, w.GetControlRect(IDC_OK).right, r.bottom});
            return true;
        }
        case WM_NOTIFY:
            if (m.code == CDN_INITDONE)
                list.NewPath(historyList::initialFolder());
            else if (m.code == CDN_FILEOK) {
                list.NewPath(w.GetText(kFileDialogFolder));
                list.SaveList();
            }
            return true;
        case WM_COMMAND:
            if (m.id == D::kHistoryList && m.code == LBN_SELCHANGE) {
                list.SetPath();
                return true;
            }
            if (m.id == D::kPlusButton) {
                plus(w);
                return true;
            }
            return false;
        case WM_DESTROY:
            list.SetDlgInfo(nullptr, 0);
            return true;
        default:
            return false;
        }
    }

private:
    static void placePlus(PanelWindow& w) {
        const PanelRect ok = w.GetControlRect(IDC_OK);
        const int top = ok.top - kPlusAbove;
        w.SetControlRect(D::kPlusButton, {ok.left, top, ok.right, top + kPlusHeight});
    }
    void plus(PanelWindow& w) {
        const int field = w.HasControl(kAltNameEdit) && w.HasControl(kAltMarker)
                              ? kAltNameEdit
                              : kFileDialogNameEdit;
        const WStr name = w.GetText(kFileDialogNameEdit);
        if (!name.IsEmpty())
            w.SetText(field, advanceNumberedName(name));
        w.PostCommand(IDC_OK);
    }
    historyList list;
};

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

// One run of a dialog; `name` in and out.
bool runDialog(bool save, WStr& name) {
    FileDialogHook hook(save ? 1 : 0);
    FileDialogRequest request;
    request.title = save ? kSaveTitle : kOpenTitle;
    request.fileName = name;
    request.initialDir = historyList::initialFolder();
    request.filterLabel = kFilterLabel;
    request.filterSpec = kFilterSpec;
    request.defaultExtension = kExtension;
    request.flags = save ? kSaveFlags : kOpenFlags;
    request.save = save;
    const DialogTemplate& extra = D::dialogTemplate(D::kFileDialogExtra);
    if (!GetHost().Panels().FileDialog(request, extra, &hook))
        return false;
    name = request.fileName;
    return true;
}

} // namespace

WStr advanceNumberedName(const WStr& name) {
    std::wstring stem = name.str();
    std::wstring extension;
    // The field may hold a path: a point in a folder's name starts no extension.
    const std::size_t leaf = stem.find_last_of(L"/\\");
    const std::size_t dot = stem.rfind(L'.');
    if (dot != std::wstring::npos && (leaf == std::wstring::npos || dot > leaf) &&
        stem.size() - dot - 1 <= 4) {
        extension = stem.substr(dot);
        stem.resize(dot);
    }
    const std::size_t n = stem.size();
    if (n > 2 && std::iswdigit(stem[n - 1]) && std::iswdigit(stem[n - 2])) {
        const int number = (stem[n - 2] - L'0') * 10 + (stem[n - 1] - L'0') + 1;
        WStr digits;
        digits.printf(L"%02d", number);
        stem.resize(n - 2);
        stem += digits.str();
    } else {
        stem += L"01";
    }
    return WStr(stem + extension);
}

bool selectCacheFile(AssetUser& asset) {
    Assets& assets = GetHost().Assets();
    WStr name;
    if (!asset.IsNull())
        assets.GetFullFilePath(asset, name);
    if (!runDialog(false, name))
        return false;
    const MaxSDK::Util::Path chosen(name);
    asset = assets.GetAsset(WStr(chosen.ToFilesystemPath().lexically_normal().wstring()),
                            kAssetTypeCache);
    return true;
}

bool specifyCacheFile(AssetUser& asset, WStr& name, bool complete) {
    Host& host = GetHost();
    Assets& assets = host.Assets();
    WStr chosen = complete ? cleanSuggestion(name) : name;
    if (!runDialog(true, chosen))
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
        if (host.UI().MessageBox(question, kReplaceTitle, MB_YESNO) == IDYES) {
            std::remove(MaxSDK::Util::Path(full).ToFilesystemPath().c_str());
            asset = candidate;
            name = full;
            return true;
        }
        if (!runDialog(true, chosen))
            return false;
    }
}
