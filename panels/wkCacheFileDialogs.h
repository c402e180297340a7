// The cache file dialogs: choosing a cache file to load, and the file a cache is saved to.
//
// Both run the host's file dialog with the library's extra controls: the history of folders
// (kept by the host) and, when saving, the plus button that numbers the name on and confirms.
#pragma once

#include "host/Assets.h"
#include "host/Strings.h"

// The open dialog ("Select Cache File"), starting at the file of `asset` when it has one. True,
// with `asset` the chosen file, when confirmed.
bool selectCacheFile(AssetUser& asset);

// The save dialog ("Specify Cache File"). `name` is the suggestion and receives the chosen
// file's full path; with `complete`, the suggestion is cleaned first (every character other
// than a digit or an ASCII letter becomes "_", and ".wkc" is added). An existing file is
// replaced only when the user says so, and is then deleted; No brings the dialog back. False,
// with nothing changed, when the dialog is cancelled.
bool specifyCacheFile(AssetUser& asset, WStr& name, bool complete);

// The plus button's name: a stem ending in two digits counts on ("take07.wkc" gives
// "take08.wkc"), any other gets "01"; an extension of up to four characters is kept (a point
// in a folder of the name begins none).
WStr advanceNumberedName(const WStr& name);
