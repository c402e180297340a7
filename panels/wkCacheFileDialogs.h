// The cache file dialogs: choosing the file a cache is saved to.
#pragma once

#include "host/Assets.h"
#include "host/Strings.h"

// The save dialog ("Specify Cache File"). `name` is the suggestion and receives the chosen
// file's full path; with `complete`, the suggestion is cleaned first (every character other
// than a digit or an ASCII letter becomes "_", and ".wkc" is added). An existing file is
// replaced only when the user says so, and is then deleted; No brings the dialog back. False,
// with nothing changed, when the dialog is cancelled.
bool specifyCacheFile(AssetUser& asset, WStr& name, bool complete);
