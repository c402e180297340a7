#include "recording/RecordCache.h"

#include "cachefile/wkCacheRegistry.h"
#include "cachefile/wkCacheWriter.h"
#include "host/FileReplacement.h"
#include "host/Host.h"
#include "host/Path.h"
#include "recording/ElementAnalysis.h"
#include "recording/RecordTexts.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_set>
#include <vector>

namespace {

std::int32_t wrap32(std::int64_t v) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(v)));
}

void removeFile(const WStr& path) {
    std::remove(MaxSDK::Util::Path(path).ToFilesystemPath().c_str());
}

// Deletes the temporary nodes once: the list is emptied, so a later way out finds none.
void deleteNodes(SceneNodes& nodes, UndoHold& hold, INodeTab& tmpNodes) {
    if (tmpNodes.IsEmpty())
        return;
    const INodeTab doomed = tmpNodes;
    tmpNodes.ZeroCount();
    hold.Begin();
    for (INode* node : doomed)
        nodes.DeleteNode(node, true);
    hold.Accept(RecordTexts::kDeleteTmpObjects);
}

// The way out by an exception (a host call that throws while gathering, analysing or
// capturing): the sibling's temporary nodes go and the progress figures are cleared, as on every
// other way out. Cleaning up never adds an exception of its own.
class CleanupOnThrow {
public:
    CleanupOnThrow(wkCacheRecordTarget& object_, SceneNodes& nodes_, UndoHold& hold_,
                   INodeTab& tmpNodes_)
        : object(object_), nodes(nodes_), hold(hold_), tmpNodes(tmpNodes_),
          pending(std::uncaught_exceptions()) {}
    ~CleanupOnThrow() {
        if (std::uncaught_exceptions() <= pending)
            return;
        wkCacheProgressState& progress = object.progressState();
        progress.progressDone = -1;
        progress.progressTotal = -1;
        try {
            deleteNodes(nodes, hold, tmpNodes);
            object.showStatus(nullptr);
        } catch (...) {
        }
    }
    CleanupOnThrow(const CleanupOnThrow&) = delete;
    CleanupOnThrow& operator=(const CleanupOnThrow&) = delete;

private:
    wkCacheRecordTarget& object;
    SceneNodes& nodes;
    UndoHold& hold;
    INodeTab& tmpNodes;
    int pending;
};

// Step 1: the nodes to record, in gathering order.
void gatherNodes(wkCacheRecordTarget& object, const wkCacheRecordParams& params,
                 INodeTab& recordNodes, INodeTab& tmpNodes) {
    Host& host = GetHost();
    PluginLoader& plugins = host.Plugins();
    const int ticksPerFrame = host.Time().GetTicksPerFrame();
    const int count = object.nodeCount();
    SiblingPluginScan scan{WStr(kSiblingPluginFolder), WStr(kSiblingPluginStem)};
    // What recordNodes holds, for the test of a node already there: a search of the list at
    // every node would make gathering quadratic in the nodes.
    std::unordered_set<INode*> listed(recordNodes.begin(), recordNodes.end());
    for (int i = 0; i < count; ++i) {
        INode* node = object.nodeAt(i, 0);
        if (!IsRecordableNode(object, node, false))
            continue;
        // While the sibling does not load, it is looked for again at every node.
        if (!plugins.SiblingLoaded())
            plugins.LoadSibling(scan.find());
        auto exploded = plugins.SiblingLoaded()
                            ? reinterpret_cast<SiblingExplodedFn>(
                                  plugins.GetSiblingExport(kSiblingExplodedExport))
                            : nullptr;
        if (exploded != nullptr) {
            // The sibling decides what is recorded for this node; we add nothing ourselves.
            const int before = recordNodes.Count();
            (void)exploded(node, recordNodes, tmpNodes,
                           wrap32(std::int64_t{ticksPerFrame} * params.recStart),
                           wrap32(std::int64_t{ticksPerFrame} * params.recEnd));
            // The export appends: what it added joins the set.
            for (int k = before; k < recordNodes.Count(); ++k)
                listed.insert(recordNodes[k]);
        } else if (listed.insert(node).second) {
            // Also a module without the export: recording then goes the plain way.
            recordNodes.Append(1, &node);
        }
    }
}

// Step 6.2 to 6.4: the writer's range in ticks, its end on a whole step.
struct TickRange {
    TimeValue start = 0;
    TimeValue end = 0;
    TimeValue step = 1;
};

// The range fits (RecordRangeFits), so 64-bit arithmetic gives an end within it.
TickRange recordRange(const wkCacheRecordParams& params, int ticksPerFrame) {
    TickRange range;
    range.start = wrap32(std::int64_t{ticksPerFrame} * params.recStart);
    range.end = wrap32(std::int64_t{ticksPerFrame} * params.recEnd);
    const float stepTicks = params.recStep * static_cast<float>(ticksPerFrame);
    range.step = stepTicks >= 2147483520.0f ? TIME_PosInfinity
                                            : std::max(static_cast<TimeValue>(stepTicks), 1);
    const std::int64_t span = std::int64_t{range.end} - range.start + range.step;
    range.end = wrap32(span - span % range.step - range.step + range.start);
    return range;
}

// The first material of a library, shared.
std::shared_ptr<Mtl> firstMaterial(const MtlBaseLib* library) {
    if (library == nullptr)
        return nullptr;
    for (int i = 0; i < library->Count(); ++i) {
        std::shared_ptr<MtlBase> entry = library->Share(i);
        if (entry && entry->SuperClassID() == MATERIAL_CLASS_ID)
            return std::dynamic_pointer_cast<Mtl>(entry);
    }
    return nullptr;
}

// Step 10.8 and 10.9: the file's material goes to the selected nodes of every object playing
// the file; this object's nodes take it always, other objects' only where they have none.
void shareMaterial(wkCacheRecordTarget& object, WelkardTools::wkCacheReader& reader,
                   SceneNodes& sceneNodes) {
    wkCacheRegistryEntry* entry = theCacheRegistry.findEntryOfClient(object.playbackState());
    if (entry == nullptr || entry->entryClientCount() == 0)
        return;
    const std::shared_ptr<Mtl> readerMtl = firstMaterial(reader.getMaterialLibrary());
    if (!readerMtl)
        return;
    for (int c = 0; c < entry->entryClientCount(); ++c) {
        wkCachePlaybackState* client = entry->entryClient(c);
        wkCacheRecordTarget* clientObject = object.targetOfClient(client);
        if (clientObject == nullptr)
            continue;
        for (INode* node : sceneNodes.NodesReferencing(&clientObject->recordObject())) {
            if (node == nullptr || node->GetMtl() == readerMtl.get() ||
                node->TestAFlag(A_IS_DELETED) || !node->Selected())
                continue;
            if (client == object.playbackState() || node->GetMtl() == nullptr)
                node->SetMtl(readerMtl);
        }
    }
    (void)reader.clearMaterialLibrary();
}

} // namespace

bool RecordRangeFits(const wkCacheRecordParams& params, int ticksPerFrame) {
    const std::int64_t start = std::int64_t{ticksPerFrame} * params.recStart;
    const std::int64_t end = std::int64_t{ticksPerFrame} * params.recEnd;
    return start <= end && start >= INT32_MIN && end <= INT32_MAX && end - start <= INT32_MAX;
}

WStr RecordFileName(const WStr& name) {
    if (name.Length() > 4) {
        WStr ending = name.Substr(name.Length() - 4, 4);
        if (ending.toLower() == WStr(L".wkc"))
            return name;
    }
    return name + WStr(L".wkc");
}

bool IsRecordableNode(wkCacheRecordTarget& object, INode* node, bool checkList) {
    if (node == nullptr)
        return false;
    Host& host = GetHost();
    SceneNodes& sceneNodes = host.Nodes();
    const SceneObject* maker = &object.recordObject();
    if (sceneNodes.TestForLoop(node, maker) != REF_SUCCEED)
        return false;
    if (node->TestAFlag(A_IS_DELETED))
        return false;
    if (sceneNodes.DependsOn(node, maker))
        return false;
    const TimeValue now = host.Time().GetTime();
    if (checkList) {
        for (int i = 0; i < object.nodeCount(); ++i) {
            if (object.nodeAt(i, now) == node)
                return false;
        }
    }
    const SceneObject* obj = node->EvalWorldState(now, true).obj;
    return obj != nullptr && (obj->ClassID() == triObjectClassID || obj->CanConvertToTriMesh());
}

WStr FindSiblingPlugin(const WStr& folder, const WStr& stem) {
    const std::string narrowStem = stem.ToCStr().str();
    std::error_code ec;
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator it(MaxSDK::Util::Path(folder).ToFilesystemPath(), ec),
         end;
         !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    // The listing's own order is the file system's; name order makes the choice repeatable.
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        std::string head = name.substr(0, narrowStem.size());
        head.resize(narrowStem.size(), '\0');
        if (head == narrowStem)
            return folder + WStr::FromUTF8(name);
    }
    return WStr();
}

SiblingPluginScan::SiblingPluginScan(const WStr& folder_, const WStr& stem_)
    : folder(folder_), stem(stem_), folderPath(MaxSDK::Util::Path(folder_).ToFilesystemPath()) {}

WStr SiblingPluginScan::find() {
    namespace fs = std::filesystem;
    // Read before the listing: a change while it runs leaves a later time for the next call.
    std::error_code ec;
    const fs::file_time_type changed = fs::last_write_time(folderPath, ec);
    if (listed && !ec && changed == listedAt)
        return found;
    // A folder that cannot be looked at cannot be listed either (usually it does not exist): no
    // listing is tried, which would cost a second failing system call at every node.
    found = ec ? WStr() : FindSiblingPlugin(folder, stem);
    listed = !ec && changed < fs::file_time_type::clock::now() - std::chrono::seconds(2);
    listedAt = changed;
    return found;
}

WStr MaterialLibraryPath(const WStr& cachePath) {
    MaxSDK::Util::Path folder(cachePath);
    folder.RemoveLeaf();
    folder.AddTrailingBackslash();
    const WStr leaf = MaxSDK::Util::Path(cachePath).GetLeaf();
    return folder.GetString() + leaf.Substr(0, leaf.Length() - 3) + WStr(L"mat");
}

int RecordCache(wkCacheRecordTarget& object, const WStr* fileName, bool quiet, RecordResult* result,
                CacheFileChooser chooseFile) {
    RecordResult local;
    RecordResult& out = result != nullptr ? *result : local;
    out = RecordResult();

    Host& host = GetHost();
    SceneNodes& sceneNodes = host.Nodes();
    UndoHold& hold = host.Hold();
    UserInterface& ui = host.UI();
    Assets& assets = host.Assets();
    const wkCacheRecordParams params = object.recordParams();
    wkCacheProgressState& progress = object.progressState();

    INodeTab recordNodes;
    INodeTab tmpNodes;
    INodeTab writeNodes;
    RecordSpans spans;
    std::vector<unsigned char> elementBlock;
    WStr target;
    bool nothingToCache = false;

    // Every way out before the writer ran: the temporary nodes go, with undo.
    const auto endStage = [&](RecordOutcome outcome) {
        deleteNodes(sceneNodes, hold, tmpNodes);
        out.outcome = outcome;
        if (nothingToCache && !quiet)
            ui.MessageBox(RecordTexts::kNothingToCache, RecordTexts::kErrorTitle,
                          MB_OK | MB_ICONEXCLAMATION);
        return 0;
    };

    // A range that ends before it starts would give a negative sample count, and one whose
    // ticks do not fit 32 bits a file that nothing reads: refused before anything is gathered
    // or written.
    if (!RecordRangeFits(params, host.Time().GetTicksPerFrame())) {
        out.outcome = RecordOutcome::BadRange;
        if (!quiet)
            ui.MessageBox(RecordTexts::kBadRange, RecordTexts::kErrorTitle,
                          MB_OK | MB_ICONEXCLAMATION);
        return 0;
    }

    // 1. Gathering.
    const CleanupOnThrow cleanup(object, sceneNodes, hold, tmpNodes);
    gatherNodes(object, params, recordNodes, tmpNodes);

    // 2. Spans.
    const int startFrame = params.recStart;
    const int endFrame = params.recEnd;
    if (params.recWriteTopology) {
        SplitTopologySpans(recordNodes, spans, startFrame, endFrame, params.recStep);
    } else {
        const float rate = static_cast<float>(host.Time().GetFrameRate()) / 30.0f;
        for (int i = 0; i < recordNodes.Count(); ++i)
            spans.append(FrameToTick(static_cast<float>(startFrame), rate),
                         FrameToTick(static_cast<float>(endFrame), rate), false);
    }

    // 3. Element analysis; Escape does not stop it.
    if (params.recWriteDeform) {
        progress.progressFormat = RecordTexts::kAnalyzingFormat;
        const WStr saving = RecordTexts::kSaving;
        object.showStatus(&saving);
        {
            wkCacheProgressScope stage(progress.progress);
            const INodeTab analysed = recordNodes;
            AnalyzeElementFrames(analysed, writeNodes, spans, elementBlock, startFrame, endFrame,
                                 params.recStep, wkCacheRecordProgress, &object);
        }
        progress.progressDone = -1;
        progress.progressTotal = -1;
    } else {
        writeNodes = recordNodes;
    }

    // 4. Nothing to do.
    if (writeNodes.IsEmpty()) {
        nothingToCache = true;
        return endStage(RecordOutcome::NothingToCache);
    }

    // 5. The file name.
    AssetUser asset = object.fileName();
    WStr currentPath;
    if (!asset.IsNull() && !assets.GetFullFilePath(asset, currentPath))
        currentPath = WStr();
    const bool haveFile = !currentPath.IsEmpty();
    (void)theCacheRegistry.containsCache(currentPath);
    const std::vector<INode*> referencing = sceneNodes.NodesReferencing(&object.recordObject());
    INode* cacheNode = referencing.empty() ? nullptr : referencing.front();

    if (fileName != nullptr) {
        // An existing file is replaced without asking.
        asset = assets.GetAsset(*fileName, kAssetTypeCache);
        if (!assets.GetFullFilePath(asset, target)) {
            target = WStr();
            return endStage(RecordOutcome::NoTarget);
        }
    } else if (haveFile) {
        target = currentPath; // recording again into the loaded file
    } else {
        WStr name = cacheNode != nullptr ? cacheNode->GetName() : WStr(L"WKCache_");
        if (chooseFile == nullptr || !chooseFile(asset, name, cacheNode != nullptr))
            return endStage(RecordOutcome::NoTarget);
        target = name;
    }
    out.target = target;

    // 6. The writer, with the hold suspended until the end. Cache and material library are
    // written under temporary names beside their targets and renamed into place only when
    // everything succeeded: a failure, a cancel or an exception keeps the old files as they were.
    const WStr libraryPath = MaterialLibraryPath(target);
    FileReplacement cacheFile(MaxSDK::Util::Path(target).ToFilesystemPath());
    // Made only for a library that is saved: making one lists the target's folder.
    std::optional<FileReplacement> libraryFile;
    const WStr cacheTemp = WStr::FromUTF8(cacheFile.temporary().string());
    SuspendedHold suspended(hold);
    const TimeValue now = host.Time().GetTime();
    const TickRange range = recordRange(params, host.Time().GetTicksPerFrame());
    // Inverse of the object transform of the node that shows the cache, so that the cache plays
    // where its nodes were when the node stays where it is now.
    const Matrix3 reference =
        Inverse(cacheNode != nullptr ? cacheNode->GetObjectTM(now) : Matrix3(true));
    auto writer = std::make_unique<WelkardTools::wkCacheWriter>(
        cacheTemp, reference, Interval(range.start, range.end), range.step, 2,
        host.Time().GetFrameRate());
    writer->nameMaterialAfter(target);

    // 7. The nodes, each captured at the start of its span.
    for (int i = 0; i < writeNodes.Count(); ++i) {
        const auto index = static_cast<std::size_t>(i);
        const TimeValue captureTick =
            index < spans.startTicks.size() ? spans.startTicks[index] : range.start;
        writer->addNode(writeNodes[i], captureTick);
    }
    if (writer->nodeCount() == 0) {
        writer.reset();
        suspended.resume();
        nothingToCache = true;
        return endStage(RecordOutcome::NothingToCache);
    }

    // 8. Write, append, and take the temporary nodes away.
    writer->setProgressCallback(wkCacheRecordProgress, &object);
    progress.progressFormat = RecordTexts::kWritingFormat;
    const WStr saving = RecordTexts::kSaving;
    object.showStatus(&saving);
    // A folder in the target's place cannot be replaced: the file cannot be made (status 1).
    std::error_code ec;
    const bool targetIsFolder = std::filesystem::is_directory(cacheFile.target(), ec);
    bool written = false;
    if (!targetIsFolder) {
        wkCacheProgressScope stage(progress.progress);
        written = writer->write(spans);
    }
    std::int32_t status = targetIsFolder ? WelkardTools::kStatusFileNotFound : writer->status();
    if (written && params.recWriteDeform) {
        {
            wkCacheProgressScope stage(progress.progress);
            written = AppendElementBlock(elementBlock, cacheTemp, wkCacheRecordProgress, &object);
        }
        progress.progressDone = -1;
        progress.progressTotal = -1;
        if (!written)
            status = WelkardTools::kStatusFileError;
    }
    deleteNodes(sceneNodes, hold, tmpNodes);
    ui.RemoveTempPrompt();
    out.writtenNodes = writer->nodeCount();

    const std::shared_ptr<Mtl> mtl = writer->combinedMaterial();
    auto library = std::make_unique<MtlBaseLib>();
    library->AddMtl(mtl);
    const bool saveLibrary = mtl && params.recSaveMaterial;
    if (written && saveLibrary) {
        libraryFile.emplace(MaxSDK::Util::Path(libraryPath).ToFilesystemPath());
        if (!host.Materials().SaveMaterialLibrary(WStr::FromUTF8(libraryFile->temporary().string()),
                                                  *library)) {
            written = false;
            status = WelkardTools::kStatusFileError;
        }
    }
    // The cache goes into place first: a library without its cache would be worse than the
    // other way round. A cache that stays without a library of its own loses the stale one.
    if (written && !cacheFile.commit()) {
        written = false;
        status = WelkardTools::kStatusFileError;
    }
    if (written && saveLibrary)
        (void)libraryFile->commit();
    else if (written)
        removeFile(libraryPath);
    out.status = status;

    if (!written) {
        // 12. No unfinished file stays behind; the old ones are untouched.
        if (!quiet && object.hasPanel() && status != WelkardTools::kStatusCancelled)
            ui.MessageBox(WelkardTools::wkCacheStatusText(status), RecordTexts::kWriteErrorTitle,
                          MB_ICONERROR);
        writer.reset();
        suspended.resume();
        object.showStatus(nullptr);
        out.outcome = status == WelkardTools::kStatusCancelled ? RecordOutcome::Cancelled
                                                               : RecordOutcome::WriteFailed;
        return 0;
    }

    // 10. Load the result.
    writer.reset();
    const std::vector<wkCachePlaybackState*> clients = theCacheRegistry.evictCache(target);
    bool isNew = false;
    WelkardTools::wkCacheReader* reader =
        theCacheRegistry.openCache(object.playbackState(), target, isNew);
    if (mtl && !params.recSaveMaterial && reader != nullptr)
        reader->setMaterialLibrary(std::move(library));
    if (reader != nullptr)
        shareMaterial(object, *reader, sceneNodes);

    // 11. Publish.
    for (wkCachePlaybackState* client : clients) {
        if (wkCacheRecordTarget* clientObject = object.targetOfClient(client))
            clientObject->invalidateElements();
    }
    object.setPlayStart(params.recStart);
    object.setExplodeStart(params.recStart);
    object.setExplodeEnd(params.recEnd);
    object.setFileName(asset);
    object.notifyDependents(PART_GEOM, REFMSG_CHANGE);
    suspended.resume();
    if (params.recClearNodeList) {
        if (!hold.Holding())
            hold.Begin();
        object.clearNodes();
        hold.Accept(RecordTexts::kEmptyNodeList);
    }
    out.outcome = RecordOutcome::Recorded;
    return 1;
}
