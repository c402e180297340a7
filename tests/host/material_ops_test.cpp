// Fitting material ids to a material, and combining materials into multi/sub-object ones.
#include "host/MaterialOps.h"
#include "host/headless/HeadlessPrimitives.h"

#include <gtest/gtest.h>

namespace {

std::shared_ptr<Mtl> multi(const std::string& name, int slots) {
    auto mtl = std::make_shared<Mtl>(WStr(name.c_str()));
    mtl->SetNumSubMtls(slots);
    for (int i = 0; i < slots; ++i)
        mtl->SetSubMtl(i, std::make_shared<Mtl>(WStr((name + std::to_string(i)).c_str())));
    return mtl;
}

TEST(MaterialOps, FittingWrapsIdsIntoTheSlots) {
    Mesh box = MakeBoxMesh(1, 1, 1); // ids 0 to 5, two faces each
    FitMeshIDsToMaterial(box, *multi("m", 4));
    EXPECT_EQ(box.getFace(8).getMatID(), 0);  // 4 % 4
    EXPECT_EQ(box.getFace(10).getMatID(), 1); // 5 % 4
    EXPECT_EQ(box.getFace(6).getMatID(), 3);
    FitMeshIDsToMaterial(box, Mtl(L"plain"));
    for (int f = 0; f < box.getNumFaces(); ++f)
        EXPECT_EQ(box.getFace(f).getMatID(), 0);
}

TEST(MaterialOps, CombiningAppendsTheSlotsOfTheSecondBehindTheFirst) {
    const auto plainA = std::make_shared<Mtl>(L"A");
    const auto plainB = std::make_shared<Mtl>(L"B");
    int offset = -1;
    const auto ab = CombineMaterials(plainA, plainB, offset);
    EXPECT_EQ(offset, 1);
    ASSERT_EQ(ab->NumSubMtls(), 2);
    EXPECT_EQ(ab->GetSubMtl(0), plainA.get());
    EXPECT_EQ(ab->GetSubMtl(1), plainB.get());
    EXPECT_TRUE(ab->GetName().IsEmpty());

    const auto three = multi("m", 3);
    three->SetSubMtl(1, nullptr);
    const auto combined = CombineMaterials(ab, three, offset);
    EXPECT_EQ(offset, 2);
    ASSERT_EQ(combined->NumSubMtls(), 5);
    EXPECT_EQ(combined->GetSubMtl(3), nullptr); // an empty slot stays empty
    EXPECT_EQ(combined->GetSubMtl(4), three->GetSubMtl(2));
    // The inputs are left as they were.
    EXPECT_EQ(ab->NumSubMtls(), 2);
    EXPECT_EQ(three->NumSubMtls(), 3);

    const auto onlyB = CombineMaterials(nullptr, plainB, offset);
    EXPECT_EQ(offset, 0);
    EXPECT_EQ(onlyB->NumSubMtls(), 1);
}

} // namespace
