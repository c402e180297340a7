#include "host/Materials.h"

#include <algorithm>

void Mtl::SetNumSubMtls(int n) {
    subMtls.resize(static_cast<std::size_t>(std::max(n, 0)));
}

Mtl* Mtl::GetSubMtl(int i) const {
    return ShareSubMtl(i).get();
}

std::shared_ptr<Mtl> Mtl::ShareSubMtl(int i) const {
    if (i < 0 || i >= NumSubMtls())
        return nullptr;
    return subMtls[static_cast<std::size_t>(i)];
}

void Mtl::SetSubMtl(int i, std::shared_ptr<Mtl> mtl) {
    if (i < 0 || i >= NumSubMtls())
        return;
    subMtls[static_cast<std::size_t>(i)] = std::move(mtl);
}

MtlBase* MtlBaseLib::operator[](int i) const {
    return Share(i).get();
}

std::shared_ptr<MtlBase> MtlBaseLib::Share(int i) const {
    if (i < 0 || i >= Count())
        return nullptr;
    return entries[static_cast<std::size_t>(i)];
}

int MtlBaseLib::AddMtl(std::shared_ptr<MtlBase> mtl) {
    if (!mtl)
        return -1;
    const int at = FindMtl(mtl.get());
    if (at >= 0)
        return at;
    entries.push_back(std::move(mtl));
    return Count() - 1;
}

int MtlBaseLib::FindMtl(const MtlBase* mtl) const {
    const auto it =
        std::find_if(entries.begin(), entries.end(),
                     [mtl](const std::shared_ptr<MtlBase>& e) { return e.get() == mtl; });
    return it == entries.end() ? -1 : static_cast<int>(it - entries.begin());
}

void MtlBaseLib::Remove(int i) {
    if (i >= 0 && i < Count())
        entries.erase(entries.begin() + i);
}
