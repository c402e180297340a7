// The rollouts driven as a user drives them: enabling rules, lists, SHIFT meanings, the status
// line and its bar.
#include "tests/panels/PanelFixture.h"

#include "cachefile/wkCacheSizeText.h"
#include "panels/wkCacheDialogs.h"

#include <functional>

using namespace paneltest;

namespace {

// Every rollout in map order, with its title and whether it starts closed.
TEST_F(PanelTest, OpeningShowsTheEightRolloutsWithTheirFirstOpenDress) {
    std::vector<std::tuple<int, std::wstring, bool>> shown;
    for (const auto& w : panels.Rollouts())
        shown.emplace_back(w->DialogId(), w->Title().str(), w->Closed());
    const std::vector<std::tuple<int, std::wstring, bool>> expected{
        {101, L"Cache File", false},
        {109, L"File Info", true},
        {103, L"Record", false},
        {104, L"Playback", false},
        {102, L"Viewport / Render", false},
        {106, L"Per-Element Control", false},
        {110, L"Explode to Objects", true},
        {111, L"About", true}};
    EXPECT_EQ(shown, expected);

    EXPECT_EQ(user.text(1024), WStr(L"<None>"));
    EXPECT_FALSE(user.control(1024).tooltip);
    EXPECT_EQ(user.text(1025), WStr(L"No cache file."));
    EXPECT_EQ(user.control(1158).image, (ButtonImage{1160, 1161, 24, 24, 4}));
    EXPECT_EQ(user.control(1010).image, (ButtonImage{1164, 1165, 25, 25, 2}));
    EXPECT_EQ(user.control(2001).tooltip, WStr(L"Record Deformations"));
    EXPECT_EQ(user.control(1123).tooltip, WStr(L"Set to current time range"));
    EXPECT_EQ(user.control(1107).kind, ControlKind::CheckButton);
    const auto& about = panels.FindRollout(111)->Controls();
    EXPECT_EQ(about.at(0).text, WStr(L"Welkard Cache"));
    EXPECT_EQ(about.at(1).text, WStr(L"Version 1.3"));
    // File Info names each field by the label before it.
    const auto& info = panels.FindRollout(109)->Controls();
    std::vector<std::pair<int, std::wstring>> fields;
    for (std::size_t i = 1; i < info.size(); ++i)
        if (info[i].id > 0)
            fields.emplace_back(info[i].id, info[i - 1].text.str());
    const std::vector<std::pair<int, std::wstring>> named{
        {1101, L"File Size :"}, {1112, L"Mesh :"},      {1113, L"Animation :"}, {1102, L"Frames :"},
        {1103, L"Step Size :"}, {1104, L"FrameRate :"}, {1105, L"Nodes :"}};
    EXPECT_EQ(fields, named);
    // Nothing is selected: the group controls are off, no action shows.
    EXPECT_FALSE(user.enabled(1087));
    EXPECT_FALSE(user.visible(1075));
    EXPECT_FALSE(user.visible(1149));
}

TEST_F(PanelTest, EnablingRulesFollowTheirParameters) {
    struct Case {
        int clicked; // a control the user clicks first, 0 for none
        std::vector<std::pair<int, bool>> enabled;
    };
    const Case cases[] = {
        {0,
         {{1016, true},
          {1039, false},
          {1092, false},
          {1108, false},
          {1141, false},
          {1130, true},
          {1030, false},
          {1036, false}}},
        // The graph on: a spinner's edit goes with its arrows.
        {1037,
         {{1016, false},
          {1015, false},
          {1014, false},
          {1013, false},
          {1017, false},
          {1054, false},
          {1039, true},
          {1038, true}}},
        {1091, {{1092, true}, {1108, true}, {1135, true}}},                   // trigger by omni
        {1128, {{1130, false}, {1129, false}, {1131, false}, {1133, false}}}, // reduction off
        {1140, {{1141, true}}},                                               // explode to source
        {1159, {{1030, true}, {1031, true}, {1159, true}}}, // delete faces off: hide faces on
        {1043, {{1019, false}, {1067, false}, {1020, false}, {1159, false}}}, // no cache shown
        {1050, {{1034, true}, {1036, false}}}, // don't delete enables only the check box
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.clicked);
        if (c.clicked != 0)
            user.press(c.clicked);
        wkCachePanels::updatePanels(*object, false);
        for (const auto& [id, on] : c.enabled)
            EXPECT_EQ(user.enabled(id), on) << id;
        if (c.clicked != 0) {
            user.press(c.clicked == 1091 ? 1089 : c.clicked == 1140 ? 1137 : c.clicked);
            wkCachePanels::updatePanels(*object, false);
        }
    }
}

TEST_F(PanelTest, TheSpeedSpinnerIsOffUnderTheGraphAndKeepsItsValue) {
    user.drag(1016, 2.5f);
    user.press(1037);
    wkCachePanels::updatePanels(*object, false);
    EXPECT_FALSE(user.enabled(1016));
    user.drag(1016, 7.0f); // a disabled spinner ignores the mouse
    user.type(1015, L"7"); // and its edit the keyboard
    EXPECT_EQ(params().GetFloat(P::playSpeed), 2.5f);
    EXPECT_EQ(user.value(1016), 2.5f);
}

TEST_F(PanelTest, ADragIsOneUndoStepAndTheRightButtonPutsTheValueBack) {
    const float before = params().GetFloat(P::playSpeed);
    const int steps = host.Hold().NumUndoSteps();
    user.drag(1016, {1.5f, 2.0f, 2.5f});
    EXPECT_EQ(host.Hold().NumUndoSteps(), steps + 1);
    EXPECT_EQ(lastUndo(), WStr(L"Parameter Change"));
    user.drag(1016, {4.0f, 5.0f}, false);
    EXPECT_EQ(params().GetFloat(P::playSpeed), 2.5f);
    EXPECT_EQ(user.value(1016), 2.5f);
    EXPECT_EQ(host.Hold().NumUndoSteps(), steps + 1);
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(params().GetFloat(P::playSpeed), before);
}

TEST_F(PanelTest, UnitListsSetTheScaleAsTargetOverSource) {
    const struct {
        int from, to;
        float scale;
    } cases[] = {{1, 0, 1.0f / 12.0f}, {0, 1, 12.0f}, {0, 2, 160900.0f}, {5, 5, 1.0f}};
    for (const auto& c : cases) {
        user.choose(2014, c.from);
        user.choose(2015, c.to);
        EXPECT_FLOAT_EQ(params().GetFloat(P::scaleUnits), c.scale) << c.from << "->" << c.to;
        EXPECT_FLOAT_EQ(user.value(2017), c.scale);
    }
    // One undo takes back the list's choice and the scale it set together.
    const int steps = host.Hold().NumUndoSteps();
    user.choose(2015, 3);
    EXPECT_EQ(host.Hold().NumUndoSteps(), steps + 1);
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(params().GetInt(P::scaleUnitsTo), 5);
    EXPECT_FLOAT_EQ(params().GetFloat(P::scaleUnits), 1.0f);
}

// "Update Now" builds the mesh of the current time with a fresh activation scan and shows it:
// the views are redrawn, not left to the next thing that redraws them.
TEST_F(PanelTest, UpdateNowRebuildsAndRedraws) {
    loadTwoElements();
    user.press(1090); // triggered by the gizmo: the button is enabled
    const int redraws = host.Nodes().RedrawRequests();
    user.press(1108);
    EXPECT_EQ(host.Nodes().RedrawRequests(), redraws + 1);
}

TEST_F(PanelTest, RefreshFunctionsDoNothingWithThePanelClosed) {
    object->EndEditParams();
    EXPECT_TRUE(panels.Rollouts().empty());
    EXPECT_FALSE(object->hasPanel());
    // A panel open for another object is left alone as well.
    auto other = std::make_unique<wkCache_obj>();
    other->BeginEditParams(&panels);
    const std::vector<WStr> before{user.text(1025), user.text(1024)};
    object->appendNodeEntry(boxNode("x"));
    const WStr text = L"elsewhere";
    wkCachePanels::updatePanels(*object, true);
    wkCachePanels::refreshNodeList(*object);
    wkCachePanels::refreshGroupList(*object);
    wkCachePanels::refreshGroupControls(*object, 0);
    wkCachePanels::refreshStatus(*object, &text);
    wkCachePanels::refreshFileInfo(*object);
    wkCachePanels::setProgress(*object, 1, 2);
    EXPECT_EQ(before, (std::vector<WStr>{user.text(1025), user.text(1024)}));
    EXPECT_TRUE(user.rows(1004).empty());
    EXPECT_EQ(object->progressState().progressDone, -1);
    other->EndEditParams();
}

TEST_F(PanelTest, RemoveObeysMarksAndShift) {
    struct Case {
        std::vector<int> marks;
        bool shift;
        std::vector<std::wstring> left;
        std::wstring undo;
    };
    const Case cases[] = {
        {{}, false, {L"a", L"b", L"c"}, L""},       {{}, true, {}, L"Empty node list"},
        {{0, 2}, false, {L"b"}, L"Remove node(s)"}, {{0, 1, 2}, false, {}, L"Empty node list"},
        {{1}, true, {}, L"Empty node list"},
    };
    HeadlessNode* nodes[] = {boxNode("a"), boxNode("b"), boxNode("c")};
    for (const Case& c : cases) {
        params().Delete(P::nodes, 0, params().Count(P::nodes));
        for (HeadlessNode* n : nodes)
            object->appendNodeEntry(n);
        panel().refreshNodeList();
        const int steps = host.Hold().NumUndoSteps();
        user.mark(1004, c.marks);
        user.press(1007, c.shift);
        std::vector<std::wstring> left;
        for (const WStr& row : user.rows(1004))
            left.push_back(row.str());
        EXPECT_EQ(left, c.left);
        EXPECT_EQ(host.Hold().NumUndoSteps(), steps + (c.undo.empty() ? 0 : 1));
        if (!c.undo.empty()) {
            EXPECT_EQ(lastUndo(), WStr(c.undo.c_str()));
        }
    }
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(object->nodeCount(), 3);
}

// Each way of changing the list is one undo step, and the list box shows the table as the undo
// and the redo leave it.
TEST_F(PanelTest, TheNodeListShowsWhatUndoAndRedoLeave) {
    struct Case {
        const char* what;
        std::function<void()> act;
        std::vector<WStr> after;
    };
    HeadlessNode* a = boxNode("a");
    HeadlessNode* b = boxNode("b");
    HeadlessNode* c = boxNode("c");
    const Case cases[] = {
        {"pick",
         [&] {
             user.press(1005);
             user.clickNode(c);
             user.clickNode(nullptr);
         },
         {L"a", L"b", L"c"}},
        {"the node dialog",
         [&] {
             panels.QueueNodeAnswer(std::vector<INode*>{c});
             user.press(1006);
         },
         {L"a", L"b", L"c"}},
        {"SHIFT+Add",
         [&] {
             c->SetSelected(true);
             user.press(1006, true);
             c->SetSelected(false);
         },
         {L"a", L"b", L"c"}},
        {"remove the marked",
         [&] {
             user.mark(1004, {0});
             user.press(1007);
         },
         {L"b"}},
        {"empty the list", [&] { user.press(1007, true); }, {}},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        params().Delete(P::nodes, 0, params().Count(P::nodes));
        object->appendNodeEntry(a);
        object->appendNodeEntry(b);
        panel().refreshNodeList();
        k.act();
        EXPECT_EQ(user.rows(1004), k.after);
        ASSERT_TRUE(host.Hold().Undo());
        EXPECT_EQ(user.rows(1004), (std::vector<WStr>{L"a", L"b"}));
        ASSERT_TRUE(host.Hold().Redo());
        EXPECT_EQ(user.rows(1004), k.after);
    }
}

TEST_F(PanelTest, NodeListShowsDeletedNodesAndKeepsItsCaret) {
    HeadlessNode* a = boxNode("a");
    HeadlessNode* b = boxNode("b");
    object->appendNodeEntry(a);
    object->appendNodeEntry(b);
    panel().refreshNodeList();
    user.mark(1004, {1});
    // The scene tells the open panel of each node that goes, and of each that an undo brings.
    host.Hold().Begin();
    scene.DeleteNode(b);
    host.Hold().Accept(L"Delete");
    EXPECT_EQ(user.rows(1004), (std::vector<WStr>{L"a", L"<Deleted>"}));
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(user.rows(1004), (std::vector<WStr>{L"a", L"b"}));
    ASSERT_TRUE(host.Hold().Redo());
    EXPECT_EQ(user.rows(1004), (std::vector<WStr>{L"a", L"<Deleted>"}));
    EXPECT_EQ(user.control(1004).caret, 1);
    EXPECT_EQ(user.marked(1004), std::vector<int>{1}); // replaced in place, not rebuilt
    EXPECT_EQ(user.control(1004).extent, 9 * 6 + 24);
    user.press(1007);
    EXPECT_EQ(user.rows(1004), std::vector<WStr>{L"a"});
    EXPECT_EQ(user.control(1004).caret, 0);
    // A suspended list is left as it stands.
    object->NodeListNotification(70);
    object->appendNodeEntry(boxNode("c"));
    panel().refreshNodeList();
    EXPECT_EQ(user.rows(1004).size(), 1u);
}

TEST_F(PanelTest, AllNoneInvertAndShiftAdd) {
    HeadlessNode* a = boxNode("a");
    HeadlessNode* b = boxNode("b");
    HeadlessNode* c = boxNode("c");
    object->appendNodeEntry(a);
    panel().refreshNodeList();
    b->SetSelected(true);
    c->SetSelected(true);
    a->SetSelected(true);          // already listed: not added twice
    objectNode->SetSelected(true); // the object's own node: refused
    user.press(1006, true);
    EXPECT_EQ(user.rows(1004), (std::vector<WStr>{L"a", L"b", L"c"}));
    EXPECT_EQ(lastUndo(), WStr(L"Select Multiple"));
    user.press(1008);
    EXPECT_EQ(user.marked(1004), (std::vector<int>{0, 1, 2}));
    user.mark(1004, {1});
    user.press(1010);
    EXPECT_EQ(user.marked(1004), (std::vector<int>{0, 2}));
    user.press(1009);
    EXPECT_TRUE(user.marked(1004).empty());
}

TEST_F(PanelTest, RangeButtonsAndDragStates) {
    host.Time().SetAnimRange(Interval(320, 1600));
    user.press(1100);
    EXPECT_EQ(params().GetInt(P::recStart), 2);
    EXPECT_EQ(params().GetInt(P::recEnd), 10);
    user.press(1123);
    EXPECT_EQ(params().GetInt(P::explodeEnd), 10);

    EXPECT_EQ(lastUndo(), WStr(L"Set Record Range"));

    // A drag pushes the other end along and lets it spring back to where the drag found it;
    // a typed value pushes it for good.
    user.drag(1045, {15.0f, 5.0f});
    EXPECT_EQ(params().GetInt(P::recEnd), 10);
    user.type(1044, L"12");
    user.type(1044, L"3");
    EXPECT_EQ(params().GetInt(P::recEnd), 12);
    user.drag(1122, {-4.0f});
    EXPECT_EQ(params().GetInt(P::explodeStart), -4);
}

// The update that attaches the object to a reader shows the file's facts; nothing else asks.
TEST_F(PanelTest, StatusLineFileInfoAndTheFileField) {
    loadTwoElements("two.wkc");
    EXPECT_EQ(user.text(1024), WStr(L"two.wkc"));
    EXPECT_EQ(user.control(1024).tooltip, wpath("two.wkc"));
    EXPECT_EQ(user.text(1025).str().substr(0, 2), L"F:");
    const auto size = std::filesystem::file_size(dir.file("two.wkc"));
    EXPECT_EQ(user.text(1101), WelkardTools::FormatCacheSize(size));
    EXPECT_EQ(user.text(1102), WStr(L"3"));
    EXPECT_EQ(user.text(1103), WStr(L"160 ticks"));
    EXPECT_EQ(user.text(1104), WStr(L"30 FPS"));
    EXPECT_EQ(user.text(1105), WStr(L"2"));

    const WStr busy = L"Busy";
    wkCachePanels::refreshStatus(*object, &busy);
    EXPECT_EQ(user.text(1025), busy);
    object->setFileName(host.Assets().GetAsset(wpath("gone.wkc"), kAssetTypeCache));
    object->updateCacheMesh(0);
    EXPECT_EQ(user.text(1101), WStr());
    EXPECT_EQ(user.text(1105), WStr());
    // Loaded again through the rollout, as the user does it.
    panels.QueueFileAnswer(wpath("two.wkc"));
    user.press(1012);
    object->updateCacheMesh(0);
    EXPECT_EQ(user.text(1105), WStr(L"2"));
}

// Load.. opens at the loaded file, New.. suggests it; both leave it as it is when cancelled.
TEST_F(PanelTest, TheFileDialogsOfLoadAndNewStartAtTheLoadedFile) {
    loadTwoElements("two.wkc");
    for (const int button : {1012, 1026}) {
        SCOPED_TRACE(button);
        const int steps = host.Hold().NumUndoSteps();
        panels.QueueFileAnswer(std::nullopt);
        user.press(button);
        EXPECT_EQ(panels.FileDialogs().back().fileName, wpath("two.wkc"));
        EXPECT_EQ(user.text(1024), WStr(L"two.wkc"));
        EXPECT_EQ(host.Hold().NumUndoSteps(), steps);
    }
}

// Reload reads the file again: a cache written over the loaded one shows in the mesh and in File
// Info at the next build, for every object on the file.
TEST_F(PanelTest, ReloadReadsTheFileAgainForEveryObjectOnIt) {
    loadTwoElements("take.wkc");
    auto other = std::make_unique<wkCache_obj>();
    other->setFileName(params().GetAssetUser(P::fileName));
    other->updateCacheMesh(0);
    cachetest::CacheSpec spec;
    spec.nodes = {cachetest::triangleNode("a"), cachetest::triangleNode("b"),
                  cachetest::triangleNode("c")};
    spec.samples = {
        {cachetest::moved(0, 0, 0), cachetest::moved(0, 0, 0), cachetest::moved(0, 0, 0)}};
    dir.write("take.wkc", cachetest::buildCache(spec));
    user.press(1028);
    object->updateCacheMesh(0);
    other->updateCacheMesh(0);
    EXPECT_EQ(user.text(1105), WStr(L"3"));
    EXPECT_EQ(user.text(1102), WStr(L"1"));
    EXPECT_EQ(object->getMesh().getNumFaces(), 3);
    EXPECT_EQ(other->getMesh().getNumFaces(), 3);
}

// The file is opened at the first build after it was chosen, not when it is chosen: that
// build fills the File Info rollout, with no other refresh.
TEST_F(PanelTest, FileInfoFillsAtTheFirstBuildOfANewFile) {
    EXPECT_EQ(user.text(1105), WStr());
    loadTwoElements("two.wkc");
    EXPECT_EQ(user.text(1102), WStr(L"3"));
    EXPECT_EQ(user.text(1105), WStr(L"2"));
}

// File Info shows the file the object has: whichever way the file goes (the Unload button, the
// undo of a Load.. onto an object without a file, the redo of an Unload), its facts go with it,
// and no build is needed for that.
TEST_F(PanelTest, FileInfoEmptiesWhenTheFileGoesByUndoAndRedo) {
    const std::vector<std::pair<const char*, std::function<void()>>> ways = {
        {"Unload", [&] { user.press(1027); }},
        {"undo of Load..",
         [&] {
             user.press(1027);
             panels.QueueFileAnswer(wpath("two.wkc"));
             user.press(1012);
             object->updateCacheMesh(0);
             ASSERT_EQ(user.text(1105), WStr(L"2"));
             ASSERT_TRUE(host.Hold().Undo());
         }},
        {"redo of Unload",
         [&] {
             user.press(1027);
             ASSERT_TRUE(host.Hold().Undo());
             object->updateCacheMesh(0);
             ASSERT_EQ(user.text(1105), WStr(L"2"));
             ASSERT_TRUE(host.Hold().Redo());
         }},
    };
    for (const auto& [name, way] : ways) {
        SCOPED_TRACE(name);
        loadTwoElements("two.wkc");
        ASSERT_EQ(user.text(1105), WStr(L"2"));
        way();
        ASSERT_EQ(user.text(1024), WStr(L"<None>"));
        for (const int field : {1101, 1112, 1113, 1102, 1103, 1104, 1105})
            EXPECT_EQ(user.text(field), WStr()) << "field " << field;
        object->updateCacheMesh(0);
        EXPECT_EQ(user.text(1105), WStr());
    }
}

TEST_F(PanelTest, StatusBarPaintsDoneOverTotalWithARaisedFrame) {
    panel().setProgress(1, 4);
    const HeadlessBitmap* bar = panels.FindRollout(101)->Painted(1025);
    ASSERT_NE(bar, nullptr);
    const int end = bar->Width() / 4; // 40 of 160 pixels
    EXPECT_EQ(bar->Pixel(10, 10), panels.GetUIColor(4));
    EXPECT_EQ(bar->Pixel(10, 0), panels.GetUIColor(16));
    EXPECT_EQ(bar->Pixel(0, 10), panels.GetUIColor(16));
    EXPECT_EQ(bar->Pixel(10, bar->Height() - 2), 0x000000u);
    EXPECT_EQ(bar->Pixel(10, bar->Height() - 1), panels.GetUIColor(20));
    EXPECT_EQ(bar->Pixel(end - 1, 10), panels.GetUIColor(20));
    EXPECT_EQ(bar->Pixel(end, 10), 0xFFFFFFu);
    // Without progress numbers the field paints itself: no bar.
    panel().setProgress(-1, -1);
    EXPECT_EQ(panels.FindRollout(101)->Painted(1025)->Pixel(10, 10), 0xFFFFFFu);
}

} // namespace
