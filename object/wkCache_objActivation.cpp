// Activation of the cache object's elements: which trigger, from where the elements start, over
// which range; the scan itself is ScanActivation.
#include "object/wkCache_obj.h"

#include "elements/wkCacheActivation.h"
#include "host/Host.h"
#include "playback/wkCacheFrameAssembly.h"

#include <algorithm>
#include <cmath>

using namespace wkCacheParam;
using WelkardTools::wkCacheReader;

namespace {

enum TriggerMode : int { TRIGGER_GIZMO = 1, TRIGGER_OMNI = 2 };

// A tick count from a float, truncated; a start beyond the host's time saturates at its ends.
TimeValue truncateTicks(float ticks) {
    if (!(ticks > -2147483648.0f))
        return TIME_NegInfinity;
    if (ticks >= 2147483648.0f)
        return TIME_PosInfinity;
    return static_cast<TimeValue>(ticks);
}

} // namespace

// The trigger of the current mode, or an empty function when there is none to scan with: no
// omni light picked, or a node that is not an omni light at t.
wkCacheTriggerSource wkCache_obj::triggerSource(TimeValue t) {
    const int mode = parameters->GetInt(triggerMode);
    if (mode == TRIGGER_GIZMO) {
        const MatrixControl* control = gizmoControl.get();
        return [control](TimeValue at) {
            wkCacheTrigger trigger;
            control->GetValue(at, trigger.tm);
            trigger.radius = kGizmoTriggerRadius;
            return trigger;
        };
    }
    if (mode != TRIGGER_OMNI)
        return {};
    INode* omni = parameters->GetINode(triggerOmni, t);
    if (omni == nullptr)
        return {};
    SceneObject* object = omni->EvalWorldState(t).obj;
    if (object == nullptr || object->ClassID() != OMNI_LIGHT_CLASS_ID)
        return {};
    auto* light = dynamic_cast<LightObject*>(object);
    if (light == nullptr)
        return {};
    // The light is brought into the object's space, where the rest positions are.
    const std::vector<INode*> holders = GetHost().Nodes().NodesReferencing(this);
    INode* own = holders.empty() ? nullptr : holders.front();
    return [omni, light, own](TimeValue at) {
        wkCacheTrigger trigger;
        trigger.tm = omni->GetNodeTM(at);
        if (own != nullptr)
            trigger.tm = trigger.tm * Inverse(own->GetObjectTM(at));
        trigger.radius = light->GetFarAttenuation(at);
        return trigger;
    };
}

void wkCache_obj::updateActivation(TimeValue t, wkCacheReader& reader) {
    std::vector<wkCacheElementState>& elements = playback->elements;
    if (elements.empty())
        return;
    const wkCacheTriggerSource trigger = triggerSource(t);
    if (!trigger)
        return;

    const bool useGraph = parameters->GetInt(playUseGraph) == 1;
    const std::int32_t refSample =
        parameters->GetInt(playReverse) == 1 && !useGraph ? reader.cacheNumSamples() - 1 : 0;
    std::vector<Matrix3> transforms;
    if (!WelkardTools::getSampleTransforms(reader, transforms, refSample))
        return;
    std::vector<Point3> rest(transforms.size());
    std::transform(transforms.begin(), transforms.end(), rest.begin(),
                   [](const Matrix3& m) { return m.GetTrans(); });

    const HostTime& clock = GetHost().Time();
    wkCacheScanRange range;
    range.ticksPerFrame = clock.GetTicksPerFrame();
    range.playStartTicks =
        static_cast<float>(parameters->GetInt(playStart)) * static_cast<float>(range.ticksPerFrame);
    range.useGraph = useGraph;
    range.start = useGraph ? clock.GetAnimStart() : truncateTicks(range.playStartTicks);
    range.end = std::max(clock.GetAnimEnd(), range.start);
    range.step = ActivationStep(range.ticksPerFrame, parameters->GetInt(triggerSteps));
    activationValid = ScanActivation(rest, trigger, range, elements, progress.progress);
}
