// The headless scene: the nodes and objects that tools and tests build, and the node services
// the core calls on them.
//
// The scene owns every object and node it ever had until it ends: a deleted node leaves the
// scene (and its parent's children, its own children moving to the top of the scene) but its
// handle stays valid, with the deleted flag set, so that an undo can bring it back.
//
// References: a node references its object; headless objects reference no nodes. So a node
// depends on an object exactly when it holds that object, and only such a node would close a
// loop if the object took it as a reference.
//
// Every node that comes into the scene or leaves it, an undo's included, is broadcast
// (kNotifyNodeAdded, kNotifyNodeDeleted of host/Notifications.h).
#pragma once

#include "host/Notifications.h"
#include "host/SceneNodes.h"
#include "host/headless/HeadlessNode.h"

#include <memory>
#include <vector>

class UndoHold;

class HeadlessScene final : public SceneNodes {
public:
    // Deletions are put into `hold` while it is holding; nodes coming and going are broadcast
    // through `notify`.
    HeadlessScene(UndoHold& hold, Notifications& notify);
    ~HeadlessScene() override;

    // ---- SceneNodes
    INode* CreateObjectNode(std::unique_ptr<SceneObject> object) override;
    void DeleteNode(INode* node, bool redraw = true) override;
    std::vector<INode*> NodesReferencing(const SceneObject* object) override;
    int TestForLoop(INode* node, const SceneObject* maker) override;
    bool DependsOn(INode* node, const SceneObject* object) override;
    INode* CreateInstanceNode(SceneObject* object) override;
    SceneObject* CreatePointHelper() override;
    INode* GetINodeByName(const WStr& name) override { return FindNode(name); }
    void MakeNameUnique(WStr& name) override;
    void ClearSelection() override;
    void SelectNode(INode* node) override;
    void RedrawViews(TimeValue) override { ++redraws; }
    std::vector<INode*> SelectedNodes() override;

    // ---- Building
    // Takes an object into the scene without a node (to instance it later); answers it.
    SceneObject* AddObject(std::unique_ptr<SceneObject> object);
    // A node for an object of this scene (or for none), at the top of the scene.
    HeadlessNode* CreateNode(const WStr& name, SceneObject* object = nullptr);
    template <class T> T* Add(std::unique_ptr<T> object) {
        T* raw = object.get();
        AddObject(std::move(object));
        return raw;
    }

    // ---- Queries
    // The nodes in the scene, in order of creation.
    const std::vector<HeadlessNode*>& Nodes() const { return live; }
    // The first node in the scene of that name, or null.
    HeadlessNode* FindNode(const WStr& name) const;
    // The headless node behind a handle of this scene (in it or deleted), or null.
    HeadlessNode* Find(const INode* node) const;
    bool InScene(const INode* node) const;
    int RedrawRequests() const { return redraws; }

private:
    class DeleteRestore;
    class CreateRestore;
    // A new node, as an undoable step when the hold is holding.
    HeadlessNode* createHeld(SceneObject* object);
    // Takes the node out of the scene, and back into it.
    void unlink(HeadlessNode& node);
    void relink(HeadlessNode& node, std::size_t position);

    UndoHold& hold;
    Notifications& notify;
    std::vector<std::unique_ptr<SceneObject>> objects;
    std::vector<std::unique_ptr<HeadlessNode>> allNodes;
    std::vector<HeadlessNode*> live;
    int redraws = 0;
};
