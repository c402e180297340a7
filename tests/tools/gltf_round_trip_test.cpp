// The proof of export and import together: the demo recorded, exported as a .glb, the asset
// imported as a scene and recorded again gives the original element transforms at every sample,
// with the hidden samples exactly where the original hides its elements, and the deforming
// element's positions at every sample.
#include "cachefile/wkCacheRegistry.h"
#include "recording/RecordCache.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tools/common/scene_file.h"
#include "tools/demo_scene.h"
#include "tools/gltf/gltf_export.h"
#include "tools/gltf/gltf_import.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

namespace {

using WelkardTools::wkCacheReader;

bool zeroScale(const Matrix3& m) {
    for (int row = 0; row < 3; ++row)
        if (m.GetRow(row) != Point3())
            return false;
    return true;
}

TEST(GltfRoundTrip, RecordingTheImportedExportGivesTheCacheBack) {
    HeadlessHost host;
    ScopedHost scope(host);
    cachetest::TempDir dir;
    theCacheRegistry.setMaterials(&host.Materials());
    wkCache_obj& demo = wkcli::BuildDemoScene(host);
    const wkCacheRecordParams rec = demo.recordParams();
    const WStr original = WStr::FromUTF8(dir.file("demo.wkc").string());
    ASSERT_EQ(RecordCache(demo, &original, true), 1);

    const int tpf = host.Time().GetTicksPerFrame();
    wkgltf::ExportScene scene;
    ASSERT_TRUE(wkgltf::CollectPlayback(demo, Interval(rec.recStart * tpf, rec.recEnd * tpf), tpf,
                                        1.0f, {}, scene));
    const tinygltf::Model model = wkgltf::BuildGltf(scene);
    const std::string asset = dir.file("demo.glb").string();
    {
        std::ofstream out(asset, std::ios::binary);
        tinygltf::TinyGLTF writer;
        ASSERT_TRUE(writer.WriteGltfSceneToStream(&model, out, false, true));
    }
    theCacheRegistry.evictAll();
    theCacheRegistry.setMaterials(nullptr);

    HeadlessHost reread;
    ScopedHost rereadScope(reread);
    theCacheRegistry.setMaterials(&reread.Materials());
    std::vector<std::string> warnings;
    wkgltf::ImportOptions options;
    options.fps = host.Time().GetFrameRate();
    options.recDeform = true;
    const wkgltf::ImportResult imported =
        wkgltf::ImportGltf(wkgltf::LoadGltf(asset, warnings), options);
    const wkcli::LoadedScene loaded = wkcli::LoadSceneText(imported.scene.dump(), reread);
    ASSERT_EQ(loaded.cacheObjects.size(), 1u);
    const WStr again = WStr::FromUTF8(dir.file("again.wkc").string());
    ASSERT_EQ(RecordCache(*loaded.cacheObjects[0].object, &again, true), 1);

    wkCacheReader a(original), b(again);
    ASSERT_TRUE(a.preload() && b.preload());
    ASSERT_EQ(a.cacheNumNodes(), b.cacheNumNodes());
    ASSERT_EQ(a.cacheNumSamples(), b.cacheNumSamples());
    int hiddenSamples = 0;
    for (int n = 0; n < a.cacheNumNodes(); ++n) {
        for (int s = 0; s < a.cacheNumSamples(); ++s) {
            SCOPED_TRACE(testing::Message() << "element " << n << ", sample " << s);
            const Matrix3 ta = a.sampleTransform(n, s), tb = b.sampleTransform(n, s);
            ASSERT_EQ(!a.sampleVisible(n, s), zeroScale(tb));
            if (!a.sampleVisible(n, s)) {
                ++hiddenSamples;
                continue;
            }
            for (int row = 0; row < 4; ++row)
                for (int c = 0; c < 3; ++c) {
                    const float x = ta.GetRow(row)[c], y = tb.GetRow(row)[c];
                    ASSERT_NEAR(x, y, 1e-4f * std::max(1.0f, std::fabs(x)));
                }
        }
    }
    // The demo hides elements: the spans are part of what was compared.
    EXPECT_GT(hiddenSamples, 0);

    // The deforming element's morph weights blend its key frames as playback does: the
    // recording of the import stores the same positions at every sample.
    WelkardTools::wkCacheElementFrames& fa = a.getFrameStore();
    WelkardTools::wkCacheElementFrames& fb = b.getFrameStore();
    ASSERT_TRUE(fa.parseBlockHead(original) && fb.parseBlockHead(again));
    ASSERT_GT(fa.elementCount, 0);
    ASSERT_EQ(fa.elementPointCounts, fb.elementPointCounts);
    std::vector<float> pa, pb;
    for (int s = 0; s < a.cacheNumSamples(); ++s) {
        wkCacheFrameTimes times;
        times.loadType = 2;
        times.sampleTimes.assign(static_cast<std::size_t>(a.cacheNumNodes()),
                                 static_cast<float>(s));
        fa.fetchElementFrames(original, times, pa);
        fb.fetchElementFrames(again, times, pb);
        ASSERT_EQ(pa.size(), pb.size());
        ASSERT_FALSE(pa.empty());
        for (std::size_t i = 0; i < pa.size(); ++i)
            ASSERT_NEAR(pa[i], pb[i], 1e-4f * std::max(1.0f, std::fabs(pa[i])))
                << "sample " << s << ", float " << i;
    }
    theCacheRegistry.evictAll();
    theCacheRegistry.setMaterials(nullptr);
}

} // namespace
