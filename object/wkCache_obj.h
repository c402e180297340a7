// wkCache_obj: the cache object, the one scene class of the system. It plays a .wkc file back as
// one mesh, each recorded node an element with its own time, and it is what a recording records
// for.
//
// The object holds its settings in a parameter block that the host makes (reference 0), and
// its per-object playback state, which is also its client key in the open-cache registry. It
// never owns a reader: it asks the registry each time. updateCacheMesh(t) is the one entry of
// the playback path; everything that changes its outcome empties the validity intervals through
// invalidateAll or invalidateSelection.
#pragma once

#include "cachefile/wkCacheFrameTimes.h"
#include "cachefile/wkCacheReader.h"
#include "elements/wkCacheActivation.h"
#include "elements/wkCacheGroupActions.h"
#include "elements/wkCachePlaybackState.h"
#include "explode/wkCacheExplodeTarget.h"
#include "host/CommandModes.h"
#include "host/CreateMouseCallBack.h"
#include "host/FPInterface.h"
#include "host/GraphicsWindow.h"
#include "host/HostTime.h"
#include "host/Mesh.h"
#include "host/ObjectDisplay.h"
#include "host/ParamBlock.h"
#include "host/Reference.h"
#include "host/SceneIO.h"
#include "object/wkCacheParams.h"
#include "object/wkCacheValidators.h"
#include "recording/wkCacheRecordTarget.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

// The host's flag of an object inside a render.
inline constexpr std::uint32_t A_RENDER = 0x400000;
// Flags of the host's animatable: a panel made the object new (cleared when it closes), and a
// restore record of the object is in the hold.
inline constexpr std::uint32_t A_OBJ_CREATING = 0x20;
inline constexpr std::uint32_t A_HELD = 0x1000;
// Snapping skips the object while the mouse creates it. The bit is this system's choice.
inline constexpr std::uint32_t A_SNAP_SUSPEND = 0x2000000;
// Change messages the object sends besides REFMSG_CHANGE.
inline constexpr RefMessage REFMSG_CONTROLREF_CHANGE = 250;

class IObjParam;

// The host's object line (GeomObject, ReferenceMaker) comes first, then the display interface.
class wkCache_obj final : public GeomObject,
                          public ReferenceMaker,
                          public MaxSDK::Graphics::IObjectDisplay2,
                          public wkCacheRecordTarget,
                          public wkCacheExplodeTarget {
public:
    static constexpr Class_ID kClassID{0x74131F4A, 0x5C615BBA};

    // `loading`: made for a scene being loaded or a clone, which keeps what its parameter block
    // will hold. A new object takes its ranges from the animation range. Needs an installed host.
    explicit wkCache_obj(bool loading = false);
    // Leaves the open-cache registry.
    ~wkCache_obj() override;
    wkCache_obj(const wkCache_obj&) = delete;
    wkCache_obj& operator=(const wkCache_obj&) = delete;

    // ---- SceneObject: the mesh at t
    SClass_ID SuperClassID() const override { return GEOMOBJECT_CLASS_ID; }
    Class_ID ClassID() const override { return kClassID; }
    bool CanConvertToTriMesh() const override { return true; }
    TriObjectConversion ConvertToTriMesh(TimeValue t) override;
    RenderMesh GetRenderMesh(TimeValue t, INode* node, View& view) override;

    // ---- Life and references (wkCache_objLifecycle.cpp)
    // A new object made for loading, with copies of both references, the element selection,
    // the groups with the selected one and the group browse filter; no reader link.
    std::unique_ptr<wkCache_obj> Clone() const;
    // The host asks again at every time.
    Interval ObjectValidity(TimeValue t) const { return Interval(t, t); }
    // "Gizmo" for sub-animatable 1, empty otherwise.
    static WStr SubAnimName(int index);
    // Replaces the gizmo controller: only index 1 is accepted.
    bool SetReference(int index, std::unique_ptr<MatrixControl> control);
    std::uint32_t flags() const { return animFlags; }
    void clearHeldFlag() { animFlags &= ~A_HELD; }

    // ---- The panel (wkCache_objLifecycle.cpp). `ip` is the host's interface while a panel of
    // any cache object is open (null while none is), which every panel refresh checks first.
    static IObjParam* panelInterface;
    void BeginEditParams(IObjParam* ip);
    void EndEditParams();
    // The host's time moved (while the panel is open): the Set Frame spinner follows it.
    void TimeChanged(TimeValue t);
    // The one creation callback, holding this object (wkCache_objCreate.cpp): the first point
    // places the node, the second sets iconSize to twice its distance from the first.
    CreateMouseCallBack* GetCreateMouseCallBack();
    // Host notifications while the panel is open: 70 starts a bulk change of the node list,
    // 71 ends it; 97 and 98 change the scene's nodes.
    void NodeListNotification(int code);
    bool isNodeListSuspended() const { return nodeListSuspended; }
    // A spinner of the record or explode range is dragged: 1 start, 2 end, 0 none; `other`
    // is the opposite end's value at drag start.
    void setRecDrag(int state, int other) { recDragState = state, recDragOther = other; }
    void setExplodeDrag(int state, int other) {
        explodeDragState = state, explodeDragOther = other;
    }

    // ---- File operations, each one undoable step (wkCache_objFiles.cpp)
    bool newCacheFile();
    bool loadCacheFile();
    void unloadCacheFile();
    void reloadCacheFile();
    // The cache's material on the nodes of this object (and with otherObjects of every object
    // on the same file); the number of nodes changed.
    int reloadMaterial(bool replaceOwn, bool otherObjects, bool replaceOthers, bool selectedOnly,
                       bool undoable);
    // The Reload Material button (wkCache_objMaterial.cpp): without SHIFT the selected nodes of
    // this object, with SHIFT every node of every object on the file; redraws when any changed.
    int reloadMaterialClicked(bool shiftHeld);

    // ---- Element selection and scene files (wkCache_objSave.cpp)
    using ElementSet = wkCacheGroupList::ElementSet;
    const ElementSet& elementSelection() const { return selection; }
    // Puts a Restore_Selection when a hold runs; accepts nothing. `refresh` false leaves the
    // mesh and the views alone, as the element dialog does.
    void setElementSelection(ElementSet elements, bool refresh = true);
    WStr groupBrowseFilter;
    // Chunks 0x0100 (selection) and 0x0200 (groups); the references are saved by the host.
    int Save(ISave& save);
    // IO_OK, or IO_ERROR when a chunk fails.
    int Load(ILoad& load);
    // The group steps' form without undo: empties the list and elementFrames.
    void removeAllGroupsNoUndo();

    // ---- Render begin and end: the render flag, with fresh element states either way.
    int RenderBegin(TimeValue t);
    int RenderEnd(TimeValue t);
    bool inRender() const { return (animFlags & A_RENDER) != 0; }

    // ---- Parameters
    IParamBlock2& params() { return *parameters; }
    const IParamBlock2& params() const { return *parameters; }
    // The gizmo's transform controller (reference 1), the trigger of activation by gizmo.
    MatrixControl& gizmo() { return *gizmoControl; }
    RefResult NotifyRefChanged(const Interval& changeInt, ReferenceTarget* target, PartID part,
                               RefMessage message, bool propagate) override;

    // ---- Playback
    // Brings `mesh` up to date for t: afterwards meshValid is [t, t], or empty on failure.
    void updateCacheMesh(TimeValue t);
    // The element states for t (activation, clock, groups), unless they hold for t already.
    // forRender takes the render settings outside a render too.
    void evaluateElements(TimeValue t, WelkardTools::wkCacheReader& reader, bool forRender);
    // The mesh alone is stale; the element states hold.
    void invalidateSelection();

    const Mesh& getMesh() const { return mesh; }
    // One matrix per hidden element of the last frame, in the viewport.
    const std::vector<Matrix3>& getMarkers() const { return markers; }
    Interval meshValidity() const { return meshValid; }
    Interval elementValidity() const { return elementValid; }
    bool isMeshReady() const { return meshReady; }
    bool isGeomCacheStale() const { return geomCacheStale; }
    TimeValue getLastTime() const { return lastTime; }
    wkCachePlaybackState& playbackRecord() { return *playback; }
    const wkCachePlaybackState& playbackRecord() const { return *playback; }
    // The full path of fileName, or empty when none is set or it cannot be resolved.
    WStr resolvedFilePath() const;
    // The text the status line shows while no operation shows its own.
    WStr defaultStatusText() const;

    // ---- Element groups, each operation one undoable step that keeps elementFrames (one entry
    // per group, the frame of Set Frame) in step with the list. False for an unknown group, or
    // a name that is empty or in use; a change to what is already there holds nothing and
    // answers true.
    // withSelection: the new group takes the elements of the element selection.
    bool addGroup(const WStr& name, bool withSelection = false);
    bool removeGroup(const WStr& name);
    void removeAllGroups();
    // An empty newName asks the user for one (the Group Name dialog).
    bool renameGroup(const WStr& name, const WStr& newName);
    // direction < 0 moves the group up the list, > 0 down.
    bool moveGroup(const WStr& name, int direction);
    // Selects the group and refreshes an open panel's group list and controls; false if it does
    // not exist or is selected already.
    bool selectGroup(const WStr& name);
    // The settings of the Per-Element Control rollout and of scripts (wkCache_objGroupSettings).
    bool setGroupEnabled(const WStr& name, bool on);
    bool setGroupRespectActivation(const WStr& name, bool on);
    bool setGroupMode(const WStr& name, int mode);
    bool setGroupOffset(const WStr& name, float frames);
    bool setGroupByAge(const WStr& name, bool on);
    bool setGroupByDistance(const WStr& name, bool on);
    bool setGroupDeleteAge(const WStr& name, float frames);
    bool setGroupDeleteDistance(const WStr& name, float distance);
    // The 0-based material id, clamped to 0..98 (ids 1 to 99 as users see them).
    bool setGroupMaterial(const WStr& name, int materialIndex);
    // What a group stores for a 0-based material id: the record's own setter keeps 1..99, the
    // range users see, which is one above the id faces take.
    static int storedMaterialIndex(int materialIndex) { return std::clamp(materialIndex, 0, 98); }
    // The elements of a group (wkCache_objGroupElements). add: merged into the group's elements;
    // unique: taken from every other group.
    bool setGroupElements(const WStr& name, const std::set<std::uint32_t>& elements, bool add,
                          bool unique);
    bool removeGroupElements(const WStr& name, const std::set<std::uint32_t>& elements);
    bool makeGroupElementsUnique(const WStr& name);

    // ---- Interfaces: the display interface is this object's own base; a script interface is
    // made at the first request by the maker its implementation registered. Null for an id
    // the object does not answer.
    BaseInterface* GetInterface(Interface_ID id);

    // Any change of the group list as one undoable step under `label`, inside the running hold
    // or one of its own; on failure the hold is cancelled. `invalidate`: the change shows.
    bool groupOperation(const wchar_t* label, const std::function<bool()>& operation,
                        bool invalidate);

    // ---- Viewport display and hit testing (wkCache_objDisplay.cpp)
    // Draws the mesh, markers, icon, gizmo and element boxes; flags bit 0: use the damage rect.
    int Display(TimeValue t, INode* node, ViewExp* vpt, int flags);
    // Object level: 1 when the object is in the region.
    int HitTest(TimeValue t, INode* node, int type, int crossing, int flags, const IPoint2* p,
                ViewExp* vpt);
    void GetLocalBoundBox(TimeValue t, INode* node, ViewExp* vpt, Box3& box);
    void GetWorldBoundBox(TimeValue t, INode* node, ViewExp* vpt, Box3& box);
    // The icon for `size`: empty for a negative size, else 104 vertices and 114 faces.
    static std::unique_ptr<Mesh> BuildIconMesh(float size);
    // Where the icon is drawn: at the node's pivot, whatever its object offset.
    void IconTM(TimeValue t, INode* node, Matrix3& tm, bool objectSpace);
    void EnsureGizmoControl();
    // IObjectDisplay2: preparing builds the mesh at the time (when it is shown), and a node's
    // step is Display.
    bool PrepareDisplay(const MaxSDK::Graphics::UpdateDisplayContext& context) override;
    bool UpdatePerNodeItems(const MaxSDK::Graphics::UpdateDisplayContext& context,
                            MaxSDK::Graphics::UpdateNodeContext& nodeContext) override;

    // ---- Sub-object levels (wkCache_objSubObject.cpp): 1 "Elements", 2 "Gizmo".
    int subLevelCount() const { return 2; }
    // -1: the type of the current level. Null for a level that is not there.
    const GenSubObjType* subLevelType(int i) const;
    void enterSubLevel(int level, XFormModes& modes);
    int getSubObjectLevel() const { return subObjectLevel; }
    // The element boxes; hits are logged in the viewport with the element index as info.
    int HitTest(TimeValue t, INode* node, int type, int crossing, int flags, const IPoint2* p,
                ViewExp* vpt, ModContext* mc);
    void selectHitElements(HitRecord* hits, bool selected, bool all);
    void clearElementSelection(int level);
    void selectAllElements(int level);
    void invertElementSelection(int level);
    static int hitElementIndex(const HitRecord& hit) { return static_cast<int>(hit.hitInfo); }
    void reportSelectionCenters(SubObjAxisCallback& callback, TimeValue t, INode* node);
    void reportSelectionFrames(SubObjAxisCallback& callback, TimeValue t, INode* node);
    void moveGizmo(TimeValue t, const Matrix3& partM, const Matrix3& tmAxis, const Point3& val);
    void rotateGizmo(TimeValue t, const Matrix3& partM, const Matrix3& tmAxis, const Quat& val,
                     bool localOrigin);
    void scaleGizmo(TimeValue t, const Matrix3& partM, const Matrix3& tmAxis, const Point3& val,
                    bool localOrigin);
    // The sub-object command modes, one set for the process while a panel is open.
    static void CreateCommandModes();
    static void DeleteCommandModes();

    // ---- wkCacheRecordTarget
    SceneObject& recordObject() override { return *this; }
    int nodeCount() const override;
    INode* nodeAt(int index, TimeValue t) const override;
    void clearNodes() override;
    wkCacheRecordParams recordParams() const override;
    AssetUser fileName() const override;
    void setFileName(const AssetUser& asset) override;
    void setPlayStart(int frame) override;
    void setExplodeStart(int frame) override;
    void setExplodeEnd(int frame) override;
    wkCachePlaybackState* playbackState() override { return playback.get(); }
    wkCacheRecordTarget* targetOfClient(wkCachePlaybackState* client) const override;
    void invalidateAll() override;
    // The strong form: element states must be sized and scanned again.
    void invalidateElements() override;
    void notifyDependents(std::uint32_t partMask, int message) override;
    bool hasPanel() const override { return panelOpen; }
    void showStatus(const WStr* text) override;
    void progressChanged() override;
    wkCacheProgressState& progressState() override { return progress; }

    // ---- wkCacheExplodeTarget (wkCache_objExplode.cpp)
    void beginOperation(const WStr& progressFormat, const WStr& statusText) override;
    bool reportProgress(std::int32_t done, std::int32_t total) override;
    void endOperation() override;
    SceneObject& sceneObject() override { return *this; }
    WStr cacheFilePath() const override { return resolvedFilePath(); }
    wkCacheExplodeSettings explodeSettings() const override;
    void clearElementValidity() override { elementValid.SetEmpty(); }
    void evaluateForExplode(TimeValue t, WelkardTools::wkCacheReader& reader) override {
        evaluateElements(t, reader, true);
    }
    wkCachePlaybackState& explodePlayback() override { return *playback; }
    bool elementSelected(int element) const override {
        return selection.count(static_cast<std::uint32_t>(element)) != 0;
    }
    bool objectDeleted() const override { return (animFlags & A_IS_DELETED) != 0; }
    bool panelsOpen() const override { return panelOpen; }
    // Explode with the object's explode parameters, as its Explode button does; answers 1 on
    // success (ExplodeToObjects).
    int explodeWithSettings();

    // ---- Settings as tools and tests give them
    // The user chose units in the two lists (parameters 8 and 9): scaleUnits becomes their
    // factor. Other writes of the lists (script, undo, a scene) leave scaleUnits alone, as it
    // can be typed in.
    void selectScaleUnits(int from, int to);
    // Writes the record parameters at time 0 (the block clamps them).
    void setRecordParams(const wkCacheRecordParams& p);
    // Appends a node the node validator accepts; false, with the list unchanged, otherwise.
    bool addNode(INode* node);
    // Appends through the validator installed on the block's description, which need not be
    // this object's; a refused node leaves the list as it was.
    void appendNodeEntry(INode* node);
    std::vector<INode*> nodeList() const;
    int getPlayStart() const;
    int getExplodeStart() const;
    int getExplodeEnd() const;

    // ---- The status display of the headless host
    void setPanelOpen(bool open) { panelOpen = open; }
    // The text shown last while the panel was open.
    const WStr& statusText() const { return status; }
    // Called at every change of the status text or of the progress numbers.
    void setStatusObserver(std::function<void(wkCache_obj&)> observer) {
        statusObserver = std::move(observer);
    }
    int invalidations() const { return invalidateCount; }
    // (part mask, message) of each change message sent to dependents.
    const std::vector<std::pair<std::uint32_t, int>>& notifications() const { return sent; }

private:
    friend class wkCache_objCreateCallBack;
    // The node list notifications, registered while the panel is open.
    static void nodeListNotify(void* object, int code);
    class Restore_Groups;
    class Restore_Selection;
    class Restore_Gizmo;
    friend class Restore_Groups;
    friend class Restore_Selection;

    // Put a Restore_Groups, or a Restore_Selection and then a Restore_Groups, when the hold
    // runs, and set the held flag.
    void holdGroups();
    void holdSelectionAndGroups();
    // The file changed: a new file keeps nothing of the old one's groups and selection.
    void fileChanged();
    // Keeps each range's start at or below its end while its spinners are dragged.
    void coupleRange(ParamID p);
    // Every other object's playback record of the open cache at `path` has its element states
    // made again.
    void invalidateOtherClientsOf(const WStr& path);

    // A setting of one group: `change` applies it and answers whether anything changed.
    // The mesh is made stale when `shows` says the changed group can show the change; by
    // default when the group is enabled.
    bool setGroupSetting(const WStr& name, const wchar_t* label,
                         const std::function<bool(wkCacheGroup&)>& change,
                         const std::function<bool(const wkCacheGroup&)>& shows = {});

    void setRendering(bool on);
    // The status line's text for the cache at `path` (resolved already).
    static WStr statusTextFor(const WStr& path);
    // Steps of updateCacheMesh.
    void clearMesh();
    int chooseLoadType(const HostTime& clock) const;
    void preloadWithProgress(WelkardTools::wkCacheReader& reader);
    void applyCacheMaterial();
    // scaleUnits becomes the factor of the two unit lists.
    void applyUnitLists();
    // Steps of evaluateElements: the activation scan, and the group stage.
    wkCacheTriggerSource triggerSource(TimeValue t);
    void updateActivation(TimeValue t, WelkardTools::wkCacheReader& reader);
    void applyGroups(TimeValue t, WelkardTools::wkCacheReader& reader);

    std::unique_ptr<IParamBlock2> parameters;
    std::unique_ptr<MatrixControl> gizmoControl;
    std::unique_ptr<wkCachePlaybackState> playback;
    std::vector<std::pair<Interface_ID, std::unique_ptr<FPInterface>>> interfaces;
    wkCacheProgressState progress;
    Mesh mesh;
    Interval meshValid;
    Interval elementValid;
    TimeValue lastTime = -1;
    // -1 is a real tick too: whether lastTime holds a time at all, so that the first update
    // after a reset always builds.
    bool lastTimeKnown = false;
    bool elementStateDirty = true;
    bool activationValid = false;
    bool firstBuild;
    std::vector<Matrix3> markers;
    // Kept between updates so that a frame allocates nothing for its element times.
    wkCacheFrameTimes frameTimes;
    std::vector<float> rawTimes;     // each element's time before the activation shift
    std::vector<float> shiftedTimes; // and after it
    wkCacheGroupStage groupStage;
    bool meshReady = false;
    bool geomCacheStale = true;
    std::uint32_t animFlags = 0;

    // ---- Viewport (wkCache_objDisplay.cpp, wkCache_objSubObject.cpp)
    // The shared reader of this object when it has one without an error.
    WelkardTools::wkCacheReader* soundReader();
    void EnsureIconMesh(TimeValue t);
    void EnsureElementBoxes(int count);
    // One marker run; in a hit test, whether a marker hit.
    bool DrawMarkers(GraphicsWindow& gw);
    // The element boxes at level 1, selected ones first.
    void drawElementBoxes(TimeValue t, GraphicsWindow& gw, const Point3& wire, bool wireCase,
                          std::uint32_t wireLimits);
    // Puts a Restore_Selection on the hold, when one runs, and sets the held flag.
    void holdSelection();
    // After a change of the element selection, its undo and its redo: the mesh is stale and the
    // views are redrawn at once.
    void selectionRefresh();
    void levelRefresh();
    // Sum of the centres of the selected elements' boxes in world space, and their count.
    int selectionCentreSum(TimeValue t, INode* node, Point3& sum);
    void transformGizmo(TimeValue t, const SetXFormPacket& packet);

    std::unique_ptr<Mesh> iconMesh;
    float iconMeshSize = 0.0f;
    std::vector<std::unique_ptr<Mesh>> elementBoxes;
    Material displayMaterials[3]; // frozen, selection, wire
    int subObjectLevel = 0;

    bool panelOpen = false;
    bool nodeListSuspended = false;
    int recDragState = 0, recDragOther = 0;
    int explodeDragState = 0, explodeDragOther = 0;
    ElementSet selection;
    wkCacheNodesValidator nodesValidator{this};
    wkCacheHelperValidator helperValidator;
    wkCacheExplodeNodeValidator explodeNodeValidator{this};
    WStr status;
    std::function<void(wkCache_obj&)> statusObserver;
    int invalidateCount = 0;
    std::vector<std::pair<std::uint32_t, int>> sent;
};
