// The proof of explode: the demo recorded, exploded into keyed nodes, written to a scene file,
// and those nodes read back and recorded again give the same element transforms at every sample;
// with key reduction, the same within the reduction's threshold.
#include "cachefile/wkCacheRegistry.h"
#include "explode/ExplodeToObjects.h"
#include "recording/RecordCache.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tools/demo_scene.h"
#include "tools/scene_controllers.h"
#include "tools/scene_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>

namespace {

using WelkardTools::wkCacheReader;

class ExplodeRoundTrip : public ::testing::TestWithParam<bool> {
protected:
    HeadlessHost host;
    ScopedHost scope{host};
    cachetest::TempDir dir;

    void SetUp() override { theCacheRegistry.setMaterials(&host.Materials()); }
    void TearDown() override {
        theCacheRegistry.evictAll();
        theCacheRegistry.setMaterials(nullptr);
    }
    WStr file(const char* name) const { return WStr::FromUTF8(dir.file(name).string()); }
};

TEST_P(ExplodeRoundTrip, RecordingTheExplodedNodesGivesTheCacheBack) {
    const bool reduce = GetParam();
    const float thresh = 0.02f;
    wkCache_obj& demo = wkcli::BuildDemoScene(host);
    const wkCacheRecordParams rec = demo.recordParams();
    const WStr original = file("demo.wkc");
    ASSERT_EQ(RecordCache(demo, &original, true), 1);

    const int tpf = host.Time().GetTicksPerFrame();
    INodeTab nodes;
    ASSERT_EQ(ExplodeToObjects(demo, Interval(rec.recStart * tpf, rec.recEnd * tpf), tpf, nodes,
                               nullptr, false, reduce, 0, thresh, true),
              1);

    // The nodes go through a scene file and are recorded from the scene read back.
    nlohmann::json entries = nlohmann::json::array();
    for (int i = 0; i < nodes.Count(); ++i)
        entries.push_back(wkcli::WriteNodeEntry(*nodes[i]));
    const std::string scene = dir.file("exploded.json").string();
    std::ofstream(scene) << nlohmann::json{
        {"wkcacheScene", 1}, {"frameRate", host.Time().GetFrameRate()}, {"nodes", entries}};
    HeadlessHost reread;
    ScopedHost rereadScope(reread);
    wkcli::LoadSceneFile(scene, reread);
    auto again = std::make_unique<wkCache_obj>();
    wkCache_obj& copy = *again;
    reread.Nodes().CreateObjectNode(std::move(again));
    for (int i = 0; i < nodes.Count(); ++i)
        copy.appendNodeEntry(reread.Nodes().FindNode(nodes[i]->GetName()));
    wkCacheRecordParams params = rec;
    params.recWriteDeform = false;
    params.recWriteTopology = false;
    copy.setRecordParams(params);
    const WStr exploded = file("exploded.wkc");
    ASSERT_EQ(RecordCache(copy, &exploded, true), 1);

    wkCacheReader a(original), b(exploded);
    ASSERT_TRUE(a.preload() && b.preload());
    ASSERT_EQ(a.cacheNumNodes(), nodes.Count());
    ASSERT_EQ(b.cacheNumNodes(), nodes.Count());
    ASSERT_EQ(a.cacheNumSamples(), b.cacheNumSamples());
    const float tolerance = reduce ? 3.0f * thresh : 1e-4f;
    // Reduction samples its interval without the end, so the last frame is not held to it.
    const int samples = a.cacheNumSamples() - (reduce ? 1 : 0);
    for (int n = 0; n < a.cacheNumNodes(); ++n) {
        for (int s = 0; s < samples; ++s) {
            SCOPED_TRACE(testing::Message() << "element " << n << ", sample " << s);
            ASSERT_EQ(a.sampleVisible(n, s), b.sampleVisible(n, s));
            if (!a.sampleVisible(n, s))
                continue; // a hidden element's place is not part of what it shows
            const Matrix3 ta = a.sampleTransform(n, s), tb = b.sampleTransform(n, s);
            for (int row = 0; row < 4; ++row) {
                for (int c = 0; c < 3; ++c) {
                    const float x = ta.GetRow(row)[c], y = tb.GetRow(row)[c];
                    ASSERT_NEAR(x, y, tolerance * std::max(1.0f, std::fabs(x)));
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutReduction, ExplodeRoundTrip, ::testing::Bool());

} // namespace
