// Reload Material as the user presses it: without SHIFT the selected nodes of this object, with
// SHIFT every node of every object on the file, each press one undo step.
#include "tests/panels/PanelFixture.h"

using namespace paneltest;

namespace {

TEST_F(PanelTest, ReloadMaterialReachesTheNodesShiftChooses) {
    MtlBaseLib library;
    library.AddMtl(std::make_shared<Mtl>(WStr(L"cached")));
    ASSERT_TRUE(host.Materials().SaveMaterialLibrary(wpath("two.mat"), library));
    auto* other = scene.Add(std::make_unique<wkCache_obj>());
    HeadlessNode* otherNode = scene.CreateNode(L"other", other);
    HeadlessNode* otherBare = scene.CreateNode(L"otherBare", other);
    HeadlessNode* instance = scene.CreateNode(L"instance", object);
    instance->SetSelected(true);
    loadTwoElements();
    other->setFileName(object->fileName());
    other->updateCacheMesh(0);
    // What the user has: own materials on two nodes, none on the others.
    const auto keep = std::make_shared<Mtl>(WStr(L"keep"));
    const auto foreign = std::make_shared<Mtl>(WStr(L"foreign"));
    objectNode->SetMtl(nullptr);
    instance->SetMtl(keep);
    otherNode->SetMtl(foreign);
    otherBare->SetMtl(nullptr);

    const struct {
        bool shift;
        bool objectNode, instance, otherNode, otherBare; // which get the cache's material
    } cases[] = {
        {false, false, true, false, false}, // the selected nodes of this object
        {true, true, true, true, true},     // every node of every object on the file
    };
    HeadlessNode* nodes[] = {objectNode, instance, otherNode, otherBare};
    const Mtl* before[] = {nullptr, keep.get(), foreign.get(), nullptr};
    for (const auto& c : cases) {
        user.press(1158, c.shift);
        const bool expected[] = {c.objectNode, c.instance, c.otherNode, c.otherBare};
        for (int n = 0; n < 4; ++n) {
            const Mtl* now = nodes[n]->GetMtl();
            EXPECT_EQ(now != nullptr && now->GetName() == WStr(L"cached"), expected[n]) << n;
        }
        EXPECT_EQ(lastUndo(), WStr(L"Apply Material(s)"));
        ASSERT_TRUE(host.Hold().Undo());
        for (int n = 0; n < 4; ++n)
            EXPECT_EQ(nodes[n]->GetMtl(), before[n]) << n;
    }
}

} // namespace
