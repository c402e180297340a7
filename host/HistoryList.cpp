#include "host/HistoryList.h"

#include "host/Host.h"

#include <algorithm>

void bmmHistoryList::LoadDefaults() {
    folders = GetHost().Panels().LoadHistory(name);
    if (static_cast<int>(folders.size()) > kMaxFolders)
        folders.resize(kMaxFolders);
}

void bmmHistoryList::SetDlgInfo(PanelWindow* dialog, int id) {
    window = dialog;
    listId = id;
}

void bmmHistoryList::LoadList() {
    if (window == nullptr)
        return;
    window->ListReset(listId);
    for (const WStr& folder : folders)
        window->ListAdd(listId, folder);
    window->ListSetCurSel(listId, folders.empty() ? -1 : 0);
}

void bmmHistoryList::NewPath(const WStr& folder) {
    if (folder.IsEmpty())
        return;
    std::erase(folders, folder);
    folders.insert(folders.begin(), folder);
    if (static_cast<int>(folders.size()) > kMaxFolders)
        folders.resize(kMaxFolders);
    LoadList();
}

void bmmHistoryList::SaveList() {
    GetHost().Panels().SaveHistory(name, folders);
}

void bmmHistoryList::SetPath() {
    if (window == nullptr)
        return;
    const int row = window->ListCurSel(listId);
    if (row >= 0 && row < static_cast<int>(folders.size()))
        window->SetText(kFileDialogFolder, folders[static_cast<std::size_t>(row)]);
}
