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
    // The selected nodes, in scene order.
    virtual std::vector<INode*> SelectedNodes() = 0;
};
