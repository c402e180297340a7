// The cache object's sub-object levels: "Elements", where recorded nodes are picked as boxes,
// and "Gizmo", where the activation gizmo is moved, rotated and scaled. The element selection
// is the object's; the level is the host's, told through enterSubLevel.
#include "object/wkCache_obj.h"

#include "host/Host.h"
#include "host/INode.h"
#include "object/wkCachePanelHooks.h"
#include "playback/wkCacheFrameAssembly.h"

#include <algorithm>

using WelkardTools::wkCacheReader;

namespace {

constexpr std::uint32_t kPickWire = 0x201001;
constexpr std::uint32_t kKeepBits = 0x800020;
constexpr PartID kSelectionPart = 80;
constexpr PartID kLevelPart = 112;

struct CommandModeSet {
    MoveModBoxCMode move;
    RotateModBoxCMode rotate;
    UScaleModBoxCMode uscale;
    NUScaleModBoxCMode nuscale;
    SquashModBoxCMode squash;
    SelectModBoxCMode select;
};
// Process-wide: the host's toolbar has one of each, whichever object's panel is open.
std::unique_ptr<CommandModeSet> commandModes;

} // namespace

void wkCache_obj::CreateCommandModes() {
    if (!commandModes)
        commandModes = std::make_unique<CommandModeSet>();
}

void wkCache_obj::DeleteCommandModes() {
    commandModes.reset();
}

const GenSubObjType* wkCache_obj::subLevelType(int i) const {
    static GenSubObjType types[2];
    if (types[0].GetName().IsEmpty()) {
        types[0].SetName(L"Elements");
        types[1].SetName(L"Gizmo");
    }
    if (i == -1)
        return subObjectLevel > 0 ? subLevelType(subObjectLevel - 1) : nullptr;
    return i == 0 || i == 1 ? &types[i] : nullptr;
}

void wkCache_obj::enterSubLevel(int level, XFormModes& modes) {
    CommandModeSet* set = commandModes.get();
    if (level == 1) {
        // Elements are picked, never transformed.
        modes = XFormModes{};
        modes.select = set != nullptr ? &set->select : nullptr;
    } else if (level == 2 && set != nullptr) {
        modes = XFormModes{&set->move,   &set->rotate, &set->nuscale,
                           &set->uscale, &set->squash, nullptr};
    } else if (level == 2) {
        modes = XFormModes{};
    }
    subObjectLevel = level;
    levelRefresh();
}

void wkCache_obj::selectionRefresh() {
    invalidateSelection();
    GetHost().UI().ForceCompleteRedraw(1);
    notifyDependents(kSelectionPart, REFMSG_CHANGE);
}

void wkCache_obj::levelRefresh() {
    invalidateSelection();
    GetHost().UI().ForceCompleteRedraw(1);
    notifyDependents(kLevelPart, REFMSG_CHANGE);
    if (panelOpen && panelInterface != nullptr)
        PanelHooks().updatePanels(*this, false);
}

int wkCache_obj::HitTest(TimeValue t, INode* node, int type, int crossing, int flags,
                         const IPoint2* p, ViewExp* vpt, ModContext* mc) {
    GraphicsWindow& gw = vpt->getGW();
    HitRegion region;
    MakeHitRegion(region, type, crossing, 4, p);
    gw.setHitRegion(region);
    const std::uint32_t saved = gw.getRndLimits();
    if ((saved & GW_WIREFRAME) == 0)
        gw.setRndLimits((saved & kKeepBits) | kPickWire);
    else
        gw.setRndLimits((saved & ~GW_ILLUM) | GW_PICK);
    gw.setTransform(node->GetObjectTM(t));
    gw.clearHitCode();

    if (wkCacheReader* reader = soundReader()) {
        evaluateElements(t, *reader, false);
        const int count = static_cast<int>(reader->getIndex()->nodes.size());
        EnsureElementBoxes(count);
        for (std::int32_t index = 0; index < count; ++index) {
            const bool inSelection = selection.count(index) != 0;
            if (((flags & 1) != 0 && !inSelection) || ((flags & 4) != 0 && inSelection))
                continue;
            Mesh& box = *elementBoxes[static_cast<std::size_t>(index)];
            if (!WelkardTools::updateElementBox(*reader, box, index, *playback))
                continue;
            if (box.select(&gw, gw.getMaterial(), &region, (flags & 8) != 0, 1)) {
                vpt->LogHit(node, mc, gw.getHitDistance(), static_cast<std::uint32_t>(index));
                gw.clearHitCode();
            }
        }
    }
    gw.setRndLimits(saved);
    return 0;
}

void wkCache_obj::selectHitElements(HitRecord* hits, bool selected, bool all) {
    holdSelection();
    for (HitRecord* hit = hits; hit != nullptr; hit = hit->Next()) {
        const std::int32_t index = hitElementIndex(*hit);
        if (selected)
            selection.insert(index);
        else
            selection.erase(index);
        if (!all)
            break;
    }
    selectionRefresh();
}

void wkCache_obj::clearElementSelection(int) {
    holdSelection();
    selection.clear();
    selectionRefresh();
}

void wkCache_obj::selectAllElements(int) {
    holdSelection();
    wkCacheReader* reader = soundReader();
    selection.clear();
    if (reader != nullptr) {
        const auto count = static_cast<std::int32_t>(reader->getIndex()->nodes.size());
        for (std::int32_t index = 0; index < count; ++index)
            selection.insert(selection.end(), index);
    }
    selectionRefresh();
}

void wkCache_obj::invertElementSelection(int) {
    holdSelection();
    ElementSet inverted;
    if (wkCacheReader* reader = soundReader()) {
        const auto count = static_cast<std::int32_t>(reader->getIndex()->nodes.size());
        for (std::int32_t index = 0; index < count; ++index)
            if (selection.count(index) == 0)
                inverted.insert(inverted.end(), index);
    }
    selection = std::move(inverted);
    selectionRefresh();
}

int wkCache_obj::selectionCentreSum(TimeValue t, INode* node, Point3& sum) {
    wkCacheReader* reader = soundReader();
    if (reader == nullptr)
        return 0;
    evaluateElements(t, *reader, false);
    const int count = static_cast<int>(reader->getIndex()->nodes.size());
    EnsureElementBoxes(count);
    const Matrix3 objectTM = node->GetObjectTM(t);
    int counted = 0;
    for (std::int32_t index : selection) {
        if (index < 0 || index >= count)
            continue;
        Mesh& box = *elementBoxes[static_cast<std::size_t>(index)];
        if (!WelkardTools::updateElementBox(*reader, box, index, *playback))
            continue;
        const Box3 bounds = box.getBoundingBox();
        sum += ((bounds.pmin + bounds.pmax) * 0.5f) * objectTM;
        ++counted;
    }
    return counted;
}

void wkCache_obj::reportSelectionCenters(SubObjAxisCallback& callback, TimeValue t, INode* node) {
    if (subObjectLevel == 2) {
        EnsureGizmoControl();
        Matrix3 gizmoTM(true);
        gizmoControl->GetValue(t, gizmoTM);
        callback.Center((gizmoTM * node->GetObjectTM(t)).GetTrans(), 0);
        return;
    }
    Point3 sum;
    const int counted = selectionCentreSum(t, node, sum);
    if (counted > 0)
        callback.Center(sum * (1.0f / static_cast<float>(counted)), 0);
}

void wkCache_obj::reportSelectionFrames(SubObjAxisCallback& callback, TimeValue t, INode* node) {
    if (subObjectLevel == 2) {
        EnsureGizmoControl();
        Matrix3 gizmoTM(true);
        gizmoControl->GetValue(t, gizmoTM);
        callback.TM(gizmoTM * node->GetObjectTM(t), 0);
        return;
    }
    Matrix3 frame = node->GetObjectTM(t);
    Point3 sum;
    const int counted = selectionCentreSum(t, node, sum);
    if (counted > 0)
        frame.SetTrans(sum * (1.0f / static_cast<float>(counted)));
    callback.TM(frame, 0);
}

namespace {

// A gizmo transform without its value.
SetXFormPacket gizmoPacket(XFormCommand command, const Matrix3& partM, const Matrix3& tmAxis,
                           bool localOrigin) {
    SetXFormPacket packet;
    packet.command = command;
    packet.tmParent = partM;
    packet.tmAxis = tmAxis;
    packet.localOrigin = localOrigin;
    return packet;
}

} // namespace

void wkCache_obj::transformGizmo(TimeValue t, const SetXFormPacket& packet) {
    EnsureGizmoControl();
    gizmoControl->SetValue(t, packet, 1, CTRL_RELATIVE);
}

void wkCache_obj::moveGizmo(TimeValue t, const Matrix3& partM, const Matrix3& tmAxis,
                            const Point3& val) {
    SetXFormPacket packet = gizmoPacket(XFORM_MOVE, partM, tmAxis, false);
    packet.p = val;
    transformGizmo(t, packet);
}

void wkCache_obj::rotateGizmo(TimeValue t, const Matrix3& partM, const Matrix3& tmAxis,
                              const Quat& val, bool localOrigin) {
    SetXFormPacket packet = gizmoPacket(XFORM_ROTATE, partM, tmAxis, localOrigin);
    packet.q = val;
    packet.aa = AngAxis(val);
    transformGizmo(t, packet);
}

void wkCache_obj::scaleGizmo(TimeValue t, const Matrix3& partM, const Matrix3& tmAxis,
                             const Point3& val, bool localOrigin) {
    SetXFormPacket packet = gizmoPacket(XFORM_SCALE, partM, tmAxis, localOrigin);
    packet.p = val;
    transformGizmo(t, packet);
}
