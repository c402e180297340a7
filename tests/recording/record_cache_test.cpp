// The record pipeline from the node list to the loaded result: every way through it, what the
// file holds, what the object, the scene, the hold and the registry look like afterwards.
#include "cachefile/wkCacheRegistry.h"
#include "object/wkCache_obj.h"
#include "panels/wkCacheFileDialogs.h"
#include "recording/RecordCache.h"
#include "tests/recording/RecordTestScene.h"
#include "tools/common/module_objects.h"

#include <chrono>
#include <filesystem>
#include <fstream>

using namespace WelkardTools;
using namespace rectest;

namespace {

class ScopedWorkingDirectory {
public:
    explicit ScopedWorkingDirectory(const std::filesystem::path& dir)
        : previous(std::filesystem::current_path()) {
        std::filesystem::current_path(dir);
    }
    ~ScopedWorkingDirectory() { std::filesystem::current_path(previous); }

private:
    std::filesystem::path previous;
};

class RecordCacheTest : public RecordTest {
protected:
    // Recording looks for the sibling plug-in in the working directory: work where there is
    // none unless a test puts one there.
    ScopedWorkingDirectory inDir{dir.path()};

    void SetUp() override {
        theCacheRegistry.setMaterials(&host.Materials());
        cache = scene.Add(NewCacheObject(host));
        cacheNode = scene.CreateNode(L"My Cache", cache);
        wkCacheRecordParams params;
        params.recStart = 0;
        params.recEnd = 10;
        cache->setRecordParams(params);
    }
    void TearDown() override {
        theCacheRegistry.evictAll();
        theCacheRegistry.setMaterials(nullptr);
    }

    void setParams(const std::function<void(wkCacheRecordParams&)>& change) {
        wkCacheRecordParams params = cache->recordParams();
        change(params);
        cache->setRecordParams(params);
    }
    void list(std::initializer_list<INode*> nodes) {
        for (INode* node : nodes)
            cache->appendNodeEntry(node);
    }
    int record(const std::string& name, bool quiet = true) {
        const WStr file = wpath(name);
        return RecordCache(*cache, &file, quiet, &result);
    }
    wkCacheReader reader(const std::string& name) const { return wkCacheReader(wpath(name)); }

    wkCache_obj* cache = nullptr;
    HeadlessNode* cacheNode = nullptr;
    RecordResult result;
};

TEST_F(RecordCacheTest, ARecordingWritesTheNodesAndLoadsTheFileIntoTheObject) {
    HeadlessNode* a = boxNode("a", Point3(0, 0, 0), Point3(16, 0, 0), 1600);
    HeadlessNode* b = boxNode("b", Point3(0, 5, 0), Point3(0, 5, 0));
    cacheNode->Position().AddKey(0, Point3(0, 0, 0));
    cacheNode->Position().AddKey(1600, Point3(0, 0, 8));
    host.Time().SetTime(800);
    list({a, b});

    ASSERT_EQ(record("out.wkc"), 1);
    EXPECT_EQ(result.outcome, RecordOutcome::Recorded);
    EXPECT_EQ(result.writtenNodes, 2);

    wkCacheReader file = reader("out.wkc");
    ASSERT_EQ(file.status(), kStatusOk);
    const wkCacheHeader& header = *file.getHeader();
    EXPECT_EQ(header.cacheStart, 0);
    EXPECT_EQ(header.cacheEnd, 1600);
    EXPECT_EQ(header.cacheStepSize, 160);
    EXPECT_EQ(header.cacheNumSamples, 11);
    // Every sample: the node's object transform at the tick times the inverse of the cache
    // node's transform at the current time.
    const Matrix3 reference = Inverse(cacheNode->GetObjectTM(800));
    ASSERT_TRUE(file.preload());
    for (std::int32_t s = 0; s < 11; ++s) {
        EXPECT_EQ(file.sampleTransform(0, s), a->GetObjectTM(s * 160) * reference);
        EXPECT_EQ(file.sampleTransform(1, s), b->GetObjectTM(s * 160) * reference);
    }

    // The object plays the new file, its ranges follow the record range, its list is empty.
    cache->updateCacheMesh(800);
    EXPECT_TRUE(cache->isMeshReady());
    EXPECT_NE(theCacheRegistry.readerOfClient(cache->playbackState()), nullptr);
    EXPECT_EQ(cache->fileName().GetFileName(), wpath("out.wkc"));
    EXPECT_EQ(cache->getPlayStart(), 0);
    EXPECT_EQ(cache->getExplodeEnd(), 10);
    EXPECT_EQ(cache->notifications().back(), (std::pair<std::uint32_t, int>{PART_GEOM, 80}));
    EXPECT_EQ(cache->nodeCount(), 0);
    EXPECT_FALSE(host.Hold().IsSuspended());
    ASSERT_EQ(host.Hold().NumUndoSteps(), 1);
    EXPECT_EQ(host.Hold().UndoStepName(0), WStr(L"Empty node list"));
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(cache->nodeList(), (std::vector<INode*>{a, b}));
    EXPECT_TRUE(host.UI().Messages().empty());
    EXPECT_TRUE(host.UI().CurrentPrompt().IsEmpty());
    EXPECT_EQ(cache->progressState().progressDone, cache->progressState().progressTotal);
}

TEST_F(RecordCacheTest, TheRangeEndsOnTheLastWholeStepOfAtLeastOneTick) {
    struct Case {
        int start, end; // frames
        float step;
        std::vector<std::int32_t> header; // start, end, step and sample count
    };
    const Case cases[] = {
        {0, 10, 3.0f, {0, 1440, 480, 4}},
        {0, 1, 0.001f, {0, 160, 1, 161}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.start << ":" << c.end << " by " << c.step);
        setParams([&c](wkCacheRecordParams& p) {
            p.recStart = c.start;
            p.recEnd = c.end;
            p.recStep = c.step;
        });
        list({boxNode("a")});
        ASSERT_EQ(record("range.wkc"), 1);
        const wkCacheHeader h = wkCacheHeader::Decode(readBytes(dir.file("range.wkc")).data());
        EXPECT_EQ((std::vector<std::int32_t>{h.cacheStart, h.cacheEnd, h.cacheStepSize,
                                             h.cacheNumSamples}),
                  c.header);
        EXPECT_EQ(reader("range.wkc").status(), c.header[3] > 0 ? kStatusOk : kStatusInvalidCache);
    }
}

TEST_F(RecordCacheTest, NothingToCacheSaysSoUnlessQuiet) {
    HeadlessNode* helper =
        scene.CreateNode(L"helper", scene.Add(std::make_unique<HeadlessHelper>()));
    list({helper, nullptr, cacheNode});
    EXPECT_EQ(record("nothing.wkc", true), 0);
    EXPECT_EQ(result.outcome, RecordOutcome::NothingToCache);
    EXPECT_TRUE(host.UI().Messages().empty());
    EXPECT_EQ(record("nothing.wkc", false), 0);
    ASSERT_EQ(host.UI().Messages().size(), 1u);
    EXPECT_EQ(host.UI().Messages()[0].text, WStr(L"Nothing to cache!"));
    EXPECT_EQ(host.UI().Messages()[0].title, WStr(L"Error!"));
    EXPECT_EQ(host.UI().Messages()[0].style, 48u);
    EXPECT_FALSE(exists("nothing.wkc"));
    EXPECT_EQ(cache->nodeCount(), 3);
}

TEST_F(RecordCacheTest, NodesTheWriterCannotCaptureAreNothingToCacheToo) {
    Mesh points;
    points.setNumVerts(3);
    HeadlessNode* bare = scene.CreateNode(L"bare", scene.Add(std::make_unique<TriObject>(points)));
    list({bare});
    EXPECT_EQ(record("bare.wkc", false), 0);
    EXPECT_EQ(result.outcome, RecordOutcome::NothingToCache);
    EXPECT_EQ(host.UI().Messages().size(), 1u);
    EXPECT_FALSE(host.Hold().IsSuspended());
    EXPECT_FALSE(exists("bare.wkc"));
}

TEST_F(RecordCacheTest, ANodeListedTwiceIsRecordedOnce) {
    HeadlessNode* a = boxNode("a");
    list({a, a});
    ASSERT_EQ(record("twice.wkc"), 1);
    EXPECT_EQ(reader("twice.wkc").cacheNumNodes(), 1);
}

TEST_F(RecordCacheTest, EscapeWhileWritingCancelsQuietlyAndLeavesNoFile) {
    list({boxNode("a"), boxNode("b")});
    cache->setPanelOpen(true);
    // Call 0 is the press swallowed at the start; call 1 the first step of the writer.
    host.UI().PressEscapeAt(1);
    EXPECT_EQ(record("cancel.wkc", false), 0);
    EXPECT_EQ(result.outcome, RecordOutcome::Cancelled);
    EXPECT_EQ(result.status, kStatusCancelled);
    EXPECT_FALSE(exists("cancel.wkc"));
    EXPECT_TRUE(host.UI().Messages().empty());
    EXPECT_FALSE(host.Hold().IsSuspended());
    EXPECT_EQ(host.Hold().NumUndoSteps(), 0);
    EXPECT_EQ(cache->nodeCount(), 2);
    EXPECT_EQ(cache->statusText(), WStr(L"No cache file."));
    EXPECT_FALSE(theCacheRegistry.containsCache(wpath("cancel.wkc")));
}

TEST_F(RecordCacheTest, EscapeWhileAnalysingIsIgnored) {
    setParams([](wkCacheRecordParams& p) { p.recWriteDeform = true; });
    list({wavingNode("w", 1.0f), boxNode("b")});
    host.UI().PressEscapeAt(3);
    ASSERT_EQ(record("analysed.wkc"), 1);
    EXPECT_TRUE(exists("analysed.wkc"));
}

TEST_F(RecordCacheTest, AWriteErrorIsShownUnderWriteErrorAndTheFileIsRemoved) {
    list({boxNode("a")});
    cache->setPanelOpen(true);
    // A folder where the file should be: the writer cannot create it (status 1), and what is
    // there is not ours to remove.
    std::filesystem::create_directory(dir.file("taken.wkc"));
    EXPECT_EQ(record("taken.wkc", false), 0);
    EXPECT_EQ(result.outcome, RecordOutcome::WriteFailed);
    EXPECT_EQ(result.status, kStatusFileNotFound);
    ASSERT_EQ(host.UI().Messages().size(), 1u);
    EXPECT_EQ(host.UI().Messages()[0].text, WStr(L"File not found."));
    EXPECT_EQ(host.UI().Messages()[0].title, WStr(L"Write Error!"));
    EXPECT_EQ(host.UI().Messages()[0].style, 16u);
    EXPECT_TRUE(std::filesystem::is_directory(dir.file("taken.wkc")));

    // Quiet, or without a panel: no message.
    cache->setPanelOpen(false);
    EXPECT_EQ(record("taken.wkc", false), 0);
    EXPECT_EQ(host.UI().Messages().size(), 1u);
}

TEST_F(RecordCacheTest, AnUnresolvableNameEndsWithoutAWordAndTheTemporaryNodesGo) {
    list({boxNode("a")});
    const WStr name = L"no/such/folder/x.wkc";
    EXPECT_EQ(RecordCache(*cache, &name, false, &result), 0);
    EXPECT_EQ(result.outcome, RecordOutcome::NoTarget);
    EXPECT_TRUE(host.UI().Messages().empty());
}

TEST_F(RecordCacheTest, OneMaterialIsSavedBesideTheFileAndGivenToTheSelectedCacheNode) {
    auto red = std::make_shared<Mtl>(L"Red");
    HeadlessNode* a = boxNode("a");
    a->SetMtl(red);
    list({a});
    cacheNode->SetSelected(true);
    HeadlessNode* second = scene.CreateNode(L"second view", cache);
    ASSERT_EQ(record("crate.wkc"), 1);
    ASSERT_TRUE(exists("crate.mat"));
    EXPECT_EQ(red->GetName(), WStr(L"crate"));
    ASSERT_NE(cacheNode->GetMtl(), nullptr);
    EXPECT_EQ(cacheNode->GetMtl()->GetName(), WStr(L"crate"));
    EXPECT_EQ(second->GetMtl(), nullptr); // not selected
    // The object's first frame on the new file gives the material to its nodes that have none.
    cache->updateCacheMesh(0);
    ASSERT_NE(second->GetMtl(), nullptr);
    EXPECT_EQ(second->GetMtl()->GetName(), WStr(L"crate"));
}

TEST_F(RecordCacheTest, WithoutSavingTheMaterialGoesStraightToTheNodes) {
    setParams([](wkCacheRecordParams& p) { p.recSaveMaterial = false; });
    auto red = std::make_shared<Mtl>(L"Red");
    HeadlessNode* a = boxNode("a");
    a->SetMtl(red);
    list({a});
    cacheNode->SetSelected(true);
    std::ofstream(dir.file("crate.mat")) << "stale";
    ASSERT_EQ(record("crate.wkc"), 1);
    EXPECT_FALSE(exists("crate.mat"));
    EXPECT_EQ(cacheNode->GetMtl(), red.get());
}

TEST_F(RecordCacheTest, OtherObjectsOnTheFileAreRefreshedAndKeepTheirOwnMaterials) {
    list({boxNode("a")});
    ASSERT_EQ(record("shared.wkc"), 1);

    auto* other = scene.Add(NewCacheObject(host));
    HeadlessNode* bare = scene.CreateNode(L"other bare", other);
    HeadlessNode* dressed = scene.CreateNode(L"other dressed", other);
    bare->SetSelected(true);
    dressed->SetSelected(true);
    auto own = std::make_shared<Mtl>(L"Own");
    dressed->SetMtl(own);
    bool isNew = false;
    theCacheRegistry.openCache(other->playbackState(), wpath("shared.wkc"), isNew);
    ASSERT_TRUE(isNew);

    HeadlessNode* b = boxNode("b");
    b->SetMtl(std::make_shared<Mtl>(L"Blue"));
    list({b});
    const int invalidations = other->invalidations();
    ASSERT_EQ(record("shared.wkc"), 1);
    EXPECT_EQ(other->invalidations(), invalidations + 1);
    EXPECT_EQ(other->notifications().back(), (std::pair<std::uint32_t, int>{PART_ALL, 80}));
    // The other object lost its reader with the eviction and finds a new one at its next use.
    EXPECT_EQ(theCacheRegistry.findEntryOfClient(other->playbackState()), nullptr);
    EXPECT_EQ(dressed->GetMtl(), own.get());
}

TEST_F(RecordCacheTest, DeformationAndTopologyMakeAVersionThreeFileWithDeformingNodesFirst) {
    setParams([](wkCacheRecordParams& p) {
        p.recStart = 500;
        p.recEnd = 510;
        p.recWriteDeform = true;
        p.recWriteTopology = true;
    });
    HeadlessNode* rigid = boxNode("rigid", Point3(), Point3(10, 0, 0), 81600);
    auto switching = std::make_unique<HeadlessTopologyMesh>();
    switching->AddState(0, MakeBoxMesh(1, 1, 1));
    switching->AddState(80800, MakePlaneMesh(1, 1, 2, 2)); // frame 505
    HeadlessNode* changing = scene.CreateNode(L"changing", scene.Add(std::move(switching)));
    HeadlessNode* waving = wavingNode("waving", 0.5f, 80000, 81600);
    // Waving bends: keep its samples apart from a straight line.
    list({rigid, changing, waving});
    ASSERT_EQ(record("v3.wkc"), 1);

    wkCacheReader file = reader("v3.wkc");
    ASSERT_EQ(file.status(), kStatusOk);
    EXPECT_EQ(file.getVersion(), 3);
    EXPECT_EQ(file.getHeader()->cacheStart, 80000 & ~0xFFFF);
    EXPECT_EQ(file.getHeader()->cacheEnd, 81600);
    const auto& nodes = file.getIndex()->nodes;
    ASSERT_EQ(nodes.size(), 4u);
    EXPECT_EQ(nodes[0]->name, WStr(L"waving"));
    EXPECT_EQ(nodes[1]->name, WStr(L"rigid"));
    EXPECT_EQ(nodes[2]->name, WStr(L"changing"));
    EXPECT_EQ(nodes[3]->name, WStr(L"changing"));
    EXPECT_EQ(nodes[2]->numFaces, 12);
    EXPECT_EQ(nodes[3]->numFaces, 8);
    // The two spans of the changing node cross by visibility.
    ASSERT_TRUE(file.preload());
    for (std::int32_t s = 0; s <= 10; ++s) {
        EXPECT_EQ(file.sampleVisible(2, s), s <= 4) << s;
        EXPECT_EQ(file.sampleVisible(3, s), s >= 5) << s;
    }
    EXPECT_EQ(file.getHeader()->cacheHasVisibility, 1);

    wkCacheElementFrames& store = file.getFrameStore();
    ASSERT_TRUE(store.parseBlockHead(wpath("v3.wkc")));
    EXPECT_EQ(store.elementCount, 1);
    EXPECT_EQ(store.elementPointCounts, (std::vector<std::int32_t>{9}));
    EXPECT_EQ(store.frameCount, 10);
    // The waving rises in a straight line: only the first and the last frame are kept.
    EXPECT_EQ(store.keyFrames, (std::vector<std::int32_t>{0, 9}));
}

TEST_F(RecordCacheTest, TheSiblingPluginDecidesWhatIsRecordedAndItsNodesGoAfterwards) {
    std::filesystem::create_directory(dir.file("plugins"));
    std::filesystem::copy_file(WKCACHE_TEST_PLUGIN, dir.file("plugins") / "WKSolidTest.so");
    setParams([](wkCacheRecordParams& p) {
        p.recStart = 2;
        p.recEnd = 4;
    });
    list({boxNode("Keep"), boxNode("SkipMe"), boxNode("SplitMe")});
    const std::size_t before = scene.Nodes().size();
    ASSERT_EQ(record("sibling.wkc"), 1);
    EXPECT_EQ(host.Plugins().LoadAttempts(), 1);

    wkCacheReader file = reader("sibling.wkc");
    const auto& nodes = file.getIndex()->nodes;
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[0]->name, WStr(L"Keep"));
    EXPECT_EQ(nodes[1]->name, WStr(L"SplitMe_part1@320-640"));
    EXPECT_EQ(nodes[2]->name, WStr(L"SplitMe_part2@320-640"));
    // The temporary nodes were deleted, and that is nothing to undo.
    EXPECT_EQ(scene.Nodes().size(), before);
    ASSERT_EQ(host.Hold().NumUndoSteps(), 1);
    EXPECT_EQ(host.Hold().UndoStepName(0), WStr(L"Empty node list"));
}

TEST_F(RecordCacheTest, WithoutTheSiblingItIsLookedForAtEveryNode) {
    list({boxNode("a"), boxNode("b"), nullptr});
    ASSERT_EQ(record("plain.wkc"), 1);
    EXPECT_EQ(host.Plugins().LoadAttempts(), 2);
}

TEST_F(RecordCacheTest, WithoutANameTheDialogAsksWithTheCacheNodesCleanedName) {
    list({boxNode("a")});
    host.Panels().QueueFileAnswer(wpath("chosen.wkc"));
    ASSERT_EQ(RecordCache(*cache, nullptr, false, &result, specifyCacheFile), 1);
    ASSERT_EQ(host.Panels().FileDialogs().size(), 1u);
    EXPECT_EQ(host.Panels().FileDialogs()[0].title, WStr(L"Specify Cache File"));
    EXPECT_EQ(host.Panels().FileDialogs()[0].fileName, WStr(L"My_Cache.wkc"));
    EXPECT_TRUE(exists("chosen.wkc"));
    EXPECT_EQ(cache->fileName().GetFileName(), wpath("chosen.wkc"));

    // The object has its file now: the next recording goes there without asking.
    list({boxNode("b")});
    ASSERT_EQ(RecordCache(*cache, nullptr, false, &result, specifyCacheFile), 1);
    EXPECT_EQ(host.Panels().FileDialogs().size(), 1u);
    EXPECT_EQ(reader("chosen.wkc").getIndex()->nodes[0]->name, WStr(L"b"));
}

TEST_F(RecordCacheTest, ReplacingAnExistingFileIsAskedAndNoAsksForAnotherName) {
    list({boxNode("a")});
    std::ofstream(dir.file("old.wkc")) << "old";
    host.Panels().QueueFileAnswer(wpath("old.wkc"));
    host.UI().QueueMessageBoxAnswer(IDNO);
    host.Panels().QueueFileAnswer(std::nullopt);
    EXPECT_EQ(RecordCache(*cache, nullptr, false, &result, specifyCacheFile), 0);
    EXPECT_EQ(result.outcome, RecordOutcome::NoTarget);
    ASSERT_EQ(host.UI().Messages().size(), 1u);
    EXPECT_EQ(host.UI().Messages()[0].text,
              wpath("old.wkc") + WStr(L" already exists.\nDo you wish to replace it?"));
    EXPECT_EQ(host.UI().Messages()[0].title, WStr(L"Save Cache"));
    EXPECT_EQ(host.Panels().FileDialogs().size(), 2u);
    EXPECT_EQ(readBytes(dir.file("old.wkc")).size(), 3u);

    host.Panels().QueueFileAnswer(wpath("old.wkc"));
    host.UI().QueueMessageBoxAnswer(IDYES);
    ASSERT_EQ(RecordCache(*cache, nullptr, false, &result, specifyCacheFile), 1);
    EXPECT_EQ(reader("old.wkc").status(), kStatusOk);
}

TEST_F(RecordCacheTest, WithoutACacheNodeTheSuggestionIsTheDefaultName) {
    auto* loose = scene.Add(NewCacheObject(host));
    loose->appendNodeEntry(boxNode("a"));
    EXPECT_EQ(RecordCache(*loose, nullptr, false, &result, specifyCacheFile), 0);
    ASSERT_EQ(host.Panels().FileDialogs().size(), 1u);
    EXPECT_EQ(host.Panels().FileDialogs()[0].fileName, WStr(L"WKCache_"));
    EXPECT_TRUE(host.UI().Messages().empty());
}

TEST_F(RecordCacheTest, TheNodeTestRefusesLoopsDeletedNodesDuplicatesAndNonMeshes) {
    HeadlessNode* a = boxNode("a");
    EXPECT_TRUE(cache->addNode(a));
    EXPECT_FALSE(cache->addNode(a)); // already listed
    EXPECT_TRUE(IsRecordableNode(*cache, a, false));
    EXPECT_FALSE(cache->addNode(cacheNode)); // its own node
    EXPECT_FALSE(cache->addNode(nullptr));
    EXPECT_FALSE(
        cache->addNode(scene.CreateNode(L"cam", scene.Add(std::make_unique<HeadlessCamera>()))));
    auto shape =
        std::make_unique<HeadlessSplineShape>(std::vector<Point3>{{0, 0, 0}, {1, 0, 0}}, false);
    EXPECT_TRUE(cache->addNode(scene.CreateNode(L"shape", scene.Add(std::move(shape)))));
    HeadlessNode* gone = boxNode("gone");
    scene.DeleteNode(gone);
    EXPECT_FALSE(cache->addNode(gone));
    EXPECT_EQ(cache->nodeCount(), 2);
}

TEST(RecordFileName, AddsTheEndingUnlessTheNameHasIt) {
    EXPECT_EQ(RecordFileName(L"a"), WStr(L"a.wkc"));
    EXPECT_EQ(RecordFileName(L".wkc"), WStr(L".wkc.wkc"));
    EXPECT_EQ(RecordFileName(L"x.WKC"), WStr(L"x.WKC"));
    EXPECT_EQ(RecordFileName(L"dir/take.Wkc"), WStr(L"dir/take.Wkc"));
    EXPECT_EQ(RecordFileName(L"take.wkcx"), WStr(L"take.wkcx.wkc"));
    EXPECT_EQ(RecordFileName(WStr()), WStr(L".wkc"));
}

TEST(MaterialLibraryPath, ReplacesTheLastThreeCharacters) {
    EXPECT_EQ(MaterialLibraryPath(L"/a/b/c.wkc"), WStr(L"/a/b/c.mat"));
    EXPECT_EQ(MaterialLibraryPath(L"c.wkc"), WStr(L"c.mat"));
    EXPECT_EQ(MaterialLibraryPath(L"/a/take.WKC"), WStr(L"/a/take.mat"));
}

TEST(FindSiblingPlugin, MatchesTheStemAsACaseSensitivePrefix) {
    cachetest::TempDir dir;
    ScopedWorkingDirectory inDir(dir.path());
    EXPECT_TRUE(FindSiblingPlugin(L"plugins/", L"WKSolid").IsEmpty());
    std::filesystem::create_directory("plugins");
    std::ofstream("plugins/wksolid.so") << "";
    std::ofstream("plugins/WKSol") << "";
    EXPECT_TRUE(FindSiblingPlugin(L"plugins/", L"WKSolid").IsEmpty());
    std::ofstream("plugins/WKSolid_v2.dlo") << "";
    std::ofstream("plugins/WKSolid.so") << "";
    EXPECT_EQ(FindSiblingPlugin(L"plugins/", L"WKSolid"), WStr(L"plugins/WKSolid.so"));
}

// A plug-in added after a listing is found: when the folder's time moved, and when it did not
// move but lies within the file system's coarse steps of now.
TEST(SiblingPluginScan, FindsWhatWasAddedSinceTheLastListing) {
    using Clock = std::filesystem::file_time_type::clock;
    const auto now = Clock::now();
    const struct {
        Clock::time_point before, after;
    } cases[] = {{now - std::chrono::hours(1), now - std::chrono::minutes(59)}, {now, now}};
    for (const auto& c : cases) {
        cachetest::TempDir dir;
        ScopedWorkingDirectory inDir(dir.path());
        std::filesystem::create_directory("plugins");
        std::filesystem::last_write_time("plugins", c.before);
        SiblingPluginScan scan(L"plugins/", L"WKSolid");
        EXPECT_TRUE(scan.find().IsEmpty());
        std::ofstream("plugins/WKSolid.so") << "";
        std::filesystem::last_write_time("plugins", c.after);
        EXPECT_EQ(scan.find(), WStr(L"plugins/WKSolid.so"));
    }
}

} // namespace

// ---- Nothing lost: the old cache and library survive every recording that does not finish.

std::string bytesOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST_F(RecordCacheTest, ARecordingThatDoesNotFinishKeepsTheOldCacheAndLibraryAndNoTemporary) {
    auto red = std::make_shared<Mtl>(L"Red");
    HeadlessNode* a = boxNode("a");
    a->SetMtl(red);
    list({a});
    setParams([](wkCacheRecordParams& p) { p.recClearNodeList = false; });
    ASSERT_EQ(record("keep.wkc"), 1);
    const std::string cacheBefore = bytesOf(dir.file("keep.wkc"));
    const std::string libraryBefore = bytesOf(dir.file("keep.mat"));
    ASSERT_FALSE(libraryBefore.empty());

    struct Case {
        const char* what;
        std::function<void()> spoil;
        RecordOutcome outcome;
    };
    const Case cases[] = {
        {"escape while writing", [&] { host.UI().SetEscapeHandler([] { return true; }); },
         RecordOutcome::Cancelled},
        {"range beyond 32-bit ticks",
         [&] {
             host.Time().SetFrameRate(1);
             setParams([](wkCacheRecordParams& p) {
                 p.recEnd = 9999999;
                 p.recStep = 999999.0f;
             });
         },
         RecordOutcome::BadRange},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        c.spoil();
        EXPECT_EQ(record("keep.wkc"), 0);
        EXPECT_EQ(result.outcome, c.outcome);
        EXPECT_EQ(bytesOf(dir.file("keep.wkc")), cacheBefore);
        EXPECT_EQ(bytesOf(dir.file("keep.mat")), libraryBefore);
        setParams([](wkCacheRecordParams& p) {
            p.recEnd = 10;
            p.recStep = 1.0f;
        });
        host.Time().SetFrameRate(30);
        host.UI().SetEscapeHandler(nullptr);
    }
    // A temporary left by a killed run is recognised and cleared by the next recording.
    std::ofstream(dir.file("keep.wkc.wktmp-killed")) << "partial";
    ASSERT_EQ(record("keep.wkc"), 1);
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        EXPECT_EQ(entry.path().filename().string().find(".wktmp-"), std::string::npos)
            << entry.path();
}

TEST_F(RecordCacheTest, AHostExceptionDuringTheAnalysisTakesTheTemporaryNodesAndProgressAway) {
    std::filesystem::create_directory(dir.file("plugins"));
    std::filesystem::copy_file(WKCACHE_TEST_PLUGIN, dir.file("plugins") / "WKSolidTest.so");
    setParams([](wkCacheRecordParams& p) { p.recWriteDeform = true; });
    list({boxNode("SplitMe")});
    const std::size_t before = scene.Nodes().size();
    cache->setStatusObserver([](wkCache_obj& o) {
        if (o.progressState().progressDone >= 0)
            throw std::runtime_error("host failure");
    });
    EXPECT_THROW(record("thrown.wkc"), std::runtime_error);
    cache->setStatusObserver(nullptr);
    EXPECT_EQ(scene.Nodes().size(), before);
    EXPECT_EQ(cache->progressState().progressDone, -1);
    EXPECT_EQ(cache->progressState().progressTotal, -1);
    EXPECT_FALSE(host.Hold().IsSuspended());
    EXPECT_FALSE(exists("thrown.wkc"));
}
