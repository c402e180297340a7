// The cache object's life, its parameters and their change messages, and what a recording asks
// of it. Playback itself is in wkCache_objUpdate.cpp and wkCache_objEvaluate.cpp.
#include "object/wkCache_obj.h"

#include "cachefile/wkCacheRegistry.h"
#include "host/Host.h"
#include "object/wkCachePanelHooks.h"
#include "playback/wkCacheUnitScale.h"
#include "recording/RecordCache.h"

using namespace wkCacheParam;

wkCache_obj::wkCache_obj(bool loading)
    : parameters(GetHost().CreateParamBlock(wkCacheParamBlockDesc(), *this)),
      gizmoControl(GetHost().NewDefaultMatrix3Controller(*this)),
      playback(std::make_unique<wkCachePlaybackState>(this)), firstBuild(loading) {
    const HostTime& clock = GetHost().Time();
    if (!firstBuild) {
        const int tpf = clock.GetTicksPerFrame();
        const int startFrame = clock.GetAnimStart() / tpf;
        const int endFrame = clock.GetAnimEnd() / tpf;
        parameters->SetValue(playStart, 0, startFrame);
        parameters->SetValue(recStart, 0, startFrame);
        parameters->SetValue(explodeStart, 0, startFrame);
        parameters->SetValue(recEnd, 0, endFrame);
        parameters->SetValue(explodeEnd, 0, endFrame);
        // Marks the object as one being made by the user; closing its panel clears the mark.
        animFlags |= A_OBJ_CREATING;
    }
    parameters->SetValue(playFPS, 0, clock.GetFrameRate());
}

wkCache_obj::~wkCache_obj() {
    theCacheRegistry.releaseClient(playback.get());
    // The shared description must not keep validators that point to this object.
    ParamBlockDesc2& desc = wkCacheParamBlockDesc();
    if (desc.GetParamDef(nodes)->validator == &nodesValidator) {
        desc.ParamOption(nodes, p_validator, nullptr);
        desc.ParamOption(triggerOmni, p_validator, nullptr);
        desc.ParamOption(explodeToNode, p_validator, nullptr);
    }
}

// ---- Render

int wkCache_obj::RenderBegin(TimeValue) {
    setRendering(true);
    return 0;
}

int wkCache_obj::RenderEnd(TimeValue) {
    setRendering(false);
    return 0;
}

// A render evaluates at its own settings: the element states are scanned again either way.
void wkCache_obj::setRendering(bool on) {
    animFlags = on ? animFlags | A_RENDER : animFlags & ~A_RENDER;
    invalidateElements();
    notifyDependents(PART_ALL, REFMSG_CHANGE);
}

// ---- Invalidation

void wkCache_obj::invalidateAll() {
    elementValid.SetEmpty();
    lastTime = -1;
    lastTimeKnown = false;
    meshValid.SetEmpty();
    ++invalidateCount;
    notifyDependents(PART_ALL, REFMSG_CHANGE);
}

void wkCache_obj::invalidateElements() {
    elementStateDirty = true;
    invalidateAll();
}

void wkCache_obj::invalidateSelection() {
    lastTime = -1;
    lastTimeKnown = false;
    meshValid.SetEmpty();
    notifyDependents(PART_ALL, REFMSG_CHANGE);
}

void wkCache_obj::notifyDependents(std::uint32_t partMask, int message) {
    sent.emplace_back(partMask, message);
}

// ---- Parameter changes

RefResult wkCache_obj::NotifyRefChanged(const Interval&, ReferenceTarget* target, PartID,
                                        RefMessage message, bool) {
    // Messages the object never passes on.
    if (message == 259 || message == 562 || message == 128)
        return REF_STOP;
    if (message != REFMSG_CHANGE)
        return REF_SUCCEED;
    const bool fromGizmo = gizmoControl && target == gizmoControl.get();
    if (!fromGizmo && target != parameters.get())
        return REF_SUCCEED;
    const ParamID p = parameters->LastNotifyParamID();
    if (!fromGizmo && p == nodes) {
        if (!panelOpen || nodeListSuspended)
            return REF_STOP;
        // Undo and redo change the table as well, and no later message tells the list: it is
        // refreshed in the restore too, or it would show the entries from before the undo.
        if (panelInterface != nullptr)
            PanelHooks().refreshNodeList(*this);
        return REF_SUCCEED;
    }

    const bool interactive = parameters->GetInt(triggerInteractive) == 1;
    const int mode = parameters->GetInt(triggerMode);
    if (fromGizmo) {
        // A moved gizmo moves the activation only when it is the trigger.
        if (interactive && mode == 1)
            invalidateElements();
        return REF_SUCCEED;
    }
    const bool useGraph = parameters->GetInt(playUseGraph) == 1;
    const bool clockParameter = p == scaleUnits || p == playStart || p == playSpeed ||
                                p == playFPS || p == playSpeedSteps || p == playReverse;

    bool invalidate = false;
    if (interactive) {
        if (p == playInORT || p == playOutORT || p == triggerMode || p == triggerInteractive ||
            p == triggerSteps || p == vpDeleteObjects) {
            elementStateDirty = true;
            invalidate = true;
        } else if (p == triggerOmni) {
            if (mode != 2)
                return REF_SUCCEED;
            elementStateDirty = true;
            invalidate = true;
        } else if (clockParameter && !useGraph && mode >= 1) {
            elementStateDirty = true;
            invalidate = true;
        }
    }
    if (!invalidate) {
        if (p == playUseGraph || p == elementFrames) {
            invalidate = true;
        } else if ((clockParameter || p == vpDisplayCache) && !useGraph) {
            invalidate = true;
        } else if (p == playFrame) {
            if (!useGraph)
                return REF_SUCCEED;
            invalidate = true;
        } else if (p == vpBoxMode || p == vpInterpolate || p == vpHideObjects ||
                   p == loadTypeLocal) {
            playback->boxMode = parameters->GetInt(vpBoxMode) == 1;
            playback->interpolateFrames = parameters->GetInt(vpInterpolate) == 1;
            playback->hideInvisible = parameters->GetInt(vpHideObjects) == 1;
            invalidateSelection();
        }
    }
    if (invalidate)
        invalidateAll();

    const bool panel = panelOpen && panelInterface != nullptr;
    if (p == wkCacheParam::fileName) {
        fileChanged();
    } else if (p == playUseGraph || p == vpDisplayCache || p == triggerMode || p == explodeReduce ||
               p == explodeTo || p == vpDeleteObjects) {
        if (panel)
            PanelHooks().updatePanels(*this, false);
    } else if (p == elementFrames) {
        if (panel)
            PanelHooks().refreshGroupControls(*this, GetHost().Time().GetTime());
    } else if ((p == recStart || p == recEnd || p == explodeStart || p == explodeEnd) &&
               !GetHost().Hold().RestoreOrRedoing()) {
        // Undo and redo put each end back through its own record; coupling here would change
        // the other end before its record is replayed, and the record would keep that value
        // for the redo.
        coupleRange(p);
    }
    return REF_SUCCEED;
}

void wkCache_obj::fileChanged() {
    // An undo or redo of the change brings the groups and the selection back through its own
    // records; only the reader link goes.
    const bool restoring = GetHost().Hold().RestoreOrRedoing();
    if (!restoring)
        holdSelectionAndGroups();
    theCacheRegistry.releaseClient(playback.get());
    if (!restoring)
        selection.clear();
    invalidateElements();
    if (!restoring)
        removeAllGroups();
    if (panelOpen && panelInterface != nullptr) {
        PanelHooks().updatePanels(*this, false);
        // The old file's facts go with it, also when undo or redo takes it; the first build on
        // a new file fills them in again.
        PanelHooks().refreshFileInfo(*this);
    }
}

void wkCache_obj::coupleRange(ParamID p) {
    const bool record = p == recStart || p == recEnd;
    const ParamID startId = record ? recStart : explodeStart;
    const ParamID endId = record ? recEnd : explodeEnd;
    const int dragState = record ? recDragState : explodeDragState;
    const int dragOther = record ? recDragOther : explodeDragOther;
    const int start = dragState == 2 ? dragOther : parameters->GetInt(startId);
    const int end = dragState == 1 ? dragOther : parameters->GetInt(endId);
    ParamID target = -1;
    int value = 0;
    if (p == startId) {
        if (start > end)
            target = endId, value = start;
        else if (dragState == 1 && end < parameters->GetInt(endId))
            target = endId, value = end;
    } else {
        if (end < start)
            target = startId, value = end;
        else if (dragState == 2 && start > parameters->GetInt(startId))
            target = startId, value = start;
    }
    if (target < 0)
        return;
    // Written quietly, so that the coupling does not answer itself.
    const bool notifying = parameters->NotificationsEnabled();
    parameters->EnableNotifications(false);
    parameters->SetValue(target, 0, value);
    parameters->EnableNotifications(notifying);
}

void wkCache_obj::applyUnitLists() {
    const float scale =
        UnitListScale(parameters->GetInt(scaleUnitsFrom), parameters->GetInt(scaleUnitsTo));
    parameters->SetValue(scaleUnits, 0, scale);
}

void wkCache_obj::selectScaleUnits(int from, int to) {
    parameters->SetValue(scaleUnitsFrom, 0, from);
    parameters->SetValue(scaleUnitsTo, 0, to);
    applyUnitLists();
}

// ---- What a recording asks

int wkCache_obj::nodeCount() const {
    return parameters->Count(nodes);
}

INode* wkCache_obj::nodeAt(int index, TimeValue t) const {
    if (index < 0 || index >= nodeCount())
        return nullptr;
    return parameters->GetINode(nodes, t, index);
}

std::vector<INode*> wkCache_obj::nodeList() const {
    std::vector<INode*> list;
    for (int i = 0; i < nodeCount(); ++i)
        list.push_back(nodeAt(i, 0));
    return list;
}

// The block's own hold record brings the entries back as they were; appending them again would
// put them through the validators on the shared description, which belong to whichever panel
// opened last and may refuse a node this object holds.
void wkCache_obj::clearNodes() {
    parameters->Delete(nodes, 0, nodeCount());
}

bool wkCache_obj::addNode(INode* node) {
    if (!IsRecordableNode(*this, node, true))
        return false;
    appendNodeEntry(node);
    return true;
}

void wkCache_obj::appendNodeEntry(INode* node) {
    // The block's write refuses what the installed validator refuses; asking it first keeps a
    // refusal from leaving an empty entry behind.
    const ParamDef* def = parameters->GetDesc().GetParamDef(nodes);
    if (def != nullptr && def->validator != nullptr && !def->validator->Validate(node))
        return;
    const int at = parameters->Append(nodes, 1);
    parameters->SetValue(nodes, 0, node, at);
}

wkCacheRecordParams wkCache_obj::recordParams() const {
    wkCacheRecordParams p;
    p.recStart = parameters->GetInt(recStart);
    p.recEnd = parameters->GetInt(recEnd);
    p.recStep = parameters->GetFloat(recStep);
    p.recSaveMaterial = parameters->GetInt(recSaveMaterial) == 1;
    p.recClearNodeList = parameters->GetInt(recClearNodeList) == 1;
    p.recWriteTransform = parameters->GetInt(pb_recWriteTransform) == 1;
    p.recWriteDeform = parameters->GetInt(pb_recWriteDeform) == 1;
    p.recWriteTopology = parameters->GetInt(pb_recWriteTopology) == 1;
    return p;
}

void wkCache_obj::setRecordParams(const wkCacheRecordParams& p) {
    // Quietly, as a scene file gives them: the range stays as given, even backwards, for the
    // recording to judge, rather than being coupled as a spinner's would be.
    const bool notifying = parameters->NotificationsEnabled();
    parameters->EnableNotifications(false);
    parameters->SetValue(recStart, 0, p.recStart);
    parameters->SetValue(recEnd, 0, p.recEnd);
    parameters->SetValue(recStep, 0, p.recStep);
    parameters->SetValue(recSaveMaterial, 0, int{p.recSaveMaterial});
    parameters->SetValue(recClearNodeList, 0, int{p.recClearNodeList});
    parameters->SetValue(pb_recWriteTransform, 0, int{p.recWriteTransform});
    parameters->SetValue(pb_recWriteDeform, 0, int{p.recWriteDeform});
    parameters->SetValue(pb_recWriteTopology, 0, int{p.recWriteTopology});
    parameters->EnableNotifications(notifying);
}

AssetUser wkCache_obj::fileName() const {
    return parameters->GetAssetUser(wkCacheParam::fileName);
}

void wkCache_obj::setFileName(const AssetUser& asset) {
    parameters->SetValue(wkCacheParam::fileName, 0, asset);
}

void wkCache_obj::setPlayStart(int frame) {
    parameters->SetValue(playStart, 0, frame);
}

void wkCache_obj::setExplodeStart(int frame) {
    parameters->SetValue(explodeStart, 0, frame);
}

void wkCache_obj::setExplodeEnd(int frame) {
    parameters->SetValue(explodeEnd, 0, frame);
}

int wkCache_obj::getPlayStart() const {
    return parameters->GetInt(playStart);
}

int wkCache_obj::getExplodeStart() const {
    return parameters->GetInt(explodeStart);
}

int wkCache_obj::getExplodeEnd() const {
    return parameters->GetInt(explodeEnd);
}

// A registry client is a playback state, and every playback state knows its object.
wkCacheRecordTarget* wkCache_obj::targetOfClient(wkCachePlaybackState* client) const {
    return client != nullptr ? client->owner : nullptr;
}

// ---- Status display

void wkCache_obj::showStatus(const WStr* text) {
    if (!panelOpen)
        return;
    status = text != nullptr ? *text : defaultStatusText();
    if (statusObserver)
        statusObserver(*this);
}

void wkCache_obj::progressChanged() {
    if (statusObserver)
        statusObserver(*this);
}
