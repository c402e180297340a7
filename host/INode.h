// A scene node as the core sees it: a named, placed instance of a scene object.
//
// Transforms: the node transform places the node (its own transform times its parent's); the
// object transform is the object offset (the pivot: scale, then rotation, then translation)
// times the node transform, and is what the node's object is drawn with.
//
// Visibility: the node's own track gives its local visibility (1 without a track); with the
// inherit flag on, GetVisibility multiplies in the parent's visibility. A value above 0 is
// visible. The hidden flag is something else: a hidden node is only left out of the
// viewports, and its visibility is untouched.
#pragma once

#include "host/Control.h"
#include "host/Materials.h"
#include "host/Matrix3.h"
#include "host/Quat.h"
#include "host/Strings.h"
#include "host/Tab.h"
#include "host/Time.h"

#include <cstdint>
#include <memory>

class SceneObject;

// Animatable flags of a node.
inline constexpr std::uint32_t A_IS_DELETED = 0x4000; // bit 14: the node was deleted

// What a node's pipeline evaluates to at a time.
struct ObjectState {
    SceneObject* obj = nullptr;
};

class INode {
public:
    virtual ~INode() = default;

    virtual WStr GetName() const = 0;
    virtual void SetName(const WStr& name) = 0;
    // Null for a node at the top of the scene.
    virtual INode* GetParentNode() const = 0;

    virtual Matrix3 GetNodeTM(TimeValue t) = 0;
    virtual Matrix3 GetObjectTM(TimeValue t) = 0;
    // GetObjectTM at each of `count` times, into `out`. A host that evaluates many times of one
    // node faster together than one by one (a recording asks for runs of samples) overrides it.
    virtual void GetObjectTMs(const TimeValue* times, int count, Matrix3* out) {
        for (int k = 0; k < count; ++k)
            out[k] = GetObjectTM(times[k]);
    }
    virtual Point3 GetObjOffsetPos() const = 0;
    virtual Quat GetObjOffsetRot() const = 0;
    virtual ScaleValue GetObjOffsetScale() const = 0;

    // Inherited visibility (see above), and the node's own.
    virtual float GetVisibility(TimeValue t) = 0;
    virtual float GetLocalVisibility(TimeValue t) = 0;
    virtual bool GetInheritVisibility() const = 0;
    // GetVisibility (with `inherited`) or GetLocalVisibility at each of `count` times, into
    // `out`: a recording asks for runs of samples, which a host may answer faster together.
    virtual void GetVisibilities(const TimeValue* times, int count, bool inherited, float* out) {
        for (int k = 0; k < count; ++k)
            out[k] = inherited ? GetVisibility(times[k]) : GetLocalVisibility(times[k]);
    }

    // The node's material, null for none. The node keeps it alive; ShareMtl gives a share.
    virtual Mtl* GetMtl() const = 0;
    virtual std::shared_ptr<Mtl> ShareMtl() const = 0;
    virtual void SetMtl(std::shared_ptr<Mtl> mtl) = 0;

    virtual bool TestAFlag(std::uint32_t mask) const = 0;
    virtual bool Selected() const = 0;
    virtual bool IsFrozen() const = 0;
    virtual bool IsNodeHidden() const = 0;
    // 0x00BBGGRR, as the host keeps colours.
    virtual std::uint32_t GetWireColor() const = 0;

    // The object at the top of the node's pipeline at t. With evalHidden false a hidden node
    // is not evaluated and the state holds no object.
    virtual ObjectState EvalWorldState(TimeValue t, bool evalHidden = true) = 0;
    // The object the node references, evaluated or not.
    virtual SceneObject* GetObjectRef() const = 0;

    // ---- Controllers. The node owns what it is given; a node that takes none (a wrapper
    // around another node) answers null and drops them.
    // The transform controller; null while the node is placed by its own fixed transform.
    virtual MatrixControl* GetTMController() { return nullptr; }
    virtual void SetTMController(std::unique_ptr<MatrixControl>) {}
    // The visibility controller, a float controller; null for none (visibility 1).
    virtual Control* GetVisController() { return nullptr; }
    virtual void SetVisController(std::unique_ptr<Control>) {}
    // Places the node at t by `tm` (its node transform, parent included).
    virtual void SetNodeTM(TimeValue, const Matrix3&) {}
    // Takes the display properties of `from`: wire colour and visibility inheritance.
    virtual void CopyProperties(INode*) {}
};

using INodeTab = Tab<INode*>;
