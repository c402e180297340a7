// The scene objects of the headless scene, one class per kind that recording and playback
// meet: meshes that stand still, deform or change topology over time, shapes, helpers,
// cameras and lights.
#pragma once

#include "host/SceneObject.h"
#include "host/headless/HeadlessKeyTrack.h"
#include "host/headless/TimeOrdered.h"

#include <vector>

// Class ids of the headless object classes (the static mesh is the host's own TriObject).
inline constexpr Class_ID kDeformingMeshClassID{0x5D1A0001, 0x2E7C0001};
inline constexpr Class_ID kTopologyMeshClassID{0x5D1A0002, 0x2E7C0001};
inline constexpr Class_ID kSplineShapeClassID{0x5D1A0003, 0x2E7C0001};
inline constexpr Class_ID kPointHelperClassID{0x5D1A0004, 0x2E7C0001};
inline constexpr Class_ID kCameraClassID{0x5D1A0005, 0x2E7C0001};

// The meshes that change over time: geometry that always converts to a mesh.
class HeadlessAnimatedMesh : public GeomObject {
public:
    SClass_ID SuperClassID() const override { return GEOMOBJECT_CLASS_ID; }
    bool CanConvertToTriMesh() const override { return true; }
};

// A mesh whose vertices are keyed over time: the faces and channels of `base` at every time,
// the vertex positions blended linearly between the two keys around the time (held before the
// first key and after the last; the base positions without keys). Its conversions and render
// meshes are new meshes, made per call.
class HeadlessDeformingMesh final : public HeadlessAnimatedMesh {
public:
    explicit HeadlessDeformingMesh(Mesh base);

    // One position per vertex of the base mesh, else std::invalid_argument. A key at the time
    // of an existing one replaces it.
    void AddKey(TimeValue time, std::vector<Point3> positions);
    int NumKeys() const { return keys.Count(); }
    Mesh MeshAt(TimeValue t) const;
    // What a scene file saves: the base mesh and the keys in time order.
    const Mesh& BaseMesh() const { return base; }
    TimeValue KeyTime(int i) const { return keys[i].time; }
    const std::vector<Point3>& KeyPositions(int i) const { return keys[i].value; }

    Class_ID ClassID() const override { return kDeformingMeshClassID; }
    TriObjectConversion ConvertToTriMesh(TimeValue t) override;
    RenderMesh GetRenderMesh(TimeValue t, INode* node, View& view) override;

private:
    Mesh base;
    TimeOrdered<std::vector<Point3>> keys;
};

// A mesh that is replaced by another at given times: at t, the state of the latest time not
// after t (the first state before all of them). Its render mesh is the state itself, borrowed;
// a conversion makes a new triangle object.
class HeadlessTopologyMesh final : public HeadlessAnimatedMesh {
public:
    // A state at the time of an existing one replaces it.
    void AddState(TimeValue time, Mesh mesh);
    int NumStates() const { return states.Count(); }
    TimeValue StateTime(int i) const { return states[i].time; }
    const Mesh& StateMesh(int i) const { return states[i].value; }
    // An empty mesh while there is no state.
    const Mesh& MeshAt(TimeValue t) const;

    Class_ID ClassID() const override { return kTopologyMeshClassID; }
    TriObjectConversion ConvertToTriMesh(TimeValue t) override;
    RenderMesh GetRenderMesh(TimeValue t, INode* node, View& view) override;

private:
    TimeOrdered<Mesh> states;
    Mesh empty;
};

// A spline through points, open or closed, with the three rendering switches of a shape.
// Its renderable mesh is a tube of `thickness` with `sides` sides along the spline. Converted
// to a mesh it gives that tube when renderable; otherwise a closed spline gives its flat cap
// (a fan around the mean of its points), and an open one only its points, without faces.
class HeadlessSplineShape final : public ShapeObject {
public:
    HeadlessSplineShape(std::vector<Point3> points, bool closed);

    void SetRenderable(bool on) { renderable = on; }
    void SetUseViewport(bool on) { useViewport = on; }
    void SetDispRenderMesh(bool on) { dispRenderMesh = on; }
    // Thickness above 0 and at least 3 sides, else std::invalid_argument.
    void SetTube(float thickness, int sides);

    const std::vector<Point3>& Points() const { return points; }
    bool IsClosed() const { return closed; }
    float Thickness() const { return thickness; }
    int Sides() const { return sides; }

    Mesh TubeMesh() const;
    Mesh CapMesh() const;

    SClass_ID SuperClassID() const override { return SHAPE_CLASS_ID; }
    Class_ID ClassID() const override { return kSplineShapeClassID; }
    bool CanConvertToTriMesh() const override { return true; }
    TriObjectConversion ConvertToTriMesh(TimeValue t) override;
    // The tube, made for the call; none when the shape is not renderable.
    RenderMesh GetRenderMesh(TimeValue t, INode* node, View& view) override;
    bool GetUseViewport() const override { return useViewport; }
    bool GetDispRenderMesh() const override { return dispRenderMesh; }
    bool GetRenderable() const override { return renderable; }

private:
    std::vector<Point3> points;
    bool closed;
    bool renderable = false;
    bool useViewport = false;
    bool dispRenderMesh = false;
    float thickness = 1.0f;
    int sides = 12;
};

// Objects without geometry: they never convert to a mesh.
class HeadlessNonGeometric : public SceneObject {
public:
    HeadlessNonGeometric(SClass_ID superClass_, Class_ID classId_)
        : superClass(superClass_), classId(classId_) {}
    SClass_ID SuperClassID() const override { return superClass; }
    Class_ID ClassID() const override { return classId; }
    bool CanConvertToTriMesh() const override { return false; }
    TriObjectConversion ConvertToTriMesh(TimeValue) override { return {}; }

private:
    SClass_ID superClass;
    Class_ID classId;
};

class HeadlessHelper final : public HeadlessNonGeometric {
public:
    HeadlessHelper() : HeadlessNonGeometric(HELPER_CLASS_ID, kPointHelperClassID) {}
};

class HeadlessCamera final : public HeadlessNonGeometric {
public:
    HeadlessCamera() : HeadlessNonGeometric(CAMERA_CLASS_ID, kCameraClassID) {}
};

// An omni or spot light; its far attenuation is a track.
class HeadlessLight final : public LightObject {
public:
    enum class Kind { Omni, Spot };
    explicit HeadlessLight(Kind kind, float farAttenuation = 200.0f);

    Kind GetKind() const { return kind; }
    FloatTrack& FarAttenuation() { return farAttenuation; }

    SClass_ID SuperClassID() const override { return LIGHT_CLASS_ID; }
    Class_ID ClassID() const override {
        return kind == Kind::Omni ? OMNI_LIGHT_CLASS_ID : SPOT_LIGHT_CLASS_ID;
    }
    bool CanConvertToTriMesh() const override { return false; }
    TriObjectConversion ConvertToTriMesh(TimeValue) override { return {}; }
    float GetFarAttenuation(TimeValue t) override { return farAttenuation.GetValue(t); }

private:
    Kind kind;
    FloatTrack farAttenuation;
};
