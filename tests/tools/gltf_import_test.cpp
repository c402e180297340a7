// glTF import on small assets made here: each curve kind, a matrix under a hierarchy, morph
// weights and a skin, checked against values worked out by hand; and what meshes, materials,
// cameras and lights become.
#include "host/headless/HeadlessHost.h"
#include "host/headless/HeadlessObjects.h"
#include "tools/common/scene_file.h"
#include "tools/gltf/gltf_import.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <stdexcept>

namespace {

constexpr float kHalf = 0.70710678f; // sin and cos of 45 degrees

// An asset written accessor by accessor into one buffer.
struct Asset {
    tinygltf::Model m;
    Asset() {
        m.asset.version = "2.0";
        m.buffers.emplace_back();
    }
    template <typename T>
    int data(const std::vector<T>& v, int componentType, int type, int width) {
        auto& bytes = m.buffers[0].data;
        bytes.resize((bytes.size() + 3) & ~std::size_t{3});
        tinygltf::BufferView view;
        view.buffer = 0;
        view.byteOffset = bytes.size();
        view.byteLength = v.size() * sizeof(T);
        bytes.resize(bytes.size() + view.byteLength);
        std::memcpy(bytes.data() + view.byteOffset, v.data(), view.byteLength);
        m.bufferViews.push_back(view);
        tinygltf::Accessor a;
        a.bufferView = static_cast<int>(m.bufferViews.size()) - 1;
        a.componentType = componentType;
        a.type = type;
        a.count = v.size() / static_cast<std::size_t>(width);
        m.accessors.push_back(a);
        return static_cast<int>(m.accessors.size()) - 1;
    }
    int floats(const std::vector<float>& v, int type, int width) {
        return data(v, TINYGLTF_COMPONENT_TYPE_FLOAT, type, width);
    }
    int node(const std::string& name, int parent = -1) {
        tinygltf::Node n;
        n.name = name;
        m.nodes.push_back(n);
        const int index = static_cast<int>(m.nodes.size()) - 1;
        if (parent >= 0)
            m.nodes[static_cast<std::size_t>(parent)].children.push_back(index);
        return index;
    }
    // A triangle (1,0,0), (0,1,0), (0,0,1) on the node, optionally with a morph target.
    int triangle(int node, const std::vector<float>& target = {}) {
        tinygltf::Primitive p;
        p.attributes["POSITION"] = floats({1, 0, 0, 0, 1, 0, 0, 0, 1}, TINYGLTF_TYPE_VEC3, 3);
        if (!target.empty())
            p.targets.push_back({{"POSITION", floats(target, TINYGLTF_TYPE_VEC3, 3)}});
        tinygltf::Mesh mesh;
        mesh.primitives.push_back(p);
        m.meshes.push_back(mesh);
        m.nodes[static_cast<std::size_t>(node)].mesh = static_cast<int>(m.meshes.size()) - 1;
        return m.nodes[static_cast<std::size_t>(node)].mesh;
    }
    void animate(int node, const std::string& path, const std::string& interpolation,
                 const std::vector<float>& times, const std::vector<float>& values) {
        if (m.animations.empty())
            m.animations.emplace_back();
        tinygltf::Animation& a = m.animations[0];
        tinygltf::AnimationSampler s;
        s.input = floats(times, TINYGLTF_TYPE_SCALAR, 1);
        const int width = path == "rotation" ? 4 : path == "weights" ? 1 : 3;
        s.output = floats(values,
                          width == 4   ? TINYGLTF_TYPE_VEC4
                          : width == 3 ? TINYGLTF_TYPE_VEC3
                                       : TINYGLTF_TYPE_SCALAR,
                          width);
        s.interpolation = interpolation;
        a.samplers.push_back(s);
        tinygltf::AnimationChannel c;
        c.sampler = static_cast<int>(a.samplers.size()) - 1;
        c.target_node = node;
        c.target_path = path;
        a.channels.push_back(c);
    }
};

// The scene of an asset, loaded into `host`; answers the import's warnings.
std::vector<std::string> load(const tinygltf::Model& model, HeadlessHost& host) {
    wkgltf::ImportResult result = wkgltf::ImportGltf(model, {});
    wkcli::LoadSceneText(result.scene.dump(), host);
    return result.warnings;
}

HeadlessNode& node(HeadlessHost& host, const char* name) {
    HeadlessNode* n = host.Nodes().FindNode(WStr::FromUTF8(name));
    if (n == nullptr)
        throw std::runtime_error(std::string("no node ") + name);
    return *n;
}

// Vertex v of the node's mesh (its origin for -1) in the world at `frame`, in glTF axes.
Point3 world(HeadlessHost& host, const char* name, int v, int frame) {
    HeadlessNode& n = node(host, name);
    const TimeValue t = frame * 160;
    Point3 p;
    if (v >= 0) {
        TriObjectConversion mesh = n.GetObjectRef()->ConvertToTriMesh(t);
        p = mesh.object->GetMesh().getVert(v);
    }
    const Point3 h = n.GetObjectTM(t).PointTransform(p);
    return {h.x, h.z, -h.y};
}

struct CurveCase {
    const char* what;
    std::function<void(Asset&)> build;
    const char* node;
    int vertex;
    int frame; // at 30 frames a second
    Point3 expected;
};

TEST(GltfImport, CurvesHierarchyMorphsAndSkinsPlayAsTheAssetDoes) {
    const CurveCase cases[] = {
        // Hermite at u = 0.5 over one second: 0.125 * 3 (out-tangent) + 0.5 * 1 (value).
        {"cubic spline between keys",
         [](Asset& a) {
             const int n = a.node("N");
             a.animate(n, "translation", "CUBICSPLINE", {0, 1},
                       {9, 9, 9, 0, 0, 0, 3, 0, 0, /**/ 0, 0, 0, 1, 0, 0, 9, 9, 9});
         },
         "N",
         -1,
         15,
         {0.875f, 0, 0}},
        {"step holds before its next key",
         [](Asset& a) {
             const int n = a.node("N");
             a.triangle(n);
             a.animate(n, "rotation", "STEP", {0, 1}, {0, 0, 0, 1, 0, kHalf, 0, kHalf});
         },
         "N",
         0,
         29,
         {1, 0, 0}},
        {"step jumps at its key",
         [](Asset& a) {
             const int n = a.node("N");
             a.triangle(n);
             a.animate(n, "rotation", "STEP", {0, 1}, {0, 0, 0, 1, 0, kHalf, 0, kHalf});
         },
         "N",
         0,
         30,
         {0, 0, -1}},
        {"linear rotation on the sphere",
         [](Asset& a) {
             const int n = a.node("N");
             a.triangle(n);
             a.animate(n, "rotation", "LINEAR", {0, 1}, {0, 0, 0, 1, 0, 0, kHalf, kHalf});
         },
         "N",
         0,
         15,
         {kHalf, kHalf, 0}},
        {"matrix parent, TRS child",
         [](Asset& a) {
             const int p = a.node("P");
             a.m.nodes[0].matrix = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 2, 0, 1};
             const int c = a.node("C", p);
             a.m.nodes[static_cast<std::size_t>(c)].translation = {1, 0, 0};
         },
         "C",
         -1,
         0,
         {2, 2, 0}},
        {"morph weight half way",
         [](Asset& a) {
             const int n = a.node("N");
             a.triangle(n, {0, 0, 2, 0, 0, 0, 0, 0, 0});
             a.animate(n, "weights", "LINEAR", {0, 1}, {0, 1});
         },
         "N",
         0,
         15,
         {1, 0, 1}},
        // Joint 1 stands at (1,0,0) and turns a quarter about Z in one second; the vertex at
        // (2,0,0) is bound to it alone: one unit out along the turned joint's x is (1,1,0).
        {"skinned vertex",
         [](Asset& a) {
             const int root = a.node("Root");
             const int j0 = a.node("J0", root);
             const int j1 = a.node("J1", root);
             a.m.nodes[static_cast<std::size_t>(j1)].translation = {1, 0, 0};
             a.animate(j1, "rotation", "LINEAR", {0, 1}, {0, 0, 0, 1, 0, 0, kHalf, kHalf});
             const int n = a.node("Skinned", root);
             tinygltf::Primitive p;
             p.attributes["POSITION"] =
                 a.floats({2, 0, 0, 1, 0, 0, 0, 0, 1}, TINYGLTF_TYPE_VEC3, 3);
             p.attributes["JOINTS_0"] =
                 a.data(std::vector<std::uint16_t>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0},
                        TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT, TINYGLTF_TYPE_VEC4, 4);
             p.attributes["WEIGHTS_0"] =
                 a.floats({1, 0, 0, 0, 0.5f, 0.5f, 0, 0, 1, 0, 0, 0}, TINYGLTF_TYPE_VEC4, 4);
             tinygltf::Mesh mesh;
             mesh.primitives.push_back(p);
             a.m.meshes.push_back(mesh);
             tinygltf::Skin skin;
             skin.joints = {j0, j1};
             skin.inverseBindMatrices =
                 a.floats({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0,  0, 0, 1, //
                           1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -1, 0, 0, 1},
                          TINYGLTF_TYPE_MAT4, 16);
             a.m.skins.push_back(skin);
             a.m.nodes[static_cast<std::size_t>(n)].mesh = 0;
             a.m.nodes[static_cast<std::size_t>(n)].skin = 0;
             // The skinned node's own place counts for nothing.
             a.m.nodes[static_cast<std::size_t>(n)].translation = {0, 5, 0};
         },
         "Skinned",
         0,
         30,
         {1, 1, 0}},
    };
    for (const CurveCase& c : cases) {
        SCOPED_TRACE(c.what);
        HeadlessHost host;
        ScopedHost scope(host);
        Asset asset;
        c.build(asset);
        load(asset.m, host);
        const Point3 p = world(host, c.node, c.vertex, c.frame);
        EXPECT_NEAR(p.x, c.expected.x, 1e-4f);
        EXPECT_NEAR(p.y, c.expected.y, 1e-4f);
        EXPECT_NEAR(p.z, c.expected.z, 1e-4f);
    }
}

} // namespace

namespace {

TEST(GltfImport, PrimitivesBecomeOneMeshWithMaterialIdsMapsAndObjects) {
    HeadlessHost host;
    ScopedHost scope(host);
    Asset a;
    a.m.materials.resize(2);
    a.m.materials[0].name = "Red";
    a.m.materials[1].name = "Blue";
    a.m.textures.resize(1);
    const int n = a.node("Shape");
    const int quad = a.floats({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, TINYGLTF_TYPE_VEC3, 3);
    tinygltf::Mesh mesh;
    tinygltf::Primitive strip; // two triangles, the second turned back: 0 1 2, 2 1 3
    strip.mode = TINYGLTF_MODE_TRIANGLE_STRIP;
    strip.material = 0;
    strip.attributes = {
        {"POSITION", quad},
        {"TEXCOORD_0", a.floats({0, 0, 1, 0, 0, 1, 1, 0.25f}, TINYGLTF_TYPE_VEC2, 2)},
        {"COLOR_0", a.floats({1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1}, TINYGLTF_TYPE_VEC3, 3)}};
    tinygltf::Primitive fan; // indexed: 3 2 1, 3 1 0... as a fan around 3: (2 1 3), (1 0 3)
    fan.mode = TINYGLTF_MODE_TRIANGLE_FAN;
    fan.material = 1;
    fan.attributes = {{"POSITION", quad}};
    fan.indices = a.data(std::vector<std::uint16_t>{3, 2, 1, 0},
                         TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT, TINYGLTF_TYPE_SCALAR, 1);
    mesh.primitives = {strip, fan};
    a.m.meshes.push_back(mesh);
    a.m.nodes[static_cast<std::size_t>(n)].mesh = 0;
    a.m.nodes[static_cast<std::size_t>(a.node("Eye"))].camera = 0;
    a.m.cameras.resize(1);
    a.m.lights.resize(2);
    a.m.lights[0].type = "spot";
    a.m.lights[1].type = "point";
    a.m.lights[1].range = 50;
    for (int l = 0; l < 2; ++l) {
        tinygltf::Value::Object light{{"light", tinygltf::Value(l)}};
        a.m.nodes[static_cast<std::size_t>(a.node(l == 0 ? "Spot" : "Bulb"))]
            .extensions["KHR_lights_punctual"] = tinygltf::Value(light);
    }
    const std::vector<std::string> warnings = load(a.m, host);

    HeadlessNode& shape = node(host, "Shape");
    const Mesh& m = static_cast<TriObject*>(shape.GetObjectRef())->GetMesh();
    ASSERT_EQ(m.getNumVerts(), 8);
    ASSERT_EQ(m.getNumFaces(), 4);
    const std::uint32_t faces[4][3] = {{0, 1, 2}, {2, 1, 3}, {6, 5, 7}, {5, 4, 7}};
    for (int f = 0; f < 4; ++f) {
        EXPECT_EQ(m.getFace(f).getMatID(), f / 2);
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(m.getFace(f).v[c], faces[f][c]) << "face " << f;
    }
    // Texture rows count from the top in glTF, from the bottom in the host.
    EXPECT_EQ(m.mapVerts(1)[3], Point3(1, 0.75f, 0));
    EXPECT_EQ(m.mapVerts(0)[1], Point3(0, 1, 0));
    EXPECT_EQ(m.mapVerts(0)[4], Point3(1, 1, 1)); // the fan has no colours
    const Mtl* multi = shape.GetMtl();
    ASSERT_EQ(multi->NumSubMtls(), 2);
    EXPECT_EQ(multi->GetSubMtl(0)->GetName(), L"Red");
    EXPECT_EQ(multi->GetSubMtl(1)->GetName(), L"Blue");

    EXPECT_EQ(node(host, "Eye").GetObjectRef()->SuperClassID(), CAMERA_CLASS_ID);
    auto* spot = dynamic_cast<HeadlessLight*>(node(host, "Spot").GetObjectRef());
    auto* bulb = dynamic_cast<HeadlessLight*>(node(host, "Bulb").GetObjectRef());
    ASSERT_TRUE(spot != nullptr && bulb != nullptr);
    EXPECT_EQ(spot->GetKind(), HeadlessLight::Kind::Spot);
    EXPECT_EQ(bulb->GetFarAttenuation(0), 50.0f);
    // A light looks down glTF's -Z, which is the host's +Y.
    const Point3 ahead = node(host, "Spot").GetObjectTM(0).VectorTransform(Point3(0, 0, -1));
    EXPECT_NEAR(ahead.y, 1.0f, 1e-6f);
    EXPECT_TRUE(std::any_of(warnings.begin(), warnings.end(), [](const std::string& w) {
        return w.find("1 textures") != std::string::npos;
    }));
}

} // namespace
