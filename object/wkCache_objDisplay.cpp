// What the cache object shows in a viewport and how it is picked at object level: the cached
// mesh, the markers of hidden elements, the icon, the gizmo of the Gizmo level and the element
// boxes of the Elements level. There is one drawing route: the mesh and everything around it go
// through the viewport's graphics window.
#include "object/wkCache_obj.h"

#include "cachefile/wkCacheRegistry.h"
#include "host/Host.h"
#include "host/INode.h"
#include "playback/wkCacheFrameAssembly.h"

#include <cmath>

using namespace wkCacheParam;
using WelkardTools::wkCacheReader;

namespace {

// Render limits of the wire display and of picking.
constexpr std::uint32_t kWireOn = 0x200001;
constexpr std::uint32_t kPickWire = 0x201001;
constexpr std::uint32_t kKeepBits = 0x800020;

enum DisplayMaterial : int { MTL_FROZEN = 0, MTL_SELECTION = 1, MTL_WIRE = 2 };

Point3 ColorOf(std::uint32_t bgr) {
    return {static_cast<float>(bgr & 0xFF) / 255.0f, static_cast<float>((bgr >> 8) & 0xFF) / 255.0f,
            static_cast<float>((bgr >> 16) & 0xFF) / 255.0f};
}

// A node without a display material of its own shows in its wire colour.
Material NodeMaterial(const INode& node) {
    const Point3 c = ColorOf(node.GetWireColor());
    return {c * 0.4f, c, Point3(0.9f, 0.9f, 0.9f)};
}

} // namespace

WelkardTools::wkCacheReader* wkCache_obj::soundReader() {
    wkCacheReader* reader = theCacheRegistry.readerOfClient(playback.get());
    if (reader == nullptr || reader->hasError() || reader->getIndex() == nullptr)
        return nullptr;
    return reader;
}

void wkCache_obj::EnsureGizmoControl() {
    if (gizmoControl)
        return;
    gizmoControl = GetHost().NewDefaultMatrix3Controller(*this);
    notifyDependents(PART_ALL, 250); // the list of sub-animatables changed
}

void wkCache_obj::EnsureIconMesh(TimeValue t) {
    const float size = parameters->GetFloat(iconSize, t);
    if (iconMesh && size == iconMeshSize)
        return;
    iconMesh = BuildIconMesh(size);
    iconMeshSize = size;
}

void wkCache_obj::EnsureElementBoxes(int count) {
    const std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
    elementBoxes.resize(n);
    for (auto& box : elementBoxes)
        if (!box)
            box = std::make_unique<Mesh>();
}

void wkCache_obj::IconTM(TimeValue t, INode* node, Matrix3& tm, bool objectSpace) {
    tm.IdentityMatrix();
    tm.PreTranslate(node->GetObjOffsetPos());
    PreRotateMatrix(tm, node->GetObjOffsetRot());
    ApplyScaling(tm, node->GetObjOffsetScale());
    tm.Invert();
    if (!objectSpace)
        tm = tm * node->GetObjectTM(t);
}

bool wkCache_obj::DrawMarkers(GraphicsWindow& gw) {
    gw.startMarkers();
    for (const Matrix3& m : markers)
        gw.marker(m.GetTrans(), DOT_MRKR);
    return gw.endMarkers();
}

// Nothing to prepare when the cached mesh is not shown; that is no failure.
bool wkCache_obj::PrepareDisplay(const MaxSDK::Graphics::UpdateDisplayContext& context) {
    if (parameters->GetInt(vpDisplayCache) == 1)
        updateCacheMesh(context.t);
    return true;
}

bool wkCache_obj::UpdatePerNodeItems(const MaxSDK::Graphics::UpdateDisplayContext& context,
                                     MaxSDK::Graphics::UpdateNodeContext& nodeContext) {
    Display(context.t, nodeContext.node, nodeContext.view, nodeContext.flags);
    return true;
}

int wkCache_obj::Display(TimeValue t, INode* node, ViewExp* vpt, int flags) {
    // A hidden node is left out of the viewports.
    if (node->IsNodeHidden())
        return 0;
    GraphicsWindow& gw = vpt->getGW();
    const std::uint32_t limits = gw.getRndLimits();
    const Material nodeMaterial = NodeMaterial(*node);
    const Material* materials = &nodeMaterial;
    int numMaterials = 1;
    const Matrix3 objectTM = node->GetObjectTM(t);
    gw.setTransform(objectTM);

    const bool displayCache = parameters->GetInt(vpDisplayCache) == 1;
    const bool displayIcon = parameters->GetInt(vpDisplayIcon) == 1;
    const bool showMarkers =
        parameters->GetInt(vpShowMarkers) == 1 && parameters->GetInt(vpDeleteObjects) != 1;
    const bool wireMode = (limits & GW_WIREFRAME) != 0;
    const bool wireOverride = !wireMode && parameters->GetInt(vpWireframe) == 1;
    const bool wireCase = wireMode || wireOverride;
    const std::uint32_t wireLimits = (limits & kKeepBits) | kWireOn;
    const int level = getSubObjectLevel();
    const Point3 wire = ColorOf(node->GetWireColor());
    const Point3 selection = gw.GetUIColor(COLOR_SELECTION);
    const Point3 frozen = gw.GetUIColor(COLOR_FROZEN);
    displayMaterials[MTL_FROZEN] = {frozen, frozen, frozen};
    displayMaterials[MTL_SELECTION] = {selection, selection, selection};
    displayMaterials[MTL_WIRE] = {wire, wire, wire};

    if (wireOverride)
        gw.setRndLimits(wireLimits);
    // The wire colour of the object: frozen (and at a sub-object level) first, then selected.
    const DisplayMaterial state = node->IsFrozen() ? MTL_FROZEN
                                  : node->Selected() ? MTL_SELECTION
                                                     : MTL_WIRE;
    const Point3 stateColor[3] = {frozen, selection, wire};
    const DisplayMaterial wireState = level == 1 || level == 2 ? MTL_FROZEN : state;
    if (wireCase) {
        gw.setColor(LINE_COLOR, stateColor[wireState]);
        materials = &displayMaterials[wireState];
        numMaterials = 1;
    }

    if (displayCache) {
        if (geomCacheStale) {
            mesh.InvalidateGeomCache();
            geomCacheStale = false;
        }
        updateCacheMesh(t);
        gw.setMaterial(*materials);
        if (meshReady) {
            const Rect damage = vpt->GetDamageRect();
            mesh.render(&gw, materials, (flags & 1) ? &damage : nullptr, 255, numMaterials);
        }
    }

    if (level == 2) {
        if (!wireCase)
            gw.setRndLimits(wireLimits);
        EnsureGizmoControl();
        Matrix3 gizmoTM(true);
        gizmoControl->GetValue(t, gizmoTM);
        gw.setTransform(gizmoTM * objectTM);
        gw.setColor(LINE_COLOR, selection);
        Point3 xy[17], yz[17], xz[17];
        xy[0] = {40.0f, 0.0f, 0.0f};
        yz[0] = {0.0f, 40.0f, 0.0f};
        xz[0] = {0.0f, 0.0f, 40.0f};
        for (int i = 1; i <= 16; ++i) {
            const float angle = static_cast<float>(i) * 0.0625f * 6.2831855f;
            const float c = std::cos(angle) * 40.0f, s = std::sin(angle) * 40.0f;
            xy[i] = {c, s, 0.0f};
            yz[i] = {0.0f, c, s};
            xz[i] = {s, 0.0f, c};
        }
        gw.polyline(17, xy, false);
        gw.polyline(17, yz, false);
        gw.polyline(17, xz, false);
    }

    if (level == 0 && (displayIcon || (displayCache && showMarkers))) {
        gw.setColor(LINE_COLOR, stateColor[state]);
        gw.setRndLimits(kWireOn);
        if (!markers.empty() && displayCache && showMarkers)
            DrawMarkers(gw);
        if (displayIcon) {
            EnsureIconMesh(t);
            Matrix3 m;
            IconTM(t, node, m, false);
            gw.setTransform(m);
            iconMesh->render(&gw, &nodeMaterial, nullptr, 255, 1);
        }
    }

    if (level == 1)
        drawElementBoxes(t, gw, wire, wireCase, wireLimits);
    gw.setRndLimits(limits);
    return 0;
}

void wkCache_obj::drawElementBoxes(TimeValue t, GraphicsWindow& gw, const Point3& wire,
                                   bool wireCase, std::uint32_t wireLimits) {
    wkCacheReader* reader = soundReader();
    if (reader == nullptr)
        return;
    evaluateElements(t, *reader, false);
    const int count = static_cast<int>(reader->getIndex()->nodes.size());
    EnsureElementBoxes(count);
    if (!wireCase)
        gw.setRndLimits(wireLimits);
    if (!selection.empty()) {
        gw.setColor(LINE_COLOR, gw.GetUIColor(COLOR_SELECTION));
        for (std::int32_t index : selection) {
            if (index < 0 || index >= count)
                continue;
            Mesh& box = *elementBoxes[static_cast<std::size_t>(index)];
            if (WelkardTools::updateElementBox(*reader, box, index, *playback))
                box.render(&gw, &displayMaterials[MTL_SELECTION], nullptr, 255, 1);
        }
    }
    for (std::int32_t index = 0; index < count; ++index) {
        gw.setColor(LINE_COLOR, wire);
        if (selection.count(index) != 0)
            continue;
        Mesh& box = *elementBoxes[static_cast<std::size_t>(index)];
        if (WelkardTools::updateElementBox(*reader, box, index, *playback))
            box.render(&gw, &displayMaterials[MTL_WIRE], nullptr, 255, 1);
    }
}

int wkCache_obj::HitTest(TimeValue t, INode* node, int type, int crossing, int flags,
                         const IPoint2* p, ViewExp* vpt) {
    GraphicsWindow& gw = vpt->getGW();
    HitRegion region;
    MakeHitRegion(region, type, crossing, 4, p);
    gw.setHitRegion(region);
    const std::uint32_t saved = gw.getRndLimits();
    if ((saved & GW_WIREFRAME) == 0 && parameters->GetInt(vpWireframe) == 1)
        gw.setRndLimits((saved & kKeepBits) | kPickWire);
    else
        gw.setRndLimits((saved & ~GW_ILLUM) | GW_PICK);
    const Matrix3 objectTM = node->GetObjectTM(t);
    gw.setTransform(objectTM);
    gw.clearHitCode();

    // A hit on the mesh returns with the picking limits still set, as the host expects.
    if (parameters->GetInt(vpDisplayCache) == 1 && meshReady &&
        mesh.select(&gw, gw.getMaterial(), &region, (flags & 8) != 0, 1))
        return 1;
    gw.setRndLimits(kPickWire);
    if (parameters->GetInt(vpDisplayIcon) == 1) {
        EnsureIconMesh(t);
        Matrix3 m;
        IconTM(t, node, m, false);
        gw.setTransform(m);
        if (iconMesh->select(&gw, gw.getMaterial(), &region, (flags & 8) != 0, 1)) {
            gw.setRndLimits(saved);
            return 1;
        }
    }
    // A window selection must hold the whole object: markers alone never make it.
    if (type != POINT_RGN && !crossing) {
        gw.setRndLimits(saved);
        return 0;
    }
    // Markers are picked only where Display draws them: with the cache off the update returns
    // before it empties the list, so the last frame's markers would be picked unseen.
    int result = 0;
    if (!markers.empty() && parameters->GetInt(vpDisplayCache) == 1 &&
        parameters->GetInt(vpShowMarkers) == 1 && parameters->GetInt(vpDeleteObjects) != 1) {
        gw.setTransform(objectTM);
        result = DrawMarkers(gw) ? 1 : 0;
    }
    gw.setRndLimits(saved);
    return result;
}

void wkCache_obj::GetLocalBoundBox(TimeValue t, INode* node, ViewExp*, Box3& box) {
    updateCacheMesh(t);
    box.Init();
    if (parameters->GetInt(vpDisplayIcon) == 1) {
        EnsureIconMesh(t);
        Matrix3 m;
        IconTM(t, node, m, true);
        box = iconMesh->getBoundingBox(&m);
    }
    if (meshReady && mesh.getNumVerts() > 0 && parameters->GetInt(vpDisplayCache) == 1) {
        if (geomCacheStale) {
            mesh.InvalidateGeomCache();
            geomCacheStale = false;
        }
        box += mesh.getBoundingBox();
    }
}

void wkCache_obj::GetWorldBoundBox(TimeValue t, INode* node, ViewExp* vpt, Box3& box) {
    Box3 local;
    GetLocalBoundBox(t, node, vpt, local);
    if (local.IsEmpty()) {
        box = local;
        return;
    }
    const Matrix3 tm = node->GetObjectTM(t);
    box.Init();
    for (int i = 0; i < 8; ++i)
        box += local[i] * tm;
}
