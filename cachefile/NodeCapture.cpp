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

// The two ways to a mesh. An empty render mesh is not made up for by a conversion.
std::unique_ptr<Mesh> renderMeshCopy(SceneObject& obj, INode* node, TimeValue time) {
    auto* geom = dynamic_cast<GeomObject*>(&obj);
    if (geom == nullptr)
        return nullptr;
    View view = nullView();
    RenderMesh rendered = geom->GetRenderMesh(time, node, view);
    if (!hasGeometry(rendered.mesh))
        return nullptr;
    // A mesh made for the call is the copy already; one the object owns is only read.
    if (rendered.owned && rendered.owned.get() == rendered.mesh)
        return std::move(rendered.owned);
    return std::make_unique<Mesh>(*rendered.mesh);
}

std::unique_ptr<Mesh> convertedMeshCopy(SceneObject& obj, TimeValue time) {
    if (!obj.CanConvertToTriMesh())
        return nullptr;
    const TriObjectConversion converted = obj.ConvertToTriMesh(time);
    if (converted.object == nullptr || !hasGeometry(&converted.object->GetMesh()))
        return nullptr;
    // A temporary object made by the conversion gives its mesh up instead of being copied.
    if (converted.temporary && converted.temporary.get() == converted.object)
        return std::make_unique<Mesh>(std::move(converted.temporary->GetMesh()));
    return std::make_unique<Mesh>(converted.object->GetMesh());
}

} // namespace

bool CaptureNodeMesh(NodeCapture& capture, INode* node, TimeValue time, bool useRenderMesh) {
    capture.node = node;
    capture.mesh.reset();
    capture.matIdOffset = 0;
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

    capture.mesh = convert ? convertedMeshCopy(*obj, time) : renderMeshCopy(*obj, node, time);
    if (!capture.mesh)
        return false;

    Mesh& mesh = *capture.mesh;
    mesh.DeleteIsoMapVerts();
    mesh.DeleteIsoVerts();
    mesh.InvalidateGeomCache();
    mesh.InvalidateTopologyCache();
    return true;
}
