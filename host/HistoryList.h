// The host's history of folders for a file dialog: the folders chosen last, newest first,
// shown in a list of the dialog and kept by the host between sessions under the list's name.
#pragma once

#include "host/PanelControls.h"

#include <vector>

class bmmHistoryList {
public:
    // At most this many folders are kept.
    static constexpr int kMaxFolders = 20;

    explicit bmmHistoryList(const WStr& listName) : name(listName) {}

    // Reads the folders the host kept.
    void LoadDefaults();
    // The newest folder, empty when there is none.
    WStr CurrentPath() const { return folders.empty() ? WStr() : folders.front(); }
    const std::vector<WStr>& Folders() const { return folders; }
    // Binds the list to a combo box of a file dialog; null unbinds it.
    void SetDlgInfo(PanelWindow* dialog, int listId);
    // Fills the bound list with the folders.
    void LoadList();
    // The folder becomes the newest (once); the bound list follows.
    void NewPath(const WStr& folder);
    // Hands the folders to the host to keep.
    void SaveList();
    // The folder chosen in the bound list becomes the dialog's folder.
    void SetPath();

private:
    WStr name;
    std::vector<WStr> folders;
    PanelWindow* window = nullptr;
    int listId = 0;
};
