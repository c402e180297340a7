// The record pipeline: from the nodes of a cache object's node list to a .wkc file that the
// object then plays. It is the only road to a cache file.
//
// One call does it all, on the host's main thread: gather the nodes (letting the sibling
// plug-in decide where it is installed), split spans of constant topology and analyse
// deformation when asked, choose the target file, capture and write, append the element block,
// replace the registry's reader of that file, hand the material to the nodes, and publish the
// new file on the object. Escape cancels the writing stage; an unfinished file never stays.
//
// Undo: the recording runs with the hold suspended. Its one undoable step is emptying the node
// list afterwards, when recClearNodeList is on.
#pragma once

#include "host/Assets.h"
#include "host/INode.h"
#include "host/Strings.h"
#include "recording/wkCacheRecordTarget.h"

#include <cstdint>
#include <filesystem>

// How a recording ended, for callers that report more than the result.
enum class RecordOutcome {
    Recorded,       // written and loaded
    NothingToCache, // no recordable node, or none could be captured
    BadRange,       // see RecordRangeFits: nothing was written
    NoTarget,       // the file name could not be resolved, or the dialog was cancelled
    Cancelled,      // Escape while writing
    WriteFailed,    // the writer failed: see status
};

struct RecordResult {
    RecordOutcome outcome = RecordOutcome::NothingToCache;
    std::int32_t status = 0; // the writer's status, once there was a writer
    WStr target;             // the file that was (or was to be) written
    int writtenNodes = 0;    // node records in the file
};

// The save dialog that names the file of a recording given none (the panels' specifyCacheFile):
// `name` holds the suggestion and receives the chosen path, `asset` the chosen file; with
// `complete`, the suggestion is a node name still to be made a file name. False when cancelled.
// It comes in from the caller because the dialogs belong to the panels, above recording.
using CacheFileChooser = bool (*)(AssetUser& asset, WStr& name, bool complete);

// Records the object's nodes. `fileName` names the file (resolved through the host's assets)
// or is null: then the object's own file is recorded again, or, without one, `chooseFile`
// asks (without a chooser, as when it is cancelled, nothing is recorded: NoTarget). `quiet`
// suppresses every message box. Answers 1 when a file was written and loaded, else 0;
// `result`, when given, says more.
int RecordCache(wkCacheRecordTarget& object, const WStr* fileName, bool quiet,
                RecordResult* result = nullptr, CacheFileChooser chooseFile = nullptr);

// Whether the record range can be recorded: it does not end before it starts, and its ticks
// (and their span) fit in 32 bits at `ticksPerFrame`.
bool RecordRangeFits(const wkCacheRecordParams& params, int ticksPerFrame);

// The name the script function `record` passes for a given one: kept when it is longer than
// four characters and ends in ".wkc" in any case, else with ".wkc" added.
WStr RecordFileName(const WStr& name);

// Whether `node` may be recorded by `object`: it exists, taking it would make no reference
// loop, it is not deleted, it does not depend on the object, (with checkList) it is not in the
// object's node list yet, and its object at the current time is or converts to a triangle mesh.
bool IsRecordableNode(wkCacheRecordTarget& object, INode* node, bool checkList);

// The first entry of `folder` (relative to the working directory; entries in name order) whose
// file name begins with `stem`, compared byte for byte: `folder` followed by that name, or the
// empty string.
WStr FindSiblingPlugin(const WStr& folder, const WStr& stem);

// FindSiblingPlugin asked again and again, as a recording does at every node while the sibling
// does not load. The folder is listed again only when it may have changed: its modification
// time moves with every entry added, removed or renamed. Since file systems keep that time in
// coarse steps (two seconds on some), a folder changed in the last two seconds is listed at
// every call. The answers are the listing's, without a listing per node: a host's plug-in
// folder holds hundreds of entries.
class SiblingPluginScan {
public:
    SiblingPluginScan(const WStr& folder, const WStr& stem);
    WStr find();

private:
    WStr folder;
    WStr stem;
    std::filesystem::path folderPath;
    bool listed = false; // `found` holds for a folder last changed at `listedAt`
    std::filesystem::file_time_type listedAt;
    WStr found;
};

// The material library that goes with a cache file: the last three characters of its name
// replaced by "mat", so a.wkc goes with a.mat.
WStr MaterialLibraryPath(const WStr& cachePath);

// The sibling plug-in's export: it appends to `outNodes` what is to be recorded for `node`
// between the two ticks, and to `outTmpNodes` the nodes it made for that, which the recording
// deletes when it ends. Its answer is not looked at.
inline constexpr const char* kSiblingPluginFolder = "plugins/";
inline constexpr const char* kSiblingPluginStem = "WKSolid";
inline constexpr const char* kSiblingExplodedExport = "Get_SD_SOLID_Exploded";
using SiblingExplodedFn = int (*)(INode* node, INodeTab& outNodes, INodeTab& outTmpNodes,
                                  TimeValue start, TimeValue end);
