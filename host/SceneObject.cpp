#include "host/SceneObject.h"

TriObjectConversion TriObject::ConvertToTriMesh(TimeValue) {
    return {this, nullptr};
}

RenderMesh TriObject::GetRenderMesh(TimeValue, INode*, View&) {
    return {&mesh, nullptr};
}

TriObjectConversion TemporaryTriObject(Mesh mesh) {
    auto temporary = std::make_unique<TriObject>(std::move(mesh));
    TriObject* object = temporary.get();
    return {object, std::move(temporary)};
}

RenderMesh OwnedRenderMesh(Mesh mesh) {
    auto owned = std::make_unique<Mesh>(std::move(mesh));
    const Mesh* borrowed = owned.get();
    return {borrowed, std::move(owned)};
}
