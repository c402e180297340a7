#include "object/wkCacheParams.h"

#include <type_traits>

namespace {

using namespace wkCacheParam;

// Flags as the rows pass them to the host. 0x9089 is the float table of group frames:
// animatable and variable in size, with further host bits that are passed on unchanged.
constexpr std::uint32_t kPlain = P_RESET_DEFAULT;
constexpr std::uint32_t kAnimated = P_RESET_DEFAULT | P_ANIMATABLE;
constexpr std::uint32_t kElementFramesFlags = 0x9089;

// The range spinners of whole numbers and of most floats share.
constexpr int kWholeLimit = 9999999;
constexpr float kFloatLimit = 999999.0f;

ParamDef row(ParamID id, const char* name, ParamType2 type, std::uint32_t flags, int label) {
    ParamDef def;
    def.id = id;
    def.internalName = name;
    def.type = type;
    def.flags = flags;
    def.localNameId = label;
    return def;
}

// A row with a range: float and world float take the float fields; int, and the bools that
// hold a choice of several, the int fields.
template <class T>
ParamDef rangedRow(ParamID id, const char* name, ParamType2 type, std::uint32_t flags, int label,
                   T defaultValue, T low, T high) {
    ParamDef def = row(id, name, type, flags, label);
    def.hasRange = true;
    if constexpr (std::is_same_v<T, float>) {
        def.defaultFloat = defaultValue;
        def.rangeLowFloat = low;
        def.rangeHighFloat = high;
    } else {
        def.defaultInt = defaultValue;
        def.rangeLowInt = low;
        def.rangeHighInt = high;
    }
    return def;
}

ParamDef boolRow(ParamID id, const char* name, int label, int defaultValue) {
    ParamDef def = row(id, name, TYPE_BOOL, kPlain, label);
    def.defaultInt = defaultValue;
    return def;
}

ParamBlockDesc2 makeDesc() {
    ParamBlockDesc2 desc;
    desc.id = 0;
    desc.internalName = "params";
    // Made automatically as reference 0 of the object, with panels from several maps.
    desc.flags = 0x226;
    desc.version = 0;

    ParamDef file = row(fileName, "fileName", TYPE_FILENAME, kPlain, 15);
    file.assetType = kAssetTypeCache;

    desc.params = {
        rangedRow(iconSize, "iconSize", TYPE_WORLD, kPlain, 6, 0.0f, 0.0f, kFloatLimit),
        row(nodes, "nodes", TYPE_INODE_TAB, P_VARIABLE_SIZE, 8),
        file,
        rangedRow(playStart, "playStart", TYPE_INT, kPlain, 10, 0, -kWholeLimit, kWholeLimit),
        rangedRow(playSpeed, "playSpeed", TYPE_FLOAT, kAnimated, 11, 1.0f, -kFloatLimit,
                  kFloatLimit),
        rangedRow(playFPS, "playFPS", TYPE_INT, kAnimated, 1017, 30, 1, 999999),
        rangedRow(playSpeedSteps, "playSpeedSteps", TYPE_INT, kPlain, 65, 0, 0, 3),
        rangedRow(scaleUnitsFrom, "scaleUnitsFrom", TYPE_INT, kPlain, 2026, 0, 0, 6),
        rangedRow(scaleUnitsTo, "scaleUnitsFrom", TYPE_INT, kPlain, 2027, 0, 0, 6),
        boolRow(playReverse, "playReverse", 97, 0),
        boolRow(playUseGraph, "playUseGraph", 25, 0),
        rangedRow(playFrame, "playFrame", TYPE_FLOAT, kAnimated, 26, 0.0f, -9999999.0f, 9999999.0f),
        rangedRow(scaleUnits, "scaleUnits", TYPE_FLOAT, kAnimated, 2018, 1.0f, 1e-07f, kFloatLimit),
        rangedRow(playInORT, "playInORT", TYPE_INT, kPlain, 27, 1, 0, 3),
        rangedRow(playOutORT, "playOutORT", TYPE_INT, kPlain, 28, 1, 0, 3),
        boolRow(vpWireframe, "vpWireframe", 13, 0),
        boolRow(vpBoxMode, "vpBoxMode", 14, 0),
        boolRow(vpInterpolate, "vpInterpolate", 18, 1),
        boolRow(vpHideObjects, "vpHideObjects", 19, 1),
        boolRow(vpShowMarkers, "vpShowMarkers", 20, 1),
        boolRow(vpDisplayIcon, "vpDisplayIcon", 33, 1),
        boolRow(vpDisplayCache, "vpDisplayCache", 34, 1),
        boolRow(rendBoxMode, "rendBoxMode", 21, 0),
        boolRow(rendInterpolate, "rendInterpolate", 22, 1),
        boolRow(rendApplyMatID, "rendApplyMatID", 23, 0),
        rangedRow(rendMatID, "rendMatID", TYPE_INT, kPlain, 24, 99, 1, 99),
        boolRow(rendDontDelete, "rendDontDelete", 39, 0),
        rangedRow(recStart, "recStart", TYPE_INT, kPlain, 36, 0, -kWholeLimit, kWholeLimit),
        rangedRow(recEnd, "recEnd", TYPE_INT, kPlain, 37, 0, -kWholeLimit, kWholeLimit),
        rangedRow(recStep, "recStep", TYPE_FLOAT, kPlain, 38, 1.0f, 0.001f, kFloatLimit),
        boolRow(recSaveMaterial, "recSaveMaterial", 70, 1),
        rangedRow(loadTypeLocal, "loadTypeLocal", TYPE_INT, kPlain, 40, 0, 0, 2),
        rangedRow(loadTypeSlave, "loadTypeSlave", TYPE_INT, kPlain, 41, 0, 0, 1),
        row(elementFrames, "elementFrames", TYPE_FLOAT_TAB, kElementFramesFlags, 86),
        rangedRow(triggerMode, "triggerMode", TYPE_BOOL, kPlain, 88, 0, 0, 2),
        row(triggerOmni, "triggerOmni", TYPE_INODE, kPlain, 92),
        boolRow(triggerInteractive, "triggerInteractive", 93, 1),
        rangedRow(explodeStart, "explodeStart", TYPE_INT, kPlain, 115, 0, -kWholeLimit,
                  kWholeLimit),
        rangedRow(explodeEnd, "explodeEnd", TYPE_INT, kPlain, 116, 0, -kWholeLimit, kWholeLimit),
        rangedRow(explodeStep, "explodeStep", TYPE_FLOAT, kPlain, 117, 1.0f, 0.001f, kFloatLimit),
        boolRow(explodeReduce, "explodeReduce", 119, 1),
        rangedRow(explodeReduceStep, "explodeReduceStep", TYPE_FLOAT, kPlain, 120, 1.0f, 0.001f,
                  kFloatLimit),
        rangedRow(explodeReduceThresh, "explodeReduceThresh", TYPE_FLOAT, kPlain, 121, 0.02f,
                  0.001f, kFloatLimit),
        boolRow(explodeSelectedOnly, "explodeSelectedOnly", 118, 0),
        rangedRow(triggerSteps, "triggerSteps", TYPE_INT, kPlain, 124, 0, 0, 3),
        rangedRow(explodeTo, "explodeTo", TYPE_BOOL, kPlain, 125, 0, 0, 3),
        row(explodeToNode, "explodeToNode", TYPE_INODE, kPlain, 126),
        boolRow(recClearNodeList, "recClearNodeList", 152, 1),
        boolRow(pb_recWriteTransform, "pb_recWriteTransform", 2003, 1),
        boolRow(pb_recWriteDeform, "pb_recWriteDeform", 2005, 0),
        boolRow(pb_recWriteTopology, "pb_recWriteTopology", 2007, 0),
        boolRow(vpDeleteObjects, "vpDeleteObjects", 158, 1),
    };
    return desc;
}

} // namespace

ParamBlockDesc2& wkCacheParamBlockDesc() {
    static ParamBlockDesc2 desc = [] {
        ParamBlockDesc2 made = makeDesc();
        for (ParamDef& def : made.params)
            if (def.id == wkCacheParam::elementFrames)
                def.accessor = &wkCacheElementFramesAccessor();
        return made;
    }();
    return desc;
}
