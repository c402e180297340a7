// The description and dispatcher of WK_Cache_Fns at the level the host sees them: ids, types,
// keyword defaults, the ids that are dispatched but hidden, and the host's argument checks.
#include "host/OutOfRangeException.h"
#include "host/ScriptError.h"
#include "script/wkCache_mxs.h"
#include "tests/cachefile/AllocationProbe.h"
#include "tests/object/CacheObjectFixture.h"
#include "tests/panels/PanelFixture.h"

namespace {

using objtest::CacheObjectTest;
using paneltest::PanelTest;

TEST(WkCacheFnsDesc, IdsTypesAndKeywordDefaults) {
    const FPInterfaceDesc& d = wkCache_mxs::Desc();
    EXPECT_EQ(d.id, (Interface_ID{0x4306492F, 0x5C20F67C}));
    EXPECT_EQ(d.flags, FP_MIXIN);
    ASSERT_EQ(d.functions.size(), 34u);
    ASSERT_EQ(d.props.size(), 10u);
    for (std::size_t i = 0; i < d.functions.size(); ++i)
        EXPECT_EQ(d.functions[i].id, static_cast<FunctionID>(i < 30 ? i : i + 2));
    for (std::size_t i = 0; i < d.props.size(); ++i) {
        EXPECT_EQ(d.props[i].getter, static_cast<FunctionID>(36 + i));
        EXPECT_EQ(d.props[i].setter, FP_NO_FUNCTION);
    }
    const FPFunctionDef& explode = *d.findFunction(L"EXPLODE");
    ASSERT_EQ(explode.params.size(), 7u);
    EXPECT_FALSE(explode.params[1].keyword);
    EXPECT_EQ(explode.params[3].defaultValue, Value(std::int32_t{1}));
    EXPECT_EQ(explode.params[5].defaultValue, Value(0.02f));
    EXPECT_TRUE(explode.params[6].defaultValue.isUndefined());
    EXPECT_EQ(d.findFunction(L"getGroupRespectActivation"), nullptr);
}

TEST_F(CacheObjectTest, ScriptDispatchByIdAndHostChecks) {
    auto& fp = *static_cast<FPInterface*>(object->GetInterface(WK_CACHE_FNS_INTERFACE));
    EXPECT_EQ(object->GetInterface(Interface_ID{1, 2}), nullptr);
    FPValue result;
    const FPParams none;
    for (FunctionID outside : {-1, 46})
        EXPECT_EQ(fp.Invoke(outside, 0, result, none), FPS_FAIL);
    // The host's array raises for a missing argument: the functions count nothing.
    EXPECT_THROW(fp.Invoke(wkCache_mxs::fnDeleteGroup, 0, result, none),
                 MaxSDK::Util::OutOfRangeException);

    ASSERT_TRUE(object->addGroup(L"A"));
    const FPParams nameAndOff({{FPT_STRING, Value(WStr(L"A"))}, {FPT_BOOL, std::int32_t{2}}});
    // Hidden ids 30 and 31: Respect Activation; a boolean counts only when it is 1.
    ASSERT_EQ(fp.Invoke(wkCache_mxs::fnSetGroupRespectActivation, 0, result, nameAndOff), FPS_OK);
    ASSERT_EQ(fp.Invoke(wkCache_mxs::fnGetGroupRespectActivation, 0, result, nameAndOff), FPS_OK);
    EXPECT_EQ(result.type, FPT_BOOL);
    EXPECT_EQ(result.value, Value(std::int32_t{0}));
    const FPParams unknown({{FPT_STRING, Value(WStr(L"B"))}});
    EXPECT_THROW(fp.Invoke(wkCache_mxs::fnGetGroupRespectActivation, 0, result, unknown),
                 ScriptError);
}

// Calls by name, as a script does, on an object whose two-element cache is loaded.
class ScriptCallTest : public CacheObjectTest {
protected:
    void SetUp() override {
        CacheObjectTest::SetUp();
        useFile(path);
        object->updateCacheMesh(0);
    }
    Value call(const wchar_t* name, std::vector<Value> positional,
               std::vector<std::pair<WStr, Value>> keywords = {}) {
        auto& fp = *static_cast<FPInterface*>(object->GetInterface(WK_CACHE_FNS_INTERFACE));
        return CallFunction(fp, name, 0, positional, keywords);
    }
};

TEST_F(ScriptCallTest, SelectionAndGroupStepsRedrawAndHoldOnlyChanges) {
    const Value second(Value::Array{Value(std::int32_t{2})});
    const int redraws = host.Nodes().RedrawRequests();
    for (int i = 0; i < 2; ++i) // the second call changes nothing: no redraw
        call(L"setElementSelection", {second});
    EXPECT_EQ(host.Nodes().RedrawRequests(), redraws + 1);
    // Unnamed groups take the selection whatever addSelected says; named ones only when asked.
    call(L"addGroup", {Value(L"")}, {{L"addSelected", Value(false)}});
    call(L"addGroup", {Value(L"A")});
    EXPECT_EQ(call(L"getGroupElements", {Value(L"Group001")}).ToScriptText(), WStr(L"#{2}"));
    const int steps = host.Hold().NumUndoSteps();
    EXPECT_EQ(call(L"makeGroupElementsUnique", {Value(L"A")}), Value(true)); // has none
    EXPECT_EQ(host.Hold().NumUndoSteps(), steps);
    call(L"setGroupEnabled", {Value(L"A"), Value(false)});
    EXPECT_EQ(host.Nodes().RedrawRequests(), redraws + 4);
}

// An index far beyond the element count is dropped without the bit set growing to hold it.
TEST_F(ScriptCallTest, IndicesBeyondTheElementCountCostNoMemory) {
    ASSERT_TRUE(object->addGroup(L"A"));
    const Value indices(Value::Array{Value(std::int32_t{2}), Value(std::int32_t{2000000000})});
    const struct {
        const wchar_t* function;
        std::vector<Value> args;
    } calls[] = {
        {L"setElementSelection", {indices}},
        {L"setGroupElements", {Value(L"A"), indices}},
        {L"addGroupElements", {Value(L"A"), indices}},
        {L"removeGroupElements", {Value(L"A"), indices}},
    };
    for (const auto& c : calls) {
        allocprobe::LargestAllocation largest;
        call(c.function, c.args);
        EXPECT_LT(largest.bytes(), 1u << 20) << c.function;
    }
    EXPECT_EQ(call(L"getElementSelection", {}).ToScriptText(), WStr(L"#{2}"));
    EXPECT_EQ(call(L"getGroupElements", {Value(L"A")}).ToScriptText(), WStr(L"#{}"));
    // A scene file can hold any index: one no bit set can hold leaves the others shown.
    ASSERT_TRUE(object->setGroupElements(L"A", {3u, 0xFFFFFFFFu}, false, false));
    EXPECT_EQ(call(L"getGroupElements", {Value(L"A")}).ToScriptText(), WStr(L"#{4}"));
}

TEST_F(ScriptCallTest, KeywordsMatchWithoutRegardToCase) {
    // Script names ignore case, the names of keyword arguments as well as of functions.
    EXPECT_EQ(call(L"GETELEMENTNAMES", {}, {{L"PATTERN", Value(L"b")}}).ToScriptText(),
              WStr(L"#(#(1, \"b\"))"));
    EXPECT_THROW(call(L"getElementNames", {}, {{L"patterns", Value(L"b")}}), ScriptError);
}

TEST_F(ScriptCallTest, ReduceKeysPassesOverNullNodesAndControllers) {
    const Value nulls(
        Value::Array{Value(static_cast<INode*>(nullptr)), Value(ScriptController{nullptr})});
    for (const Value& controller : {nulls, nulls.get<Value::Array>()[0]})
        EXPECT_EQ(
            call(L"reduceKeys", {controller, Value(Interval(0, 320)), Value(ScriptTime{160})}),
            Value(true));
}

// A file that was missing at the object's update and has come since is printed with its data,
// as every other lookup of the registry reloads a failed reader.
TEST_F(CacheObjectTest, DebugPrintReloadsAFailedReader) {
    useFile(dir.file("later.wkc").string());
    object->updateCacheMesh(0);
    dir.write("later.wkc", objtest::twoElementCache());
    host.Listener().Clear();
    auto& fp = *static_cast<FPInterface*>(object->GetInterface(WK_CACHE_FNS_INTERFACE));
    FPValue result;
    ASSERT_EQ(fp.Invoke(wkCache_mxs::fnDebugPrint, 0, result, FPParams()), FPS_OK);
    const std::wstring printed = host.Listener().Text().str();
    EXPECT_NE(printed.find(L"\tNumber of Frames : 3\n"), std::wstring::npos) << printed;
    EXPECT_NE(printed.find(L"\tObjects          : 2\n"), std::wstring::npos) << printed;
}

// A script's choice of group shows in an open panel: the list marks the group whose settings
// the controls show.
TEST_F(PanelTest, ScriptSelectedGroupIsMarkedInThePanelList) {
    loadTwoElements();
    ASSERT_TRUE(object->addGroup(L"A"));
    ASSERT_TRUE(object->addGroup(L"B"));
    ASSERT_EQ(user.selected(1070), 1);
    auto& fp = *static_cast<FPInterface*>(object->GetInterface(WK_CACHE_FNS_INTERFACE));
    FPValue result;
    ASSERT_EQ(fp.Invoke(wkCache_mxs::fnSetSelectedGroup, 0, result,
                        FPParams({{FPT_STRING, Value(WStr(L"A"))}})),
              FPS_OK);
    EXPECT_EQ(user.selected(1070), 0);
}

TEST(ScriptValueText, AsTheScriptPrintsIt) {
    const struct {
        Value value;
        const wchar_t* text;
    } cases[] = {
        {Value(Value::Array{Value(std::int32_t{1}), Value(WStr(L"a"))}), L"#(1, \"a\")"},
        {Value(Value::Array{Value(std::int32_t{1}), Value(std::int32_t{2}), Value(std::int32_t{3}),
                            Value(std::int32_t{5})})
             .toBitArray(),
         L"#{1..3, 5}"},
        {Value(ScriptName{L"delete"}), L"#delete"},
        {Value(2.5f), L"2.5"},
        {Value(), L"undefined"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.value.ToScriptText(), WStr(c.text));
    EXPECT_THROW(Value(WStr(L"x")).toInt(), ScriptError);
    EXPECT_THROW(Value(Value::Array{Value(std::int32_t{0})}).toBitArray(), ScriptError);
}

} // namespace
