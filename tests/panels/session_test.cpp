// A whole session at the panel, as a user works: pick, record, unload and load, two groups with
// different actions, undo and redo, explode, and closing; every control is checked at the end.
#include "tests/panels/PanelFixture.h"

using namespace paneltest;

namespace {

// Records look for the sibling plug-in in the working directory: work in the test's folder.
class SessionTest : public PanelTest {
protected:
    std::filesystem::path before = std::filesystem::current_path();
    void SetUp() override {
        std::filesystem::current_path(dir.path());
        PanelTest::SetUp();
    }
    void TearDown() override {
        PanelTest::TearDown();
        std::filesystem::current_path(before);
    }
    void newGroup(const wchar_t* name) {
        panels.QueueDialog([name](PanelDriver& d) {
            d.type(1068, name);
            d.press(IDC_OK);
        });
        user.press(1069);
    }
};

TEST_F(SessionTest, AWholeSessionLeavesEveryControlAsTheRulesSay) {
    HeadlessNode* rock = boxNode("rock", Point3(0, 0, 0), Point3(10, 0, 0), 1600);
    HeadlessNode* dust = boxNode("dust", Point3(0, 5, 0), Point3(0, 5, 9), 1600);
    params().SetValue(P::recEnd, 0, 10);

    // Pick both, record under a chosen name.
    user.press(1005);
    user.clickNode(rock);
    user.clickNode(dust);
    user.clickNode(nullptr);
    EXPECT_EQ(user.rows(1004), (std::vector<WStr>{L"rock", L"dust"}));
    panels.QueueFileAnswer(wpath("walk.wkc"));
    user.press(1011);
    ASSERT_TRUE(exists("walk.wkc"));
    // The object node's name, cleaned and given the extension.
    EXPECT_EQ(panels.FileDialogs().at(0).fileName, WStr(L"Cache.wkc"));
    EXPECT_TRUE(user.rows(1004).empty()); // the list is cleared after recording

    // Unload, then load it again through the open dialog.
    user.press(1027);
    EXPECT_EQ(user.text(1024), WStr(L"<None>"));
    panels.QueueFileAnswer(wpath("walk.wkc"));
    user.press(1012);
    object->updateCacheMesh(0);
    wkCachePanels::refreshStatus(*object, nullptr);
    wkCachePanels::refreshFileInfo(*object);
    EXPECT_EQ(user.text(1024), WStr(L"walk.wkc"));

    // Two groups: rock is set to a frame, dust deleted by age.
    object->setElementSelection({0});
    newGroup(L"Fall");
    user.choose(1071, 4);
    user.drag(1075, 6.0f);
    object->setElementSelection({1});
    newGroup(L"Vanish");
    user.choose(1071, 0);
    user.press(1151);
    user.drag(1149, 3.0f);
    EXPECT_TRUE(groups().at(1).byAge);
    EXPECT_EQ(groups().at(1).age, 3.0f);

    // Undo the age and the by-age switch, redo the switch.
    ASSERT_TRUE(host.Hold().Undo());
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_FALSE(groups().at(1).byAge);
    ASSERT_TRUE(host.Hold().Redo());
    panel().refreshGroupList();

    // Explode frames 0 to 10 every 5 frames, reduced as the rollout's defaults say. Vanish
    // (by age 0) deletes dust at every frame, so rock alone gets a node, which Fall holds at
    // frame 6: its keys are all alike and all go, the controller keeping their value.
    const std::size_t nodesBefore = scene.Nodes().size();
    user.drag(1122, 10.0f);
    user.drag(1125, 5.0f);
    user.press(1126);
    ASSERT_EQ(scene.Nodes().size(), nodesBefore + 1);
    HeadlessNode& piece = *scene.Nodes().back();
    EXPECT_EQ(piece.GetName(), WStr(L"rock001"));
    for (TimeValue t : {0, 800, 1600})
        EXPECT_LT((piece.GetNodeTM(t).GetTrans() - Point3(6, 0, 0)).Length(), 1e-5f) << t;
    EXPECT_EQ(piece.GetTMController()->GetPositionController()->NumKeys(), 0);
    EXPECT_EQ(lastUndo(), WStr(L"Reduce Keys"));

    // Every control of the state reached.
    EXPECT_EQ(user.rows(1070), (std::vector<WStr>{L"Fall (1 node)", L"Vanish (1 node)"}));
    EXPECT_EQ(user.selected(1070), 1);
    EXPECT_EQ(user.selected(1071), 0);
    EXPECT_TRUE(user.checked(1151));
    EXPECT_FALSE(user.checked(1152));
    EXPECT_EQ(user.value(1149), 0.0f);
    EXPECT_TRUE(user.checked(1107));
    EXPECT_TRUE(user.checked(1106));
    for (int id : {1151, 1148, 1149, 1150, 1152, 1145, 1146, 1147})
        EXPECT_TRUE(user.visible(id)) << id;
    for (int id : {1075, 1077, 1143})
        EXPECT_FALSE(user.visible(id)) << id;
    for (int id : {1083, 1153, 1084, 1085, 1071, 1155, 1156, 1081, 1082, 1086, 1114, 1087, 1115,
                   1154, 1107, 1106})
        EXPECT_TRUE(user.enabled(id)) << id;
    EXPECT_EQ(params().GetFloat(P::elementFrames, 0, 0), 6.0f);
    EXPECT_EQ(user.text(1105), WStr(L"2"));
    EXPECT_EQ(user.text(1102), WStr(L"11"));
    EXPECT_EQ(user.text(1025).str().substr(0, 2), L"F:");
    EXPECT_EQ(user.text(1024), WStr(L"walk.wkc"));
    EXPECT_TRUE(user.enabled(1016));
    EXPECT_FALSE(user.enabled(1108));
    EXPECT_EQ(user.value(1122), 10.0f);
    EXPECT_EQ(user.value(1125), 5.0f);

    // Closing takes the rollouts away; the object's state stays.
    object->EndEditParams();
    EXPECT_TRUE(panels.Rollouts().empty());
    EXPECT_EQ(groups().count(), 2);
}

} // namespace
