// A node of the headless scene: everything INode answers, kept as plain data and key tracks
// that tools and tests set directly.
//
// The node transform is built from the three tracks of the node's transform controller:
// scale (factors along the node's axes), then rotation, then position, times the parent's
// node transform. The object offset applies in front of that, in the same order. A transform
// controller, once given, takes the place of the three tracks, and a visibility controller
// that of the visibility track.
#pragma once

#include "host/INode.h"
#include "host/headless/HeadlessKeyTrack.h"

#include <memory>
#include <optional>
#include <vector>

class HeadlessNode final : public INode {
public:
    HeadlessNode(WStr name, SceneObject* object);

    // ---- INode
    WStr GetName() const override { return name; }
    void SetName(const WStr& newName) override { name = newName; }
    INode* GetParentNode() const override { return parent; }
    Matrix3 GetNodeTM(TimeValue t) override;
    Matrix3 GetObjectTM(TimeValue t) override;
    void GetObjectTMs(const TimeValue* times, int count, Matrix3* out) override;
    Point3 GetObjOffsetPos() const override { return offsetPos; }
    Quat GetObjOffsetRot() const override { return offsetRot; }
    ScaleValue GetObjOffsetScale() const override { return offsetScale; }
    float GetVisibility(TimeValue t) override;
    float GetLocalVisibility(TimeValue t) override;
    bool GetInheritVisibility() const override { return inheritVisibility; }
    void GetVisibilities(const TimeValue* times, int count, bool inherited, float* out) override;
    Mtl* GetMtl() const override { return material.get(); }
    std::shared_ptr<Mtl> ShareMtl() const override { return material; }
    void SetMtl(std::shared_ptr<Mtl> mtl) override { material = std::move(mtl); }
    bool TestAFlag(std::uint32_t mask) const override { return (aFlags & mask) != 0; }
    bool Selected() const override { return selected; }
    bool IsFrozen() const override { return frozen; }
    bool IsNodeHidden() const override { return hidden; }
    std::uint32_t GetWireColor() const override { return wireColor; }
    ObjectState EvalWorldState(TimeValue t, bool evalHidden = true) override;
    SceneObject* GetObjectRef() const override { return object; }
    MatrixControl* GetTMController() override { return tmControl.get(); }
    void SetTMController(std::unique_ptr<MatrixControl> control) override {
        tmControl = std::move(control);
        HeadlessRevision::Changed();
    }
    Control* GetVisController() override { return visControl.get(); }
    void SetVisController(std::unique_ptr<Control> control) override {
        visControl = std::move(control);
    }
    void SetNodeTM(TimeValue t, const Matrix3& tm) override;
    void CopyProperties(INode* from) override;

    // ---- The scene's settings
    // The local transform as the tracks give it, without the parent.
    Matrix3 GetLocalTM(TimeValue t) const;
    // GetNodeTM at each of `count` times, into `out`.
    void GetNodeTMs(const TimeValue* times, int count, Matrix3* out);
    Point3Track& Position() { return position; }
    RotationTrack& Rotation() { return rotation; }
    Point3Track& Scale() { return scale; }
    // The visibility track, made (with no keys, so answering 1) on first use.
    FloatTrack& Visibility();
    bool HasVisibilityTrack() const { return visibility.has_value(); }
    void RemoveVisibilityTrack() { visibility.reset(); }

    void SetObjOffsetPos(const Point3& p) {
        offsetPos = p;
        updateOffset();
    }
    void SetObjOffsetRot(const Quat& q) {
        offsetRot = q;
        updateOffset();
    }
    void SetObjOffsetScale(const ScaleValue& s) {
        offsetScale = s;
        updateOffset();
    }
    void SetInheritVisibility(bool on) { inheritVisibility = on; }
    void SetSelected(bool on) { selected = on; }
    void SetFrozen(bool on) { frozen = on; }
    void SetHidden(bool on) { hidden = on; }
    void SetWireColor(std::uint32_t colour) { wireColor = colour; }
    void SetAFlag(std::uint32_t mask) { aFlags |= mask; }
    void ClearAFlag(std::uint32_t mask) { aFlags &= ~mask; }
    void SetObjectRef(SceneObject* obj) { object = obj; }

    // Links below `newParent` (null: the top of the scene). A parent that is this node or
    // lies below it would make a loop: std::invalid_argument, and nothing changes.
    void SetParent(HeadlessNode* newParent);
    const std::vector<HeadlessNode*>& Children() const { return children; }

private:
    // Runs of this many times are evaluated together (GetNodeTMs).
    static constexpr int kRun = 16;
    // The node transforms of the last run asked of a node with children: a recording asks each
    // child for the same run, and the parent is evaluated once for all of them.
    struct RunMemo {
        std::uint64_t revision = 0; // HeadlessRevision at the evaluation; 0 before any
        int count = 0;
        TimeValue times[kRun] = {};
        Matrix3 transforms[kRun];
    };
    // Own transforms of a run (without the parent).
    void localTMs(const TimeValue* times, int count, Matrix3* out) const;

    // The offset does not animate: its matrix is made when it is set.
    void updateOffset();

    WStr name;
    SceneObject* object;
    HeadlessNode* parent = nullptr;
    std::vector<HeadlessNode*> children;
    std::unique_ptr<RunMemo> runMemo; // made when first asked for a run while it has children

    Point3Track position{Point3()};
    RotationTrack rotation{Quat()};
    Point3Track scale{Point3(1.0f, 1.0f, 1.0f)};
    std::optional<FloatTrack> visibility;
    std::unique_ptr<MatrixControl> tmControl;
    std::unique_ptr<Control> visControl;

    Point3 offsetPos;
    Quat offsetRot;
    ScaleValue offsetScale;
    Matrix3 offsetTM{true};
    bool offsetIsIdentity = true;

    bool inheritVisibility = true;
    bool selected = false;
    bool frozen = false;
    bool hidden = false;
    std::uint32_t wireColor = 0x00808080;
    std::uint32_t aFlags = 0;
    std::shared_ptr<Mtl> material;
};
