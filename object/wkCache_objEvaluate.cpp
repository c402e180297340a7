// Element evaluation: the clock, the activation and the display settings of one time, for
// every element of the cache.
#include "object/wkCache_obj.h"

#include "elements/wkCacheActivationShift.h"
#include "host/Host.h"
#include "playback/wkCacheFrameAssembly.h"

using namespace wkCacheParam;
using WelkardTools::wkCacheReader;

namespace {

// The clock's parameters at t. An animated speed is handed over as its controller, which the
// clock integrates from the start.
wkCacheClockParams clockParams(const IParamBlock2& block, const HostTime& clock, TimeValue t) {
    wkCacheClockParams p;
    p.ticksPerFrame = clock.GetTicksPerFrame();
    p.frameRate = clock.GetFrameRate();
    p.playStart = block.GetInt(playStart, t);
    p.playSpeed = block.GetFloat(playSpeed, t);
    if (const Control* speed = block.GetControllerByID(playSpeed))
        p.playSpeedTrack = [speed](TimeValue at) { return speed->GetFloatValue(at); };
    p.playFPS = block.GetInt(playFPS, t);
    p.playSpeedSteps = block.GetInt(playSpeedSteps, t);
    p.playReverse = block.GetInt(playReverse, t);
    p.playUseGraph = block.GetInt(playUseGraph, t);
    p.playFrame = block.GetFloat(playFrame, t);
    return p;
}

} // namespace

void wkCache_obj::evaluateElements(TimeValue t, wkCacheReader& reader, bool forRender) {
    if (elementValid.InInterval(t))
        return;
    elementValid.SetInstant(t);

    const HostTime& clock = GetHost().Time();
    const IParamBlock2& block = *parameters;
    // Without interactive updates, coming back to the start of the range asks for a new scan.
    if (block.GetInt(triggerMode) > 0 && block.GetInt(triggerInteractive) != 1 &&
        t == clock.GetAnimStart())
        elementStateDirty = true;

    std::vector<wkCacheElementState>& elements = playback->elements;
    // A file that changed under the object without a word would leave states of another
    // element count: size them again rather than read past them.
    if (elements.size() != static_cast<std::size_t>(reader.cacheNumNodes()))
        elementStateDirty = true;
    if (elementStateDirty) {
        elementStateDirty = false;
        activationValid = false;
        elements.assign(static_cast<std::size_t>(reader.cacheNumNodes()), wkCacheElementState{});
        updateActivation(t, reader);
    }

    const wkCacheTiming timing = WelkardTools::cacheTiming(reader);
    const float time = playbackTime(clockParams(block, clock, t), t, timing);
    for (wkCacheElementState& e : elements) {
        e.time = time;
        e.groupMaterial = -1;
        e.hasGroupMaterial = false;
        e.deleted = false;
    }
    if (elements.empty())
        return;

    wkCachePlaybackState& state = *playback;
    const bool useGraph = block.GetInt(playUseGraph) == 1;
    state.reversed = !useGraph && block.GetInt(playReverse) == 1;
    const int inORT = block.GetInt(playInORT);
    const int outORT = block.GetInt(playOutORT);
    state.beforeORT = state.reversed ? outORT : inORT;
    state.afterORT = state.reversed ? inORT : outORT;

    // Display settings: the viewport's, or the renderer's. "Delete Faces" works on a still
    // viewport; while animation plays it falls back on "Hide Faces", for speed.
    const bool playing = clock.IsAnimPlaying() == 1;
    if (inRender() || forRender) {
        state.boxMode = block.GetInt(rendBoxMode) == 1;
        state.isViewport = false;
        state.deleteInvisible = block.GetInt(rendDontDelete) != 1;
        state.hideInvisible = false;
        state.interpolateFrames = block.GetInt(rendInterpolate) == 1;
        state.invalidateGeom = true;
        state.invisibleMaterial = block.GetInt(rendMatID) - 1;
        state.applyMaterial = block.GetInt(rendApplyMatID) == 1;
    } else {
        const bool deleteObjects = block.GetInt(vpDeleteObjects) == 1;
        state.boxMode = block.GetInt(vpBoxMode) == 1;
        state.isViewport = true;
        state.deleteInvisible = deleteObjects && !playing;
        state.hideInvisible = block.GetInt(vpHideObjects) == 1 && !(deleteObjects && !playing);
        state.interpolateFrames = block.GetInt(vpInterpolate) == 1;
        state.invalidateGeom = !playing;
        state.invisibleMaterial = -1;
        state.applyMaterial = false;
    }

    // Groups need each element's time before and after the shift.
    const bool groups = !state.groups.empty();
    rawTimes.clear();
    shiftedTimes.clear();
    if (activationValid) {
        wkCacheShiftSettings shift;
        shift.t = t;
        shift.ticksPerFrame = clock.GetTicksPerFrame();
        shift.start =
            static_cast<float>(block.GetInt(playStart)) * static_cast<float>(shift.ticksPerFrame);
        shift.holdSample = state.reversed ? timing.last() : 0;
        shift.reversed = state.reversed;
        shift.useGraph = useGraph;
        shiftByActivation(elements, shift, groups ? &rawTimes : nullptr,
                          groups ? &shiftedTimes : nullptr);
    } else if (groups) {
        for (const wkCacheElementState& e : elements)
            rawTimes.push_back(e.time);
        shiftedTimes = rawTimes;
    }
    if (groups)
        applyGroups(t, reader);
}

void wkCache_obj::applyGroups(TimeValue t, wkCacheReader& reader) {
    const HostTime& clock = GetHost().Time();
    wkCachePlaybackState& state = *playback;
    const wkCacheTiming timing = WelkardTools::cacheTiming(reader);
    wkCacheGroupStage& stage = groupStage;
    stage.t = t;
    stage.ticksPerFrame = clock.GetTicksPerFrame();
    stage.sceneRatio =
        static_cast<float>(clock.GetFrameRate()) / static_cast<float>(timing.cacheFrameRate);
    stage.lastTick = timing.lastTick();
    stage.reversed = state.reversed;
    stage.activationValid = activationValid;
    stage.rawTimes = rawTimes;
    stage.shiftedTimes = shiftedTimes;
    stage.frames.clear();
    for (int g = 0; g < state.groups.count(); ++g)
        stage.frames.push_back(parameters->GetFloat(elementFrames, t, g));

    // The distance rule measures in the recording's space, at the elements' final times.
    const auto probe = [&](std::vector<Point3>& positions, Point3& gizmoAt) {
        std::vector<Matrix3> transforms;
        std::vector<std::int32_t> visible;
        if (!WelkardTools::getElementTransforms(reader, transforms, visible, state))
            return false;
        positions.resize(transforms.size());
        for (std::size_t i = 0; i < transforms.size(); ++i)
            positions[i] = transforms[i].GetTrans();
        Matrix3 tm(true);
        gizmoControl->GetValue(t, tm);
        gizmoAt = tm.GetTrans();
        return true;
    };
    applyGroupActions(state.groups, state.elements, stage, probe);
}
