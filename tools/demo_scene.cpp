#include "tools/demo_scene.h"

#include "host/headless/HeadlessObjects.h"
#include "host/headless/HeadlessPrimitives.h"
#include "tools/common/module_objects.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>

namespace wkcli {

namespace {

constexpr int kFrameRate = 30;
constexpr int kLastFrame = 100;
constexpr float kGravity = 9.8f; // units a second squared
constexpr float kPi = std::numbers::pi_v<float>;

// A small generator of its own, so that the demo is the same on every platform.
class Random {
public:
    explicit Random(std::uint32_t seed) : state(seed) {}
    float next(float lo, float hi) {
        state = state * 1664525u + 1013904223u;
        return lo + (hi - lo) * static_cast<float>(state >> 8) / 16777216.0f;
    }

private:
    std::uint32_t state;
};

TimeValue frameTick(HeadlessHost& host, float frame) {
    return static_cast<TimeValue>(
        std::lround(frame * static_cast<float>(host.Time().GetTicksPerFrame())));
}

std::shared_ptr<Mtl> material(const wchar_t* name) {
    return std::make_shared<Mtl>(WStr(name));
}

// A falling box: keys every two frames from a small simulation with a bouncing floor.
void addPiece(HeadlessHost& host, wkCache_obj& cache, int index, Random& random,
              const std::shared_ptr<Mtl>& mtl) {
    HeadlessScene& scene = host.Nodes();
    const float size = random.next(0.6f, 1.4f);
    SceneObject* box =
        scene.AddObject(std::make_unique<TriObject>(MakeBoxMesh(size, size * 0.8f, size * 0.6f)));
    HeadlessNode* node = scene.CreateNode(WStr(("Piece" + std::to_string(index + 1)).c_str()), box);
    node->SetMtl(mtl);
    node->SetWireColor(0x002060E0u + static_cast<std::uint32_t>(index) * 0x00100400u);

    const int appear = index * 5;
    const int vanish = std::min(appear + static_cast<int>(random.next(35.0f, 55.0f)), kLastFrame);
    Point3 position(random.next(-6.0f, 6.0f), random.next(-6.0f, 6.0f), random.next(8.0f, 14.0f));
    Point3 velocity(random.next(-1.5f, 1.5f), random.next(-1.5f, 1.5f), 0.0f);
    const float dt = 1.0f / kFrameRate;
    for (int frame = appear; frame <= vanish; ++frame) {
        if ((frame - appear) % 2 == 0 || frame == vanish)
            node->Position().AddKey(frameTick(host, static_cast<float>(frame)), position);
        velocity.z -= kGravity * dt;
        position += velocity * dt;
        if (position.z < 0.0f) {
            position.z = -position.z * 0.5f;
            velocity.z = -velocity.z * 0.5f;
            velocity.x *= 0.8f;
            velocity.y *= 0.8f;
        }
    }

    // Tumbling about a tilted axis, smoothly through keys every five frames.
    node->Rotation().SetInterpolation(KeyInterpolation::TCB);
    const Point3 axis = Normalize(Point3(random.next(-1, 1), random.next(-1, 1), 1.0f));
    const float speed = random.next(4.0f, 12.0f) * kPi / 180.0f; // a frame
    for (int frame = appear; frame <= vanish; frame += 5)
        node->Rotation().AddKey(frameTick(host, static_cast<float>(frame)),
                                Quat(AngAxis(axis, speed * static_cast<float>(frame - appear))));

    // Shown from its first frame to its last only.
    FloatTrack& visibility = node->Visibility();
    visibility.AddKey(frameTick(host, static_cast<float>(appear - 1)), 0.0f);
    visibility.AddKey(frameTick(host, static_cast<float>(appear)), 1.0f);
    visibility.AddKey(frameTick(host, static_cast<float>(vanish)), 1.0f);
    visibility.AddKey(frameTick(host, static_cast<float>(vanish + 1)), 0.0f);
    cache.appendNodeEntry(node);
}

// The sheet: falls from a height, and where it meets the ball under it, lies on it.
void addCloth(HeadlessHost& host, wkCache_obj& cache) {
    const Mesh sheet = MakePlaneMesh(12.0f, 12.0f, 16, 16);
    auto cloth = std::make_unique<HeadlessDeformingMesh>(sheet);
    constexpr float kBallRadius = 3.0f;
    for (int frame = 0; frame <= kLastFrame; ++frame) {
        const float seconds = static_cast<float>(frame) / kFrameRate;
        const float fall = std::max(0.05f, 7.0f - 0.5f * kGravity * seconds * seconds);
        std::vector<Point3> positions;
        for (int v = 0; v < sheet.getNumVerts(); ++v) {
            Point3 p = sheet.getVert(v);
            const float across = p.x * p.x + p.y * p.y;
            const float ball = across < kBallRadius * kBallRadius
                                   ? std::sqrt(kBallRadius * kBallRadius - across) + 0.05f
                                   : 0.05f;
            const float flutter =
                0.25f * std::sin(p.x * 0.8f + seconds * 4.0f) * std::cos(p.y * 0.6f);
            p.z = std::max(fall, ball) + flutter * (fall > ball ? 1.0f : 0.2f);
            positions.push_back(p);
        }
        cloth->AddKey(frameTick(host, static_cast<float>(frame)), std::move(positions));
    }
    HeadlessScene& scene = host.Nodes();
    HeadlessNode* node = scene.CreateNode(L"Cloth", scene.Add(std::move(cloth)));
    node->SetMtl(material(L"Cloth"));
    cache.appendNodeEntry(node);
}

Mesh pyramid() {
    Mesh mesh;
    mesh.setNumVerts(5);
    mesh.setVert(0, -1.2f, -1.2f, 0.0f);
    mesh.setVert(1, 1.2f, -1.2f, 0.0f);
    mesh.setVert(2, 1.2f, 1.2f, 0.0f);
    mesh.setVert(3, -1.2f, 1.2f, 0.0f);
    mesh.setVert(4, 0.0f, 0.0f, 2.5f);
    const std::uint32_t faces[6][3] = {{0, 3, 2}, {2, 1, 0}, {0, 1, 4},
                                       {1, 2, 4}, {2, 3, 4}, {3, 0, 4}};
    mesh.setNumFaces(6);
    for (int f = 0; f < 6; ++f) {
        Face& face = mesh.getFace(f);
        face.setVerts(faces[f]);
        face.setSmGroup(f < 2 ? 1u : 2u << f);
        face.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, f < 2 ? EDGE_INVIS : EDGE_VIS);
        face.setMatID(static_cast<MtlID>(f < 2 ? 0 : 1));
    }
    return mesh;
}

// A box that becomes a folded sheet at frame 40 and a pyramid at frame 70, turning all along.
void addMorph(HeadlessHost& host, wkCache_obj& cache) {
    auto morph = std::make_unique<HeadlessTopologyMesh>();
    morph->AddState(0, MakeBoxMesh(2.0f, 2.0f, 2.0f));
    Mesh folded = MakePlaneMesh(3.0f, 3.0f, 4, 4);
    for (int v = 0; v < folded.getNumVerts(); ++v) {
        Point3& p = folded.getVert(v);
        p.z = 1.0f + std::fabs(p.x) * 0.6f;
    }
    morph->AddState(frameTick(host, 40.0f), folded);
    morph->AddState(frameTick(host, 70.0f), pyramid());
    HeadlessScene& scene = host.Nodes();
    HeadlessNode* node = scene.CreateNode(L"Morph", scene.Add(std::move(morph)));
    node->Position().AddKey(0, Point3(8.0f, 0.0f, 0.0f));
    node->Rotation().SetInterpolation(KeyInterpolation::TCB);
    TCBParams eased;
    eased.easeIn = 0.5f;
    eased.easeOut = 0.5f;
    for (int frame = 0; frame <= kLastFrame; frame += 25)
        node->Rotation().AddKey(
            frameTick(host, static_cast<float>(frame)),
            Quat(AngAxis(Point3(0, 0, 1), static_cast<float>(frame) * kPi / 50.0f)), eased);
    node->SetMtl(material(L"Morph"));
    cache.appendNodeEntry(node);
}

// A helix that renders as a tube, spinning about its axis.
void addHelix(HeadlessHost& host, wkCache_obj& cache) {
    std::vector<Point3> points;
    for (int i = 0; i <= 48; ++i) {
        const float angle = static_cast<float>(i) * 3.0f * 2.0f * kPi / 48.0f;
        points.emplace_back(1.5f * std::cos(angle), 1.5f * std::sin(angle),
                            6.0f * static_cast<float>(i) / 48.0f);
    }
    auto helix = std::make_unique<HeadlessSplineShape>(std::move(points), false);
    helix->SetRenderable(true);
    helix->SetTube(0.4f, 8);
    HeadlessScene& scene = host.Nodes();
    HeadlessNode* node = scene.CreateNode(L"Helix", scene.Add(std::move(helix)));
    node->Position().AddKey(0, Point3(-8.0f, 0.0f, 0.0f));
    node->Rotation().AddKey(0, Quat());
    node->Rotation().AddKey(frameTick(host, 50.0f), Quat(AngAxis(Point3(0, 0, 1), kPi)));
    node->Rotation().AddKey(frameTick(host, 100.0f),
                            Quat(AngAxis(Point3(0, 0, 1), 2.0f * kPi - 0.001f)));
    cache.appendNodeEntry(node);
}

} // namespace

wkCache_obj& BuildDemoScene(HeadlessHost& host) {
    host.Time().SetFrameRate(kFrameRate);
    host.Time().SetAnimRange(Interval(0, frameTick(host, static_cast<float>(kLastFrame))));
    HeadlessScene& scene = host.Nodes();

    auto* cache = scene.Add(NewCacheObject(host));
    scene.CreateNode(L"DemoCache", cache);
    wkCacheRecordParams params;
    params.recStart = 0;
    params.recEnd = kLastFrame;
    params.recStep = 1.0f;
    params.recWriteDeform = true;
    params.recWriteTopology = true;
    cache->setRecordParams(params);

    auto pieces = std::make_shared<Mtl>(L"Pieces");
    pieces->SetNumSubMtls(3);
    pieces->SetSubMtl(0, material(L"Red"));
    pieces->SetSubMtl(1, material(L"Amber"));
    pieces->SetSubMtl(2, material(L"Steel"));
    Random random(20241122u);
    for (int i = 0; i < 10; ++i)
        addPiece(host, *cache, i, random, pieces);
    addCloth(host, *cache);
    addMorph(host, *cache);
    addHelix(host, *cache);
    return *cache;
}

} // namespace wkcli
