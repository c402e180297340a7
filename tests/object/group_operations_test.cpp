// The cache object's group operations: one undoable step each, the elementFrames table kept in
// step with the list, and stale meshes only where the change can show.
#include "tests/object/CacheObjectFixture.h"

#include <functional>

using namespace objtest;

namespace {

class GroupOperationsTest : public CacheObjectTest {
protected:
    void SetUp() override {
        CacheObjectTest::SetUp();
        useFile(path);
        object->updateCacheMesh(0);
    }
    const wkCacheGroupList& groups() { return object->playbackRecord().groups; }
    bool stale() { return object->meshValidity().Empty(); }
    void rebuild() { object->updateCacheMesh(0); }
};

TEST_F(GroupOperationsTest, AddAndRemoveKeepTheFrameTableInStep) {
    ASSERT_TRUE(object->addGroup(L"Debris"));
    ASSERT_TRUE(object->addGroup(L"Smoke"));
    EXPECT_FALSE(object->addGroup(L"Smoke"));
    EXPECT_FALSE(object->addGroup(L""));
    EXPECT_EQ(params().Count(P::elementFrames), 2);
    EXPECT_EQ(groups().selected(), 1);
    EXPECT_TRUE(stale());
    params().SetValue(P::elementFrames, 0, 7.0f, 1);

    rebuild();
    ASSERT_TRUE(object->removeGroup(L"Debris"));
    EXPECT_TRUE(stale());
    ASSERT_EQ(params().Count(P::elementFrames), 1);
    // The remaining group keeps its own entry.
    EXPECT_FLOAT_EQ(params().GetFloat(P::elementFrames, 0, 0), 7.0f);
    EXPECT_FALSE(object->removeGroup(L"Debris"));

    object->removeAllGroups();
    EXPECT_EQ(groups().count(), 0);
    EXPECT_EQ(params().Count(P::elementFrames), 0);
    EXPECT_EQ(host.Hold().UndoStepName(host.Hold().NumUndoSteps() - 1), WStr(L"Remove All Groups"));

    // Entries left over (a script's, a loaded scene's) go when a group is added.
    params().Append(P::elementFrames, 3);
    ASSERT_TRUE(object->addGroup(L"Dust"));
    EXPECT_EQ(params().Count(P::elementFrames), 1);
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(params().Count(P::elementFrames), 3);
}

TEST_F(GroupOperationsTest, UndoPutsTheWholeListBack) {
    ASSERT_TRUE(object->addGroup(L"A"));
    ASSERT_TRUE(object->addGroup(L"B"));
    ASSERT_TRUE(object->moveGroup(L"B", -1));
    EXPECT_EQ(groups().at(0).name, WStr(L"B"));
    EXPECT_EQ(host.Hold().UndoStepName(host.Hold().NumUndoSteps() - 1), WStr(L"Move Group"));
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(groups().at(0).name, WStr(L"A"));
    ASSERT_TRUE(host.Hold().Redo());
    EXPECT_EQ(groups().at(0).name, WStr(L"B"));
}

TEST_F(GroupOperationsTest, ChangesThatShowNothingHoldNothing) {
    ASSERT_TRUE(object->addGroup(L"A"));
    rebuild();
    const int steps = host.Hold().NumUndoSteps();
    // No change at all: no step.
    EXPECT_TRUE(object->setGroupMode(L"A", 1)); // Hold In already
    EXPECT_TRUE(object->moveGroup(L"A", 1));    // the last group cannot go down
    EXPECT_TRUE(object->renameGroup(L"A", L"A"));
    EXPECT_TRUE(object->makeGroupElementsUnique(L"A")); // it has no elements to take
    EXPECT_FALSE(object->renameGroup(L"Nobody", L"B"));
    EXPECT_EQ(host.Hold().NumUndoSteps(), steps);
    EXPECT_FALSE(stale());
    // A rename is a step, but nothing to rebuild.
    const int redraws = host.Nodes().RedrawRequests();
    EXPECT_TRUE(object->renameGroup(L"A", L"Rocks"));
    EXPECT_FALSE(stale());
    EXPECT_EQ(host.Hold().NumUndoSteps(), steps + 1);
    // A mode change of an enabled group shows.
    EXPECT_TRUE(object->setGroupMode(L"Rocks", 0));
    EXPECT_TRUE(stale());
    EXPECT_EQ(host.Nodes().RedrawRequests(), redraws + 1);
    EXPECT_EQ(host.Hold().UndoStepName(host.Hold().NumUndoSteps() - 1), WStr(L"Group Mode"));
    EXPECT_FALSE(object->setGroupByAge(L"Nobody", true));
}

// Removing all groups of an object that has none changes nothing, so it leaves no step: not as a
// script's deleteAllGroups, and not as the part of a new file that is set outside any hold (a
// script giving a new object its file), which left a "Remove All Groups" that undid nothing.
TEST_F(GroupOperationsTest, RemovingAllOfNoGroupsHoldsNothing) {
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"remove all", [&] { object->removeAllGroups(); }},
        {"a new file", [&] { useFile(dir.write("other.wkc", twoElementCache())); }},
    };
    for (const auto& [name, way] : ways) {
        rebuild();
        const int steps = host.Hold().NumUndoSteps();
        way();
        EXPECT_EQ(host.Hold().NumUndoSteps(), steps) << name;
        EXPECT_FALSE(host.Hold().Holding()) << name;
    }
    // Nor does it rebuild.
    rebuild();
    object->removeAllGroups();
    EXPECT_FALSE(stale());
}

TEST_F(GroupOperationsTest, AGroupDeletingByAgeTakesItsElementsOut) {
    ASSERT_TRUE(object->addGroup(L"Gone"));
    wkCacheGroupList& list = object->playbackRecord().groups;
    list.setGroupElements(L"Gone", {1}, false);
    ASSERT_TRUE(object->setGroupMode(L"Gone", 0));
    ASSERT_TRUE(object->setGroupByAge(L"Gone", true)); // age 0: every element goes at once
    object->updateCacheMesh(0);
    EXPECT_TRUE(object->playbackRecord().elements[1].deleted);
    EXPECT_EQ(object->getMesh().getNumFaces(), 1);
}

} // namespace
