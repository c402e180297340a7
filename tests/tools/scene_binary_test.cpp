// Binary scene files: a scene saved and loaded again writes the same JSON, and damaged files
// end in an error that says what is wrong.
#include "tools/common/scene_binary.h"

#include "cachefile/wkCacheRegistry.h"
#include "explode/ExplodeToObjects.h"
#include "host/headless/HeadlessChunkFile.h"
#include "recording/RecordCache.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tools/common/scene_json_writer.h"
#include "tools/demo_scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

using namespace wkcli;

namespace {

std::string readText(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Every object kind, a hierarchy, materials with an empty slot, TCB keys, and a cache object
// with a group of each action, an element selection, animated parameters, node parameters and
// a keyed gizmo.
const char* kEverything = R"({
  "wkcacheScene": 1, "frameRate": 25, "animationRange": [-5, 40], "currentFrame": 2.5,
  "materials": [{"name": "Red"}, {"name": "Multi", "subMaterials": ["Red", null]}],
  "nodes": [
    {"name": "Child", "parent": "Box", "object": {"type": "plane", "segments": [2, 1]}},
    {"name": "Box", "material": "Multi", "wireColor": [1, 2, 3], "hidden": true,
     "visibility": {"keys": [{"frame": 0, "value": 1}, {"frame": 7, "value": 0.25}]},
     "rotation": {"interpolation": "tcb", "keys": [
        {"frame": 0, "value": {"axis": [0, 0, 1], "angle": 0}},
        {"frame": 10, "value": {"axis": [1, 0, 0], "angle": 90}, "tension": 0.5, "easeIn": 0.25}]},
     "objectOffset": {"position": [1, 2, 3]}, "object": {"type": "box", "width": 2}},
    {"name": "Cloth", "object": {"type": "deformingMesh",
      "mesh": {"type": "mesh", "vertices": [[0,0,0],[1,0,0],[0,1,0]],
               "faces": [{"v": [0, 1, 2], "matID": 3, "smGroup": 5, "edges": [true, false, true]}],
               "maps": {"1": {"vertices": [[0,0,0],[1,0,0],[0,1,0]], "faces": [[2, 1, 0]]}}},
      "keys": [{"frame": 3, "vertices": [[0,0,1],[1,0,1],[0,1,1]]}]}},
    {"name": "Morph", "object": {"type": "topologyMesh", "states": [
      {"frame": 0, "mesh": {"type": "box"}}, {"frame": 5, "mesh": {"type": "plane"}}]}},
    {"name": "Helix", "object": {"type": "shape", "points": [[0,0,0],[1,1,1],[2,0,3]],
      "closed": true, "renderable": true, "thickness": 0.5, "sides": 5}},
    {"name": "Lamp", "object": {"type": "omniLight", "farAttenuation": 80}},
    {"name": "Spot", "object": {"type": "spotLight"}},
    {"name": "Eye", "object": {"type": "camera"}},
    {"name": "Point", "object": {"type": "helper"}},
    {"name": "Cache", "object": {"type": "cache", "fileName": "@CACHE@",
      "nodes": ["Box", null, "Cloth"], "triggerOmni": "Lamp", "explodeToNode": "Point",
      "playSpeed": {"keys": [{"frame": 0, "value": 1}, {"frame": 20, "value": 2.5}]},
      "recEnd": 77, "vpWireframe": true, "scaleUnitsTo": 3,
      "selection": [0, 4, 9],
      "gizmo": {"position": {"keys": [{"frame": 0, "value": [0, 0, 0]},
                                      {"frame": 9, "value": [5, 0, 1]}]}},
      "groups": [
        {"name": "Gone", "mode": "Delete", "age": 4, "elements": [1, 2]},
        {"name": "In", "mode": "Hold In", "enabled": false},
        {"name": "Out", "mode": "Hold Out", "respectActivation": false},
        {"name": "Late", "mode": "Offset", "offset": -2.5},
        {"name": "Fixed", "mode": "Set Frame",
         "frame": {"keys": [{"frame": 0, "value": 3}, {"frame": 10, "value": 8}]}},
        {"name": "Paint", "mode": "Set Material ID", "materialId": 7, "elements": [5]}]}}
  ]})";

std::vector<std::uint8_t> saved(HeadlessHost& host) {
    return SaveSceneBinary(host);
}

// Where two scene texts part, with a little of each; empty when they are equal. (A failing
// comparison of whole texts would make gtest diff them, quadratic in their length.)
std::string difference(const std::string& a, const std::string& b) {
    const auto [ia, ib] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    if (ia == a.end() && ib == b.end())
        return {};
    const auto at = static_cast<std::size_t>(ia - a.begin());
    return "at " + std::to_string(at) + ": " + a.substr(at, 60) + " | " + b.substr(at, 60);
}

std::string binaryRoundTrip(HeadlessHost& host) {
    HeadlessHost again;
    (void)LoadSceneBinary(saved(host), again);
    return SceneToJsonText(again);
}

// kEverything on a cache of ten elements, so that the selection and the groups survive the
// trimming of a save.
class TenElements {
public:
    TenElements() {
        cachetest::CacheSpec spec;
        for (int n = 0; n < 10; ++n)
            spec.nodes.push_back(cachetest::triangleNode("n" + std::to_string(n)));
        spec.samples = {std::vector<cachetest::SampleSpec>(10, cachetest::moved(0, 0, 0))};
        path = dir.write("ten.wkc", cachetest::buildCache(spec));
    }
    ~TenElements() { theCacheRegistry.evictAll(); }
    std::string scene() const {
        std::string text = kEverything;
        text.replace(text.find("@CACHE@"), 7, path);
        return text;
    }

private:
    cachetest::TempDir dir;
    std::string path;
};

TEST(SceneBinary, RoundTripsWriteTheSameJson) {
    const TenElements cache;
    const cachetest::TempDir dir;
    struct Case {
        const char* name;
        std::function<void(HeadlessHost&)> build;
    };
    const Case cases[] = {
        {"demo", [](HeadlessHost& host) { BuildDemoScene(host); }},
        {"everything", [&](HeadlessHost& host) { LoadSceneText(cache.scene(), host); }},
        // Explode's nodes: TCB key controllers with flags, turns and scale axes.
        // Reduced, some controllers lose every key and keep the value they had.
        {"exploded demo",
         [&](HeadlessHost& host) {
             wkCache_obj& demo = BuildDemoScene(host);
             const WStr file = WStr::FromUTF8(dir.file("demo.wkc").string());
             ASSERT_EQ(RecordCache(demo, &file, true), 1);
             const int tpf = host.Time().GetTicksPerFrame();
             for (bool reduce : {false, true}) {
                 INodeTab nodes;
                 ASSERT_EQ(ExplodeToObjects(demo, Interval(0, 12 * tpf), 5 * tpf, nodes, nullptr,
                                            false, reduce, 0, 0.0f, true),
                           1);
             }
         }},
        {"example",
         [](HeadlessHost& host) {
             LoadSceneText(
                 readText(std::string(WKCACHE_SOURCE_DIR) + "/tests/cli/scenes/falling_boxes.json"),
                 host);
         }},
        // No material: the materials chunk is written empty and must read back.
        {"no materials",
         [](HeadlessHost& host) {
             LoadSceneText(R"({"wkcacheScene": 1, "nodes": [{"name": "box", "object":
                 {"type": "box", "width": 2, "length": 2, "height": 1}}]})",
                           host);
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HeadlessHost host;
        {
            ScopedHost installed(host);
            c.build(host);
        }
        const std::string json = SceneToJsonText(host);
        EXPECT_EQ(difference(binaryRoundTrip(host), json), "");
        // The JSON form alone is lossless too.
        HeadlessHost fromJson;
        LoadSceneText(json, fromJson);
        EXPECT_EQ(difference(SceneToJsonText(fromJson), json), "");
    }
}

TEST(SceneBinary, TheJsonHoldsWhatTheBinaryFileAdds) {
    const TenElements cache;
    HeadlessHost host;
    LoadSceneText(cache.scene(), host);
    const std::string json = binaryRoundTrip(host);
    for (const char* key : {"\"selection\": [", "\"explodeToNode\": \"Point\"", "\"easeIn\": 0.25",
                            "\"currentFrame\": 2.5"})
        EXPECT_NE(json.find(key), std::string::npos) << key;
}

// A file built chunk by chunk, to damage one field at a time.
std::vector<std::uint8_t> handMade(std::uint32_t version, std::int32_t parent,
                                   std::uint32_t vertexCount, std::uint32_t corner) {
    HeadlessChunkWriter w;
    const auto put = [&](auto v) { w.Write(&v, sizeof v); };
    w.BeginChunk(SceneChunk::header);
    for (std::int32_t v : {std::int32_t(version), 30, 0, 100, 0})
        put(v);
    w.EndChunk();
    w.BeginChunk(SceneChunk::nodes);
    w.BeginChunk(SceneChunk::node);
    w.BeginChunk(SceneChunk::nodeSettings);
    put(parent);
    put(std::int32_t{-1});
    put(std::uint32_t{0x01000001});
    put(std::uint32_t{0});
    for (float f : {0.f, 0.f, 0.f, 0.f, 0.f, 0.f, 1.f, 1.f, 1.f, 1.f, 0.f, 0.f, 0.f, 1.f})
        put(f);
    w.EndChunk();
    w.BeginChunk(SceneChunk::object);
    w.BeginChunk(SceneChunk::objectClass);
    put(GEOMOBJECT_CLASS_ID);
    put(triObjectClassID.PartA());
    put(triObjectClassID.PartB());
    w.EndChunk();
    w.BeginChunk(SceneChunk::mesh);
    put(vertexCount);
    for (int f = 0; f < 9; ++f)
        put(0.0f);
    put(std::uint32_t{1});
    for (std::uint32_t v : {std::uint32_t{0}, std::uint32_t{1}, corner, 1u, 0u, 7u})
        put(v);
    put(std::uint32_t{0});
    w.EndChunk();
    w.EndChunk();
    w.EndChunk();
    w.EndChunk();
    return w.bytes();
}

TEST(SceneBinary, DamagedFilesSayWhatIsWrong) {
    struct Case {
        const char* name;
        std::vector<std::uint8_t> bytes;
        const char* message; // empty: loads
    };
    std::vector<std::uint8_t> truncated = handMade(1, -1, 3, 2);
    truncated.resize(truncated.size() - 5);
    std::vector<std::uint8_t> noHeader = handMade(1, -1, 3, 2);
    noHeader[0] = 0x03;
    const Case cases[] = {
        {"sound", handMade(1, -1, 3, 2), ""},
        {"version", handMade(2, -1, 3, 2), "format version 2 is not known"},
        {"own parent", handMade(1, 0, 3, 2), "node[0] lies in a loop of parents"},
        {"parent beyond", handMade(1, 1, 3, 2), "node[0] has a parent not in the file"},
        {"huge count", handMade(1, -1, 0x40000000, 2), "a count of 1073741824 runs past"},
        {"corner beyond", handMade(1, -1, 3, 3), "face 0 names vertex 3 of 3"},
        {"truncated", truncated, "a chunk header is damaged or runs past its end"},
        {"no header", noHeader, "not valid JSON"}, // only "WK" marks a binary file
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HeadlessHost host;
        const std::string text(c.bytes.begin(), c.bytes.end());
        if (*c.message == '\0') {
            EXPECT_NO_THROW(LoadSceneText(text, host));
            continue;
        }
        try {
            LoadSceneText(text, host);
            ADD_FAILURE() << "loaded";
        } catch (const SceneFileError& e) {
            EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
        }
    }
}

// Every cut of a saved scene loads or fails cleanly (ASan and UBSan watch in CI).
TEST(SceneBinary, EveryTruncationFailsCleanly) {
    const TenElements cache;
    HeadlessHost host;
    LoadSceneText(cache.scene(), host);
    const std::vector<std::uint8_t> bytes = saved(host);
    int refused = 0;
    for (std::size_t cut = 0; cut < bytes.size(); cut += 7) {
        HeadlessHost again;
        try {
            LoadSceneText(std::string(bytes.begin(), bytes.begin() + cut), again);
        } catch (const SceneFileError&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, static_cast<int>(bytes.size() / 7) - 3);
}

} // namespace
