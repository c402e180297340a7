// Undo and redo of the object's steps as a user takes them: every state of the group list, the
// selected group, the element selection and the elementFrames tracks comes back exactly, many
// steps back and forth; a new file drops groups and selection as one undoable step; writes of
// the unit lists leave a typed-in scaleUnits alone; an emptied node list comes back whole.
#include "host/headless/HeadlessPrimitives.h"
#include "tests/object/CacheObjectFixture.h"

#include <functional>

using namespace objtest;

namespace {

// What undo must give back.
struct ObjectState {
    std::vector<std::wstring> names;
    int selected;
    std::set<std::uint32_t> selection;
    std::vector<float> frames; // elementFrames at frame 10 (ticks 1600)
    int frameKeys;             // entries with their own track
    bool operator==(const ObjectState&) const = default;
};

class ObjectUndoTest : public CacheObjectTest {
protected:
    ObjectState state() {
        ObjectState s{
            {}, object->playbackRecord().groups.selected(), object->elementSelection(), {}, 0};
        for (const wkCacheGroup& g : object->playbackRecord().groups.all())
            s.names.push_back(g.name.data());
        for (int i = 0; i < params().Count(P::elementFrames); ++i) {
            s.frames.push_back(params().GetFloat(P::elementFrames, 1600, i));
            s.frameKeys += params().GetControllerByID(P::elementFrames, i) != nullptr;
        }
        return s;
    }
    // A frame spinner's change: a key through the block's own undo.
    void keyFrame(int entry, float value) {
        host.Hold().Begin();
        params().SetValue(P::elementFrames, 1600, value, entry);
        host.Hold().Accept(L"Set Frame");
    }
};

TEST_F(ObjectUndoTest, EveryGroupStepUndoesAndRedoesExactly) {
    const std::vector<std::function<void()>> steps = {
        [&] { object->addGroup(L"A"); },           [&] { keyFrame(0, 7.0f); },
        [&] { object->addGroup(L"B"); },           [&] { keyFrame(1, 3.0f); },
        [&] { object->renameGroup(L"A", L"C"); },  [&] { object->moveGroup(L"B", -1); },
        [&] { object->setElementSelection({1}); }, [&] { object->setGroupMode(L"B", 4); },
        [&] { object->removeGroup(L"C"); },        [&] { object->addGroup(L"D"); },
        [&] { object->removeAllGroups(); },
    };
    std::vector<ObjectState> states{state()};
    for (const auto& step : steps) {
        const int before = host.Hold().NumUndoSteps();
        host.Hold().Begin(); // the selection puts its record only into a running hold
        step();
        host.Hold().Accept(L"step");
        ASSERT_EQ(host.Hold().NumUndoSteps(), before + 1);
        states.push_back(state());
    }
    for (int round = 0; round < 2; ++round) {
        for (std::size_t i = states.size() - 1; i > 0; --i) {
            ASSERT_TRUE(host.Hold().Undo());
            ASSERT_EQ(state(), states[i - 1]) << "undo to state " << i - 1;
        }
        for (std::size_t i = 1; i < states.size(); ++i) {
            ASSERT_TRUE(host.Hold().Redo());
            ASSERT_EQ(state(), states[i]) << "redo to state " << i;
        }
    }
    // A group added after undoing an add starts with a fresh entry, not the undone one's.
    for (int i = 0; i < 9; ++i)
        host.Hold().Undo();
    ASSERT_EQ(state().names, (std::vector<std::wstring>{L"A"}));
    object->addGroup(L"E");
    EXPECT_EQ(state().frames, (std::vector<float>{7.0f, 0.0f}));
}

TEST_F(ObjectUndoTest, ANewFileDropsGroupsAndSelectionAsOneStep) {
    object->addGroup(L"A");
    object->addGroup(L"B");
    keyFrame(1, 5.0f);
    object->setElementSelection({0, 1});
    const ObjectState before = state();

    host.Hold().Begin();
    useFile(path);
    EXPECT_TRUE(object->flags() & A_HELD) << "the restore records are in the hold";
    host.Hold().Accept(L"Set Filename");
    EXPECT_FALSE(object->flags() & A_HELD) << "the end of the hold clears the flag";
    EXPECT_EQ(state(), (ObjectState{{}, -1, {}, {}, 0}));

    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(state(), before);
    EXPECT_TRUE(object->fileName().IsNull());
    ASSERT_TRUE(host.Hold().Redo());
    EXPECT_EQ(state(), (ObjectState{{}, -1, {}, {}, 0}));
    EXPECT_FALSE(object->fileName().IsNull());
}

TEST_F(ObjectUndoTest, OnlyTheUnitListChoiceSetsScaleUnits) {
    params().SetValue(P::scaleUnits, 0, 2.5f);
    params().SetValue(P::scaleUnitsFrom, 0, 0); // inches
    params().SetValue(P::scaleUnitsTo, 0, 1);   // feet
    EXPECT_FLOAT_EQ(params().GetFloat(P::scaleUnits), 2.5f);
    object->selectScaleUnits(0, 1);
    EXPECT_FLOAT_EQ(params().GetFloat(P::scaleUnits), 12.0f);
}

// The validators on the shared description are those of the panel opened last, which need not
// be this object's; they judge picks, not what undo puts back.
TEST_F(ObjectUndoTest, AnEmptiedNodeListComesBackWholeWhateverPanelWasOpenedLast) {
    HeadlessScene& scene = host.Nodes();
    INode* box =
        scene.CreateNode(L"box", scene.Add(std::make_unique<TriObject>(MakeBoxMesh(1, 1, 1))));
    INode* ball =
        scene.CreateNode(L"ball", scene.Add(std::make_unique<TriObject>(MakeBoxMesh(2, 2, 2))));
    auto made = NewCacheObject(host);
    wkCache_obj* other = made.get();
    host.Nodes().CreateObjectNode(std::move(made));
    object->appendNodeEntry(box);
    object->appendNodeEntry(ball);
    other->appendNodeEntry(box); // both objects record the box
    other->BeginEditParams(nullptr);
    other->EndEditParams();

    host.Hold().Begin();
    object->clearNodes();
    host.Hold().Accept(L"Empty node list");
    ASSERT_EQ(object->nodeCount(), 0);
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(object->nodeList(), (std::vector<INode*>{box, ball}));
    ASSERT_TRUE(host.Hold().Redo());
    EXPECT_EQ(object->nodeCount(), 0);
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(object->nodeList(), (std::vector<INode*>{box, ball}));
}

// A coupled range end is held along with the written one; undo and redo put both back as they
// were, whichever end was written and whichever range.
TEST_F(ObjectUndoTest, ACoupledRangeComesBackWholeThroughUndoAndRedo) {
    const struct {
        ParamID start, end, written;
        int value;
    } cases[] = {
        {P::recStart, P::recEnd, P::recStart, 25}, // pushes the end
        {P::recStart, P::recEnd, P::recEnd, 5},    // pulls the start
        {P::explodeStart, P::explodeEnd, P::explodeStart, 25},
        {P::explodeStart, P::explodeEnd, P::explodeEnd, 5},
    };
    for (const auto& c : cases) {
        params().SetValue(c.end, 0, 20);
        params().SetValue(c.start, 0, 10);
        host.Hold().Begin();
        params().SetValue(c.written, 0, c.value);
        host.Hold().Accept(L"range");
        const std::pair<int, int> changed{params().GetInt(c.start), params().GetInt(c.end)};
        ASSERT_EQ(changed, std::make_pair(c.value, c.value));
        ASSERT_TRUE(host.Hold().Undo());
        EXPECT_EQ(std::make_pair(params().GetInt(c.start), params().GetInt(c.end)),
                  std::make_pair(10, 20))
            << "undo of writing " << c.value;
        ASSERT_TRUE(host.Hold().Redo());
        EXPECT_EQ(std::make_pair(params().GetInt(c.start), params().GetInt(c.end)), changed)
            << "redo of writing " << c.value;
    }
}

} // namespace
