// The frame update driver: from a scene time to the object's mesh, with the status line and
// the progress of a pre-load.
#include "object/wkCache_obj.h"

#include "cachefile/wkCacheRegistry.h"
#include "cachefile/wkCacheSizeText.h"
#include "host/Host.h"
#include "object/wkCachePanelHooks.h"
#include "object/wkCacheTexts.h"
#include "playback/wkCacheFrameAssembly.h"

using namespace wkCacheParam;
using WelkardTools::wkCacheReader;

namespace {

enum LoadType : int { LOAD_STREAM = 0, LOAD_PER_SAMPLE = 1, LOAD_PRELOAD = 2 };

} // namespace

TriObjectConversion wkCache_obj::ConvertToTriMesh(TimeValue t) {
    updateCacheMesh(t);
    return TemporaryTriObject(mesh);
}

RenderMesh wkCache_obj::GetRenderMesh(TimeValue t, INode*, View&) {
    updateCacheMesh(t);
    RenderMesh result;
    result.mesh = &mesh;
    return result;
}

WStr wkCache_obj::resolvedFilePath() const {
    const AssetUser asset = fileName();
    WStr path;
    if (asset.IsNull() || !GetHost().Assets().GetFullFilePath(asset, path))
        return WStr();
    return path;
}

int wkCache_obj::chooseLoadType(const HostTime& clock) const {
    // Only the low byte of the server answer counts.
    if ((clock.IsNetServer() & 0xFF) != 0)
        return parameters->GetInt(loadTypeSlave) != 0 ? LOAD_PRELOAD : LOAD_PER_SAMPLE;
    const int local = parameters->GetInt(loadTypeLocal);
    return local == LOAD_STREAM || local == LOAD_PER_SAMPLE ? local : LOAD_PRELOAD;
}

void wkCache_obj::preloadWithProgress(wkCacheReader& reader) {
    const auto finish = [&] {
        progress.progress.end();
        reader.clearProgressCallback();
        progress.progressDone = -1;
        progress.progressTotal = -1;
        GetHost().UI().RemoveTempPrompt();
    };
    reader.setProgressCallback(wkCacheRecordProgress, static_cast<wkCacheRecordTarget*>(this));
    // A host call that throws on the way passes through, but not before the cursor, the shared
    // reader's callback and the progress figures are put back as at the end.
    try {
        progress.progressFormat = wkCacheTexts::kReadingFormat;
        const WStr loading = wkCacheTexts::kLoading;
        showStatus(&loading);
        progress.progress.begin();
        reader.preload();
    } catch (...) {
        finish();
        throw;
    }
    finish();
}

void wkCache_obj::clearMesh() {
    mesh.FreeAll();
    mesh.setNumVerts(0, false, true);
    mesh.setNumFaces(0, false, true);
    mesh.InvalidateTopologyCache();
}

void wkCache_obj::updateCacheMesh(TimeValue t) {
    // The host asks for one time several times in a redraw: both answers come before any
    // parameter is read.
    if (meshValid.InInterval(t)) {
        lastTime = t;
        lastTimeKnown = true;
        return;
    }
    if (lastTimeKnown && t == lastTime) {
        meshValid.SetInstant(t);
        return;
    }

    const HostTime& clock = GetHost().Time();
    const bool playing = clock.IsAnimPlaying() == 1;
    if (!inRender() && parameters->GetInt(vpDisplayCache) != 1) {
        if (mesh.getNumVerts() != 0 || mesh.getNumFaces() != 0) {
            mesh = Mesh();
            // The validity is otherwise left alone, and is empty already when the display was
            // turned off; but under the graph turning it off or on makes nothing stale, and a
            // return to the time of the last build would show this empty mesh once it is on.
            meshValid.SetEmpty();
            lastTime = -1;
            lastTimeKnown = false;
        }
        return;
    }
    // During playback the geometry cache is left stale for the first consumer that needs it.
    geomCacheStale = playing;
    const int loadType = chooseLoadType(clock);

    const WStr path = resolvedFilePath();
    wkCacheReader* reader = nullptr;
    bool isNew = false;
    if (!path.IsEmpty()) {
        reader = theCacheRegistry.openCache(playback.get(), path, isNew);
        if (reader != nullptr && !reader->hasError()) {
            // Per-Sample closes the file after each read; the others keep it between samples.
            reader->setKeepFileOpen(loadType != LOAD_PER_SAMPLE);
            if (loadType == LOAD_PRELOAD && !reader->isPreloaded())
                preloadWithProgress(*reader);
        }
    }

    markers.clear();
    // The deformation store follows the local setting also where a render server chose another
    // load type above.
    frameTimes.sampleTimes.clear();
    frameTimes.loadType = parameters->GetInt(loadTypeLocal);
    frameTimes.scale = parameters->GetFloat(scaleUnits, 0);

    bool assembled = false;
    if (reader != nullptr && !reader->hasError()) {
        evaluateElements(t, *reader, false);
        assembled =
            WelkardTools::assembleFrame(*reader, mesh, markers, *playback, frameTimes, isNew);
        if (isNew)
            applyCacheMaterial();
    }

    if (assembled) {
        meshValid.SetInstant(t);
        meshReady = true;
        lastTime = t;
        lastTimeKnown = true;
    } else {
        clearMesh();
        geomCacheStale = false;
        meshValid.SetEmpty();
        meshReady = false;
        lastTime = -1;
        lastTimeKnown = false;
    }
    // The status of the file resolved above, without resolving it again.
    if (panelOpen) {
        const WStr text = statusTextFor(path);
        showStatus(&text);
    }
    // A file is opened at the first build after it was chosen, so that build fills File Info.
    if (isNew && panelOpen && panelInterface != nullptr)
        PanelHooks().refreshFileInfo(*this);
    firstBuild = false;
}

// A newly attached object gives the cache's material to its nodes that have none. Nodes of the
// other objects on the file, and nodes with a material of their own, are left alone.
void wkCache_obj::applyCacheMaterial() {
    wkCacheRegistryEntry* entry = theCacheRegistry.findEntryOfClient(playback.get());
    if (entry == nullptr || entry->entryClientCount() <= 0 || !entry->reader)
        return;
    const wkCacheReader& reader = *entry->reader;
    Mtl* material = reader.firstMaterial();
    if (material == nullptr)
        return;
    const MtlBaseLib& library = *reader.getMaterialLibrary();
    const auto shared = std::dynamic_pointer_cast<Mtl>(library.Share(library.FindMtl(material)));
    SceneNodes& scene = GetHost().Nodes();
    for (int c = 0; c < entry->entryClientCount(); ++c) {
        wkCachePlaybackState* client = entry->entryClient(c);
        if (client == nullptr || client->owner == nullptr)
            continue;
        for (INode* node : scene.NodesReferencing(client->owner)) {
            if (node->GetMtl() != material && !node->TestAFlag(A_IS_DELETED) &&
                node->GetMtl() == nullptr && client->owner == this)
                node->SetMtl(shared);
        }
    }
}

WStr wkCache_obj::defaultStatusText() const {
    return statusTextFor(resolvedFilePath());
}

WStr wkCache_obj::statusTextFor(const WStr& path) {
    if (path.IsEmpty())
        return wkCacheTexts::kNoCacheFile;
    const auto& entries = theCacheRegistry.entries();
    const auto found = entries.find(path);
    if (found != entries.end() && found->second->reader) {
        const wkCacheReader& reader = *found->second->reader;
        if (reader.hasError())
            return reader.statusText();
        std::int64_t total = 0;
        std::int64_t loaded = 0;
        reader.getSizes(total, loaded);
        if (total > 0) {
            WStr text;
            text.printf(wkCacheTexts::kSizesFormat,
                        WelkardTools::FormatCacheSize(static_cast<std::uint64_t>(total)).data(),
                        WelkardTools::FormatCacheSize(static_cast<std::uint64_t>(loaded)).data());
            return text;
        }
    }
    return wkCacheTexts::kFileNotFound;
}
