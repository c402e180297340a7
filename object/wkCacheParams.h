// The cache object's parameter block: the ids of its 52 parameters and their description.
//
// Scene files store these ids: they never change. Each enumerator is the parameter's internal
// name, except for ids 8 and 9, which share one internal name.
#pragma once

#include "host/ParamBlock.h"

namespace wkCacheParam {

// One line for each run of ids that belong together, in the order of the ids.
// clang-format off
enum Id : ParamID {
    iconSize = 0, scaleUnits = 1, nodes = 2, fileName = 3,
    playStart = 4, playSpeed = 5, playFPS = 6, playSpeedSteps = 7,
    // Ids 8 and 9 both carry the internal name "scaleUnitsFrom"; 8 is the unit converted from,
    // 9 the unit converted to.
    scaleUnitsFrom = 8, scaleUnitsTo = 9,
    playReverse = 10, playUseGraph = 11, playFrame = 12, playInORT = 13, playOutORT = 14,
    vpWireframe = 15, vpBoxMode = 16, vpInterpolate = 17, vpHideObjects = 18, vpShowMarkers = 19,
    vpDisplayIcon = 20, vpDisplayCache = 21,
    rendBoxMode = 22, rendInterpolate = 23, rendApplyMatID = 24, rendMatID = 25,
    rendDontDelete = 26,
    recStart = 27, recEnd = 28, recStep = 29, recSaveMaterial = 30,
    loadTypeLocal = 31, // 0 Stream, 1 Per-Sample, 2 Pre-Load
    loadTypeSlave = 32, // 0 Per-Sample, 1 Pre-Load: no Stream here
    elementFrames = 33,
    triggerMode = 34, // a bool that holds 0 to 2
    triggerOmni = 35, triggerInteractive = 36,
    explodeStart = 37, explodeEnd = 38, explodeStep = 39,
    explodeReduce = 40, explodeReduceStep = 41, explodeReduceThresh = 42,
    explodeSelectedOnly = 43,
    triggerSteps = 44,
    explodeTo = 45, // a bool that holds 0 to 3
    explodeToNode = 46,
    recClearNodeList = 47,
    pb_recWriteDeform = 48, pb_recWriteTransform = 49, pb_recWriteTopology = 50,
    vpDeleteObjects = 51,
};
// clang-format on

inline constexpr int kParamCount = 52;

} // namespace wkCacheParam

// The block description: block id 0, "params", in the order of declaration (which is not the
// order of the ids). One instance for the process, made on first use.
ParamBlockDesc2& wkCacheParamBlockDesc();
// The accessor of elementFrames (wkCache_objAccessor.cpp): entry i is named after group i,
// "Group001_Frame", and an entry without its group has no name.
PBAccessor& wkCacheElementFramesAccessor();
