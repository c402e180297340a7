// The description of WK_Cache_Fns and its dispatcher.
#include "script/wkCache_mxs.h"

#include "host/InterfaceServer.h"
#include "object/wkCache_obj.h"
#include "script/wkCacheScriptOps.h"

#include <iterator>
#include <string>
#include <vector>

namespace {

using M = wkCache_mxs;

std::unique_ptr<FPInterface> makeInterface(void* object) {
    return std::make_unique<wkCache_mxs>(*static_cast<wkCache_obj*>(object));
}

// Registered at library load, as the host builds its descriptions.
const bool registered =
    (RegisterClassInterface(wkCache_obj::kClassID, WK_CACHE_FNS_INTERFACE, makeInterface), true);

constexpr std::uint32_t kw = kFPKeywordArg;

// Each group setting's setter id follows its getter's.
constexpr FunctionID setterOf(FunctionID getter) {
    return getter + 1;
}

// A group setting that scripts read and write through a pair of functions: the record's field
// and the object's setter (one undoable step).
template <class T> struct GroupSetting {
    FunctionID get;
    T wkCacheGroup::*field;
    bool (wkCache_obj::*setter)(const WStr&, T);
};

constexpr GroupSetting<bool> kGroupSwitches[] = {
    {M::fnGetGroupEnabled, &wkCacheGroup::enabled, &wkCache_obj::setGroupEnabled},
    {M::fnGetGroupDeleteByAge, &wkCacheGroup::byAge, &wkCache_obj::setGroupByAge},
    {M::fnGetGroupDeleteByDistance, &wkCacheGroup::byDistance, &wkCache_obj::setGroupByDistance},
    {M::fnGetGroupRespectActivation, &wkCacheGroup::respectActivation,
     &wkCache_obj::setGroupRespectActivation},
};

constexpr GroupSetting<float> kGroupAmounts[] = {
    {M::fnGetGroupDelay, &wkCacheGroup::offset, &wkCache_obj::setGroupOffset},
    {M::fnGetGroupDeleteAge, &wkCacheGroup::age, &wkCache_obj::setGroupDeleteAge},
    {M::fnGetGroupDeleteDistance, &wkCacheGroup::distance, &wkCache_obj::setGroupDeleteDistance},
};

// The group settings as scripts see them, in the order of the interface's slots:
// get<name> groupName answers the value, set<name> groupName <value> answers success.
struct DescribedSetting {
    FunctionID get;
    const wchar_t* name;
    const wchar_t* value;
    FPType type;
};

constexpr DescribedSetting kDescribedSettings[] = {
    {M::fnGetGroupEnabled, L"GroupEnabled", L"enabled", FPT_BOOL},
    {M::fnGetGroupDelay, L"GroupDelay", L"delay", FPT_FLOAT},
    {M::fnGetGroupDeleteByAge, L"GroupDeleteByAge", L"byAge", FPT_BOOL},
    {M::fnGetGroupDeleteAge, L"GroupDeleteAge", L"age", FPT_FLOAT},
    {M::fnGetGroupDeleteByDistance, L"GroupDeleteByDistance", L"byDistance", FPT_BOOL},
    {M::fnGetGroupDeleteDistance, L"GroupDeleteDistance", L"dist", FPT_FLOAT},
    {M::fnGetGroupMatID, L"GroupMatID", L"matID", FPT_INT},
};

FPInterfaceDesc describe() {
    // The settings' names, alive until the description has copied them.
    std::vector<std::wstring> names;
    names.reserve(2 * std::size(kDescribedSettings));
    // clang-format off
    std::vector<FPDescItem> items{
        M::fnRecord, L"record", 0, FPT_BOOL, 0, 1,
            L"fileName", 0, FPT_FILENAME, kw, nullptr,
        M::fnGetElementNames, L"getElementNames", 0, FPT_VALUE, 0, 1,
            L"pattern", 0, FPT_STRING, kw, nullptr,
        M::fnGetElementSelection, L"getElementSelection", 0, FPT_VALUE, 0, 0,
        M::fnSetElementSelection, L"setElementSelection", 0, FPT_VALUE, 0, 1,
            L"indices", 0, FPT_VALUE,
        M::fnAddGroup, L"addGroup", 0, FPT_BOOL, 0, 2,
            L"groupName", 0, FPT_STRING,
            L"addSelected", 0, FPT_BOOL, kw, false,
        M::fnDeleteGroup, L"deleteGroup", 0, FPT_BOOL, 0, 1, L"groupName", 0, FPT_STRING,
        M::fnRenameGroup, L"renameGroup", 0, FPT_BOOL, 0, 2,
            L"groupName", 0, FPT_STRING, L"newName", 0, FPT_STRING,
        M::fnGetSelectedGroup, L"getSelectedGroup", 0, FPT_VALUE, 0, 0,
        M::fnSetSelectedGroup, L"setSelectedGroup", 0, FPT_BOOL, 0, 1,
            L"groupName", 0, FPT_STRING,
        M::fnGetGroupMode, L"getGroupMode", 0, FPT_VALUE, 0, 1, L"groupName", 0, FPT_STRING,
        M::fnSetGroupMode, L"setGroupMode", 0, FPT_BOOL, 0, 2,
            L"groupName", 0, FPT_STRING, L"mode", 0, FPT_NAME,
        M::fnGetGroupElements, L"getGroupElements", 0, FPT_VALUE, 0, 1,
            L"groupName", 0, FPT_STRING,
        M::fnSetGroupElements, L"setGroupElements", 0, FPT_VALUE, 0, 2,
            L"groupName", 0, FPT_STRING, L"indices", 0, FPT_VALUE,
        M::fnAddGroupElements, L"addGroupElements", 0, FPT_VALUE, 0, 2,
            L"groupName", 0, FPT_STRING, L"indices", 0, FPT_VALUE,
        M::fnRemoveGroupElements, L"removeGroupElements", 0, FPT_BOOL, 0, 2,
            L"groupName", 0, FPT_STRING, L"indices", 0, FPT_VALUE,
        M::fnMakeGroupElementsUnique, L"makeGroupElementsUnique", 0, FPT_BOOL, 0, 1,
            L"groupName", 0, FPT_STRING,
    };
    for (const DescribedSetting& s : kDescribedSettings) {
        const wchar_t* getter = names.emplace_back(L"get" + std::wstring(s.name)).c_str();
        const wchar_t* setter = names.emplace_back(L"set" + std::wstring(s.name)).c_str();
        items.insert(items.end(), {
            s.get, getter, 0, s.type, 0, 1, L"groupName", 0, FPT_STRING,
            setterOf(s.get), setter, 0, FPT_BOOL, 0, 2,
                L"groupName", 0, FPT_STRING, s.value, 0, s.type,
        });
    }
    items.insert(items.end(), {
        M::fnDeleteAllGroups, L"deleteAllGroups", 0, FPT_VOID, 0, 0,
        M::fnExplode, L"explode", 0, FPT_VALUE, 0, 7,
            L"interval", 0, FPT_INTERVAL,
            L"stepSize", 0, FPT_TIMEVALUE,
            L"selectedOnly", 0, FPT_BOOL, kw, false,
            L"reduceKeys", 0, FPT_BOOL, kw, true,
            L"reduceStepSize", 0, FPT_TIMEVALUE, kw, 0,
            L"reduceThresh", 0, FPT_FLOAT, kw, 0.02,
            L"wkCacheNode", 0, FPT_INODE, kw, nullptr,
        M::fnReduceKeys, L"reduceKeys", 0, FPT_BOOL, 0, 4,
            L"controller", 0, FPT_VALUE,
            L"interval", 0, FPT_INTERVAL,
            L"stepSize", 0, FPT_TIMEVALUE,
            L"thresh", 0, FPT_FLOAT, kw, 0.02,
        M::fnDebugPrint, L"debugPrint", 0, FPT_VOID, 0, 0,
        kFPProperties,
        M::propVersion, FP_NO_FUNCTION, L"version", 0, FPT_FLOAT,
        M::propFileVersion, FP_NO_FUNCTION, L"fileVersion", 0, FPT_INT,
        M::propCacheStart, FP_NO_FUNCTION, L"cacheStart", 0, FPT_TIMEVALUE,
        M::propCacheEnd, FP_NO_FUNCTION, L"cacheEnd", 0, FPT_TIMEVALUE,
        M::propCacheStepSize, FP_NO_FUNCTION, L"cacheStepSize", 0, FPT_INT,
        M::propCacheFrameRate, FP_NO_FUNCTION, L"cacheFrameRate", 0, FPT_INT,
        M::propCacheNumNodes, FP_NO_FUNCTION, L"cacheNumNodes", 0, FPT_INT,
        M::propCacheNumSamples, FP_NO_FUNCTION, L"cacheNumSamples", 0, FPT_INT,
        M::propCacheHasVisibility, FP_NO_FUNCTION, L"cacheHasVisibility", 0, FPT_BOOL,
        M::propCacheHasSpecifiedNormals, FP_NO_FUNCTION, L"cacheHasSpecifiedNormals", 0,
            FPT_BOOL,
        kFPEnd,
    });
    // clang-format on
    // The class descriptor is the cache object's class; its address stands for it here.
    return FPInterfaceDesc(WK_CACHE_FNS_INTERFACE, L"WK_Cache_Fns", 0, &wkCache_obj::kClassID,
                           FP_MIXIN, items);
}

} // namespace

FPInterfaceDesc& wkCache_mxs::Desc() {
    static FPInterfaceDesc desc = describe();
    (void)registered;
    return desc;
}

FPStatus wkCache_mxs::Invoke(FunctionID fid, TimeValue, FPValue& result, const FPParams& p) {
    using namespace wkCacheScript;
    wkCache_obj& o = object;
    // Reads argument i in the form the description gives it.
    auto str = [&](int i) { return p[i].value.isUndefined() ? WStr() : p[i].value.toString(); };
    auto flag = [&](int i) { return p[i].value.toInt() == 1; };
    auto real = [&](int i) { return p[i].value.toFloat(); };
    auto answer = [&](std::int32_t type, Value v) { result = FPValue{type, std::move(v)}; };
    auto yes = [&](bool b) { answer(FPT_BOOL, std::int32_t{b ? 1 : 0}); };
    auto group = [&](int i) -> const wkCacheGroup& { return existingGroup(o, str(i)); };
    // The getter answers the field, the setter the object's answer; both need the group.
    auto setting = [&](const auto& settings, auto read, auto give) {
        for (const auto& s : settings) {
            if (fid == s.get) {
                give(group(0).*s.field);
                return true;
            }
            if (fid == setterOf(s.get)) {
                group(0);
                yes((o.*s.setter)(str(0), read(1)));
                return true;
            }
        }
        return false;
    };
    if (setting(kGroupSwitches, flag, yes) ||
        setting(kGroupAmounts, real, [&](float v) { answer(FPT_FLOAT, v); }))
        return FPS_OK;

    switch (fid) {
    case fnRecord:
        yes(record(o, p[0].value));
        break;
    case fnGetElementNames:
        answer(FPT_VALUE, elementNames(o, str(0)));
        break;
    case fnGetElementSelection:
        answer(FPT_VALUE, elementSelection(o));
        break;
    case fnSetElementSelection:
        answer(FPT_VALUE, setElementSelection(o, p[0].value));
        break;
    case fnAddGroup:
        yes(addGroup(o, str(0), flag(1)));
        break;
    case fnDeleteGroup:
        yes(o.removeGroup(str(0)));
        break;
    case fnRenameGroup:
        yes(o.renameGroup(str(0), str(1)));
        break;
    case fnGetSelectedGroup:
        answer(FPT_VALUE, selectedGroupName(o));
        break;
    case fnSetSelectedGroup:
        group(0);
        yes(o.selectGroup(str(0)));
        break;
    case fnGetGroupMode:
        answer(FPT_VALUE, groupModeName(group(0)));
        break;
    case fnSetGroupMode:
        yes(setGroupMode(o, str(0), p[1].value));
        break;
    case fnGetGroupElements:
        answer(FPT_VALUE, groupElements(group(0)));
        break;
    // The three element steps answer a boolean whatever the description declares.
    case fnSetGroupElements:
        yes(changeGroupElements(o, str(0), p[1].value, ElementChange::Set));
        break;
    case fnAddGroupElements:
        yes(changeGroupElements(o, str(0), p[1].value, ElementChange::Add));
        break;
    case fnRemoveGroupElements:
        yes(changeGroupElements(o, str(0), p[1].value, ElementChange::Remove));
        break;
    case fnMakeGroupElementsUnique:
        yes(o.makeGroupElementsUnique(str(0)));
        break;
    case fnGetGroupMatID:
        answer(FPT_INT, group(0).materialId + 1);
        break;
    case fnSetGroupMatID:
        yes(setGroupMatID(o, str(0), p[1].value.toInt()));
        break;
    case fnDeleteAllGroups:
        o.removeAllGroups();
        answer(FPT_VOID, Value());
        break;
    case fnExplode:
        answer(FPT_VALUE, explode(o, p));
        break;
    case fnReduceKeys:
        yes(reduceKeys(o, p));
        break;
    case fnDebugPrint:
        debugPrint();
        answer(FPT_VOID, Value());
        break;
    case propVersion:
        answer(FPT_FLOAT, 1.02f);
        break;
    case propFileVersion:
        answer(FPT_INT, std::int32_t{3});
        break;
    case propCacheStart:
    case propCacheEnd:
    case propCacheStepSize:
    case propCacheFrameRate:
    case propCacheNumNodes:
    case propCacheNumSamples:
    case propCacheHasVisibility:
    case propCacheHasSpecifiedNormals:
        result = cacheFact(o, fid);
        break;
    default:
        // Ids outside the interface are a failed call.
        return FPS_FAIL;
    }
    return FPS_OK;
}
