// The host's operations that fit meshes and materials together when several objects become
// one: a mesh's material ids are made to pick among a material's slots, and two materials are
// combined into one multi/sub-object material.
//
// Slots: a multi/sub-object material (one with sub-material slots) has NumSubMtls slots, and a
// face with material id i shows slot i. A plain material counts as one slot, itself: every
// face shows it whatever its id.
#pragma once

#include "host/Materials.h"
#include "host/Mesh.h"

#include <memory>

// The number of slots as defined above: NumSubMtls, or 1 for a plain material.
int MaterialSlotCount(const Mtl& mtl);

// Makes every material id of the mesh name one of the material's slots: the id becomes id
// modulo the slot count. So a plain material takes every face to id 0, and a multi/sub-object
// material of three slots takes id 4 to 1, as the renderer wraps ids itself. Faces that already
// fit keep their ids.
void FitMeshIDsToMaterial(Mesh& mesh, const Mtl& mtl);

// A new multi/sub-object material holding the slots of `a` followed by those of `b`: the
// sub-materials of a multi/sub-object material (empty slots kept), or the plain material itself.
// `bOffset` receives the slot count of `a`, which is what a mesh fitted to `b` adds to its ids
// to show the same materials under the combination. Neither input changes; the slots are
// shared, not copied. A null input has no slots. The new material has no name.
std::shared_ptr<Mtl> CombineMaterials(const std::shared_ptr<Mtl>& a, const std::shared_ptr<Mtl>& b,
                                      int& bOffset);
