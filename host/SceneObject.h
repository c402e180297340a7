// Scene objects as the core sees them: what a node's world state evaluates to.
//
// SceneObject is any object; GeomObject adds the render mesh (geometry and shapes);
// ShapeObject adds the three rendering switches of a spline; LightObject the far attenuation.
// A core operation learns the kind from SuperClassID and then casts; an object that claims a
// superclass without implementing its interface is treated as unusable.
//
// Ownership: the host owns scene objects. Conversions and render meshes hand back either the
// object's own data, borrowed, or a temporary that the caller owns (the host's "need delete"
// made explicit as a std::unique_ptr).
#pragma once

#include "host/ClassID.h"
#include "host/Mesh.h"
#include "host/Time.h"
#include "host/View.h"

#include <memory>

class INode;
class TriObject;

// The result of a conversion to a triangle mesh object: `object` is null when it failed; it
// is the object itself, or `temporary`, which the caller then owns.
struct TriObjectConversion {
    TriObject* object = nullptr;
    std::unique_ptr<TriObject> temporary;
};

// A render mesh: `mesh` is null when there is none; it is borrowed from the object, or it is
// `owned`, a mesh made for this call.
struct RenderMesh {
    const Mesh* mesh = nullptr;
    std::unique_ptr<Mesh> owned;
};

class SceneObject {
public:
    virtual ~SceneObject() = default;

    virtual SClass_ID SuperClassID() const = 0;
    virtual Class_ID ClassID() const = 0;

    // Whether ConvertToTriMesh can succeed (the host's CanConvertToType(triObjectClassID)).
    virtual bool CanConvertToTriMesh() const = 0;
    // The object as a triangle mesh object at t.
    virtual TriObjectConversion ConvertToTriMesh(TimeValue t) = 0;
};

class GeomObject : public SceneObject {
public:
    // The mesh that rendering at t would use, for `node` seen through `view`.
    virtual RenderMesh GetRenderMesh(TimeValue t, INode* node, View& view) = 0;
};

// A spline. Renderable: it renders as a mesh (a tube along the spline). UseViewport: the
// viewport settings apply instead of the renderer's. DispRenderMesh: the viewports show that
// mesh too.
class ShapeObject : public GeomObject {
public:
    virtual bool GetUseViewport() const = 0;
    virtual bool GetDispRenderMesh() const = 0;
    virtual bool GetRenderable() const = 0;
};

class LightObject : public SceneObject {
public:
    // The distance at which the light's far attenuation ends.
    virtual float GetFarAttenuation(TimeValue t) = 0;
};

// The triangle mesh object: a mesh that is the same at every time.
class TriObject : public GeomObject {
public:
    TriObject() = default;
    explicit TriObject(Mesh mesh_) : mesh(std::move(mesh_)) {}

    SClass_ID SuperClassID() const override { return GEOMOBJECT_CLASS_ID; }
    Class_ID ClassID() const override { return triObjectClassID; }
    bool CanConvertToTriMesh() const override { return true; }
    // Itself.
    TriObjectConversion ConvertToTriMesh(TimeValue t) override;
    // Its own mesh, borrowed.
    RenderMesh GetRenderMesh(TimeValue t, INode* node, View& view) override;

    Mesh& GetMesh() { return mesh; }
    const Mesh& GetMesh() const { return mesh; }

private:
    Mesh mesh;
};

// What an object hands back when it makes its mesh for the call: a new triangle object, or a
// render mesh, that the caller owns.
TriObjectConversion TemporaryTriObject(Mesh mesh);
RenderMesh OwnedRenderMesh(Mesh mesh);
