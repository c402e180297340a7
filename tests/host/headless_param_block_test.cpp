// The headless parameter block on a small description of its own: defaults, clamping,
// conversions, controllers, tables, change messages and copies.
#include "host/headless/HeadlessHost.h"
#include "host/headless/HeadlessNode.h"
#include "host/headless/HeadlessParamBlock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

namespace {

enum : ParamID {
    kSpeed = 0,   // float, animatable, -10..10
    kCount = 1,   // int, animatable, 1..100
    kSteps = 2,   // int 0..3
    kFlag = 3,    // bool without range
    kChoice = 4,  // bool 0..2
    kLength = 5,  // world float, 0..50
    kFile = 6,    // file name
    kTarget = 7,  // node
    kList = 8,    // node table
    kFrames = 9,  // animatable float table
    kPlain = 10,  // float table that cannot be animated
    kStatic = 11, // float without animation, no range
};

ParamDef row(ParamID id, const char* name, ParamType2 type, std::uint32_t flags) {
    ParamDef def;
    def.id = id;
    def.internalName = name;
    def.type = type;
    def.flags = flags;
    return def;
}

ParamDef withFloatRange(ParamDef def, float defaultValue, float low, float high) {
    def.defaultFloat = defaultValue;
    def.hasRange = true;
    def.rangeLowFloat = low;
    def.rangeHighFloat = high;
    return def;
}

ParamDef withIntRange(ParamDef def, int defaultValue, int low, int high) {
    def.defaultInt = defaultValue;
    def.hasRange = true;
    def.rangeLowInt = low;
    def.rangeHighInt = high;
    return def;
}

const ParamBlockDesc2& testDesc() {
    static const ParamBlockDesc2 desc = [] {
        ParamBlockDesc2 d;
        d.id = 3;
        d.internalName = "test";
        ParamDef flag = row(kFlag, "flag", TYPE_BOOL, P_RESET_DEFAULT);
        flag.defaultInt = 1;
        ParamDef file = row(kFile, "file", TYPE_FILENAME, P_RESET_DEFAULT);
        file.assetType = kAssetTypeCache;
        ParamDef still = row(kStatic, "still", TYPE_FLOAT, P_RESET_DEFAULT);
        still.defaultFloat = 2.5f;
        d.params = {
            withFloatRange(row(kSpeed, "speed", TYPE_FLOAT, 0x21), 1.0f, -10.0f, 10.0f),
            withIntRange(row(kCount, "count", TYPE_INT, 0x21), 30, 1, 100),
            withIntRange(row(kSteps, "steps", TYPE_INT, P_RESET_DEFAULT), 0, 0, 3),
            flag,
            withIntRange(row(kChoice, "choice", TYPE_BOOL, P_RESET_DEFAULT), 0, 0, 2),
            withFloatRange(row(kLength, "length", TYPE_WORLD, P_RESET_DEFAULT), 4.0f, 0.0f, 50.0f),
            file,
            row(kTarget, "target", TYPE_INODE, P_RESET_DEFAULT),
            row(kList, "list", TYPE_INODE_TAB, P_VARIABLE_SIZE),
            row(kFrames, "frames", TYPE_FLOAT_TAB, 0x9089),
            row(kPlain, "plain", TYPE_FLOAT_TAB, P_VARIABLE_SIZE),
            still,
        };
        return d;
    }();
    return desc;
}

struct Message {
    Interval interval;
    ReferenceTarget* target = nullptr;
    PartID part = 0;
    RefMessage message = 0;
    bool propagate = false;
    ParamID lastId = -1; // the block's last notified id when the message came
};

// An owner that records what it hears, and can react as an object does.
class RecordingOwner final : public ReferenceMaker {
public:
    RefResult NotifyRefChanged(const Interval& changeInt, ReferenceTarget* target, PartID part,
                               RefMessage message, bool propagate) override {
        const auto* block = dynamic_cast<IParamBlock2*>(target);
        heard.push_back({changeInt, target, part, message, propagate,
                         block ? block->LastNotifyParamID() : ParamID(-1)});
        if (onChange)
            onChange();
        return REF_SUCCEED;
    }

    std::vector<Message> heard;
    std::function<void()> onChange;
};

class HeadlessParamBlockTest : public ::testing::Test {
protected:
    RecordingOwner owner;
    HeadlessParamBlock block{testDesc(), owner};
};

TEST_F(HeadlessParamBlockTest, StartsAtTheDefaultsWithEmptyTablesAndNoChangeTold) {
    EXPECT_EQ(block.GetFloat(kSpeed), 1.0f);
    EXPECT_EQ(block.GetInt(kCount), 30);
    EXPECT_EQ(block.GetInt(kFlag), 1);
    EXPECT_EQ(block.GetFloat(kLength), 4.0f);
    EXPECT_EQ(block.GetFloat(kStatic), 2.5f);
    EXPECT_TRUE(block.GetAssetUser(kFile).IsNull());
    EXPECT_EQ(block.GetINode(kTarget), nullptr);
    EXPECT_EQ(block.Count(kList), 0);
    EXPECT_EQ(block.Count(kFrames), 0);
    EXPECT_EQ(block.GetControllerByID(kSpeed), nullptr);
    EXPECT_EQ(block.LastNotifyParamID(), -1);
    EXPECT_TRUE(block.NotificationsEnabled());
    EXPECT_TRUE(owner.heard.empty());
    EXPECT_EQ(block.ID(), 3);
}

TEST_F(HeadlessParamBlockTest, WritesAreClampedToTheRangeOfTheirKind) {
    EXPECT_TRUE(block.SetValue(kSpeed, 0, 25.0f));
    EXPECT_EQ(block.GetFloat(kSpeed), 10.0f);
    EXPECT_TRUE(block.SetValue(kSpeed, 0, -std::numeric_limits<float>::infinity()));
    EXPECT_EQ(block.GetFloat(kSpeed), -10.0f);
    EXPECT_TRUE(block.SetValue(kLength, 0, -3.0f));
    EXPECT_EQ(block.GetFloat(kLength), 0.0f);
    EXPECT_TRUE(block.SetValue(kSteps, 0, 7));
    EXPECT_EQ(block.GetInt(kSteps), 3);
    EXPECT_TRUE(block.SetValue(kCount, 0, std::numeric_limits<int>::min()));
    EXPECT_EQ(block.GetInt(kCount), 1);
    // A bool with a range is a choice of several; one without keeps whatever int it is given.
    EXPECT_TRUE(block.SetValue(kChoice, 0, 5));
    EXPECT_EQ(block.GetInt(kChoice), 2);
    EXPECT_TRUE(block.SetValue(kChoice, 0, -1));
    EXPECT_EQ(block.GetInt(kChoice), 0);
    EXPECT_TRUE(block.SetValue(kFlag, 0, 7));
    EXPECT_EQ(block.GetInt(kFlag), 7);
    // No range: nothing to clamp to.
    EXPECT_TRUE(block.SetValue(kStatic, 0, -1e30f));
    EXPECT_EQ(block.GetFloat(kStatic), -1e30f);
}

TEST_F(HeadlessParamBlockTest, NumbersCrossBetweenIntAndFloatByTruncation) {
    EXPECT_TRUE(block.SetValue(kSteps, 0, 2.9f));
    EXPECT_EQ(block.GetInt(kSteps), 2);
    EXPECT_TRUE(block.SetValue(kSpeed, 0, -2.75f));
    EXPECT_EQ(block.GetInt(kSpeed), -2);
    EXPECT_TRUE(block.SetValue(kSpeed, 0, 3));
    EXPECT_EQ(block.GetFloat(kSpeed), 3.0f);
    EXPECT_EQ(block.GetFloat(kSteps), 2.0f);
    // A float beyond int saturates instead of wrapping.
    EXPECT_TRUE(block.SetValue(kStatic, 0, 1e20f));
    EXPECT_EQ(block.GetInt(kStatic), std::numeric_limits<int>::max());
    EXPECT_TRUE(block.SetValue(kCount, 0, 1e20f));
    EXPECT_EQ(block.GetInt(kCount), 100);
}

TEST_F(HeadlessParamBlockTest, RefusesWhatDoesNotFitAndChangesNothing) {
    HeadlessNode node(L"Box", nullptr);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(block.SetValue(kSpeed, 0, nan));
    EXPECT_FALSE(block.SetValue(kSteps, 0, nan));
    EXPECT_FALSE(block.SetValue(kSpeed, 0, &node));
    EXPECT_FALSE(block.SetValue(kTarget, 0, 1));
    EXPECT_FALSE(block.SetValue(kSpeed, 0, AssetUser(L"a.wkc", kAssetTypeCache)));
    EXPECT_FALSE(block.SetValue(kFile, 0, 1.0f));
    EXPECT_FALSE(block.SetValue(99, 0, 1));
    EXPECT_FALSE(block.SetValue(kSpeed, 0, 2.0f, 1));  // a plain parameter has entry 0 only
    EXPECT_FALSE(block.SetValue(kFrames, 0, 2.0f, 0)); // the table is empty
    EXPECT_EQ(block.GetFloat(kSpeed), 1.0f);
    EXPECT_EQ(block.GetInt(kSteps), 0);
    EXPECT_TRUE(owner.heard.empty());
    // Reads of the wrong kind, unknown ids and missing entries answer zero.
    EXPECT_EQ(block.GetInt(kTarget), 0);
    EXPECT_EQ(block.GetINode(kSpeed), nullptr);
    EXPECT_EQ(block.GetFloat(99), 0.0f);
    EXPECT_EQ(block.GetFloat(kSpeed, 0, 1), 0.0f);
    EXPECT_TRUE(block.GetAssetUser(kSpeed).IsNull());
}

TEST_F(HeadlessParamBlockTest, NodesAndFilesAreHeldAsGiven) {
    HeadlessNode omni(L"Omni01", nullptr);
    ASSERT_TRUE(block.SetValue(kTarget, 0, &omni));
    EXPECT_EQ(block.GetINode(kTarget, 500), &omni);
    const AssetUser asset(L"caches/shot.wkc", kAssetTypeCache);
    ASSERT_TRUE(block.SetValue(kFile, 0, asset));
    EXPECT_EQ(block.GetAssetUser(kFile), asset);
    ASSERT_TRUE(block.SetValue(kFile, 0, AssetUser{}));
    EXPECT_TRUE(block.GetAssetUser(kFile).IsNull());
}

TEST_F(HeadlessParamBlockTest, AControllerMadeByTheFirstKeyGivesTheValueAtEachTime) {
    ASSERT_TRUE(block.SetKey(kSpeed, 0, 1.0f));
    ASSERT_TRUE(block.SetKey(kSpeed, 100, 3.0f));
    const Control* speed = block.GetControllerByID(kSpeed);
    ASSERT_NE(speed, nullptr);
    EXPECT_FLOAT_EQ(block.GetFloat(kSpeed, 50), 2.0f);
    EXPECT_FLOAT_EQ(block.GetFloat(kSpeed, -500), 1.0f);
    EXPECT_FLOAT_EQ(block.GetFloat(kSpeed, 900), 3.0f);
    // With a controller, a write is a key: at a key it replaces it, elsewhere it adds one.
    ASSERT_TRUE(block.SetValue(kSpeed, 100, 5.0f));
    ASSERT_TRUE(block.SetValue(kSpeed, 200, 99.0f)); // clamped to 10
    EXPECT_FLOAT_EQ(block.GetFloat(kSpeed, 100), 5.0f);
    EXPECT_FLOAT_EQ(block.GetFloat(kSpeed, 150), 7.5f);
    EXPECT_TRUE(speed->IsKeyAtTime(200));
    EXPECT_FALSE(speed->IsKeyAtTime(150));
    EXPECT_EQ(block.GetInt(kSpeed, 150), 7);
}

TEST_F(HeadlessParamBlockTest, AnAnimatedIntReadsTheNearestWholeValueBetweenItsKeys) {
    ASSERT_TRUE(block.SetKey(kCount, 0, 24.0f));
    ASSERT_TRUE(block.SetKey(kCount, 100, 30.0f));
    EXPECT_EQ(block.GetInt(kCount, 50), 27);
    EXPECT_EQ(block.GetInt(kCount, 10), 25); // 24.6
    EXPECT_EQ(block.GetInt(kCount, 5), 24);  // 24.3
    EXPECT_EQ(block.GetFloat(kCount, 10), 25.0f);
    ASSERT_TRUE(block.SetKey(kCount, 200, 500.0f)); // keys are clamped like values
    EXPECT_EQ(block.GetInt(kCount, 200), 100);
}

TEST_F(HeadlessParamBlockTest, OnlyAnimatableParametersAndTableEntriesTakeKeys) {
    EXPECT_FALSE(block.SetKey(kSteps, 0, 1.0f));
    EXPECT_FALSE(block.SetKey(kStatic, 0, 1.0f));
    EXPECT_FALSE(block.SetKey(kFrames, 0, 1.0f)); // no entry yet
    EXPECT_FALSE(block.SetKey(kSpeed, 0, std::numeric_limits<float>::quiet_NaN()));
    EXPECT_EQ(block.GetControllerByID(kSpeed), nullptr);
    ASSERT_TRUE(block.Insert(kFrames, 0, 2));
    ASSERT_TRUE(block.Insert(kPlain, 0, 1));
    EXPECT_FALSE(block.SetKey(kPlain, 0, 1.0f));
    ASSERT_TRUE(block.SetKey(kFrames, 10, 4.0f, 1));
    ASSERT_TRUE(block.SetKey(kFrames, 20, 8.0f, 1));
    EXPECT_EQ(block.GetControllerByID(kFrames, 0), nullptr);
    EXPECT_NE(block.GetControllerByID(kFrames, 1), nullptr);
    EXPECT_FLOAT_EQ(block.GetFloat(kFrames, 15, 1), 6.0f);
    EXPECT_EQ(block.GetFloat(kFrames, 15, 0), 0.0f);
}

TEST_F(HeadlessParamBlockTest, ClearingTheControllerKeepsTheValueAtTimeZero) {
    EXPECT_FALSE(block.ClearController(kSpeed));
    ASSERT_TRUE(block.SetKey(kSpeed, -100, 0.0f));
    ASSERT_TRUE(block.SetKey(kSpeed, 100, 4.0f));
    ASSERT_TRUE(block.ClearController(kSpeed));
    EXPECT_EQ(block.GetControllerByID(kSpeed), nullptr);
    EXPECT_FLOAT_EQ(block.GetFloat(kSpeed, 100), 2.0f);
    ASSERT_TRUE(block.SetValue(kSpeed, 100, 6.0f)); // a plain write again, at any time
    EXPECT_EQ(block.GetFloat(kSpeed, -1000), 6.0f);
}

TEST_F(HeadlessParamBlockTest, TablesInsertAndDeleteInsideTheirBoundsOnly) {
    HeadlessNode a(L"A", nullptr);
    HeadlessNode b(L"B", nullptr);
    HeadlessNode c(L"C", nullptr);
    EXPECT_EQ(block.Append(kList, 2), 0);
    ASSERT_TRUE(block.SetValue(kList, 0, &a, 0));
    ASSERT_TRUE(block.SetValue(kList, 0, &c, 1));
    ASSERT_TRUE(block.Insert(kList, 1, 1));
    EXPECT_EQ(block.GetINode(kList, 0, 1), nullptr); // a new entry is empty
    ASSERT_TRUE(block.SetValue(kList, 0, &b, 1));
    EXPECT_EQ(block.Append(kList, 1), 3);
    EXPECT_EQ(block.Count(kList), 4);

    EXPECT_FALSE(block.Insert(kList, 5, 1));
    EXPECT_FALSE(block.Insert(kList, -1, 1));
    EXPECT_FALSE(block.Insert(kList, 0, -1));
    EXPECT_FALSE(block.Delete(kList, 2, 3));
    EXPECT_FALSE(block.Delete(kList, -1, 1));
    EXPECT_FALSE(block.Delete(kList, 0, std::numeric_limits<int>::max()));
    EXPECT_FALSE(block.Insert(kSpeed, 0, 1));
    EXPECT_FALSE(block.Delete(kSpeed, 0, 1));
    EXPECT_EQ(block.Append(kSpeed, 1), -1);
    EXPECT_EQ(block.Count(kSpeed), 0);
    EXPECT_EQ(block.Count(kList), 4);

    ASSERT_TRUE(block.Delete(kList, 0, 1));
    ASSERT_TRUE(block.Delete(kList, 2, 1));
    ASSERT_EQ(block.Count(kList), 2);
    EXPECT_EQ(block.GetINode(kList, 0, 0), &b);
    EXPECT_EQ(block.GetINode(kList, 0, 1), &c);
    EXPECT_EQ(block.GetINode(kList, 0, 2), nullptr);
}

TEST_F(HeadlessParamBlockTest, DeletingAnEntryTakesItsControllerAlong) {
    ASSERT_TRUE(block.Insert(kFrames, 0, 3));
    ASSERT_TRUE(block.SetValue(kFrames, 0, 1.0f, 0));
    ASSERT_TRUE(block.SetKey(kFrames, 0, 10.0f, 1));
    ASSERT_TRUE(block.SetKey(kFrames, 100, 20.0f, 1));
    ASSERT_TRUE(block.SetValue(kFrames, 0, 3.0f, 2));
    ASSERT_TRUE(block.Delete(kFrames, 0, 1));
    EXPECT_FLOAT_EQ(block.GetFloat(kFrames, 50, 0), 15.0f);
    EXPECT_EQ(block.GetFloat(kFrames, 50, 1), 3.0f);
    EXPECT_EQ(block.GetControllerByID(kFrames, 1), nullptr);
    ASSERT_TRUE(block.Delete(kFrames, 0, 1));
    EXPECT_EQ(block.GetControllerByID(kFrames, 0), nullptr);
    EXPECT_EQ(block.GetFloat(kFrames, 50, 0), 3.0f);
}

TEST_F(HeadlessParamBlockTest, EveryChangeIsToldToTheOwnerWithItsParameter) {
    ASSERT_TRUE(block.SetValue(kSteps, 0, 2));
    ASSERT_EQ(owner.heard.size(), 1u);
    const Message& m = owner.heard[0];
    EXPECT_EQ(m.interval, FOREVER);
    EXPECT_EQ(m.target, &block);
    EXPECT_EQ(m.part, PART_ALL);
    EXPECT_EQ(m.message, REFMSG_CHANGE);
    EXPECT_TRUE(m.propagate);
    EXPECT_EQ(m.lastId, kSteps);

    // The same value again is still a write, and a clamped one too.
    ASSERT_TRUE(block.SetValue(kSteps, 0, 2));
    ASSERT_TRUE(block.SetValue(kSpeed, 0, 1000.0f));
    ASSERT_TRUE(block.Insert(kFrames, 0, 1));
    ASSERT_TRUE(block.SetKey(kFrames, 5, 1.0f, 0));
    ASSERT_TRUE(block.ClearController(kFrames, 0));
    ASSERT_TRUE(block.SetValue(kFile, 0, AssetUser(L"x.wkc", kAssetTypeCache)));
    ASSERT_TRUE(block.Delete(kFrames, 0, 1));
    std::vector<ParamID> ids;
    for (const Message& heard : owner.heard)
        ids.push_back(heard.lastId);
    EXPECT_EQ(ids, (std::vector<ParamID>{kSteps, kSteps, kSpeed, kFrames, kFrames, kFrames, kFile,
                                         kFrames}));

    // Refused writes and empty inserts or deletes tell nothing.
    owner.heard.clear();
    EXPECT_FALSE(block.SetValue(kTarget, 0, 1));
    EXPECT_TRUE(block.Insert(kList, 0, 0));
    EXPECT_TRUE(block.Delete(kList, 0, 0));
    EXPECT_TRUE(owner.heard.empty());
    EXPECT_EQ(block.LastNotifyParamID(), kFrames);
}

TEST_F(HeadlessParamBlockTest, WithNotificationsOffWritesTakeEffectSilently) {
    ASSERT_TRUE(block.SetValue(kSteps, 0, 1));
    block.EnableNotifications(false);
    EXPECT_FALSE(block.NotificationsEnabled());
    ASSERT_TRUE(block.SetValue(kSpeed, 0, 4.0f));
    ASSERT_TRUE(block.Append(kList, 1) == 0);
    EXPECT_EQ(block.GetFloat(kSpeed), 4.0f);
    EXPECT_EQ(owner.heard.size(), 1u);
    EXPECT_EQ(block.LastNotifyParamID(), kSteps);
    block.EnableNotifications(true);
    ASSERT_TRUE(block.SetValue(kSpeed, 0, 5.0f));
    EXPECT_EQ(owner.heard.size(), 2u);
    EXPECT_EQ(block.LastNotifyParamID(), kSpeed);
}

// The object couples two parameters from inside its change handler, with notifications off
// for its own write: the outer change must stay the one it is told about.
TEST_F(HeadlessParamBlockTest, AnOwnerMayWriteSilentlyWhileHearingOfAChange) {
    owner.onChange = [this] {
        if (block.LastNotifyParamID() != kSteps)
            return;
        const bool was = block.NotificationsEnabled();
        block.EnableNotifications(false);
        block.SetValue(kChoice, 0, block.GetInt(kSteps));
        block.EnableNotifications(was);
    };
    ASSERT_TRUE(block.SetValue(kSteps, 0, 2));
    EXPECT_EQ(block.GetInt(kChoice), 2);
    EXPECT_EQ(owner.heard.size(), 1u);
    EXPECT_EQ(block.LastNotifyParamID(), kSteps);
    EXPECT_TRUE(block.NotificationsEnabled());
}

TEST_F(HeadlessParamBlockTest, ACloneCopiesEverythingAndTellsOnlyItsNewOwner) {
    HeadlessNode node(L"N", nullptr);
    ASSERT_TRUE(block.SetValue(kSteps, 0, 3));
    ASSERT_TRUE(block.SetKey(kSpeed, 0, 0.0f));
    ASSERT_TRUE(block.SetKey(kSpeed, 100, 2.0f));
    ASSERT_TRUE(block.Append(kList, 1) == 0);
    ASSERT_TRUE(block.SetValue(kList, 0, &node, 0));
    ASSERT_TRUE(block.SetValue(kFile, 0, AssetUser(L"a.wkc", kAssetTypeCache)));
    block.EnableNotifications(false);

    RecordingOwner other;
    const std::unique_ptr<IParamBlock2> copy = block.Clone(other);
    EXPECT_EQ(&copy->GetDesc(), &block.GetDesc());
    EXPECT_EQ(copy->GetInt(kSteps), 3);
    EXPECT_FLOAT_EQ(copy->GetFloat(kSpeed, 50), 1.0f);
    EXPECT_EQ(copy->GetINode(kList, 0, 0), &node);
    EXPECT_EQ(copy->GetAssetUser(kFile), block.GetAssetUser(kFile));
    EXPECT_TRUE(copy->NotificationsEnabled());
    EXPECT_EQ(copy->LastNotifyParamID(), -1);

    // The controllers are the copy's own.
    EXPECT_NE(copy->GetControllerByID(kSpeed), block.GetControllerByID(kSpeed));
    const std::size_t heardBefore = owner.heard.size();
    ASSERT_TRUE(copy->SetValue(kSpeed, 100, 4.0f));
    EXPECT_FLOAT_EQ(copy->GetFloat(kSpeed, 50), 2.0f);
    EXPECT_FLOAT_EQ(block.GetFloat(kSpeed, 50), 1.0f);
    EXPECT_EQ(other.heard.size(), 1u);
    EXPECT_EQ(other.heard[0].target, copy.get());
    EXPECT_EQ(owner.heard.size(), heardBefore);
}

TEST(HeadlessHostParamBlock, TheHostMakesBlocksThatTellTheirOwner) {
    HeadlessHost host;
    RecordingOwner owner;
    Host& abstractHost = host;
    const std::unique_ptr<IParamBlock2> made = abstractHost.CreateParamBlock(testDesc(), owner);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->GetInt(kCount), 30);
    ASSERT_TRUE(made->SetValue(kCount, 0, 12));
    ASSERT_EQ(owner.heard.size(), 1u);
    EXPECT_EQ(owner.heard[0].target, made.get());
}

} // namespace
