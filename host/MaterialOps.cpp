#include "host/MaterialOps.h"

#include <vector>

int MaterialSlotCount(const Mtl& mtl) {
    return mtl.NumSubMtls() > 0 ? mtl.NumSubMtls() : 1;
}

void FitMeshIDsToMaterial(Mesh& mesh, const Mtl& mtl) {
    const int slots = MaterialSlotCount(mtl);
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        Face& face = mesh.getFace(f);
        face.setMatID(static_cast<MtlID>(face.getMatID() % slots));
    }
}

namespace {

void appendSlots(std::vector<std::shared_ptr<Mtl>>& slots, const std::shared_ptr<Mtl>& mtl) {
    if (!mtl)
        return;
    if (mtl->NumSubMtls() == 0) {
        slots.push_back(mtl);
        return;
    }
    for (int i = 0; i < mtl->NumSubMtls(); ++i)
        slots.push_back(mtl->ShareSubMtl(i));
}

} // namespace

std::shared_ptr<Mtl> CombineMaterials(const std::shared_ptr<Mtl>& a, const std::shared_ptr<Mtl>& b,
                                      int& bOffset) {
    std::vector<std::shared_ptr<Mtl>> slots;
    appendSlots(slots, a);
    bOffset = static_cast<int>(slots.size());
    appendSlots(slots, b);
    auto combined = std::make_shared<Mtl>();
    combined->SetNumSubMtls(static_cast<int>(slots.size()));
    for (std::size_t i = 0; i < slots.size(); ++i)
        combined->SetSubMtl(static_cast<int>(i), slots[i]);
    return combined;
}
