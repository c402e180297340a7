#include "host/SceneObject.h"

TriObjectConversion TriObject::ConvertToTriMesh(TimeValue) {
    return {this, nullptr};
}

RenderMesh TriObject::GetRenderMesh(TimeValue, INode*, View&) {
    return {&mesh, nullptr};
}
