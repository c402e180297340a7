// Scenes for the recording tests: a headless host installed for the test, nodes made of boxes
// and planes with keyed motion, and a temporary folder for the files written.
#pragma once

#include "cachefile/wkCacheReader.h"
#include "host/headless/HeadlessHost.h"
#include "host/headless/HeadlessObjects.h"
#include "host/headless/HeadlessPrimitives.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace rectest {

class RecordTest : public ::testing::Test {
protected:
    HeadlessHost host;
    ScopedHost installed{host};
    HeadlessScene& scene = host.Nodes();
    cachetest::TempDir dir;

    // A box node that moves from `from` at tick 0 to `to` at `endTick`.
    HeadlessNode* boxNode(const std::string& name, Point3 from = Point3(), Point3 to = Point3(),
                          TimeValue endTick = 16000) {
        SceneObject* box = scene.AddObject(std::make_unique<TriObject>(MakeBoxMesh(1, 2, 3)));
        HeadlessNode* node = scene.CreateNode(WStr(name.c_str()), box);
        node->Position().AddKey(0, from);
        node->Position().AddKey(endTick, to);
        return node;
    }

    // A plane node whose vertices rise by `rise` per 160 ticks (a frame at 30 frames a second)
    // from `firstTick` on, keyed at every frame up to `lastTick`.
    HeadlessNode* wavingNode(const std::string& name, float rise, TimeValue firstTick = 0,
                             TimeValue lastTick = 16000) {
        const Mesh base = MakePlaneMesh(4, 4, 2, 2);
        auto object = std::make_unique<HeadlessDeformingMesh>(base);
        for (TimeValue t = firstTick; t <= lastTick; t += 160) {
            std::vector<Point3> positions;
            for (int v = 0; v < base.getNumVerts(); ++v) {
                Point3 p = base.getVert(v);
                p.z = rise * static_cast<float>((t - firstTick) / 160) * static_cast<float>(v);
                positions.push_back(p);
            }
            object->AddKey(t, positions);
        }
        return scene.CreateNode(WStr(name.c_str()), scene.Add(std::move(object)));
    }

    std::string path(const std::string& name) const { return dir.file(name).string(); }
    WStr wpath(const std::string& name) const { return WStr::FromUTF8(path(name)); }
    bool exists(const std::string& name) const { return std::filesystem::exists(dir.file(name)); }
};

inline cachetest::Bytes readBytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return cachetest::Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline std::int32_t i32At(const cachetest::Bytes& bytes, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i)
        v |= static_cast<std::uint32_t>(bytes.at(at + static_cast<std::size_t>(i))) << (8 * i);
    return static_cast<std::int32_t>(v);
}

} // namespace rectest
