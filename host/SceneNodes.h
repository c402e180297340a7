// The host's scene as a set of nodes: making and deleting them, and the reference questions
// that decide whether a node may be given to an object.
#pragma once

#include "host/INode.h"
#include "host/Reference.h"
#include "host/SceneObject.h"

#include <memory>
#include <vector>

class SceneNodes {
public:
    virtual ~SceneNodes() = default;

    // A new node at the top of the scene, with identity transforms, holding `object`, which
    // the host owns from now on. Its name is left to the caller.
    virtual INode* CreateObjectNode(std::unique_ptr<SceneObject> object) = 0;
    // Takes the node out of the scene. Inside a hold the deletion can be undone. The handle
    // stays valid (with its deleted flag set) for as long as the host lives.
    virtual void DeleteNode(INode* node, bool redraw = true) = 0;

    // Every node of the scene that references `object`, in scene order.
    virtual std::vector<INode*> NodesReferencing(const SceneObject* object) = 0;
    // Whether `maker` could reference `node` without a loop: REF_SUCCEED, or REF_FAIL when the
    // node already depends on the maker.
    virtual int TestForLoop(INode* node, const SceneObject* maker) = 0;
    // Whether `node` depends on `object`, that is references it.
    virtual bool DependsOn(INode* node, const SceneObject* object) = 0;

    // ---- Making many nodes (explode). Inside a hold, a new node is undone by a Cancel.
    // A node instancing an object that a node of this scene holds, or that CreatePointHelper
    // made; null for any other object.
    virtual INode* CreateInstanceNode(SceneObject* object) = 0;
    // A new point helper object for nodes to instance; the scene keeps it.
    virtual SceneObject* CreatePointHelper() = 0;
    // The first node of that name in the scene, or null.
    virtual INode* GetINodeByName(const WStr& name) = 0;
    // Makes `name` unique among the scene's node names: a name in use gets a number.
    virtual void MakeNameUnique(WStr& name) = 0;
    virtual void ClearSelection() = 0;
    virtual void SelectNode(INode* node) = 0;
    // The views are to be drawn again at t.
    virtual void RedrawViews(TimeValue t) = 0;
    // The selected nodes, in scene order.
    virtual std::vector<INode*> SelectedNodes() = 0;
};
