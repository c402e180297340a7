// The mesh's viewport entries: the window does the work, so that a host draws in its own way.
#include "host/GraphicsWindow.h"
#include "host/Mesh.h"

void Mesh::render(GraphicsWindow* gw, const Material* materials, const Rect* damage,
                  int compFlags, int numMaterials) {
    gw->renderMesh(*this, materials, numMaterials, damage, compFlags);
}

bool Mesh::select(GraphicsWindow* gw, const Material* materials, const HitRegion* region,
                  bool abortOnHit, int numMaterials) {
    return gw->selectMesh(*this, materials, numMaterials, *region, abortOnHit);
}
