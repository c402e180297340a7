// wkCache_mxs: the script interface WK_Cache_Fns of a cache object. Every function is a thin
// shell over an operation of the object that the panels use too: it converts the script's
// values, finds the group by its exact name, and raises the script's errors.
//
// Indices: getElementNames answers 0-based indices, every other function takes and gives
// 1-based ones (arrays of integers, or BitArray values), one above the names' numbers. Group
// material ids are 1-based here and 0-based in the object.
#pragma once

#include "host/FPInterface.h"

class wkCache_obj;

inline constexpr Interface_ID WK_CACHE_FNS_INTERFACE{0x4306492F, 0x5C20F67C};

class wkCache_mxs final : public FPMixinInterface {
public:
    // Function ids, in the order of the interface's slots.
    enum FnId : FunctionID {
        fnRecord,
        fnGetElementNames,
        fnGetElementSelection,
        fnSetElementSelection,
        fnAddGroup,
        fnDeleteGroup,
        fnRenameGroup,
        fnGetSelectedGroup,
        fnSetSelectedGroup,
        fnGetGroupMode,
        fnSetGroupMode,
        fnGetGroupElements,
        fnSetGroupElements,
        fnAddGroupElements,
        fnRemoveGroupElements,
        fnMakeGroupElementsUnique,
        fnGetGroupEnabled,
        fnSetGroupEnabled,
        fnGetGroupDelay,
        fnSetGroupDelay,
        fnGetGroupDeleteByAge,
        fnSetGroupDeleteByAge,
        fnGetGroupDeleteAge,
        fnSetGroupDeleteAge,
        fnGetGroupDeleteByDistance,
        fnSetGroupDeleteByDistance,
        fnGetGroupDeleteDistance,
        fnSetGroupDeleteDistance,
        fnGetGroupMatID,
        fnSetGroupMatID,
        // Dispatched, not described: scripts cannot reach them.
        fnGetGroupRespectActivation,
        fnSetGroupRespectActivation,
        fnDeleteAllGroups,
        fnExplode,
        fnReduceKeys,
        fnDebugPrint,
        // Property getters.
        propVersion,
        propFileVersion,
        propCacheStart,
        propCacheEnd,
        propCacheStepSize,
        propCacheFrameRate,
        propCacheNumNodes,
        propCacheNumSamples,
        propCacheHasVisibility,
        propCacheHasSpecifiedNormals,
    };

    explicit wkCache_mxs(wkCache_obj& object_) : object(object_) {}

    // The one description of WK_Cache_Fns.
    static FPInterfaceDesc& Desc();
    FPInterfaceDesc* GetDesc() override { return &Desc(); }
    FPStatus Invoke(FunctionID fid, TimeValue t, FPValue& result, const FPParams& params) override;

private:
    wkCache_obj& object;
};
