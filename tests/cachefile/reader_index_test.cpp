// The index and the meshes of a loaded cache: nodes, channels, specified normals, names, and
// how the full mesh and the boxes are laid out.
#include "cachefile/wkCacheReader.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

using namespace WelkardTools;
using namespace cachetest;

namespace {

ChannelSpec channel(std::int32_t number, int verts, std::uint32_t firstIndex) {
    ChannelSpec c;
    c.channel = number;
    for (int i = 0; i < verts; ++i)
        c.verts.push_back(Point3(static_cast<float>(number), static_cast<float>(i), 0.5f));
    c.faces = {{firstIndex, firstIndex + 1, firstIndex + 2}, {2, 1, 0}};
    return c;
}

// Three nodes: one without channels between one with channel 1 and one with channels 1 and 3.
CacheSpec channelCache() {
    CacheSpec spec;
    NodeSpec a = triangleNode("a", 2);
    a.channels = {channel(1, 3, 0)};
    NodeSpec b = triangleNode("b", 1);
    NodeSpec c = triangleNode("c", 2);
    c.channels = {channel(1, 4, 1), channel(3, 5, 2)};
    spec.nodes = {a, b, c};
    spec.samples = {{moved(0, 0, 0), moved(0, 0, 0), moved(0, 0, 0)}};
    return spec;
}

wkCacheReader load(const TempDir& dir, const CacheSpec& spec, const char* name = "a.wkc") {
    return wkCacheReader(WStr(dir.write(name, buildCache(spec)).c_str()));
}

} // namespace

TEST(CacheReaderIndex, NoNodesLoadsWithoutMeshes) {
    TempDir dir;
    CacheSpec spec;
    spec.samples = {{}, {}, {}};
    spec.sampleTableOffset = 300;
    spec.sampleStride = 49;
    wkCacheReader reader(WStr(dir.write("empty.wkc", buildCache(spec)).c_str()));
    EXPECT_EQ(reader.status(), kStatusOk);
    ASSERT_NE(reader.getIndex(), nullptr);
    EXPECT_TRUE(reader.getIndex()->nodes.empty());
    EXPECT_EQ(reader.getFullMesh(), nullptr);
    EXPECT_EQ(reader.getBoxMesh(), nullptr);
    // The library is still looked for, and is there even without a file: empty, not null.
    ASSERT_NE(reader.getMaterialLibrary(), nullptr);
    EXPECT_TRUE(reader.getMaterialLibrary()->IsEmpty());
    EXPECT_EQ(reader.cacheNumSamples(), 3);
}

TEST(CacheReaderIndex, ChannelsAreSummedAndNodesWithoutThemStayAtMinus99) {
    TempDir dir;
    wkCacheReader reader = load(dir, channelCache());
    ASSERT_EQ(reader.status(), kStatusOk);
    const wkCacheIndex& index = *reader.getIndex();
    EXPECT_EQ(index.totalVerts, 9);
    EXPECT_EQ(index.totalFaces, 5);
    EXPECT_EQ(index.channels, (std::map<std::int32_t, std::int32_t>{{1, 7}, {3, 5}}));
    EXPECT_EQ(index.minChannel, 1);
    EXPECT_EQ(index.maxChannel, 3);
    EXPECT_EQ(index.hiddenChanged.GetSize(), 3);

    // Node b has no channels: setNumMaps(-98) leaves its mesh without any.
    const Mesh& b = *index.nodes[1]->mesh;
    EXPECT_EQ(b.getNumMaps(), 0);
    const Mesh& c = *index.nodes[2]->mesh;
    EXPECT_EQ(c.getNumMaps(), 4);
    EXPECT_FALSE(c.mapSupport(2));
    ASSERT_TRUE(c.mapSupport(3));
    EXPECT_EQ(c.getNumMapVerts(3), 5);
    EXPECT_EQ(c.mapFaces(3)[0].t[0], 2u);
    EXPECT_EQ(c.mapVerts(1)[3], Point3(1, 3, 0.5f));
}

TEST(CacheReaderIndex, FullMeshLaysNodesEndToEnd) {
    TempDir dir;
    CacheSpec spec = channelCache();
    spec.nodes[0].faces[1].selected = 1;
    spec.nodes[0].faces[1].edges = 0x05 | 0xF8; // only the three low bits count
    spec.nodes[2].faces[0] = FaceSpec{7, 0x80000001u, 2, 1, {2, 1, 0}, {}};
    wkCacheReader reader = load(dir, spec);
    ASSERT_EQ(reader.status(), kStatusOk);
    const Mesh& full = *reader.getFullMesh();
    ASSERT_EQ(full.getNumVerts(), 9);
    ASSERT_EQ(full.getNumFaces(), 5);
    EXPECT_EQ(full.getVert(4), Point3(1, 0, 0));

    const Face& last = full.getFace(3); // node c's first face: vertices shifted by 6
    EXPECT_EQ(last.v[0], 8u);
    EXPECT_EQ(last.v[2], 6u);
    EXPECT_EQ(last.getMatID(), 7);
    EXPECT_EQ(last.smGroup, 0x80000001u);
    EXPECT_EQ(last.flags & 0xFFFFu, 2u);
    EXPECT_EQ(full.getFace(1).flags, 5u);
    EXPECT_EQ(reader.getIndex()->nodes[2]->faceMaterials, (std::vector<MtlID>{7, 0}));

    BitArray selected(5);
    selected.Set(1);
    selected.Set(3);
    EXPECT_EQ(full.FaceSel(), selected);
    EXPECT_EQ(reader.getIndex()->nodes[0]->mesh->FaceSel().NumberSet(), 1);

    // Channel 1: node a's map faces, then node c's shifted by a's 3 map vertices. A node
    // without the channel takes no room in it, so the faces pack from the start.
    ASSERT_EQ(full.getNumMapVerts(1), 7);
    EXPECT_EQ(full.mapFaces(1)[0].t[0], 0u);
    EXPECT_EQ(full.mapFaces(1)[2].t[0], 4u);
    EXPECT_EQ(full.mapFaces(1)[3].t[0], 5u);
    EXPECT_EQ(full.mapFaces(1)[4].t[0], 0u);
    ASSERT_EQ(full.getNumMapVerts(3), 5);
    EXPECT_EQ(full.mapFaces(3)[0].t[0], 2u);
    EXPECT_EQ(full.getNumMaps(), 4);
}

TEST(CacheReaderIndex, BoxesFollowTheTablesAndTheFirstMaterial) {
    TempDir dir;
    CacheSpec spec = channelCache();
    spec.nodes[0].faces[0].matID = 4;
    spec.nodes[0].boxMin = {-1, -2, -3};
    spec.nodes[0].boxMax = {1, 2, 3};
    NodeSpec faceless;
    faceless.name = "faceless";
    faceless.verts = {{0, 0, 0}};
    spec.nodes.push_back(faceless);
    for (auto& row : spec.samples)
        row.push_back(moved(0, 0, 0));
    wkCacheReader reader = load(dir, spec);
    ASSERT_EQ(reader.status(), kStatusOk);
    const Mesh& boxes = *reader.getBoxMesh();
    ASSERT_EQ(boxes.getNumVerts(), 32);
    ASSERT_EQ(boxes.getNumFaces(), 48);
    EXPECT_EQ(boxes.getVert(0), Point3(-1, -2, -3));
    EXPECT_EQ(boxes.getVert(5), Point3(1, -2, 3));
    EXPECT_EQ(boxes.getVert(6), Point3(-1, 2, 3));
    const std::uint32_t expected[12][4] = {
        {0, 2, 3, 2},  {3, 1, 0, 2},  {4, 5, 7, 4},  {7, 6, 4, 4},  {0, 1, 5, 8},  {5, 4, 0, 8},
        {1, 3, 7, 16}, {7, 5, 1, 16}, {3, 2, 6, 32}, {6, 7, 3, 32}, {2, 0, 4, 64}, {4, 6, 2, 64}};
    for (int f = 0; f < 12; ++f) {
        const Face& face = boxes.getFace(12 + f); // node b's box, at vertex base 8
        EXPECT_EQ(face.v[0], expected[f][0] + 8) << f;
        EXPECT_EQ(face.v[1], expected[f][1] + 8) << f;
        EXPECT_EQ(face.v[2], expected[f][2] + 8) << f;
        EXPECT_EQ(face.smGroup, expected[f][3]) << f;
        EXPECT_EQ(face.flags, 67u) << f;
        EXPECT_EQ(boxes.getFace(f).flags, 4u << 16 | 67u) << f; // node a: its first face's id
    }
    EXPECT_EQ(boxes.getFace(36).getMatID(), 0); // the node without faces
    // A node's own box always has material id 0.
    const Mesh& ownBox = *reader.getIndex()->nodes[0]->box;
    EXPECT_EQ(ownBox.getNumFaces(), 12);
    EXPECT_EQ(ownBox.getFace(0).flags, 67u);
    EXPECT_EQ(ownBox.getVert(7), Point3(1, 2, 3));
}

TEST(CacheReaderIndex, SpecifiedNormalsOnSomeNodesOnly) {
    TempDir dir;
    CacheSpec spec = channelCache();
    spec.nodes[1].hasSpecifiedNormals = 1;
    spec.nodes[1].faces[0].normals = {Point3(0, 0, 1), Point3(0, 1, 0), Point3(1, 0, 0)};
    // Node c's normals are arbitrary bytes without the flag: never used.
    spec.nodes[2].faces[0].normals = {Point3(9, 9, 9), Point3(9, 9, 9), Point3(9, 9, 9)};
    wkCacheReader reader = load(dir, spec);
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.cacheHasSpecifiedNormals(), 1);
    const wkCacheIndex& index = *reader.getIndex();
    EXPECT_EQ(index.nodes[0]->mesh->GetSpecifiedNormals(), nullptr);
    const MeshNormalSpec* own = index.nodes[1]->mesh->GetSpecifiedNormals();
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own->GetNormal(0, 1), Point3(0, 1, 0));
    EXPECT_TRUE(own->Face(0).GetFixed(2));
    EXPECT_EQ(own->GetParent(), nullptr);

    const Mesh& full = *reader.getFullMesh();
    EXPECT_EQ(full.getNumVerts(), 9);
    const MeshNormalSpec* normals = full.GetSpecifiedNormals();
    ASSERT_NE(normals, nullptr);
    ASSERT_EQ(normals->GetNumFaces(), 5);
    EXPECT_EQ(normals->GetNormal(2, 0), Point3(0, 0, 1));
    EXPECT_TRUE(normals->Face(2).GetFixed(0));
    for (int f : {0, 1, 3, 4})
        for (int c = 0; c < 3; ++c)
            EXPECT_FALSE(normals->Face(f).GetSpecified(c)) << f << c;
    EXPECT_NE(normals->GetNormal(3, 0), Point3(9, 9, 9));
    EXPECT_EQ(normals->GetParent(), nullptr);
}

TEST(CacheReaderIndex, NamesAreUtf8UpToTheirFirstNul) {
    TempDir dir;
    CacheSpec spec;
    spec.nodes = {triangleNode("Zw\xC3\xBClf \xE2\x82\xAC"),
                  triangleNode(std::string("cut\0off", 7)), triangleNode("bad\xFF"),
                  triangleNode("Zw\xC3\xBClf \xE2\x82\xAC"), triangleNode("")};
    wkCacheReader reader = load(dir, spec);
    ASSERT_EQ(reader.status(), kStatusOk);
    const auto& nodes = reader.getIndex()->nodes;
    EXPECT_EQ(nodes[0]->name, WStr(L"Zw\u00FClf \u20AC"));
    EXPECT_EQ(nodes[1]->name, WStr(L"cut"));
    EXPECT_EQ(nodes[2]->name, WStr(L"bad\uFFFD"));
    EXPECT_EQ(nodes[3]->name, nodes[0]->name); // two records, same name: two nodes
    EXPECT_EQ(nodes[4]->name, WStr(L""));
}

TEST(CacheReaderIndex, RepeatedChannelKeepsTheFirstCountAndTheIndexAddsBoth) {
    TempDir dir;
    CacheSpec spec;
    NodeSpec n = triangleNode("a", 2);
    n.channels = {channel(2, 3, 0), channel(2, 5, 0)};
    spec.nodes = {n};
    wkCacheReader reader = load(dir, spec);
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.getIndex()->channels.at(2), 8);
    EXPECT_EQ(reader.getIndex()->nodes[0]->mesh->getNumMapVerts(2), 3);
    EXPECT_EQ(reader.getFullMesh()->getNumMapVerts(2), 8);
}

TEST(CacheReaderIndex, TruncatedGeometryLeavesNoData) {
    TempDir dir;
    Layout layout;
    Bytes bytes = buildCache(channelCache(), &layout);
    for (std::size_t cut : {layout.nodeRecords[1] + 3, layout.vertices[2] + 5, layout.faces[1] + 56,
                            layout.mapVertices.at({3, 2}) + 1}) {
        const Bytes part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
        wkCacheReader reader(WStr(dir.write("cut.wkc", part).c_str()));
        EXPECT_EQ(reader.status(), kStatusReadPastEOF) << cut;
        EXPECT_EQ(reader.getIndex(), nullptr);
        EXPECT_EQ(reader.getHeader(), nullptr);
        EXPECT_EQ(reader.getFullMesh(), nullptr);
        EXPECT_EQ(reader.getVersion(), 0);
    }
    // Cut inside the sample table: loads; the row shows the damage when it is read.
    const Bytes part(bytes.begin(),
                     bytes.begin() + static_cast<std::ptrdiff_t>(layout.sampleTable + 10));
    wkCacheReader reader(WStr(dir.write("cut.wkc", part).c_str()));
    EXPECT_EQ(reader.status(), kStatusOk);
    EXPECT_FALSE(reader.fetchSample(0, false));
    EXPECT_EQ(reader.status(), kStatusReadPastEOF);
    EXPECT_EQ(reader.getIndex(), nullptr);
}
