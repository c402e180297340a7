#include "cachefile/NodeCapture.h"

#include "host/SceneObject.h"
#include "host/View.h"

namespace {

bool hasGeometry(const Mesh* mesh) {
    return mesh != nullptr && mesh->getNumVerts() > 0 && mesh->getNumFaces() > 0;
}

// The view of a render mesh query that is not made for any viewport: identity, 640 by 480.
View nullView() {
    View view;
    view.worldToView = Matrix3(true);
    view.screenW = 640.0f;
    view.screenH = 480.0f;
    return view;
}

// The mesh a capture starts from, the render mesh or the mesh of a conversion, with what keeps
// it alive.
struct SourceMesh {
    RenderMesh rendered;
    TriObjectConversion converted;
    const Mesh* mesh = nullptr; // null: none with geometry

    // A private copy: a mesh made for this call is the copy already, and is taken over.
    std::unique_ptr<Mesh> copy() {
        if (rendered.owned && rendered.owned.get() == mesh)
            return std::move(rendered.owned);
        if (converted.temporary && &converted.temporary->GetMesh() == mesh)
            return std::make_unique<Mesh>(std::move(converted.temporary->GetMesh()));
        return std::make_unique<Mesh>(*mesh);
    }
};

// The two ways to a mesh. An empty render mesh is not made up for by a conversion.
void renderMesh(SourceMesh& source, SceneObject& obj, INode* node, TimeValue time) {
    auto* geom = dynamic_cast<GeomObject*>(&obj);
    if (geom == nullptr)
        return;
    View view = nullView();
    source.rendered = geom->GetRenderMesh(time, node, view);
    if (hasGeometry(source.rendered.mesh))
        source.mesh = source.rendered.mesh;
}

void convertedMesh(SourceMesh& source, SceneObject& obj, TimeValue time) {
    if (!obj.CanConvertToTriMesh())
        return;
    source.converted = obj.ConvertToTriMesh(time);
    const TriObject* converted = source.converted.object;
    if (converted != nullptr && hasGeometry(&converted->GetMesh()))
        source.mesh = &converted->GetMesh();
}

// The mesh of `node` at `time` that CaptureNodeMesh starts from, chosen by the kind of object
// (geometry or shape) and the shape's rendering switches; false without one.
bool sourceMesh(SourceMesh& source, INode* node, TimeValue time, bool useRenderMesh) {
    if (node == nullptr)
        return false;
    SceneObject* obj = node->EvalWorldState(time, true).obj;
    if (obj == nullptr)
        return false;
    const SClass_ID superClass = obj->SuperClassID();
    if (superClass != GEOMOBJECT_CLASS_ID && superClass != SHAPE_CLASS_ID)
        return false;

    bool convert = !useRenderMesh;
    if (superClass == SHAPE_CLASS_ID) {
        const auto* shape = dynamic_cast<const ShapeObject*>(obj);
        if (shape == nullptr)
            return false;
        if (shape->GetUseViewport()) {
            // Shown in the viewports: only its render mesh display makes it geometry.
            if (!shape->GetDispRenderMesh())
                return false;
            convert = true;
        } else if (!shape->GetRenderable()) {
            convert = true;
        }
    }
    if (convert)
        convertedMesh(source, *obj, time);
    else
        renderMesh(source, *obj, node, time);
    return source.mesh != nullptr;
}

} // namespace

bool CaptureNodeMesh(NodeCapture& capture, INode* node, TimeValue time, bool useRenderMesh) {
    capture.node = node;
    capture.mesh.reset();
    capture.matIdOffset = 0;
    SourceMesh source;
    if (!sourceMesh(source, node, time, useRenderMesh))
        return false;
    capture.mesh = source.copy();

    Mesh& mesh = *capture.mesh;
    mesh.DeleteIsoMapVerts();
    mesh.DeleteIsoVerts();
    mesh.InvalidateGeomCache();
    mesh.InvalidateTopologyCache();
    return true;
}

bool CaptureNodeVertices(std::vector<Point3>& verts, INode* node, TimeValue time,
                         bool useRenderMesh) {
    verts.clear();
    SourceMesh source;
    if (!sourceMesh(source, node, time, useRenderMesh))
        return false;
    // The vertices that DeleteIsoVerts keeps: those a face corner refers to, in order.
    const Mesh& mesh = *source.mesh;
    const auto count = static_cast<std::uint32_t>(mesh.getNumVerts());
    std::vector<bool> used(count, false);
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const Face& face = mesh.getFace(f);
        for (int corner = 0; corner < 3; ++corner) {
            const std::uint32_t v = face.getVert(corner);
            if (v < count)
                used[v] = true;
        }
    }
    verts.reserve(count);
    for (std::uint32_t v = 0; v < count; ++v) {
        if (used[v])
            verts.push_back(mesh.getVert(static_cast<int>(v)));
    }
    return true;
}
