// The group list: unique names, script names, the selection across edits, and element sets.
#include "elements/wkCacheGroupList.h"

#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

namespace {

wkCacheGroupList listOf(std::initializer_list<const wchar_t*> names) {
    wkCacheGroupList list;
    for (const wchar_t* name : names)
        EXPECT_TRUE(list.addGroup(WStr(name)));
    return list;
}

std::vector<WStr> namesOf(const wkCacheGroupList& list) {
    std::vector<WStr> names;
    for (const wkCacheGroup& g : list.all())
        names.push_back(g.name);
    return names;
}

TEST(GroupList, UniqueNamesFillTheFirstFreeNumberOfTheStem) {
    wkCacheGroupList list = listOf({L"Group001"});
    list.addDefaultGroup();
    EXPECT_EQ(list.at(1).name, WStr(L"Group002"));

    list = listOf({L"Group001", L"Group003"});
    list.addDefaultGroup();
    EXPECT_EQ(list.at(2).name, WStr(L"Group002"));

    list = listOf({L"Smoke", L"Explosion7", L"A1", L"7"});
    EXPECT_EQ(list.makeUniqueName(WStr(L"Smoke")), WStr(L"Smoke001"));
    EXPECT_EQ(list.makeUniqueName(WStr(L"Explosion7")), WStr(L"Explo001"));
    EXPECT_EQ(list.makeUniqueName(WStr(L"A1")), WStr(L"A1001"));
    EXPECT_EQ(list.makeUniqueName(WStr(L"7")), WStr(L"7001"));
    // Free names come back as they are, and names compare with their case.
    EXPECT_EQ(list.makeUniqueName(WStr(L"smoke")), WStr(L"smoke"));
}

TEST(GroupList, UniqueNumbersGrowBeyondThreeDigits) {
    wkCacheGroupList list;
    for (int i = 1; i <= 999; ++i) {
        WStr name;
        name.printf(L"Group%03d", i);
        ASSERT_TRUE(list.addRecord(wkCacheGroup(name)));
    }
    EXPECT_EQ(list.makeUniqueName(WStr(L"Group001")), WStr(L"Group1000"));
    list.addDefaultGroup();
    EXPECT_EQ(list.at(999).name, WStr(L"Group1000"));
    EXPECT_EQ(list.selected(), -1);
}

TEST(GroupList, ScriptNamesAreIdentifiers) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"123 Rock!", L"Rock"},
        {L"Smoke_01", L"Smoke01"},
        // Only the digits before the first other character go.
        {L"1 2a", L"2a"},
        {L"42", L""},
        {L"Gr\u00f6\u00dfe Wolke", L"GreWolke"},
    };
    for (const auto& [name, script] : cases)
        EXPECT_EQ(wkCacheGroup(WStr(name)).scriptName, WStr(script)) << WStr(name).ToCStr().str();

    wkCacheGroupList list = listOf({L"Old"});
    EXPECT_TRUE(list.renameGroup(WStr(L"Old"), WStr(L"9 New Name")));
    EXPECT_EQ(list.at(0).scriptName, WStr(L"NewName"));
}

TEST(GroupList, AddingRefusesEmptyAndTakenNames) {
    wkCacheGroupList list = listOf({L"A", L"B"});
    EXPECT_EQ(list.selected(), 1); // the last one added
    EXPECT_FALSE(list.addGroup(WStr()));
    EXPECT_FALSE(list.addGroup(WStr(L"A")));
    EXPECT_TRUE(list.addGroup(WStr(L"a")));
    list.addDefaultGroup();
    EXPECT_EQ(list.selected(), 2);

    wkCacheGroup record(WStr(L"A"));
    record.offset = 3.0f;
    EXPECT_FALSE(list.addRecord(record));
    EXPECT_EQ(list.at(0).offset, 0.0f);
    // A nameless record keeps its empty name while no group has it; the next one is numbered.
    EXPECT_TRUE(list.addRecord(wkCacheGroup()));
    EXPECT_TRUE(list.addRecord(wkCacheGroup()));
    EXPECT_EQ(list.at(4).name, WStr());
    EXPECT_EQ(list.at(5).name, WStr(L"001"));
}

TEST(GroupList, DeletingKeepsTheSelectionOnItsGroup) {
    wkCacheGroupList list = listOf({L"A", L"B", L"C", L"D"});
    ASSERT_TRUE(list.setSelected(2)); // C
    EXPECT_TRUE(list.deleteGroup(WStr(L"D")));
    EXPECT_EQ(list.selected(), 2);
    EXPECT_TRUE(list.deleteGroup(WStr(L"A")));
    EXPECT_EQ(list.at(list.selected()).name, WStr(L"C"));
    EXPECT_TRUE(list.deleteGroup(WStr(L"C")));
    EXPECT_EQ(list.selected(), -1);
    EXPECT_FALSE(list.deleteGroup(WStr(L"C")));
    EXPECT_EQ(namesOf(list), std::vector<WStr>{WStr(L"B")});

    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.selected(), -1);
}

TEST(GroupList, MovingCarriesTheSelection) {
    wkCacheGroupList list = listOf({L"A", L"B", L"C"});
    ASSERT_TRUE(list.setSelected(0));
    EXPECT_TRUE(list.moveGroup(WStr(L"A"), 1));
    EXPECT_EQ(namesOf(list), (std::vector<WStr>{WStr(L"B"), WStr(L"A"), WStr(L"C")}));
    EXPECT_EQ(list.selected(), 1);
    // Moving the neighbour past it pushes the selection the other way.
    EXPECT_TRUE(list.moveGroup(WStr(L"C"), -5));
    EXPECT_EQ(namesOf(list), (std::vector<WStr>{WStr(L"B"), WStr(L"C"), WStr(L"A")}));
    EXPECT_EQ(list.selected(), 2);

    // The ends stay put, and say so with success.
    EXPECT_TRUE(list.moveGroup(WStr(L"B"), -1));
    EXPECT_TRUE(list.moveGroup(WStr(L"A"), 1));
    EXPECT_EQ(namesOf(list), (std::vector<WStr>{WStr(L"B"), WStr(L"C"), WStr(L"A")}));
    EXPECT_FALSE(list.moveGroup(WStr(L"B"), 0));
    EXPECT_FALSE(list.moveGroup(WStr(L"X"), 1));
    EXPECT_EQ(list.selected(), 2);
}

TEST(GroupList, SelectingAndRenamingRefuseWhatChangesNothing) {
    wkCacheGroupList list = listOf({L"A", L"B"});
    EXPECT_FALSE(list.setSelected(1)); // already
    EXPECT_FALSE(list.setSelected(-1));
    EXPECT_FALSE(list.setSelected(2));
    EXPECT_TRUE(list.setSelected(0));

    EXPECT_FALSE(list.renameGroup(WStr(L"A"), WStr(L"A")));
    EXPECT_FALSE(list.renameGroup(WStr(L"A"), WStr(L"B")));
    EXPECT_FALSE(list.renameGroup(WStr(L"A"), WStr()));
    EXPECT_FALSE(list.renameGroup(WStr(L"X"), WStr(L"Y")));
    EXPECT_EQ(namesOf(list), (std::vector<WStr>{WStr(L"A"), WStr(L"B")}));
}

TEST(GroupList, ElementSetsReplaceTakeAndPrune) {
    wkCacheGroupList list = listOf({L"A", L"B", L"C"});
    ASSERT_TRUE(list.setGroupElements(WStr(L"A"), {1, 2, 3}, false));
    ASSERT_TRUE(list.setGroupElements(WStr(L"B"), {2, 3, 4}, false));
    ASSERT_TRUE(list.setGroupElements(WStr(L"C"), {3, 9}, false));
    EXPECT_EQ(list.at(0).elements, (std::set<std::uint32_t>{1, 2, 3}));

    // Exclusive: the named group gets the set, every other loses it.
    ASSERT_TRUE(list.setGroupElements(WStr(L"B"), {3, 5}, true));
    EXPECT_EQ(list.at(0).elements, (std::set<std::uint32_t>{1, 2}));
    EXPECT_EQ(list.at(1).elements, (std::set<std::uint32_t>{3, 5}));
    EXPECT_EQ(list.at(2).elements, (std::set<std::uint32_t>{9}));

    ASSERT_TRUE(list.setGroupElements(WStr(L"C"), {1, 3, 9}, false));
    ASSERT_TRUE(list.makeGroupElementsUnique(WStr(L"C")));
    EXPECT_EQ(list.at(0).elements, (std::set<std::uint32_t>{2}));
    EXPECT_EQ(list.at(1).elements, (std::set<std::uint32_t>{5}));
    EXPECT_EQ(list.at(2).elements, (std::set<std::uint32_t>{1, 3, 9}));
    EXPECT_FALSE(list.makeGroupElementsUnique(WStr(L"X")));
    EXPECT_FALSE(list.setGroupElements(WStr(L"X"), {1}, true));
    EXPECT_EQ(list.at(2).elements, (std::set<std::uint32_t>{1, 3, 9}));

    // A cache of 8 elements: index 9 goes, 3 stays.
    list.pruneElements(8);
    EXPECT_EQ(list.at(2).elements, (std::set<std::uint32_t>{1, 3}));
    list.pruneElements(-1);
    for (const wkCacheGroup& g : list.all())
        EXPECT_TRUE(g.elements.empty()) << g.name.ToCStr().str();
}

TEST(GroupRecord, SettersClampWhatTheUserEnters) {
    wkCacheGroup g(WStr(L"G"));
    EXPECT_EQ(g.mode, wkCacheGroupMode::HoldIn);
    EXPECT_EQ(g.materialId, 0); // until first set
    g.setMode(-3);
    EXPECT_EQ(g.mode, wkCacheGroupMode::Delete);
    g.setMode(17);
    EXPECT_EQ(g.mode, wkCacheGroupMode::SetMaterialId);
    g.setMaterialId(0);
    EXPECT_EQ(g.materialId, 1);
    g.setMaterialId(100);
    EXPECT_EQ(g.materialId, 99);
    g.setAge(-1.0f);
    g.setDistance(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(g.age, 0.0f);
    EXPECT_EQ(g.distance, 0.0f);
    g.setOffset(-4.5f);
    EXPECT_EQ(g.offset, -4.5f);

    EXPECT_STREQ(groupModeLabel(wkCacheGroupMode::Delete), L"Delete");
    EXPECT_STREQ(groupModeLabel(wkCacheGroupMode::SetMaterialId), L"Set Material ID");
    EXPECT_STREQ(groupModeLabel(static_cast<wkCacheGroupMode>(6)), L"");
}

} // namespace
