// The triangle mesh: face flags, map channels, copies, deletion keeping every per-face array
// in step, bounding boxes and smoothing-group normals.
#include "host/Mesh.h"

#include "tests/host/expect_point.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

// A cube from -1 to 1; each side is two faces, side s gets smoothing group sideGroup(s).
template <class SideGroup> Mesh makeCube(SideGroup sideGroup) {
    static const std::uint32_t faceVerts[12][3] = {{0, 2, 3}, {3, 1, 0}, {4, 5, 7}, {7, 6, 4},
                                                   {0, 1, 5}, {5, 4, 0}, {1, 3, 7}, {7, 5, 1},
                                                   {3, 2, 6}, {6, 7, 3}, {2, 0, 4}, {4, 6, 2}};
    Mesh mesh;
    mesh.setNumVerts(8);
    for (int i = 0; i < 8; ++i)
        mesh.setVert(i, (i & 1) ? 1.0f : -1.0f, (i & 2) ? 1.0f : -1.0f, (i & 4) ? 1.0f : -1.0f);
    mesh.setNumFaces(12);
    for (int f = 0; f < 12; ++f) {
        mesh.getFace(f).setVerts(faceVerts[f]);
        mesh.getFace(f).setSmGroup(sideGroup(f / 2));
    }
    return mesh;
}

// A strip of `n` faces over n + 2 vertices, with markers that tell each face's entries apart:
// smoothing group f + 1, material id 10 + f, map channels 1 and -1 with map face (f, f, f)
// onto map vertex (f, 0, 0), channel 0 with colour (0, f, 0), specified normal (f, corner, 1)
// (fixed on corner 0 only), and every odd face selected.
Mesh makeStrip(int n) {
    Mesh mesh;
    mesh.setNumVerts(n + 2);
    for (int i = 0; i < n + 2; ++i)
        mesh.setVert(i, static_cast<float>(i / 2), static_cast<float>(i % 2), 0.0f);
    mesh.setNumFaces(n);
    mesh.setNumMaps(2);
    for (int channel : {-1, 0, 1}) {
        mesh.setMapSupport(channel);
        mesh.setNumMapVerts(channel, n);
    }
    mesh.SpecifyNormals();
    MeshNormalSpec& spec = *mesh.GetSpecifiedNormals();
    spec.SetNumFaces(n);
    for (int f = 0; f < n; ++f) {
        const auto u = static_cast<std::uint32_t>(f);
        Face& face = mesh.getFace(f);
        face.setVerts(u, u + 1, u + 2);
        face.setSmGroup(u + 1);
        face.setMatID(static_cast<MtlID>(10 + f));
        for (int channel : {-1, 1}) {
            mesh.mapFaces(channel)[f].setTVerts(u, u, u);
            mesh.mapVerts(channel)[f] = Point3(static_cast<float>(f), 0.0f, 0.0f);
        }
        mesh.mapFaces(0)[f].setTVerts(u, u, u);
        mesh.mapVerts(0)[f] = Point3(0.0f, static_cast<float>(f), 0.0f);
        for (int c = 0; c < 3; ++c)
            spec.SetNormal(f, c, Point3(static_cast<float>(f), static_cast<float>(c), 1.0f));
        spec.Face(f).SetSpecified(0);
        spec.Face(f).SetExplicit(0);
    }
    mesh.FaceSel().SetSize(n);
    for (int f = 1; f < n; f += 2)
        mesh.FaceSel().Set(f);
    return mesh;
}

// The marker of makeStrip that a face carries, wherever it has moved to.
int marker(const Mesh& mesh, int face) {
    return static_cast<int>(mesh.getFace(face).smGroup) - 1;
}

// Every per-face array of a makeStrip mesh still describes the face it sits beside.
void expectStripInStep(const Mesh& mesh) {
    const MeshNormalSpec* spec = mesh.GetSpecifiedNormals();
    ASSERT_NE(spec, nullptr);
    ASSERT_EQ(spec->GetNumFaces(), mesh.getNumFaces());
    ASSERT_EQ(mesh.FaceSel().GetSize(), mesh.getNumFaces());
    for (int channel : {-1, 0, 1})
        ASSERT_EQ(mesh.getNumMapFaces(channel), mesh.getNumFaces()) << "channel " << channel;
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const int m = marker(mesh, f);
        EXPECT_EQ(mesh.getFace(f).getMatID(), 10 + m);
        EXPECT_EQ(mesh.FaceSel()[f], m % 2) << "face " << f;
        for (int channel : {-1, 1}) {
            const TVFace& tf = mesh.mapFaces(channel)[f];
            EXPECT_EQ(mesh.mapVerts(channel)[tf.t[2]].x, static_cast<float>(m));
        }
        EXPECT_EQ(mesh.mapVerts(0)[mesh.mapFaces(0)[f].t[1]].y, static_cast<float>(m));
        EXPECT_EQ(spec->GetNormal(f, 2), Point3(static_cast<float>(m), 2.0f, 1.0f));
        EXPECT_TRUE(spec->Face(f).GetFixed(0));
        EXPECT_FALSE(spec->Face(f).GetSpecified(1));
    }
}

BitArray bits(int size, std::initializer_list<int> set) {
    BitArray b(size);
    for (int i : set)
        b.Set(i);
    return b;
}

TEST(MeshFace, EdgeVisibilityHiddenAndMaterialAreIndependent) {
    Face face;
    face.flags = 0x10; // a bit nobody names must survive all of the setters
    face.setMatID(0xABCD);
    face.setEdgeVisFlags(EDGE_VIS, EDGE_INVIS, EDGE_VIS);
    face.Hide();
    EXPECT_EQ(face.flags, 0xABCD0000u | 0x10u | EDGE_A | EDGE_C | FACE_HIDDEN);

    face.setMatID(0xFFFF);
    EXPECT_EQ(face.getMatID(), 0xFFFF);
    EXPECT_EQ(face.getEdgeVisFlags(), EDGE_A | EDGE_C);
    EXPECT_TRUE(face.Hidden());

    face.setEdgeVisFlags(EDGE_INVIS, EDGE_VIS, EDGE_INVIS);
    EXPECT_EQ(face.getEdgeVis(0), EDGE_INVIS);
    EXPECT_EQ(face.getEdgeVis(1), EDGE_VIS);
    EXPECT_TRUE(face.Hidden());
    EXPECT_EQ(face.getMatID(), 0xFFFF);

    face.Show();
    face.setMatID(0);
    EXPECT_EQ(face.flags, 0x10u | EDGE_B);

    TVFace tv;
    const std::uint32_t t[3] = {7, 8, 9};
    tv.setTVerts(t);
    EXPECT_EQ(tv.getTVert(0), 7u);
    EXPECT_EQ(tv.getTVert(2), 9u);
}

TEST(MeshMaps, NegativeCountMeansNoChannels) {
    Mesh mesh = makeStrip(3);
    mesh.setNumMaps(-98, false);
    EXPECT_EQ(mesh.getNumMaps(), 0);
    for (int channel = 0; channel < MAX_MESHMAPS; ++channel)
        EXPECT_FALSE(mesh.mapSupport(channel));
    EXPECT_EQ(mesh.mapVerts(1), nullptr);
    EXPECT_EQ(mesh.getNumMapVerts(0), 0);
    // The hidden channels are not counted and stay.
    EXPECT_TRUE(mesh.mapSupport(-1));
}

TEST(MeshMaps, SupportSizesChannelsAndCount) {
    Mesh mesh;
    mesh.setNumFaces(5);
    mesh.setMapSupport(3);
    EXPECT_EQ(mesh.getNumMaps(), 4);
    EXPECT_TRUE(mesh.mapSupport(3));
    EXPECT_FALSE(mesh.mapSupport(1));
    EXPECT_EQ(mesh.getNumMapFaces(3), 5);
    EXPECT_EQ(mesh.getNumMapVerts(3), 0);

    mesh.setMapSupport(MAX_MESHMAPS);
    mesh.setMapSupport(-NUM_HIDDENMAPS - 1);
    EXPECT_EQ(mesh.getNumMaps(), 4);
    EXPECT_FALSE(mesh.mapSupport(-3));

    mesh.setNumMaps(2, true); // channel 3 is cut off
    mesh.setMapSupport(1);
    EXPECT_FALSE(mesh.mapSupport(3));
    mesh.setNumMaps(4, true);
    EXPECT_FALSE(mesh.mapSupport(3));
    EXPECT_TRUE(mesh.mapSupport(1));
    mesh.setNumMaps(4, false);
    EXPECT_FALSE(mesh.mapSupport(1));

    // The colour calls work on channel 0 and switch it on.
    mesh.setNumVertCol(6);
    mesh.setNumVCFaces(5, false, 0);
    EXPECT_TRUE(mesh.mapSupport(0));
    EXPECT_EQ(mesh.getNumVertCol(), 6);
    mesh.mapFaces(0)[0].setTVerts(1, 2, 3);
    mesh.mapFaces(0)[1].setTVerts(4, 5, 6);
    mesh.setNumVCFaces(5, true, 1);
    EXPECT_EQ(mesh.mapFaces(0)[0].t[2], 3u);
    EXPECT_EQ(mesh.mapFaces(0)[1].t[2], 0u);
}

TEST(MeshMaps, SetNumFacesKeepsMapAndNormalFacesInStep) {
    Mesh mesh = makeStrip(5);
    mesh.setNumFaces(8, true, true);
    for (int channel : {-1, 0, 1})
        EXPECT_EQ(mesh.getNumMapFaces(channel), 8);
    EXPECT_EQ(mesh.GetSpecifiedNormals()->GetNumFaces(), 8);
    EXPECT_EQ(mesh.mapFaces(1)[4].t[0], 4u);
    EXPECT_EQ(mesh.mapFaces(1)[7].t[0], 0u);
    EXPECT_FALSE(mesh.GetSpecifiedNormals()->Face(7).GetSpecified(0));

    mesh.setNumFaces(3, true, true);
    expectStripInStep(mesh);

    mesh.setNumFaces(2, false, true);
    EXPECT_EQ(mesh.mapFaces(1)[1].t[0], 0u);
    EXPECT_EQ(mesh.GetSpecifiedNormals()->GetNormal(1, 2), Point3());
    EXPECT_TRUE(mesh.FaceSel().IsEmpty());

    mesh.setNumFaces(4, true, false);
    EXPECT_EQ(mesh.getNumMapFaces(1), 2);
    EXPECT_EQ(mesh.FaceSel().GetSize(), 4);
}

TEST(MeshCopy, CopiesAreDeep) {
    const Mesh original = makeStrip(4);
    Mesh copy(original);
    Mesh assigned;
    assigned = original;
    for (Mesh* m : {&copy, &assigned}) {
        expectStripInStep(*m);
        m->setVert(0, 9.0f, 9.0f, 9.0f);
        m->getFace(0).setMatID(99);
        m->mapVerts(1)[0] = Point3(5.0f, 5.0f, 5.0f);
        m->GetSpecifiedNormals()->SetNormal(0, 0, Point3(7.0f, 7.0f, 7.0f));
        m->FaceSel().Set(0);
    }
    EXPECT_EQ(original.getVert(0), Point3());
    EXPECT_EQ(original.getFace(0).getMatID(), 10);
    EXPECT_EQ(original.mapVerts(1)[0], Point3());
    EXPECT_EQ(original.GetSpecifiedNormals()->GetNormal(0, 0), Point3(0.0f, 0.0f, 1.0f));
    EXPECT_FALSE(original.FaceSel()[0]);
}

TEST(MeshCopy, DeepCopyTakesOnlyTheMaskedParts) {
    const Mesh source = makeStrip(4);

    Mesh shape;
    shape.DeepCopy(source, MESH_GEOM_CHANNEL | MESH_TOPO_CHANNEL);
    ASSERT_EQ(shape.getNumVerts(), 6);
    ASSERT_EQ(shape.getNumFaces(), 4);
    EXPECT_EQ(shape.getVert(5), source.getVert(5));
    EXPECT_EQ(shape.getFace(3).v[2], 5u);
    EXPECT_EQ(shape.getFace(3).getMatID(), 0);
    EXPECT_EQ(shape.getNumMaps(), 0);
    EXPECT_FALSE(shape.mapSupport(-1));
    EXPECT_EQ(shape.GetSpecifiedNormals(), nullptr);
    EXPECT_TRUE(shape.FaceSel().IsEmpty());
    EXPECT_EQ(shape.FaceSel().GetSize(), 4);

    shape.DeepCopy(source, MESH_MTL_CHANNEL | MESH_SELECT_CHANNEL);
    EXPECT_EQ(shape.getFace(3).getMatID(), 13);
    EXPECT_TRUE(shape.FaceSel()[3]);

    Mesh textured;
    textured.DeepCopy(source, MESH_TOPO_CHANNEL | MESH_TEXMAP_CHANNEL);
    EXPECT_TRUE(textured.mapSupport(1));
    EXPECT_TRUE(textured.mapSupport(-1));
    EXPECT_FALSE(textured.mapSupport(0));
    EXPECT_EQ(textured.mapVerts(1)[3].x, 3.0f);

    // Colours alone leave the target's own texture channel, which follows a new face count.
    Mesh coloured;
    coloured.setNumFaces(2);
    coloured.setMapSupport(2);
    coloured.DeepCopy(source, MESH_VERTCOLOR_CHANNEL | MESH_TOPO_CHANNEL | MESH_NORMAL_CHANNEL);
    EXPECT_TRUE(coloured.mapSupport(0));
    EXPECT_FALSE(coloured.mapSupport(1));
    EXPECT_TRUE(coloured.mapSupport(2));
    EXPECT_EQ(coloured.getNumMapFaces(2), 4);
    EXPECT_EQ(coloured.mapVerts(0)[2].y, 2.0f);
    ASSERT_NE(coloured.GetSpecifiedNormals(), nullptr);
    EXPECT_EQ(coloured.GetSpecifiedNormals()->GetNormal(3, 1), Point3(3.0f, 1.0f, 1.0f));

    Mesh full;
    full.DeepCopy(source, 0x800027FF);
    expectStripInStep(full);
    EXPECT_EQ(full.getNumVerts(), source.getNumVerts());
}

TEST(MeshBounds, BoxOfTheVerticesInObjectOrTransformedSpace) {
    Mesh mesh;
    EXPECT_TRUE(mesh.getBoundingBox().IsEmpty());
    const Matrix3 identity(true);
    EXPECT_TRUE(mesh.getBoundingBox(&identity).IsEmpty());

    // A diamond turned by 45 degrees: the box of the turned vertices is half as wide as the
    // box of the turned box would be.
    mesh.setNumVerts(4);
    mesh.setVert(0, 2.0f, 0.0f, 1.0f);
    mesh.setVert(1, 0.0f, 2.0f, -1.0f);
    mesh.setVert(2, -2.0f, 0.0f, 0.5f);
    mesh.setVert(3, 0.0f, -2.0f, 0.0f);
    const Box3 local = mesh.getBoundingBox();
    EXPECT_EQ(local.pmin, Point3(-2.0f, -2.0f, -1.0f));
    EXPECT_EQ(local.pmax, Point3(2.0f, 2.0f, 1.0f));

    const float h = std::sqrt(2.0f);
    const Matrix3 tm(Point3(h / 2, h / 2, 0.0f), Point3(-h / 2, h / 2, 0.0f),
                     Point3(0.0f, 0.0f, 1.0f), Point3(10.0f, 20.0f, 30.0f));
    const Box3 world = mesh.getBoundingBox(&tm);
    expectNear(world.pmin, Point3(10.0f - h, 20.0f - h, 29.0f));
    expectNear(world.pmax, Point3(10.0f + h, 20.0f + h, 31.0f));

    // A NaN coordinate is passed over wherever its vertex stands, the first one included.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (int at : {0, 2}) {
        Mesh broken = mesh;
        broken.setVert(at, nan, nan, 0.5f);
        const Box3 box = broken.getBoundingBox();
        EXPECT_EQ(box.pmin, Point3(at == 0 ? -2.0f : 0.0f, -2.0f, -1.0f)) << at;
        EXPECT_EQ(box.pmax, Point3(at == 0 ? 0.0f : 2.0f, 2.0f, at == 0 ? 0.5f : 1.0f)) << at;
    }
}

TEST(MeshDelete, DeleteFaceSetKeepsEveryFaceArrayInStep) {
    Mesh mesh = makeStrip(6);
    mesh.setNumVerts(9, true); // vertex 8 belongs to no face before the deletion
    BitArray isolated;
    // Larger than the face count: bits past the faces are ignored.
    mesh.DeleteFaceSet(bits(10, {0, 1, 4, 9}), &isolated);

    ASSERT_EQ(mesh.getNumFaces(), 3);
    EXPECT_EQ(marker(mesh, 0), 2);
    EXPECT_EQ(marker(mesh, 1), 3);
    EXPECT_EQ(marker(mesh, 2), 5);
    expectStripInStep(mesh);

    // Faces 2, 3, 5 use vertices 2 to 7: 0, 1 and the old isolated 8 have no face now.
    EXPECT_EQ(mesh.getNumVerts(), 9);
    EXPECT_EQ(isolated, bits(9, {0, 1, 8}));

    // A set smaller than the face count deletes only what it names.
    mesh.DeleteFaceSet(bits(2, {1}), nullptr);
    ASSERT_EQ(mesh.getNumFaces(), 2);
    EXPECT_EQ(marker(mesh, 1), 5);
    expectStripInStep(mesh);
}

TEST(MeshDelete, DeleteVertSetRemovesFacesAndRenumbers) {
    Mesh mesh = makeStrip(5); // vertices 0..6, face f uses f, f + 1, f + 2
    const Mesh before = mesh;
    mesh.DeleteVertSet(bits(7, {1}));

    ASSERT_EQ(mesh.getNumVerts(), 6);
    ASSERT_EQ(mesh.getNumFaces(), 3); // faces 0 and 1 used vertex 1
    expectStripInStep(mesh);
    for (int f = 0; f < 3; ++f)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(mesh.getVert(static_cast<int>(mesh.getFace(f).v[c])),
                      before.getVert(static_cast<int>(before.getFace(f + 2).v[c])));
}

TEST(MeshDelete, DeleteIsoVertsKeepsFacesOnTheirPositions) {
    Mesh mesh;
    mesh.setNumVerts(5);
    for (int i = 0; i < 5; ++i)
        mesh.setVert(i, static_cast<float>(i), 0.0f, 0.0f);
    mesh.setNumFaces(1);
    mesh.getFace(0).setVerts(4, 1, 3);
    mesh.DeleteIsoVerts();
    ASSERT_EQ(mesh.getNumVerts(), 3);
    EXPECT_EQ(mesh.getVert(static_cast<int>(mesh.getFace(0).v[0])).x, 4.0f);
    EXPECT_EQ(mesh.getVert(static_cast<int>(mesh.getFace(0).v[1])).x, 1.0f);
    EXPECT_EQ(mesh.getVert(static_cast<int>(mesh.getFace(0).v[2])).x, 3.0f);
}

TEST(MeshDelete, DeleteIsoMapVertsRenumbersEachChannel) {
    Mesh mesh;
    mesh.setNumFaces(2);
    for (int channel : {-2, 1}) {
        mesh.setNumMapVerts(channel, 6);
        for (int i = 0; i < 6; ++i)
            mesh.mapVerts(channel)[i] = Point3(static_cast<float>(i), 0.0f, 0.0f);
    }
    mesh.mapFaces(1)[0].setTVerts(5, 2, 5);
    mesh.mapFaces(1)[1].setTVerts(0, 2, 4);
    mesh.mapFaces(-2)[0].setTVerts(1, 1, 1);
    mesh.mapFaces(-2)[1].setTVerts(1, 1, 3);
    mesh.DeleteIsoMapVerts();

    ASSERT_EQ(mesh.getNumMapVerts(1), 4);
    const float expected1[2][3] = {{5, 2, 5}, {0, 2, 4}};
    for (int f = 0; f < 2; ++f)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(mesh.mapVerts(1)[mesh.mapFaces(1)[f].t[c]].x, expected1[f][c]);
    ASSERT_EQ(mesh.getNumMapVerts(-2), 2);
    EXPECT_EQ(mesh.mapVerts(-2)[mesh.mapFaces(-2)[1].t[2]].x, 3.0f);
    EXPECT_EQ(mesh.mapFaces(-2)[0].t[0], 0u);
}

TEST(MeshNormals, OneSmoothingGroupGivesOneNormalPerCubeCorner) {
    Mesh cube = makeCube([](int) { return 1u; });
    cube.buildNormals();
    EXPECT_EQ(cube.getNumNormals(), 8);
    // Angle weighting makes the split of the sides into triangles irrelevant.
    for (int f = 0; f < 12; ++f)
        for (int c = 0; c < 3; ++c)
            expectNear(cube.getNormal(f, c),
                       Normalize(cube.getVert(static_cast<int>(cube.getFace(f).v[c]))));
    expectNear(cube.getFaceNormal(0), Point3(0.0f, 0.0f, -1.0f));
}

TEST(MeshNormals, SeparateGroupsAndGroupZeroKeepFacesFlat) {
    Mesh sides = makeCube([](int side) { return 2u << side; });
    sides.buildNormals();
    EXPECT_EQ(sides.getNumNormals(), 24);
    Mesh flat = makeCube([](int) { return 0u; });
    flat.buildNormals();
    EXPECT_EQ(flat.getNumNormals(), 36);
    for (const Mesh* mesh : {&sides, &flat})
        for (int f = 0; f < 12; ++f)
            for (int c = 0; c < 3; ++c)
                expectNear(mesh->getNormal(f, c), mesh->getFaceNormal(f));
    // Both faces of one side share the normals of their shared corners.
    EXPECT_EQ(sides.getNormalID(0, 0), sides.getNormalID(1, 2));
}

TEST(MeshNormals, GroupsJoinThroughAFaceThatHasBoth) {
    // Three faces around vertex 0 in groups 1, 1|2 and 2 share one normal there; without the
    // middle face, groups 1 and 2 stay apart.
    Mesh fan;
    fan.setNumVerts(5);
    fan.setVert(1, 1.0f, 0.0f, 0.0f);
    fan.setVert(2, 0.0f, 1.0f, 0.5f);
    fan.setVert(3, -1.0f, 0.0f, 1.0f);
    fan.setVert(4, 0.0f, -1.0f, 1.5f);
    fan.setNumFaces(3);
    fan.getFace(0).setVerts(0, 1, 2);
    fan.getFace(1).setVerts(0, 2, 3);
    fan.getFace(2).setVerts(0, 3, 4);
    fan.getFace(0).setSmGroup(1);
    fan.getFace(1).setSmGroup(3);
    fan.getFace(2).setSmGroup(2);
    fan.buildNormals();
    EXPECT_EQ(fan.getNormalID(0, 0), fan.getNormalID(2, 0));

    fan.getFace(1).setSmGroup(4);
    EXPECT_TRUE(fan.normalsBuilt()); // changing a face in place does not invalidate by itself
    fan.InvalidateTopologyCache();
    EXPECT_FALSE(fan.normalsBuilt());
    fan.checkNormals();
    EXPECT_NE(fan.getNormalID(0, 0), fan.getNormalID(2, 0));
    EXPECT_NE(fan.getNormalID(0, 0), fan.getNormalID(1, 0));
    fan.InvalidateGeomCache();
    EXPECT_FALSE(fan.normalsBuilt());
}

TEST(MeshNormals, OneSharedGroupBitGivesWhatGroupsJoinedFaceByFaceGive) {
    // All faces in group 1 take the one-pass road; groups 3, 6 and 5 in turn share no bit
    // among all faces, but any two share one, so the general road joins every vertex's faces
    // too. With an isolated vertex, a folded face and a broken one, both must agree bit for bit.
    Mesh shared = makeStrip(6);
    shared.setNumVerts(shared.getNumVerts() + 1, true); // isolated
    shared.setVert(3, shared.getVert(2) + Point3(0.25f, -0.5f, 0.75f));
    shared.getFace(2).setVerts(4, 4, 5);
    shared.getFace(4).setVerts(1, 99, 2);
    Mesh joined = shared;
    const std::uint32_t groups[] = {3, 6, 5};
    for (int f = 0; f < shared.getNumFaces(); ++f) {
        shared.getFace(f).setSmGroup(1);
        joined.getFace(f).setSmGroup(groups[f % 3]);
    }
    shared.buildNormals();
    joined.buildNormals();
    ASSERT_EQ(shared.getNumNormals(), joined.getNumNormals());
    for (int f = 0; f < shared.getNumFaces(); ++f) {
        EXPECT_EQ(shared.getFaceNormal(f), joined.getFaceNormal(f)) << f;
        for (int c = 0; c < 3; ++c) {
            EXPECT_EQ(shared.getNormalID(f, c), joined.getNormalID(f, c)) << f << " " << c;
            EXPECT_EQ(shared.getNormal(f, c), joined.getNormal(f, c)) << f << " " << c;
        }
    }
}

TEST(MeshNormals, CheckNormalsGivesTheMeshsOwnNormalsToTheBit) {
    // One smoothing group takes a road that leaves the mesh's normals unbuilt and sums only
    // around the vertices it needs, fixed faces' angles included where they share a vertex.
    for (const bool oneGroup : {true, false}) {
        Mesh mesh = makeStrip(6);                       // corner 0 of every face fixed
        mesh.setNumVerts(mesh.getNumVerts() + 1, true); // isolated
        mesh.setVert(3, mesh.getVert(2) + Point3(0.25f, -0.5f, 0.75f));
        mesh.getFace(2).setVerts(4, 4, 5);
        mesh.getFace(4).setVerts(1, 99, 2);
        const std::uint32_t groups[] = {3, 6, 5};
        for (int f = 0; f < mesh.getNumFaces(); ++f)
            mesh.getFace(f).setSmGroup(oneGroup ? 1u : groups[f % 3]);
        MeshNormalSpec& spec = *mesh.GetSpecifiedNormals();
        for (int c = 1; c < 3; ++c) {
            spec.Face(1).SetSpecified(c);
            spec.Face(1).SetExplicit(c);
        }
        spec.Face(3).SetSpecified(2); // the face normal
        Mesh reference = mesh;
        spec.SetParent(&mesh);
        spec.CheckNormals();
        spec.SetParent(nullptr);
        reference.buildNormals();
        const MeshNormalSpec& given = *reference.GetSpecifiedNormals();
        for (int f = 0; f < mesh.getNumFaces(); ++f)
            for (int c = 0; c < 3; ++c) {
                const Point3 expected = given.Face(f).GetFixed(c)       ? given.GetNormal(f, c)
                                        : given.Face(f).GetSpecified(c) ? reference.getFaceNormal(f)
                                                                        : reference.getNormal(f, c);
                EXPECT_EQ(spec.GetNormal(f, c), expected) << oneGroup << " " << f << " " << c;
            }
    }
}

TEST(MeshNormals, SpecifiedNormalsOverrideWhereTheyAreFixed) {
    Mesh cube = makeCube([](int) { return 1u; });
    EXPECT_EQ(cube.GetSpecifiedNormals(), nullptr);
    cube.SpecifyNormals();
    MeshNormalSpec& spec = *cube.GetSpecifiedNormals();
    EXPECT_EQ(spec.GetNumFaces(), 0);
    spec.SetNumFaces(cube.getNumFaces());
    spec.NAlloc(cube.getNumFaces() * 3);
    EXPECT_EQ(spec.GetNumNormals(), 36);

    const Point3 given(0.0f, 1.0f, 0.0f);
    spec.SetNormal(0, 0, given);
    spec.Face(0).SetSpecified(0);
    spec.Face(0).SetExplicit(0);
    spec.Face(0).SetSpecified(1);
    spec.SetNormal(0, 1, given); // specified but not explicit: computed over

    spec.CheckNormals(); // no parent: nothing to compute from
    EXPECT_EQ(spec.GetNormal(0, 1), given);
    EXPECT_EQ(spec.GetNormal(0, 2), Point3());

    spec.SetParent(&cube);
    spec.CheckNormals();
    const Mesh copy = cube; // the copy's spec must not point back at this mesh
    spec.SetParent(nullptr);
    cube.checkNormals();
    EXPECT_EQ(spec.GetNormal(0, 0), given);
    EXPECT_EQ(spec.GetNormal(0, 1), cube.getFaceNormal(0));
    EXPECT_EQ(spec.GetNormal(0, 2), cube.getNormal(0, 2));
    EXPECT_EQ(cube.getRenderNormal(0, 0), given);
    EXPECT_EQ(cube.getRenderNormal(0, 1), cube.getFaceNormal(0));
    EXPECT_EQ(cube.getRenderNormal(0, 2), cube.getNormal(0, 2));

    EXPECT_EQ(copy.GetSpecifiedNormals()->GetParent(), nullptr);
    cube.ClearSpecifiedNormals();
    EXPECT_EQ(cube.GetSpecifiedNormals(), nullptr);
    EXPECT_NE(copy.GetSpecifiedNormals(), nullptr);
}

TEST(MeshSizes, SameSizeWithKeepTouchesNothing) {
    Mesh mesh = makeStrip(4);
    mesh.buildNormals();
    const Point3* verts = mesh.getVertPtr(0);
    const Face* faces = mesh.getFacePtr(0);
    mesh.setNumVerts(mesh.getNumVerts(), true, true);
    mesh.setNumFaces(mesh.getNumFaces(), true, true);
    EXPECT_EQ(mesh.getVertPtr(0), verts);
    EXPECT_EQ(mesh.getFacePtr(0), faces);
    EXPECT_TRUE(mesh.normalsBuilt());
    expectStripInStep(mesh);

    mesh.setNumVerts(6, false);
    EXPECT_EQ(mesh.getVert(5), Point3());
    EXPECT_FALSE(mesh.normalsBuilt());

    mesh.FreeAll();
    EXPECT_EQ(mesh.getNumVerts() + mesh.getNumFaces() + mesh.getNumMaps(), 0);
    EXPECT_FALSE(mesh.mapSupport(-1));
    EXPECT_EQ(mesh.GetSpecifiedNormals(), nullptr);
    EXPECT_EQ(mesh.FaceSel().GetSize(), 0);
}

} // namespace
