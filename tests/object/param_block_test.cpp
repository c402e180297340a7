// The cache object's parameter table and its block in the headless host: the table's
// oddities, the block's defaults and clamping on it, and parameters set from text by name.
#include "host/headless/HeadlessHost.h"
#include "object/wkCacheParams.h"

#include <gtest/gtest.h>

#include <algorithm>
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

class CountingOwner final : public ReferenceMaker {
public:
    RefResult NotifyRefChanged(const Interval&, ReferenceTarget*, PartID, RefMessage,
                               bool) override {
        ++changes;
        return REF_SUCCEED;
    }
    int changes = 0;
};

TEST(CacheParamTable, HoldsEachIdFrom0To51OnceInBlock0) {
    EXPECT_EQ(desc().id, 0);
    EXPECT_STREQ(desc().internalName, "params");
    EXPECT_EQ(desc().flags, 0x226u);
    EXPECT_EQ(desc().version, 0);
    ASSERT_EQ(desc().params.size(), static_cast<std::size_t>(kParamCount));
    std::set<ParamID> ids;
    for (const ParamDef& def : desc().params)
        ids.insert(def.id);
    ASSERT_EQ(ids.size(), desc().params.size());
    EXPECT_EQ(*ids.begin(), 0);
    EXPECT_EQ(*ids.rbegin(), kParamCount - 1);
    EXPECT_EQ(desc().GetParamDef(kParamCount), nullptr);
    EXPECT_EQ(desc().GetParamDef(-1), nullptr);
}

// Scene files hold ids, the panels and scripts hold the order of declaration: both are fixed.
TEST(CacheParamTable, DeclarationOrderDiffersFromIdOrderInTwoPlacesOnly) {
    EXPECT_EQ(position(scaleUnits), position(playFrame) + 1);
    EXPECT_LT(position(pb_recWriteTransform), position(pb_recWriteDeform));
    std::vector<ParamID> rest;
    for (const ParamDef& def : desc().params) {
        if (def.id != scaleUnits && def.id != pb_recWriteTransform)
            rest.push_back(def.id);
    }
    EXPECT_TRUE(std::is_sorted(rest.begin(), rest.end()));
    EXPECT_EQ(position(pb_recWriteTransform), position(recClearNodeList) + 1);
}

TEST(CacheParamTable, OnlyIds8And9ShareAName) {
    std::map<std::string, std::vector<ParamID>> byName;
    for (const ParamDef& def : desc().params)
        byName[def.internalName].push_back(def.id);
    for (const auto& [name, ids] : byName) {
        if (name == "scaleUnitsFrom") {
            EXPECT_EQ(ids, (std::vector<ParamID>{scaleUnitsFrom, scaleUnitsTo}));
        } else {
            EXPECT_EQ(ids.size(), 1u) << name;
        }
    }
    // The two lists differ in their labels only.
    const ParamDef& from = *desc().GetParamDef(scaleUnitsFrom);
    const ParamDef& to = *desc().GetParamDef(scaleUnitsTo);
    EXPECT_NE(from.localNameId, to.localNameId);
    EXPECT_EQ(from.rangeHighInt, to.rangeHighInt);
}

TEST(CacheParamTable, EnumeratorsNameTheRowsAroundTheReorderedIds) {
    EXPECT_STREQ(desc().GetParamDef(scaleUnits)->internalName, "scaleUnits");
    EXPECT_STREQ(desc().GetParamDef(playFrame)->internalName, "playFrame");
    EXPECT_STREQ(desc().GetParamDef(pb_recWriteDeform)->internalName, "pb_recWriteDeform");
    EXPECT_STREQ(desc().GetParamDef(pb_recWriteTransform)->internalName, "pb_recWriteTransform");
    EXPECT_STREQ(desc().GetParamDef(elementFrames)->internalName, "elementFrames");
    EXPECT_STREQ(desc().GetParamDef(vpDeleteObjects)->internalName, "vpDeleteObjects");
}

TEST(CacheParamTable, OddTypesAndFlagsAreKeptAsTheHostExpectsThem) {
    std::set<ParamID> animatable;
    for (const ParamDef& def : desc().params) {
        if (def.IsAnimatable())
            animatable.insert(def.id);
    }
    EXPECT_EQ(animatable,
              (std::set<ParamID>{playSpeed, playFPS, playFrame, scaleUnits, elementFrames}));

    // Radio groups declared bool, holding a choice of several.
    for (const auto& [id, high] : {std::pair{triggerMode, 2}, std::pair{explodeTo, 3}}) {
        const ParamDef& def = *desc().GetParamDef(id);
        EXPECT_EQ(def.type, TYPE_BOOL);
        EXPECT_TRUE(def.hasRange);
        EXPECT_EQ(def.rangeHighInt, high);
    }
    const ParamDef& frames = *desc().GetParamDef(elementFrames);
    EXPECT_EQ(frames.type, TYPE_FLOAT_TAB);
    EXPECT_EQ(frames.flags, 0x9089u);
    EXPECT_EQ(desc().GetParamDef(nodes)->type, TYPE_INODE_TAB);
    EXPECT_EQ(desc().GetParamDef(fileName)->assetType, 4);
}

class CacheParamBlock : public ::testing::Test {
protected:
    HeadlessHost host;
    CountingOwner owner;
    std::unique_ptr<IParamBlock2> block = host.CreateParamBlock(desc(), owner);
    std::string error;

    bool set(const char* name, const char* value) {
        error.clear();
        return SetParamByName(*block, name, value, error);
    }
};

TEST_F(CacheParamBlock, ANewBlockHoldsEveryDefaultAndEmptyTables) {
    for (const ParamDef& def : desc().params) {
        if (def.IsFloatType() && !def.IsTable()) {
            EXPECT_EQ(block->GetFloat(def.id), def.defaultFloat) << def.internalName;
        } else if (def.type == TYPE_INT || def.type == TYPE_BOOL) {
            EXPECT_EQ(block->GetInt(def.id), def.defaultInt) << def.internalName;
        }
    }
    EXPECT_EQ(block->Count(nodes), 0);
    EXPECT_EQ(block->Count(elementFrames), 0);
    EXPECT_TRUE(block->GetAssetUser(fileName).IsNull());
    EXPECT_EQ(block->GetINode(triggerOmni), nullptr);
    // What a new object plays with: Hold on both sides, 30 frames a second, unit scale.
    EXPECT_EQ(block->GetInt(playInORT), 1);
    EXPECT_EQ(block->GetInt(playOutORT), 1);
    EXPECT_EQ(block->GetInt(playFPS), 30);
    EXPECT_EQ(block->GetFloat(scaleUnits), 1.0f);
    EXPECT_EQ(block->GetFloat(explodeReduceThresh), 0.02f);
    EXPECT_EQ(owner.changes, 0);
}

TEST_F(CacheParamBlock, ClampsToEachParametersOwnRange) {
    block->SetValue(triggerMode, 0, 5);
    block->SetValue(explodeTo, 0, 9);
    block->SetValue(vpWireframe, 0, 5);
    block->SetValue(loadTypeSlave, 0, 2);
    block->SetValue(rendMatID, 0, 0);
    block->SetValue(playFrame, 0, 5e6f);
    block->SetValue(playSpeed, 0, 5e6f);
    block->SetValue(scaleUnits, 0, 0.0f);
    block->SetValue(recStep, 0, -1.0f);
    EXPECT_EQ(block->GetInt(triggerMode), 2);
    EXPECT_EQ(block->GetInt(explodeTo), 3);
    EXPECT_EQ(block->GetInt(vpWireframe), 5);
    EXPECT_EQ(block->GetInt(loadTypeSlave), 1);
    EXPECT_EQ(block->GetInt(rendMatID), 1);
    EXPECT_EQ(block->GetFloat(playFrame), 5e6f);
    EXPECT_EQ(block->GetFloat(playSpeed), 999999.0f);
    EXPECT_EQ(block->GetFloat(scaleUnits), 1e-07f);
    EXPECT_EQ(block->GetFloat(recStep), 0.001f);
}

TEST_F(CacheParamBlock, SetsByNameOrId) {
    EXPECT_TRUE(set("playSpeed", "2.5"));
    EXPECT_EQ(block->GetFloat(playSpeed), 2.5f);
    EXPECT_TRUE(set("PLAYSPEED", "+1.25"));
    EXPECT_EQ(block->GetFloat(playSpeed), 1.25f);
    EXPECT_TRUE(set(" recStep ", " 0.1 "));
    EXPECT_EQ(block->GetFloat(recStep), 0.1f);
    EXPECT_TRUE(set("8", "3"));
    EXPECT_TRUE(set("9", "5"));
    EXPECT_EQ(block->GetInt(scaleUnitsFrom), 3);
    EXPECT_EQ(block->GetInt(scaleUnitsTo), 5);
    EXPECT_TRUE(set("25", "42")); // any id by number
    EXPECT_EQ(block->GetInt(rendMatID), 42);
    EXPECT_TRUE(set("vpWireframe", "1"));
    EXPECT_EQ(block->GetInt(vpWireframe), 1);
    EXPECT_TRUE(set("triggerMode", "2"));
    EXPECT_EQ(block->GetInt(triggerMode), 2);

    EXPECT_EQ(error, "");
}

TEST_F(CacheParamBlock, RefusesByNameWhatIsOutOfRangeNamingTheRangeAndKeepsTheValue) {
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
        {"playSpeed", "nan", "playSpeed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + "=" + c.value);
        EXPECT_FALSE(set(c.name, c.value));
        EXPECT_NE(error.find(c.message), std::string::npos) << error;
    }
    EXPECT_EQ(block->GetFloat(playSpeed), 1.0f); // the default, untouched
}

TEST_F(CacheParamBlock, SetsTheCacheFileAsAnAssetOfItsType) {
    ASSERT_TRUE(set("fileName", "shots/crash.wkc"));
    const AssetUser asset = block->GetAssetUser(fileName);
    EXPECT_EQ(asset.GetFileName().str(), L"shots/crash.wkc");
    EXPECT_EQ(asset.GetType(), kAssetTypeCache);
    ASSERT_TRUE(set("fileName", ""));
    EXPECT_TRUE(block->GetAssetUser(fileName).IsNull());
}

TEST_F(CacheParamBlock, SettingByNameAnAnimatedParameterKeysItAtTimeZero) {
    auto& headless = dynamic_cast<HeadlessParamBlock&>(*block);
    ASSERT_TRUE(headless.SetKey(playSpeed, 100, 3.0f));
    ASSERT_TRUE(headless.SetByName("playSpeed", "1", error));
    EXPECT_FLOAT_EQ(block->GetFloat(playSpeed, 50), 2.0f);
}

TEST_F(CacheParamBlock, RefusesBadNamesAndValuesWithAClearMessageAndNoChange) {
    const int before = owner.changes;
    const std::pair<std::pair<const char*, const char*>, const char*> cases[] = {
        {{"foo", "1"}, "unknown parameter \"foo\""},
        {{"52", "1"}, "unknown parameter \"52\""},
        {{"", "1"}, "empty parameter name"},
        {{"scaleUnitsFrom", "1"},
         "parameter name \"scaleUnitsFrom\" is shared by ids 8 and 9: give the id instead"},
        {{"playSpeed", "x"}, "parameter playSpeed needs a number, got \"x\""},
        {{"playSpeed", "1.5x"}, "parameter playSpeed needs a number, got \"1.5x\""},
        {{"playSpeed", "nan"}, "parameter playSpeed needs a number, got \"nan\""},
        {{"playSpeed", "inf"}, "parameter playSpeed needs a number, got \"inf\""},
        {{"playSpeed", ""}, "parameter playSpeed needs a number, got \"\""},
        {{"playFPS", "2.5"}, "parameter playFPS needs a whole number, got \"2.5\""},
        {{"8", "x"}, "parameter 8 (scaleUnitsFrom) needs a whole number, got \"x\""},
        {{"vpWireframe", "2"}, "parameter vpWireframe needs 0 or 1, got \"2\""},
        {{"vpWireframe", "true"}, "parameter vpWireframe needs 0 or 1, got \"true\""},
        {{"elementFrames", "1"}, "parameter elementFrames is a table and cannot be set from text"},
        {{"nodes", "Box01"}, "parameter nodes holds scene nodes and cannot be set from text"},
        {{"triggerOmni", "Omni01"},
         "parameter triggerOmni holds scene nodes and cannot be set from text"},
    };
    for (const auto& [input, message] : cases) {
        EXPECT_FALSE(set(input.first, input.second)) << input.first << "=" << input.second;
        EXPECT_EQ(error, message);
    }
    EXPECT_EQ(owner.changes, before);
    EXPECT_EQ(block->GetFloat(playSpeed), 1.0f);
    EXPECT_EQ(block->GetInt(playFPS), 30);
    EXPECT_EQ(block->GetInt(vpWireframe), 0);
}

} // namespace
