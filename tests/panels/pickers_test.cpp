// Groups, the element and node pickers and the name prompt, answered as a user answers them.
#include "tests/panels/PanelFixture.h"

#include "host/headless/HeadlessObjects.h"
#include "panels/wkCachePickers.h"

#include <functional>
#include <map>

using namespace paneltest;

namespace {

// The user types a name and confirms; or cancels when `name` is null.
HeadlessPanelHost::DialogScript answerName(const wchar_t* name) {
    return [name](PanelDriver& d) {
        if (name == nullptr)
            return;
        d.type(1068, name);
        d.press(IDC_OK);
    };
}

class GroupPanelTest : public PanelTest {
protected:
    void SetUp() override {
        PanelTest::SetUp();
        loadTwoElements();
    }
    void newGroup(const wchar_t* name, bool shift = false) {
        panels.QueueDialog(answerName(name));
        user.press(1069, shift);
    }
};

TEST_F(GroupPanelTest, StepsFromOutsideThePanelShowInIt) {
    ASSERT_TRUE(object->addGroup(L"A"));
    EXPECT_EQ(user.rows(1070), (std::vector<WStr>{L"A (0 nodes)"}));
    ASSERT_TRUE(object->setGroupEnabled(L"A", false));
    EXPECT_FALSE(user.checked(1107));
}

TEST_F(GroupPanelTest, NewGroupTakesTheSelectionUnlessShiftAndAsksUntilTheNameIsFree) {
    object->setElementSelection({0, 1});
    newGroup(L"Rocks");
    object->setElementSelection({1});
    newGroup(L"Dust");
    newGroup(L"Empty", true);
    // A name in use and an empty one are asked again; Cancel ends it.
    panels.QueueDialog(answerName(L"Rocks"));
    panels.QueueDialog(answerName(L""));
    panels.QueueDialog(answerName(nullptr));
    user.press(1069);
    EXPECT_EQ(user.rows(1070),
              (std::vector<WStr>{L"Rocks (2 nodes)", L"Dust (1 node)", L"Empty (0 nodes)"}));
    EXPECT_EQ(user.selected(1070), 2);
    EXPECT_EQ(lastUndo(), WStr(L"Add Group"));
    EXPECT_EQ(params().Count(P::elementFrames), 3);
    // The prompt starts at a free name.
    panels.QueueDialog([](PanelDriver& d) { EXPECT_EQ(d.text(1068), WStr(L"Group001")); });
    user.press(1069);

    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(groups().count(), 2);
}

TEST_F(GroupPanelTest, TheActionAreaShowsTheControlsOfTheSelectedGroupsAction) {
    newGroup(L"G");
    const std::vector<std::pair<int, std::vector<int>>> layouts{
        {0, {1151, 1149, 1146}}, {1, {}}, {3, {1143}}, {4, {1075, 1079}}, {5, {1077}}};
    const int all[] = {1151, 1149, 1146, 1143, 1075, 1079, 1077};
    for (const auto& [action, shown] : layouts) {
        user.choose(1071, action);
        EXPECT_EQ(static_cast<int>(groups().at(0).mode), action);
        for (int id : all)
            EXPECT_EQ(user.visible(id), std::find(shown.begin(), shown.end(), id) != shown.end())
                << "action " << action << " control " << id;
    }
    user.drag(1077, 7);
    EXPECT_EQ(groups().at(0).materialId, 6);
    EXPECT_EQ(lastUndo(), WStr(L"Group MatID"));
    const int steps = host.Hold().NumUndoSteps();
    user.drag(1077, 9, false); // a cancelled drag holds nothing
    EXPECT_EQ(host.Hold().NumUndoSteps(), steps);
    EXPECT_FALSE(host.Hold().Holding());

    user.choose(1071, 4);
    params().SetValue(P::elementFrames, 0, 12.0f, 0);
    panel().refreshGroupControls(0);
    EXPECT_EQ(user.value(1075), 12.0f);
    user.type(1074, L"20");
    EXPECT_EQ(params().GetFloat(P::elementFrames, 0, 0), 20.0f);

    // A drag that ends with no group selected (the list emptied while the button was down)
    // cancels its hold.
    HeadlessWindow& w = user.window(1077);
    const int before = host.Hold().NumUndoSteps();
    w.Send({CC_SPINNER_BUTTONDOWN, 1077, 0});
    ASSERT_TRUE(host.Hold().Holding());
    object->playbackRecord().groups.clear();
    w.Send({CC_SPINNER_BUTTONUP, 1077, 1});
    EXPECT_EQ(host.Hold().NumUndoSteps(), before);
    EXPECT_FALSE(host.Hold().Holding());
}

// Each spinner of the action area redraws the views as it is dragged, so the mesh follows the
// mouse, and the drag is one undo step that puts the value back; so is a value typed in its edit.
TEST_F(GroupPanelTest, ActionSpinnersRedrawWhileDraggedAndUndoAsOneStep) {
    struct Case {
        int spinner;
        int edit;
        int action;
        int deleteBy; // the check box that makes the value count, 0 for none
        float value;
        std::function<float()> stored;
    };
    const Case cases[] = {
        {1149, 1148, 0, 1151, 3.0f, [&] { return groups().at(0).age; }},
        {1146, 1145, 0, 1152, 4.0f, [&] { return groups().at(0).distance; }},
        {1143, 1142, 3, 0, 2.0f, [&] { return groups().at(0).offset; }},
        {1077, 1076, 5, 0, 7.0f, [&] { return static_cast<float>(groups().at(0).materialId + 1); }},
        {1075, 1074, 4, 0, 6.0f, [&] { return params().GetFloat(P::elementFrames, 0, 0); }},
    };
    newGroup(L"G");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.spinner);
        user.choose(1071, c.action);
        if (c.deleteBy != 0 && !user.checked(c.deleteBy))
            user.press(c.deleteBy);
        const float before = c.stored();
        const int steps = host.Hold().NumUndoSteps();
        const int redraws = host.Nodes().RedrawRequests();
        user.drag(c.spinner, {c.value - 1.0f, c.value});
        EXPECT_EQ(host.Nodes().RedrawRequests(), redraws + 2);
        EXPECT_EQ(c.stored(), c.value);
        EXPECT_EQ(host.Hold().NumUndoSteps(), steps + 1);
        ASSERT_TRUE(host.Hold().Undo());
        EXPECT_EQ(c.stored(), before);
        EXPECT_EQ(user.value(c.spinner), before);
        EXPECT_FALSE(host.Hold().Holding());

        user.type(c.edit, L"9");
        EXPECT_EQ(c.stored(), 9.0f);
        ASSERT_TRUE(host.Hold().Undo());
        EXPECT_EQ(c.stored(), before);
    }
}

// Material ID 1 is the lowest a user can give, dragged or typed, and it reaches the faces as
// the 0-based id 0; 99 as 98. The script and the panel store the same id for the same number.
TEST_F(GroupPanelTest, TheMaterialSpinnerStoresTheIdTheUserGaveItAtBothEnds) {
    newGroup(L"G");
    user.choose(1071, 5);
    const struct {
        bool typed;
        float id;
        int stored;
    } cases[] = {{false, 1.0f, 0}, {true, 99.0f, 98}, {true, 1.0f, 0}, {false, 99.0f, 98}};
    for (const auto& c : cases) {
        object->setGroupMaterial(L"G", 49);
        if (c.typed)
            user.type(1076, WStr::FromUTF8(std::to_string(static_cast<int>(c.id))));
        else
            user.drag(1077, {50.0f, c.id});
        EXPECT_EQ(groups().at(0).materialId, c.stored) << c.id << (c.typed ? " typed" : "");
        EXPECT_EQ(user.value(1077), static_cast<float>(c.stored + 1));
    }
}

TEST_F(GroupPanelTest, GroupButtonsActOnTheSelectedGroupWithTheirShiftMeanings) {
    object->setElementSelection({0, 1});
    newGroup(L"A");
    object->setElementSelection({});
    newGroup(L"B");
    object->setElementSelection({1});
    user.press(1087, true); // add to B, and take from all others
    EXPECT_EQ(groups().at(0).elements, (std::set<std::uint32_t>{0}));
    EXPECT_EQ(groups().at(1).elements, (std::set<std::uint32_t>{1}));
    user.press(1115);
    EXPECT_TRUE(groups().at(1).elements.empty());
    EXPECT_EQ(lastUndo(), WStr(L"Remove Group Nodes"));
    user.press(1107);
    EXPECT_FALSE(groups().at(1).enabled);
    EXPECT_FALSE(user.checked(1107));
    user.press(1155);
    EXPECT_EQ(groups().at(0).name, WStr(L"B"));
    panels.QueueDialog(answerName(L"C"));
    user.press(1081);
    EXPECT_EQ(user.rows(1070)[0], WStr(L"C (0 nodes)"));
    // A script's rename without a name asks once; a cancelled dialog renames nothing.
    panels.QueueDialog(answerName(nullptr));
    EXPECT_FALSE(object->renameGroup(L"C", L""));
    panels.QueueDialog(answerName(L"D"));
    EXPECT_TRUE(object->renameGroup(L"C", L""));
    EXPECT_EQ(groups().at(0).name, WStr(L"D"));
    EXPECT_EQ(user.rows(1070)[0], WStr(L"D (0 nodes)")) << "a script's step shows in the panel";
    user.doubleClick(1070, 1);
    EXPECT_EQ(object->elementSelection(), (std::set<std::uint32_t>{0}));
    user.press(1082, true);
    EXPECT_TRUE(user.rows(1070).empty());
    EXPECT_FALSE(user.enabled(1087));
    user.press(1087); // nothing selected: nothing happens
    EXPECT_EQ(lastUndo(), WStr(L"Remove All Groups"));
}

// The element dialog: each script acts and confirms; the result is what OK read.
TEST_F(GroupPanelTest, ElementDialogFiltersMarksAndConfirms) {
    struct Case {
        const char* what;
        std::set<std::uint32_t> start;
        std::function<void(PanelDriver&)> act;
        std::set<std::uint32_t> result;
    };
    const Case cases[] = {
        {"a filter matching nothing clears the marks",
         {0, 1},
         [](PanelDriver& d) {
             d.type(1085, L"zzz");
             d.type(1085, L"");
         },
         {}},
        {"rows hidden at OK are left out", {0, 1}, [](PanelDriver& d) { d.type(1085, L"b"); }, {1}},
        {"OK on an empty list", {0}, [](PanelDriver& d) { d.type(1085, L"q*"); }, {}},
        {"invert with some marked flips each", {0}, [](PanelDriver& d) { d.press(1118); }, {1}},
        {"invert with none marks all", {}, [](PanelDriver& d) { d.press(1118); }, {0, 1}},
        {"all then none",
         {1},
         [](PanelDriver& d) {
             d.press(1116);
             d.press(1117);
         },
         {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        object->setElementSelection(c.start);
        const std::size_t messages = object->notifications().size();
        const int redraws = host.Nodes().RedrawRequests();
        panels.QueueDialog([&](PanelDriver& d) {
            EXPECT_FALSE(panels.AcceleratorsOn()); // the filter has the focus
            c.act(d);
            d.press(IDC_OK);
        });
        user.press(1110);
        EXPECT_EQ(object->elementSelection(), c.result);
        // The dialog's change is a step of its own that leaves the mesh and the views alone.
        EXPECT_EQ(object->notifications().size(), messages);
        EXPECT_EQ(host.Nodes().RedrawRequests(), redraws);
        EXPECT_TRUE(panels.AcceleratorsOn());
    }
    // Cancel changes nothing.
    panels.QueueDialog([](PanelDriver& d) { d.press(1116); });
    user.press(1110);
    EXPECT_TRUE(object->elementSelection().empty());
}

TEST_F(GroupPanelTest, GroupElementsDialogEmptiesTheFilterAndReopensWhereItWasLeft) {
    newGroup(L"G");
    object->groupBrowseFilter = L"a";
    panels.QueueDialog([&](PanelDriver& d) {
        EXPECT_EQ(d.window(1053).Title(), WStr(L"Select group elements"));
        EXPECT_EQ(d.rows(1053), std::vector<WStr>{L"a"});
        d.press(1116);
        d.window(1053).SetRect({10, 20, 300, 150}); // too low: held at 200
        d.press(IDC_OK);
    });
    user.press(1086);
    EXPECT_EQ(groups().at(0).elements, (std::set<std::uint32_t>{0}));
    EXPECT_TRUE(object->groupBrowseFilter.IsEmpty());
    EXPECT_EQ(lastDialogRect().rect, (PanelRect{10, 20, 300, 220}));
    panels.QueueDialog([](PanelDriver& d) {
        const HeadlessWindow& w = d.window(1053);
        EXPECT_EQ(w.GetRect(), (PanelRect{10, 20, 300, 220}));
        // Laid out for that size: Cancel keeps to the bottom right corner.
        const PanelRect cancel = w.GetControlRect(IDC_CANCEL);
        EXPECT_EQ(w.GetRect().Width() - cancel.right, 8);
        EXPECT_EQ(w.GetRect().Height() - cancel.bottom, 6);
    });
    user.press(1086);
}

// With the cache file gone the dialog would list nothing, and OK would empty the group: as for
// the element selection, it is not shown until the file can be read again.
TEST_F(GroupPanelTest, GroupElementsDialogWaitsForAReadableCache) {
    object->setElementSelection({0, 1});
    newGroup(L"G");
    ASSERT_EQ(groups().at(0).elements, (std::set<std::uint32_t>{0, 1}));
    std::filesystem::remove(dir.file("two.wkc"));
    theCacheRegistry.evictAll();
    object->invalidateAll();
    object->updateCacheMesh(160);
    bool shown = false;
    panels.QueueDialog([&](PanelDriver& d) {
        shown = true;
        d.press(IDC_OK);
    });
    user.press(1086);
    EXPECT_FALSE(shown);
    EXPECT_EQ(groups().at(0).elements, (std::set<std::uint32_t>{0, 1}));
}

// Made 100 wider and 50 higher, the element dialog keeps its controls at their distances from
// the edges: the list grows both ways, the filter to the right, All, None and Invert go down with
// the bottom edge, OK and Cancel with the bottom right corner; the label stays.
TEST_F(GroupPanelTest, TheElementDialogsControlsKeepToTheirEdgesWhenResized) {
    struct Follow {
        int id;
        PanelRect by; // how far each edge moves
    };
    const Follow follows[] = {
        {1053, {0, 0, 100, 50}},          {1085, {0, 0, 100, 0}}, {1116, {0, 50, 0, 50}},
        {1117, {0, 50, 0, 50}},           {1118, {0, 50, 0, 50}}, {IDC_OK, {100, 50, 100, 50}},
        {IDC_CANCEL, {100, 50, 100, 50}}, {1111, {0, 0, 0, 0}},
    };
    panels.QueueDialog([&](PanelDriver& d) {
        HeadlessWindow& w = d.window(1053);
        std::map<int, PanelRect> before;
        for (const Follow& f : follows)
            before[f.id] = w.GetControlRect(f.id);
        const PanelRect r = w.GetRect();
        w.SetRect({r.left, r.top, r.right + 100, r.bottom + 50});
        for (const Follow& f : follows) {
            const PanelRect& b = before[f.id];
            EXPECT_EQ(w.GetControlRect(f.id),
                      (PanelRect{b.left + f.by.left, b.top + f.by.top, b.right + f.by.right,
                                 b.bottom + f.by.bottom}))
                << f.id;
        }
        EXPECT_LT(w.GetControlRect(1116).bottom, w.GetControlRect(IDC_OK).top);
    });
    user.press(1110);
}

// A cache file that was missing when the object last looked is read again when the user asks
// for its elements by name: the dialog lists them at once.
TEST_F(PanelTest, SelectByNameReadsACacheFileThatHasComeBack) {
    object->setFileName(host.Assets().GetAsset(wpath("late.wkc"), kAssetTypeCache));
    object->updateCacheMesh(0);
    dir.write("late.wkc", objtest::twoElementCache());
    std::vector<WStr> listed;
    panels.QueueDialog([&](PanelDriver& d) {
        listed = d.rows(1053);
        d.press(1116);
        d.press(IDC_OK);
    });
    user.press(1110);
    EXPECT_EQ(listed, (std::vector<WStr>{L"a", L"b"}));
    EXPECT_EQ(object->elementSelection(), (std::set<std::uint32_t>{0, 1}));
}

TEST_F(PanelTest, PickModeAddsNodesUntilAClickHitsNothing) {
    HeadlessNode* a = boxNode("a");
    HeadlessNode* b = boxNode("b");
    user.press(1005);
    EXPECT_TRUE(user.checked(1005));
    EXPECT_EQ(panels.Prompts().back(), WStr(L"Select objects to add"));
    user.clickNode(a);
    user.clickNode(a); // listed already: the filter lets nothing through, the mode ends
    EXPECT_EQ(panels.PickMode(), nullptr);
    user.press(1005);
    user.clickNode(b);
    user.clickNode(objectNode); // refused, ends the mode too
    EXPECT_EQ(user.rows(1004), (std::vector<WStr>{L"a", L"b"}));
    EXPECT_EQ(lastUndo(), WStr(L"Add node"));
    EXPECT_FALSE(user.checked(1005));
    EXPECT_TRUE(panels.Prompts().empty());
    // Pressing the pressed button ends the mode as well.
    user.press(1005);
    user.press(1005);
    EXPECT_EQ(panels.PickMode(), nullptr);
    EXPECT_FALSE(user.checked(1005));
    EXPECT_TRUE(panels.Prompts().empty());
}

TEST_F(PanelTest, NodeDialogOffersOnlyWhatTheListTakesAndAppendsTheChoice) {
    HeadlessNode* a = boxNode("a");
    HeadlessNode* b = boxNode("b");
    object->appendNodeEntry(a);
    panels.QueueNodeAnswer(std::vector<INode*>{b, a});
    user.press(1006);
    EXPECT_EQ(panels.OfferedNodes(), std::vector<INode*>{b});
    EXPECT_EQ(user.rows(1004), (std::vector<WStr>{L"a", L"b"}));
    EXPECT_EQ(lastUndo(), WStr(L"Select Multiple"));
    panels.QueueNodeAnswer(std::nullopt);
    user.press(1006);
    EXPECT_EQ(host.Hold().NumUndoSteps(), 1);
    EXPECT_FALSE(host.Hold().Holding());
}

// The dialog puts the listed nodes back through the validator: one it now refuses (its object
// has become a helper) drops out rather than leaving an empty entry.
TEST_F(PanelTest, NodeDialogDropsAListedNodeTheListNoLongerTakes) {
    HeadlessNode* a = boxNode("a");
    HeadlessNode* b = boxNode("b");
    object->appendNodeEntry(a);
    a->SetObjectRef(host.Nodes().Add(std::make_unique<HeadlessHelper>()));
    panels.QueueNodeAnswer(std::vector<INode*>{b});
    user.press(1006);
    EXPECT_EQ(object->nodeList(), std::vector<INode*>{b});
    EXPECT_EQ(user.rows(1004), std::vector<WStr>{L"b"});
}

} // namespace
