// The cache object's parameter table, and the headless parameter block that holds it: the
// table's fixed ids and oddities, defaults, clamping and conversions, controllers, tables,
// change messages, copies, and parameters set from text by name.
#include "host/headless/HeadlessHost.h"
#include "host/headless/HeadlessNode.h"
#include "host/headless/HeadlessParamBlock.h"
#include "object/wkCacheParams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace wkCacheParam;

const ParamBlockDesc2& desc() {
    return wkCacheParamBlockDesc();
}

std::ptrdiff_t position(ParamID id) {
    const auto& rows = desc().params;
    return std::find_if(rows.begin(), rows.end(), [id](const ParamDef& p) { return p.id == id; }) -
           rows.begin();
}

// An owner that records the parameter of each change it hears, and can react as an object does.
class RecordingOwner final : public ReferenceMaker {
public:
    RefResult NotifyRefChanged(const Interval& changeInt, ReferenceTarget* target, PartID part,
                               RefMessage message, bool propagate) override {
        const auto* block = dynamic_cast<IParamBlock2*>(target);
        EXPECT_EQ(changeInt, FOREVER);
        EXPECT_EQ(part, PART_ALL);
        EXPECT_EQ(message, REFMSG_CHANGE);
        EXPECT_TRUE(propagate);
        targets.push_back(target);
        ids.push_back(block ? block->LastNotifyParamID() : ParamID(-1));
        if (onChange)
            onChange();
        return REF_SUCCEED;
    }

    std::vector<ReferenceTarget*> targets;
    std::vector<ParamID> ids;
    std::function<void()> onChange;
};

TEST(CacheParamTable, HoldsEachIdOnceInAnOrderThatDiffersFromTheIdsInTwoPlaces) {
    EXPECT_EQ(desc().id, 0);
    EXPECT_STREQ(desc().internalName, "params");
    EXPECT_EQ(desc().flags, 0x226u);
    ASSERT_EQ(desc().params.size(), static_cast<std::size_t>(kParamCount));
    std::set<ParamID> ids;
    std::map<std::string, std::vector<ParamID>> byName;
    std::vector<ParamID> rest;
    for (const ParamDef& def : desc().params) {
        ids.insert(def.id);
        byName[def.internalName].push_back(def.id);
        if (def.id != scaleUnits && def.id != pb_recWriteTransform)
            rest.push_back(def.id);
    }
    EXPECT_EQ(ids.size(), desc().params.size());
    EXPECT_EQ(*ids.rbegin(), kParamCount - 1);
    EXPECT_EQ(desc().GetParamDef(kParamCount), nullptr);
    // Scene files hold ids, panels and scripts the order of declaration: both are fixed.
    EXPECT_TRUE(std::is_sorted(rest.begin(), rest.end()));
    EXPECT_EQ(position(scaleUnits), position(playFrame) + 1);
    EXPECT_EQ(position(pb_recWriteTransform), position(recClearNodeList) + 1);
    for (const auto& [name, shared] : byName)
        EXPECT_EQ(shared.size(), name == "scaleUnitsFrom" ? 2u : 1u) << name;
    EXPECT_STREQ(desc().GetParamDef(scaleUnits)->internalName, "scaleUnits");
    EXPECT_STREQ(desc().GetParamDef(pb_recWriteTransform)->internalName, "pb_recWriteTransform");
    EXPECT_EQ(desc().GetParamDef(elementFrames)->flags, 0x9089u);
}

class CacheParamBlock : public ::testing::Test {
protected:
    HeadlessHost host;
    RecordingOwner owner;
    std::unique_ptr<IParamBlock2> made = host.CreateParamBlock(desc(), owner);
    HeadlessParamBlock& block = dynamic_cast<HeadlessParamBlock&>(*made);
    std::string error;

    bool set(const char* name, const char* value) {
        error.clear();
        return SetParamByName(block, name, value, error);
    }
};

TEST_F(CacheParamBlock, ANewBlockHoldsEveryDefaultAndEmptyTablesAndHasToldNothing) {
    for (const ParamDef& def : desc().params) {
        if (def.IsFloatType() && !def.IsTable()) {
            EXPECT_EQ(block.GetFloat(def.id), def.defaultFloat) << def.internalName;
        } else if (def.type == TYPE_INT || def.type == TYPE_BOOL) {
            EXPECT_EQ(block.GetInt(def.id), def.defaultInt) << def.internalName;
        }
    }
    EXPECT_EQ(block.GetInt(playInORT), 1);
    EXPECT_EQ(block.GetInt(playFPS), 30);
    EXPECT_EQ(block.GetFloat(explodeReduceThresh), 0.02f);
    EXPECT_EQ(block.Count(nodes), 0);
    EXPECT_EQ(block.Count(elementFrames), 0);
    EXPECT_TRUE(block.GetAssetUser(fileName).IsNull());
    EXPECT_EQ(block.GetINode(triggerOmni), nullptr);
    EXPECT_EQ(block.GetControllerByID(playSpeed), nullptr);
    EXPECT_EQ(block.LastNotifyParamID(), -1);
    EXPECT_TRUE(owner.ids.empty());
}

TEST_F(CacheParamBlock, WritesAreClampedToTheirRangeAndCrossKindsByTruncation) {
    const float inf = std::numeric_limits<float>::infinity();
    struct Case {
        ParamID id;
        float written; // through the float overload, or the int one when whole is set
        bool whole;
        float readFloat;
        int readInt;
    };
    const Case cases[] = {
        {playSpeed, 5e6f, false, 999999.0f, 999999},
        {playSpeed, -inf, false, -999999.0f, -999999},
        {playSpeed, -2.75f, false, -2.75f, -2},
        {scaleUnits, 0.0f, false, 1e-07f, 0},
        {recStep, -1.0f, false, 0.001f, 0},
        {playFrame, 5e6f, false, 5e6f, 5000000},
        {playSpeedSteps, 2.9f, false, 2.0f, 2},
        {playSpeedSteps, 7, true, 3.0f, 3},
        {playFPS, 1e20f, false, 999999.0f, 999999},
        {playFPS, static_cast<float>(std::numeric_limits<int>::min()), true, 1.0f, 1},
        {loadTypeSlave, 2, true, 1.0f, 1},
        {rendMatID, 0, true, 1.0f, 1},
        // A bool with a range holds a choice of several; one without keeps any int.
        {triggerMode, 5, true, 2.0f, 2},
        {explodeTo, -1, true, 0.0f, 0},
        {vpWireframe, 5, true, 5.0f, 5},
    };
    for (const Case& c : cases) {
        const bool written = c.whole ? block.SetValue(c.id, 0, static_cast<int>(c.written))
                                     : block.SetValue(c.id, 0, c.written);
        ASSERT_TRUE(written) << c.id;
        EXPECT_EQ(block.GetFloat(c.id), c.readFloat) << c.id;
        EXPECT_EQ(block.GetInt(c.id), c.readInt) << c.id;
    }
}

TEST_F(CacheParamBlock, RefusesWhatDoesNotFitChangesNothingAndReadsZero) {
    HeadlessNode node(L"Box", nullptr);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(block.SetValue(playSpeed, 0, nan));
    EXPECT_FALSE(block.SetValue(playSpeedSteps, 0, nan));
    EXPECT_FALSE(block.SetValue(playSpeed, 0, &node));
    EXPECT_FALSE(block.SetValue(triggerOmni, 0, 1));
    EXPECT_FALSE(block.SetValue(playSpeed, 0, AssetUser(L"a.wkc", kAssetTypeCache)));
    EXPECT_FALSE(block.SetValue(fileName, 0, 1.0f));
    EXPECT_FALSE(block.SetValue(kParamCount, 0, 1));
    EXPECT_FALSE(block.SetValue(playSpeed, 0, 2.0f, 1));     // entry 0 only
    EXPECT_FALSE(block.SetValue(elementFrames, 0, 2.0f, 0)); // the table is empty
    EXPECT_FALSE(block.SetKey(playSpeed, 0, nan));
    EXPECT_EQ(block.GetFloat(playSpeed), 1.0f);
    EXPECT_EQ(block.GetInt(playSpeedSteps), 0);
    EXPECT_TRUE(owner.ids.empty());
    EXPECT_EQ(block.GetInt(triggerOmni), 0);
    EXPECT_EQ(block.GetINode(playSpeed), nullptr);
    EXPECT_EQ(block.GetFloat(kParamCount), 0.0f);
    EXPECT_EQ(block.GetFloat(playSpeed, 0, 1), 0.0f);
    EXPECT_TRUE(block.GetAssetUser(playSpeed).IsNull());
}

TEST_F(CacheParamBlock, KeysMakeAControllerWhoseValueEachTimeReads) {
    EXPECT_FALSE(block.SetKey(playSpeedSteps, 0, 1.0f)); // not animatable
    EXPECT_FALSE(block.ClearController(playSpeed));
    ASSERT_TRUE(block.SetKey(playSpeed, 0, 1.0f));
    ASSERT_TRUE(block.SetKey(playSpeed, 100, 3.0f));
    const Control* speed = block.GetControllerByID(playSpeed);
    ASSERT_NE(speed, nullptr);
    EXPECT_FLOAT_EQ(block.GetFloat(playSpeed, 50), 2.0f);
    EXPECT_FLOAT_EQ(block.GetFloat(playSpeed, -500), 1.0f);
    // With a controller, a write is a key: at a key it replaces it, elsewhere it adds one.
    ASSERT_TRUE(block.SetValue(playSpeed, 100, 5.0f));
    ASSERT_TRUE(block.SetValue(playSpeed, 200, 9.0f));
    EXPECT_FLOAT_EQ(block.GetFloat(playSpeed, 150), 7.0f);
    EXPECT_TRUE(speed->IsKeyAtTime(200));
    EXPECT_FALSE(speed->IsKeyAtTime(150));
    EXPECT_EQ(block.GetInt(playSpeed, 150), 7);
    // An animated int reads the nearest whole value; keys are clamped like values.
    ASSERT_TRUE(block.SetKey(playFPS, 0, 24.0f));
    ASSERT_TRUE(block.SetKey(playFPS, 100, 30.0f));
    ASSERT_TRUE(block.SetKey(playFPS, 200, -5.0f));
    EXPECT_EQ(block.GetInt(playFPS, 10), 25); // 24.6
    EXPECT_EQ(block.GetInt(playFPS, 5), 24);  // 24.3
    EXPECT_EQ(block.GetInt(playFPS, 200), 1);
    // Clearing keeps the value at time zero, and writes are plain again.
    ASSERT_TRUE(block.ClearController(playSpeed));
    EXPECT_EQ(block.GetControllerByID(playSpeed), nullptr);
    EXPECT_FLOAT_EQ(block.GetFloat(playSpeed, 100), 1.0f);
}

TEST_F(CacheParamBlock, TablesChangeInsideTheirBoundsAndEntriesTakeTheirControllersAlong) {
    HeadlessNode a(L"A", nullptr);
    HeadlessNode b(L"B", nullptr);
    EXPECT_EQ(block.Append(nodes, 2), 0);
    ASSERT_TRUE(block.SetValue(nodes, 0, &b, 1));
    ASSERT_TRUE(block.Insert(nodes, 1, 1));
    EXPECT_EQ(block.GetINode(nodes, 0, 1), nullptr); // a new entry is empty
    ASSERT_TRUE(block.SetValue(nodes, 0, &a, 1));
    const std::pair<int, int> refused[] = {{4, 1}, {-1, 1}, {0, -1}};
    for (const auto& [at, count] : refused)
        EXPECT_FALSE(block.Insert(nodes, at, count)) << at << "," << count;
    EXPECT_FALSE(block.Delete(nodes, 2, 2));
    EXPECT_FALSE(block.Delete(nodes, 0, std::numeric_limits<int>::max()));
    EXPECT_FALSE(block.Insert(playSpeed, 0, 1));
    EXPECT_EQ(block.Append(playSpeed, 1), -1);
    ASSERT_TRUE(block.Delete(nodes, 0, 1));
    ASSERT_EQ(block.Count(nodes), 2);
    EXPECT_EQ(block.GetINode(nodes, 0, 0), &a);
    EXPECT_EQ(block.GetINode(nodes, 0, 1), &b);

    ASSERT_TRUE(block.Insert(elementFrames, 0, 3));
    ASSERT_TRUE(block.SetKey(elementFrames, 0, 10.0f, 1));
    ASSERT_TRUE(block.SetKey(elementFrames, 100, 20.0f, 1));
    ASSERT_TRUE(block.SetValue(elementFrames, 0, 3.0f, 2));
    EXPECT_EQ(block.GetControllerByID(elementFrames, 0), nullptr);
    ASSERT_TRUE(block.Delete(elementFrames, 0, 1));
    EXPECT_FLOAT_EQ(block.GetFloat(elementFrames, 50, 0), 15.0f);
    EXPECT_EQ(block.GetControllerByID(elementFrames, 1), nullptr);
    EXPECT_EQ(block.GetFloat(elementFrames, 50, 1), 3.0f);
}

TEST_F(CacheParamBlock, EveryWriteIsToldWithItsParameterUnlessRefusedEmptyOrSilenced) {
    ASSERT_TRUE(block.SetValue(playSpeedSteps, 0, 2));
    ASSERT_TRUE(block.SetValue(playSpeedSteps, 0, 2)); // the same value is still a write
    ASSERT_TRUE(block.SetValue(playSpeed, 0, 1e9f));   // and so is a clamped one
    ASSERT_TRUE(block.Insert(elementFrames, 0, 1));
    ASSERT_TRUE(block.SetKey(elementFrames, 5, 1.0f, 0));
    ASSERT_TRUE(block.ClearController(elementFrames, 0));
    ASSERT_TRUE(block.SetValue(fileName, 0, AssetUser(L"x.wkc", kAssetTypeCache)));
    ASSERT_TRUE(block.Delete(elementFrames, 0, 1));
    EXPECT_FALSE(block.SetValue(triggerOmni, 0, 1));
    EXPECT_TRUE(block.Insert(nodes, 0, 0));
    EXPECT_TRUE(block.Delete(nodes, 0, 0));
    EXPECT_EQ(owner.ids,
              (std::vector<ParamID>{playSpeedSteps, playSpeedSteps, playSpeed, elementFrames,
                                    elementFrames, elementFrames, fileName, elementFrames}));
    EXPECT_EQ(owner.targets.front(), &block);

    block.EnableNotifications(false);
    ASSERT_TRUE(block.SetValue(playSpeed, 0, 4.0f));
    EXPECT_EQ(block.GetFloat(playSpeed), 4.0f);
    EXPECT_EQ(owner.ids.size(), 8u);
    EXPECT_EQ(block.LastNotifyParamID(), elementFrames);
    block.EnableNotifications(true);

    // The object couples two parameters from inside its change handler, with notifications
    // off for its own write: the outer change stays the one it is told about.
    owner.onChange = [this] {
        block.EnableNotifications(false);
        block.SetValue(triggerMode, 0, block.GetInt(playSpeedSteps));
        block.EnableNotifications(true);
    };
    ASSERT_TRUE(block.SetValue(playSpeedSteps, 0, 1));
    EXPECT_EQ(block.GetInt(triggerMode), 1);
    EXPECT_EQ(owner.ids.size(), 9u);
    EXPECT_EQ(block.LastNotifyParamID(), playSpeedSteps);
}

TEST_F(CacheParamBlock, ACloneCopiesEverythingAndTellsOnlyItsNewOwner) {
    HeadlessNode node(L"N", nullptr);
    ASSERT_TRUE(block.SetValue(playSpeedSteps, 0, 3));
    ASSERT_TRUE(block.SetKey(playSpeed, 0, 0.0f));
    ASSERT_TRUE(block.SetKey(playSpeed, 100, 2.0f));
    ASSERT_EQ(block.Append(nodes, 1), 0);
    ASSERT_TRUE(block.SetValue(nodes, 0, &node, 0));
    ASSERT_TRUE(block.SetValue(fileName, 0, AssetUser(L"a.wkc", kAssetTypeCache)));
    block.EnableNotifications(false);

    RecordingOwner other;
    const std::unique_ptr<IParamBlock2> copy = block.Clone(other);
    EXPECT_EQ(copy->GetInt(playSpeedSteps), 3);
    EXPECT_EQ(copy->GetINode(nodes, 0, 0), &node);
    EXPECT_EQ(copy->GetAssetUser(fileName), block.GetAssetUser(fileName));
    EXPECT_TRUE(copy->NotificationsEnabled());
    EXPECT_EQ(copy->LastNotifyParamID(), -1);
    // The controllers are the copy's own.
    const std::size_t heardBefore = owner.ids.size();
    ASSERT_TRUE(copy->SetValue(playSpeed, 100, 4.0f));
    EXPECT_FLOAT_EQ(copy->GetFloat(playSpeed, 50), 2.0f);
    EXPECT_FLOAT_EQ(block.GetFloat(playSpeed, 50), 1.0f);
    EXPECT_EQ(other.targets, (std::vector<ReferenceTarget*>{copy.get()}));
    EXPECT_EQ(owner.ids.size(), heardBefore);
}

TEST_F(CacheParamBlock, SetsByNameOrId) {
    struct Case {
        const char* name;
        const char* value;
        ParamID id;
        float expected;
    };
    const Case cases[] = {
        {"playSpeed", "2.5", playSpeed, 2.5f},
        {"PLAYSPEED", "+1.25", playSpeed, 1.25f},
        {" recStep ", " 0.1 ", recStep, 0.1f},
        {"8", "3", scaleUnitsFrom, 3.0f},
        {"9", "5", scaleUnitsTo, 5.0f},
        {"25", "42", rendMatID, 42.0f},
        {"vpWireframe", "1", vpWireframe, 1.0f},
        {"triggerMode", "2", triggerMode, 2.0f},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(set(c.name, c.value)) << c.name << "=" << c.value;
        EXPECT_EQ(block.GetFloat(c.id), c.expected) << c.name << "=" << c.value;
        EXPECT_EQ(error, "");
    }
}

TEST_F(CacheParamBlock, RefusesByNameWhatIsOutOfRangeNamingTheRangeAndKeepsTheValue) {
    ASSERT_TRUE(set("playSpeed", "1.25"));
    const struct {
        const char* name;
        const char* value;
        const char* message;
    } cases[] = {
        {"explodeTo", "7", "parameter explodeTo must be from 0 to 3, got \"7\""},
        {"playStart", "99999999999", "must be from -9999999 to 9999999"},
        {"playStart", "-99999999999", "must be from -9999999 to 9999999"},
        {"playSpeed", "1e300", "must be from -999999 to 999999"},
        {"scaleUnits", "1e-60", "must be from 1e-07 to"},
        {"recStep", "0", "must be from 0.001 to 999999"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + "=" + c.value);
        EXPECT_FALSE(set(c.name, c.value));
        EXPECT_NE(error.find(c.message), std::string::npos) << error;
    }
    EXPECT_EQ(block.GetFloat(playSpeed), 1.25f);
}

TEST_F(CacheParamBlock, SetsTheCacheFileAsAnAssetOfItsType) {
    ASSERT_TRUE(set("fileName", "shots/crash.wkc"));
    EXPECT_EQ(block.GetAssetUser(fileName), AssetUser(L"shots/crash.wkc", kAssetTypeCache));
    ASSERT_TRUE(set("fileName", ""));
    EXPECT_TRUE(block.GetAssetUser(fileName).IsNull());
    // An animated parameter is keyed at time zero.
    ASSERT_TRUE(block.SetKey(playSpeed, 100, 3.0f));
    ASSERT_TRUE(set("playSpeed", "1"));
    EXPECT_FLOAT_EQ(block.GetFloat(playSpeed, 50), 2.0f);
}

TEST_F(CacheParamBlock, RefusesBadNamesAndValuesWithAClearMessageAndNoChange) {
    const std::pair<std::pair<const char*, const char*>, const char*> cases[] = {
        {{"foo", "1"}, "unknown parameter \"foo\""},
        {{"52", "1"}, "unknown parameter \"52\""},
        {{"", "1"}, "empty parameter name"},
        {{"scaleUnitsFrom", "1"},
         "parameter name \"scaleUnitsFrom\" is shared by ids 8 and 9: give the id instead"},
        {{"playSpeed", "1.5x"}, "parameter playSpeed needs a number, got \"1.5x\""},
        {{"playSpeed", "nan"}, "parameter playSpeed needs a number, got \"nan\""},
        {{"playSpeed", "inf"}, "parameter playSpeed needs a number, got \"inf\""},
        {{"playSpeed", ""}, "parameter playSpeed needs a number, got \"\""},
        {{"playFPS", "2.5"}, "parameter playFPS needs a whole number, got \"2.5\""},
        {{"8", "x"}, "parameter 8 (scaleUnitsFrom) needs a whole number, got \"x\""},
        {{"vpWireframe", "2"}, "parameter vpWireframe needs 0 or 1, got \"2\""},
        {{"vpWireframe", "true"}, "parameter vpWireframe needs 0 or 1, got \"true\""},
        {{"elementFrames", "1"}, "parameter elementFrames is a table and cannot be set from text"},
        {{"triggerOmni", "Omni01"},
         "parameter triggerOmni holds scene nodes and cannot be set from text"},
    };
    for (const auto& [input, message] : cases) {
        EXPECT_FALSE(set(input.first, input.second)) << input.first << "=" << input.second;
        EXPECT_EQ(error, message);
    }
    EXPECT_TRUE(owner.ids.empty());
    EXPECT_EQ(block.GetFloat(playSpeed), 1.0f);
    EXPECT_EQ(block.GetInt(playFPS), 30);
    EXPECT_EQ(block.GetInt(vpWireframe), 0);
}

} // namespace
