// The cache object on a small hand-built cache: the update driver's short cuts and failure
// path, the status line, pre-load progress, the material of a new client, the element
// evaluation and the parameter changes that make a mesh stale.
#include "tests/object/CacheObjectFixture.h"

#include <filesystem>
#include <functional>
#include <stdexcept>

using namespace objtest;

namespace {

TEST_F(CacheObjectTest, NewObjectTakesItsRangesFromTheAnimationRange) {
    host.Time().SetAnimRange(Interval(1600, 4800));
    const auto fresh = NewCacheObject(host);
    EXPECT_EQ(fresh->params().GetInt(P::playStart), 10);
    EXPECT_EQ(fresh->params().GetInt(P::recStart), 10);
    EXPECT_EQ(fresh->params().GetInt(P::recEnd), 30);
    EXPECT_EQ(fresh->params().GetInt(P::explodeEnd), 30);
    const auto loaded = NewCacheObject(host, true);
    EXPECT_EQ(loaded->params().GetInt(P::playStart), 0);
    EXPECT_EQ(loaded->params().GetInt(P::playFPS), 30);
}

TEST_F(CacheObjectTest, PlaysTheCacheWithEachElementAtItsSample) {
    useFile(path);
    params().SetValue(P::vpDeleteObjects, 0, 0);
    object->updateCacheMesh(160);
    ASSERT_TRUE(object->isMeshReady());
    EXPECT_EQ(object->meshValidity(), Interval(160, 160));
    EXPECT_EQ(object->getLastTime(), 160);
    // Element 1 is invisible at sample 1: hidden in the viewport, with a marker.
    const Mesh& mesh = object->getMesh();
    ASSERT_EQ(mesh.getNumVerts(), 6);
    EXPECT_FLOAT_EQ(vertX(1), 11.0f);
    EXPECT_FALSE(mesh.getFace(0).Hidden());
    EXPECT_TRUE(mesh.getFace(1).Hidden());
    ASSERT_EQ(object->getMarkers().size(), 1u);
    EXPECT_FLOAT_EQ(object->getMarkers()[0].GetTrans().y, 10.0f);
    // Half way to sample 2 the earlier sample's visibility still counts.
    object->updateCacheMesh(240);
    EXPECT_FLOAT_EQ(vertX(0), 15.0f);
    EXPECT_TRUE(object->getMesh().getFace(1).Hidden());
}

TEST_F(CacheObjectTest, RepeatedTimeReturnsBeforeLookingAtTheFile) {
    useFile(path);
    object->updateCacheMesh(320);
    ASSERT_TRUE(object->isMeshReady());
    std::filesystem::remove(path);
    (void)theCacheRegistry.evictCache(object->resolvedFilePath());
    object->updateCacheMesh(320);
    EXPECT_TRUE(object->isMeshReady());
    EXPECT_EQ(object->getMesh().getNumVerts(), 6);
    EXPECT_FALSE(theCacheRegistry.containsCache(object->resolvedFilePath()));
}

TEST_F(CacheObjectTest, TheFirstUpdateBuildsAtEveryTimeAlsoAtMinusOne) {
    useFile(path);
    // -1 is a real tick, before the range: the first update and the first after an
    // invalidation must build there as anywhere else.
    object->updateCacheMesh(-1);
    EXPECT_TRUE(object->isMeshReady());
    EXPECT_EQ(object->getMesh().getNumVerts(), 6);
    object->invalidateAll();
    object->updateCacheMesh(-1);
    EXPECT_TRUE(object->isMeshReady());
    EXPECT_EQ(object->meshValidity(), Interval(-1, -1));
}

// Entering a level or changing the element selection makes the mesh stale; the mesh built
// before must not pass for that of tick -1 afterwards.
TEST_F(CacheObjectTest, ALevelOrSelectionChangeLeavesNoTimeToReuse) {
    useFile(path);
    params().SetValue(P::vpDeleteObjects, 0, 0);
    const std::function<void()> changes[] = {
        [&] {
            XFormModes modes;
            object->enterSubLevel(1, modes);
        },
        [&] { object->selectAllElements(1); },
    };
    for (const auto& change : changes) {
        object->updateCacheMesh(320);
        ASSERT_FLOAT_EQ(vertX(0), 20.0f);
        change();
        object->updateCacheMesh(-1);
        EXPECT_FLOAT_EQ(vertX(0), 0.0f); // held at sample 0 before the start
    }
}

TEST_F(CacheObjectTest, FailuresEmptyTheMeshAndSayWhy) {
    object->updateCacheMesh(0);
    EXPECT_FALSE(object->isMeshReady());
    EXPECT_EQ(object->statusText(), WStr(L"No cache file."));

    useFile(path);
    object->updateCacheMesh(0);
    ASSERT_TRUE(object->isMeshReady());
    useFile((dir.path() / "missing.wkc").string());
    object->updateCacheMesh(0);
    EXPECT_FALSE(object->isMeshReady());
    EXPECT_EQ(object->getMesh().getNumVerts(), 0);
    EXPECT_TRUE(object->meshValidity().Empty());
    EXPECT_EQ(object->getLastTime(), -1);
    EXPECT_EQ(object->statusText(), WStr(L"File not found."));

    // The file comes back: the registry reloads it at the next update.
    useFile(path);
    object->updateCacheMesh(0);
    EXPECT_TRUE(object->isMeshReady());
}

TEST_F(CacheObjectTest, StatusShowsFileAndMemorySizes) {
    useFile(path);
    params().SetValue(P::loadTypeLocal, 0, 1); // Per-Sample keeps only what a frame needs
    object->updateCacheMesh(0);
    // Three samples of 2 x 49 bytes in the file, one in memory.
    EXPECT_EQ(object->statusText(), WStr(L"F:294 B, M:98 B"));
}

TEST_F(CacheObjectTest, DisplayOffEmptiesTheMeshWithoutOpeningTheFile) {
    useFile(path);
    params().SetValue(P::vpDisplayCache, 0, 0);
    object->updateCacheMesh(0);
    EXPECT_EQ(object->getMesh().getNumVerts(), 0);
    EXPECT_FALSE(theCacheRegistry.containsCache(object->resolvedFilePath()));
    // A render does not ask the viewport setting.
    object->RenderBegin(0);
    object->updateCacheMesh(0);
    EXPECT_EQ(object->getMesh().getNumVerts(), 6);
    object->RenderEnd(0);
}

// Under the graph the display switch makes nothing stale, so the mesh that display off empties
// must not stay valid for the time it was built at: back there, with the display on again, the
// cache shows.
TEST_F(CacheObjectTest, DisplayOffUnderTheGraphLeavesNoEmptyMeshValid) {
    useFile(path);
    params().SetValue(P::playUseGraph, 0, 1);
    object->updateCacheMesh(0);
    ASSERT_EQ(object->getMesh().getNumVerts(), 6);
    params().SetValue(P::vpDisplayCache, 0, 0);
    object->updateCacheMesh(160);
    EXPECT_EQ(object->getMesh().getNumVerts(), 0);
    object->updateCacheMesh(0);
    params().SetValue(P::vpDisplayCache, 0, 1);
    object->updateCacheMesh(0);
    EXPECT_EQ(object->getMesh().getNumVerts(), 6);
    EXPECT_EQ(object->meshValidity(), Interval(0, 0));
}

TEST_F(CacheObjectTest, PreLoadShowsProgressOnce) {
    useFile(path);
    params().SetValue(P::loadTypeLocal, 0, 2);
    std::vector<std::wstring> texts;
    int progressCalls = 0;
    object->setStatusObserver([&](wkCache_obj& o) {
        texts.push_back(o.statusText().data());
        progressCalls += o.progressState().progressDone >= 0;
    });
    object->updateCacheMesh(0);
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.front(), L"Loading ...");
    EXPECT_EQ(progressCalls, 3);
    EXPECT_EQ(object->progressState().progressDone, -1);
    // Complete already: no progress the second time.
    texts.clear();
    object->updateCacheMesh(160);
    EXPECT_EQ(texts, std::vector<std::wstring>{L"F:294 B, M:294 B"});
}

// A host call that throws while a pre-load shows its progress passes through the update, which
// still takes the progress figures and its callback away from the shared reader.
TEST_F(CacheObjectTest, AHostExceptionDuringAPreLoadLeavesNoProgressBehind) {
    useFile(path);
    params().SetValue(P::loadTypeLocal, 0, 2);
    object->setStatusObserver([](wkCache_obj& o) {
        if (o.progressState().progressDone >= 0)
            throw std::runtime_error("host failure");
    });
    EXPECT_THROW(object->updateCacheMesh(0), std::runtime_error);
    object->setStatusObserver(nullptr);
    EXPECT_EQ(object->progressState().progressDone, -1);
    EXPECT_EQ(object->progressState().progressTotal, -1);
    auto* reader = theCacheRegistry.readerOfClient(object->playbackState());
    ASSERT_NE(reader, nullptr);
    ASSERT_FALSE(reader->isPreloaded());
    // Whatever reads the rest of the file now reports to nobody.
    reader->preload();
    EXPECT_EQ(object->progressState().progressDone, -1);
    object->updateCacheMesh(0);
    EXPECT_TRUE(object->isMeshReady());
}

TEST_F(CacheObjectTest, RenderServerPerSampleStillPlays) {
    useFile(path);
    host.Time().SetNetServer(0x101); // only the low byte counts
    params().SetValue(P::loadTypeLocal, 0, 2);
    params().SetValue(P::loadTypeSlave, 0, 0);
    object->updateCacheMesh(320);
    EXPECT_TRUE(object->isMeshReady());
    auto* reader = theCacheRegistry.readerOfClient(object->playbackState());
    ASSERT_NE(reader, nullptr);
    EXPECT_FALSE(reader->getKeepFileOpen());
    EXPECT_EQ(reader->loadedSampleCount(), 1);
}

TEST_F(CacheObjectTest, NewClientGivesTheCacheMaterialToItsBareNodes) {
    MtlBaseLib library;
    library.AddMtl(std::make_shared<Mtl>(WStr(L"cached")));
    ASSERT_TRUE(host.Materials().SaveMaterialLibrary(
        WStr::FromUTF8((dir.path() / "two.mat").string()), library));
    auto ownMaterial = std::make_shared<Mtl>(WStr(L"own"));
    auto other = NewCacheObject(host);
    wkCache_obj* otherObject = other.get();
    INode* otherNode = host.Nodes().CreateObjectNode(std::move(other));
    otherNode->SetMtl(ownMaterial);
    useFile(path);
    otherObject->setFileName(object->fileName());

    object->updateCacheMesh(0);
    ASSERT_NE(node->GetMtl(), nullptr);
    EXPECT_EQ(node->GetMtl()->GetName(), WStr(L"cached"));
    otherObject->updateCacheMesh(0);
    EXPECT_EQ(otherNode->GetMtl(), ownMaterial.get());
}

TEST_F(CacheObjectTest, ClockAndDisplaySettingsReachTheElements) {
    useFile(path);
    params().SetValue(P::playStart, 0, 10);
    object->updateCacheMesh(9 * 160);
    const wkCachePlaybackState& state = object->playbackRecord();
    ASSERT_EQ(state.elements.size(), 2u);
    EXPECT_FLOAT_EQ(state.elements[0].time, -160.0f);
    EXPECT_EQ(state.elements[0].sample, 0); // Hold before the start
    EXPECT_TRUE(state.elements[0].beforeRange);

    // Delete Faces works on a still viewport; during playback it falls back on hiding.
    params().SetValue(P::playStart, 0, 0);
    object->updateCacheMesh(160);
    EXPECT_TRUE(state.deleteInvisible);
    EXPECT_EQ(object->getMesh().getNumFaces(), 1);
    host.Time().SetAnimPlaying(1);
    object->invalidateAll();
    object->updateCacheMesh(160);
    EXPECT_FALSE(state.deleteInvisible);
    EXPECT_TRUE(state.hideInvisible);
    EXPECT_EQ(object->getMesh().getNumFaces(), 2);
    EXPECT_TRUE(object->isGeomCacheStale());
}

// A render takes the rend* parameters, whatever the viewport's say, and keeps invisible
// elements' faces only with "Don't Delete".
TEST_F(CacheObjectTest, ARenderEvaluatesWithTheRenderSettings) {
    useFile(path);
    params().SetValue(P::vpBoxMode, 0, 1);
    params().SetValue(P::vpInterpolate, 0, 0);
    params().SetValue(P::rendInterpolate, 0, 1);
    params().SetValue(P::rendApplyMatID, 0, 1);
    params().SetValue(P::rendMatID, 0, 7);
    host.Time().SetAnimPlaying(1);
    object->RenderBegin(160);
    object->updateCacheMesh(160);
    const wkCachePlaybackState& state = object->playbackRecord();
    EXPECT_FALSE(state.boxMode);
    EXPECT_FALSE(state.isViewport);
    EXPECT_TRUE(state.interpolateFrames);
    EXPECT_TRUE(state.deleteInvisible);
    EXPECT_FALSE(state.hideInvisible);
    EXPECT_TRUE(state.applyMaterial);
    EXPECT_EQ(state.invisibleMaterial, 6);
    EXPECT_EQ(object->getMesh().getNumFaces(), 1);

    params().SetValue(P::rendDontDelete, 0, 1);
    object->updateCacheMesh(161);
    EXPECT_FALSE(state.deleteInvisible);
    EXPECT_EQ(object->getMesh().getNumFaces(), 2);

    // Baking (explode) takes the render settings outside a render too; the viewport does not.
    object->RenderEnd(161);
    object->updateCacheMesh(162);
    EXPECT_TRUE(state.isViewport && state.boxMode && !state.applyMaterial);
    object->clearElementValidity();
    wkCacheRegistryEntry* entry = theCacheRegistry.findEntryOfClient(&object->playbackRecord());
    object->evaluateForExplode(162, *entry->reader);
    EXPECT_FALSE(state.isViewport || state.boxMode || !state.applyMaterial);
}

TEST_F(CacheObjectTest, ReverseSwapsTheOutOfRangeTypes) {
    useFile(path);
    params().SetValue(P::playReverse, 0, 1);
    params().SetValue(P::playInORT, 0, 0);
    params().SetValue(P::playOutORT, 0, 2);
    object->updateCacheMesh(160);
    const wkCachePlaybackState& state = object->playbackRecord();
    EXPECT_TRUE(state.reversed);
    EXPECT_EQ(state.beforeORT, 2);
    EXPECT_EQ(state.afterORT, 0);
    // lastTick 320 less one frame: sample 1.
    EXPECT_EQ(state.elements[0].sample, 1);
    // The graph overrides reverse.
    params().SetValue(P::playUseGraph, 0, 1);
    object->updateCacheMesh(160);
    EXPECT_FALSE(state.reversed);
}

TEST_F(CacheObjectTest, ParameterChangesInvalidateWhatTheyChange) {
    useFile(path);
    object->updateCacheMesh(160);
    ASSERT_FALSE(object->meshValidity().Empty());
    auto stale = [&] {
        const bool empty = object->meshValidity().Empty();
        object->updateCacheMesh(160);
        return empty;
    };
    // Without the graph the speed counts and the frame does not; with it, the reverse.
    params().SetValue(P::playSpeed, 0, 2.0f);
    EXPECT_TRUE(stale());
    params().SetValue(P::playFrame, 0, 3.0f);
    EXPECT_FALSE(stale());
    params().SetValue(P::playUseGraph, 0, 1);
    EXPECT_TRUE(stale());
    params().SetValue(P::playSpeed, 0, 3.0f);
    EXPECT_FALSE(stale());
    params().SetValue(P::playFrame, 0, 1.0f);
    EXPECT_TRUE(stale());
    // Out of range types wait for another cause unless updates are interactive.
    params().SetValue(P::triggerInteractive, 0, 0);
    (void)stale();
    params().SetValue(P::playInORT, 0, 3);
    EXPECT_FALSE(stale());
    // Display flags make the mesh stale but keep the element states.
    params().SetValue(P::vpBoxMode, 0, 1);
    EXPECT_FALSE(object->elementValidity().Empty());
    EXPECT_TRUE(object->meshValidity().Empty());
    EXPECT_TRUE(object->playbackRecord().boxMode);
}

TEST_F(CacheObjectTest, NewFileLeavesTheOldReader) {
    useFile(path);
    object->updateCacheMesh(0);
    const WStr first = object->resolvedFilePath();
    ASSERT_TRUE(theCacheRegistry.containsCache(first));
    useFile(dir.write("copy.wkc", twoElementCache()));
    EXPECT_FALSE(theCacheRegistry.containsCache(first));
    EXPECT_TRUE(object->meshValidity().Empty());
}

TEST_F(CacheObjectTest, UnitListsScaleTheMesh) {
    useFile(path);
    params().SetValue(P::vpDeleteObjects, 0, 0);
    object->selectScaleUnits(5, 0); // Meters to Inches
    EXPECT_NEAR(params().GetFloat(P::scaleUnits), 0.0254f, 1e-6f);
    object->selectScaleUnits(0, 1); // Inches to Feet: 12
    object->updateCacheMesh(160);
    EXPECT_FLOAT_EQ(vertX(1), 132.0f);
    // Markers are drawn with the mesh, so they scale with it.
    EXPECT_FLOAT_EQ(object->getMarkers()[0].GetTrans().y, 120.0f);
}

} // namespace
