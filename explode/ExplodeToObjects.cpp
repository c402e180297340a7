#include "explode/ExplodeToObjects.h"

#include "explode/ReduceKeys.h"
#include "host/Host.h"
#include "playback/wkCacheFrameAssembly.h"

#include <algorithm>
#include <memory>

using WelkardTools::wkCacheReader;

namespace {

constexpr std::uint32_t kDeepCopyChannels = 0x800027FF;

} // namespace

void ExplodeEvaluationSetup(wkCachePlaybackState& playback, bool boxes) {
    playback.boxMode = boxes;
    playback.isViewport = false;
    playback.deleteInvisible = false;
    playback.hideInvisible = true;
    playback.interpolateFrames = true;
    playback.invalidateGeom = true;
    playback.invisibleMaterial = -1;
    playback.applyMaterial = false;
}

namespace {

bool bit(const BitArray& bits, int i) {
    return i < bits.GetSize() && bits[i];
}

// What one made element needs through the key loop.
struct MadeElement {
    int element;
    INode* node;
    bool hasVisibility;
    std::unique_ptr<Control> position, rotation, scale;
    Quat previousRotation;
};

bool goneForGood(const wkCachePlaybackState& playback, int i) {
    return !playback.elements[static_cast<std::size_t>(i)].beforeRange &&
           bit(playback.deletedElements, i);
}

bool takesVisibility(SceneObject* object) {
    return object != nullptr &&
           (object->ClassID() == triObjectClassID || object->CanConvertToTriMesh());
}

void setKeyCount(MadeElement& made, int n) {
    for (Control* c : {made.position.get(), made.rotation.get(), made.scale.get()})
        c->GetKeyControlInterface()->SetNumKeys(n);
}

void writeKeys(MadeElement& made, int k, TimeValue t, const Matrix3& tm) {
    AffineParts parts;
    decomp_affine(tm, &parts);
    // Rotation keys hold the turn from the key before. The decomposition hands out either sign
    // of a rotation; taken towards the one before, the turn is the short one, as playback
    // blends samples, and not the same turn the long way round.
    Quat q = parts.q;
    q.MakeClosest(made.previousRotation);
    const Quat relative = q / made.previousRotation;
    made.previousRotation = q;
    const Point3 scale = 0.0f > parts.f ? -parts.k : parts.k;

    ITCBPoint3Key position;
    position.time = t;
    position.val = parts.t;
    made.position->GetKeyControlInterface()->SetKey(k, &position);
    ITCBRotKey rotation;
    rotation.time = t;
    AngAxisFromQ(relative, &rotation.val.angle, rotation.val.axis);
    made.rotation->GetKeyControlInterface()->SetKey(k, &rotation);
    ITCBScaleKey scaleKey;
    scaleKey.time = t;
    scaleKey.val = ScaleValue(scale, Quat());
    made.scale->GetKeyControlInterface()->SetKey(k, &scaleKey);
}

// Everything the run owns, released on every way out.
struct ExplodeRun {
    std::unique_ptr<wkCacheReader> reader;
    std::vector<std::unique_ptr<Mesh>> elementMeshes;
    std::vector<Matrix3> elementTransforms;
    std::vector<MadeElement> made;
};

} // namespace

bool ExplodeElementHidden(const wkCachePlaybackState& playback, int i) {
    const wkCacheElementState& e = playback.elements[static_cast<std::size_t>(i)];
    return (e.beforeRange && playback.beforeORT == 0) || bit(playback.hiddenElements, i) ||
           bit(playback.deletedElements, i);
}

Interval ExplodeKeyRange(Interval interval, std::int32_t stepTicks) {
    const std::int64_t step = std::max<std::int32_t>(stepTicks, 1);
    const std::int64_t start = interval.Start();
    const std::int64_t span = step - start + interval.End();
    const std::int64_t end = span - span % step - step + start;
    return {interval.Start(), static_cast<TimeValue>(std::clamp<std::int64_t>(end, TIME_NegInfinity,
                                                                              TIME_PosInfinity))};
}

std::vector<TimeValue> ExplodeKeyTimes(Interval interval, std::int32_t stepTicks) {
    const std::int64_t step = std::max<std::int32_t>(stepTicks, 1);
    const Interval range = ExplodeKeyRange(interval, stepTicks);
    std::vector<TimeValue> times;
    times.reserve(static_cast<std::size_t>(ExplodeKeyCount(interval, stepTicks)));
    for (std::int64_t t = range.Start(); t < range.End(); t += step)
        times.push_back(static_cast<TimeValue>(t));
    if (times.empty() || times.back() < range.End())
        times.push_back(range.End());
    return times;
}

std::int64_t ExplodeKeyCount(Interval interval, std::int32_t stepTicks) {
    const std::int64_t step = std::max<std::int32_t>(stepTicks, 1);
    const Interval range = ExplodeKeyRange(interval, stepTicks);
    const std::int64_t length = std::int64_t{range.End()} - range.Start();
    return length > 0 ? (length + step - 1) / step + 1 : 1;
}

INode* MakeMeshNode(const Mesh& mesh, const Matrix3& tm, const WStr& name, bool deepCopy) {
    auto object = std::make_unique<TriObject>();
    if (deepCopy)
        object->GetMesh().DeepCopy(mesh, kDeepCopyChannels);
    else
        object->GetMesh() = mesh;
    SceneNodes& scene = GetHost().Nodes();
    INode* node = scene.CreateObjectNode(std::move(object));
    if (node == nullptr)
        return nullptr;
    node->SetNodeTM(0, tm);
    WStr unique = name;
    scene.MakeNameUnique(unique);
    node->SetName(unique);
    return node;
}

void AddVisibilityKey(INode& node, TimeValue t, bool hide) {
    Control* control = node.GetVisController();
    const bool usable = control != nullptr && (control->SuperClassID() == CTRL_FLOAT_CLASS_ID ||
                                               control->ClassID() == TCBINTERP_FLOAT_CLASS_ID);
    if (usable) {
        const float value = control->GetFloatValue(t);
        if ((hide && value <= 0.0f) || (!hide && value > 0.0f))
            return;
    }
    std::unique_ptr<Control> fresh;
    if (!usable) {
        fresh = GetHost().CreateControl(CTRL_FLOAT_CLASS_ID, TCBINTERP_FLOAT_CLASS_ID);
        control = fresh.get();
    }
    IKeyControl* keys = control != nullptr ? control->GetKeyControlInterface() : nullptr;
    if (keys == nullptr)
        return;
    ITCBFloatKey key;
    key.time = t;
    key.flags = IKEY_STEP; // shown or hidden, never in between
    key.val = hide ? 0.0f : 1.0f;
    keys->AppendKey(&key);
    const TimeValue animStart = GetHost().Time().GetAnimStart();
    if (keys->GetNumKeys() == 1 && t != animStart && !hide) {
        key.time = animStart;
        key.val = 1.0f;
        keys->AppendKey(&key);
    }
    keys->SortKeys();
    if (fresh)
        node.SetVisController(std::move(fresh));
}

int ExplodeToObjects(wkCacheExplodeTarget& object, Interval interval, std::int32_t stepTicks,
                     INodeTab& outNodes, INode* referenceNode, bool selectedOnly, bool reduce,
                     std::int32_t reduceStepTicks, float reduceThresh, bool quiet,
                     std::vector<int>* elements) {
    Host& host = GetHost();
    SceneNodes& scene = host.Nodes();
    outNodes.ZeroCount();
    if (referenceNode == nullptr) {
        const std::vector<INode*> showing = scene.NodesReferencing(&object.sceneObject());
        referenceNode = showing.empty() ? nullptr : showing.front();
    }

    // ---- Preparation
    const WStr path = object.cacheFilePath();
    if (path.IsEmpty())
        return 0;
    ExplodeRun run;
    run.reader = std::make_unique<wkCacheReader>(path);
    wkCacheReader& reader = *run.reader;
    if (reader.hasError())
        return 0;
    const wkCacheExplodeSettings settings = object.explodeSettings();
    const bool boxes = settings.explodeTo == 1;
    const TimeValue start = interval.Start();
    object.clearElementValidity();
    object.evaluateForExplode(start, reader);
    wkCachePlaybackState& playback = object.explodePlayback();
    ExplodeEvaluationSetup(playback, boxes);
    if (!WelkardTools::prepareFrame(reader, playback) ||
        !WelkardTools::refreshElementTransforms(reader, run.elementTransforms, playback))
        return 0;

    const int count = reader.cacheNumNodes();
    BitArray explodeMask;
    explodeMask.SetSize(count);
    int made = 0;
    for (int i = 0; i < count; ++i) {
        if ((selectedOnly && !object.elementSelected(i)) || goneForGood(playback, i))
            continue;
        explodeMask.Set(i);
        ++made;
    }
    if (made == 0 || ExplodeKeyCount(interval, stepTicks) * made > kMaxExplodeKeys)
        return 0;
    const WelkardTools::wkCacheIndex* index = reader.getIndex();
    if (index == nullptr || index->nodes.size() < static_cast<std::size_t>(count))
        return 0;
    SceneObject* customObject = nullptr;
    if (settings.explodeTo == 3) {
        // The object's own deleted flag, not the node's; and the custom node is made through
        // the panel, so the panel must be open.
        if (settings.explodeToNode == nullptr || object.objectDeleted() || !object.panelsOpen())
            return 0;
        referenceNode = settings.explodeToNode;
        customObject = referenceNode->GetObjectRef();
    } else if (settings.explodeTo != 2 &&
               !WelkardTools::getElementMeshes(reader, run.elementMeshes, playback)) {
        return 0;
    }

    // ---- Key times
    const std::int32_t step = std::max<std::int32_t>(stepTicks, 1);
    const Interval keyRange = ExplodeKeyRange(interval, step);
    const std::vector<TimeValue> keyTimes = ExplodeKeyTimes(interval, step);
    const int keyCount = static_cast<int>(keyTimes.size());

    // ---- Creating objects
    UndoHold& hold = host.Hold();
    hold.Begin();
    bool cancelled = false;
    bool failed = false;
    object.beginOperation(L"Creating Objects (%i %%) ...", L"Creating Objects ...");
    SceneObject* helper = settings.explodeTo == 2 ? scene.CreatePointHelper() : nullptr;
    run.made.reserve(static_cast<std::size_t>(made));
    for (int i = 0; i < count && !failed; ++i) {
        if (!explodeMask[i])
            continue;
        const WStr& name = index->nodes[static_cast<std::size_t>(i)]->name;
        INode* node = nullptr;
        bool hasVisibility = true;
        if (settings.explodeTo <= 1) {
            node = MakeMeshNode(*run.elementMeshes[static_cast<std::size_t>(i)], Matrix3(true),
                                name, true);
        } else {
            node = scene.CreateInstanceNode(helper != nullptr ? helper : customObject);
            hasVisibility = helper == nullptr && takesVisibility(customObject);
            if (node != nullptr) {
                WStr unique = name;
                scene.MakeNameUnique(unique);
                node->SetName(unique);
            }
        }
        if (node == nullptr) {
            failed = true;
            break;
        }
        outNodes.Append(1, &node);
        if (hasVisibility)
            AddVisibilityKey(*node, start, ExplodeElementHidden(playback, i));
        MadeElement element{i,
                            node,
                            hasVisibility,
                            host.CreateControl(CTRL_POSITION_CLASS_ID, TCBINTERP_POSITION_CLASS_ID),
                            host.CreateControl(CTRL_ROTATION_CLASS_ID, TCBINTERP_ROTATION_CLASS_ID),
                            host.CreateControl(CTRL_SCALE_CLASS_ID, TCBINTERP_SCALE_CLASS_ID),
                            Quat()};
        if (!element.position || !element.rotation || !element.scale) {
            failed = true;
            break;
        }
        // Key space before the first key: writing a key is then a store.
        setKeyCount(element, keyCount);
        run.made.push_back(std::move(element));
        if (!object.reportProgress(static_cast<std::int32_t>(run.made.size()), made)) {
            cancelled = true;
            break;
        }
    }
    object.endOperation();

    // ---- Creating animation
    if (!cancelled && !failed) {
        object.beginOperation(L"Creating Animation (%i %%) ...", L"Creating Animation ...");
        const std::int64_t total = std::int64_t{keyCount} * made;
        std::int64_t done = 0;
        BitArray finishedMask;
        finishedMask.SetSize(count);
        for (int k = 0; k < keyCount && !cancelled && !failed; ++k) {
            const TimeValue t = keyTimes[static_cast<std::size_t>(k)];
            const Matrix3 world =
                referenceNode != nullptr ? referenceNode->GetObjectTM(t) : Matrix3(true);
            if (k > 0) {
                object.evaluateForExplode(t, reader);
                ExplodeEvaluationSetup(playback, boxes);
                if (!WelkardTools::prepareFrame(reader, playback) ||
                    !WelkardTools::refreshElementTransforms(reader, run.elementTransforms,
                                                            playback)) {
                    failed = true;
                    break;
                }
            }
            for (MadeElement& element : run.made) {
                const int i = element.element;
                ++done;
                if (finishedMask[i])
                    continue;
                writeKeys(element, k, t,
                          run.elementTransforms[static_cast<std::size_t>(i)] * world);
                if (element.hasVisibility)
                    AddVisibilityKey(*element.node, t, ExplodeElementHidden(playback, i));
                if (goneForGood(playback, i)) {
                    // The tracks stop here; the node keeps its last state.
                    setKeyCount(element, k + 1);
                    finishedMask.Set(i);
                }
            }
            // The percentage is what counts: large totals are scaled into 32 bits.
            const std::int64_t scale = total / INT32_MAX + 1;
            if (!object.reportProgress(static_cast<std::int32_t>(done / scale),
                                       static_cast<std::int32_t>(total / scale)))
                cancelled = true;
        }
        object.endOperation();
    }

    // ---- Finishing
    if (!cancelled && !failed) {
        const std::shared_ptr<Mtl> material =
            referenceNode != nullptr ? referenceNode->ShareMtl() : nullptr;
        for (MadeElement& element : run.made) {
            for (Control* c : {element.position.get(), element.rotation.get(), element.scale.get()})
                c->GetKeyControlInterface()->SortKeys();
            if (referenceNode != nullptr) {
                if (material)
                    element.node->SetMtl(material);
                element.node->CopyProperties(referenceNode);
            }
            std::unique_ptr<MatrixControl> prs = host.CreatePRSControl();
            prs->SetPositionController(std::move(element.position));
            prs->SetRotationController(std::move(element.rotation));
            prs->SetScaleController(std::move(element.scale));
            element.node->SetTMController(std::move(prs));
        }
        if (!quiet) {
            scene.ClearSelection();
            for (int i = 0; i < outNodes.Count(); ++i)
                scene.SelectNode(outNodes[i]);
        }
        hold.Accept(L"Explode To Objects");
        if (elements != nullptr) {
            elements->clear();
            for (const MadeElement& element : run.made)
                elements->push_back(element.element);
        }
        scene.RedrawViews(host.Time().GetTime());
    } else {
        hold.Cancel();
        outNodes.ZeroCount();
    }

    if (reduce && !cancelled && !failed) {
        const std::int32_t reduceStep = reduceStepTicks < 1 ? step : reduceStepTicks;
        ControlSet controllers;
        for (int i = 0; i < outNodes.Count(); ++i)
            AddTransformControllers(*outNodes[i], controllers);
        if (!ReduceKeys(object, controllers, keyRange, reduceStep, reduceThresh))
            cancelled = true;
    }
    return !cancelled && !failed ? 1 : 0;
}
