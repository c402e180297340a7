#include "host/headless/HeadlessScene.h"

#include "host/UndoHold.h"

#include "host/headless/HeadlessObjects.h"

#include <algorithm>
#include <cwchar>

// Brings a deleted node back where it was: its place in the scene, its parent, its children.
class HeadlessScene::DeleteRestore final : public RestoreObj {
public:
    DeleteRestore(HeadlessScene& scene_, HeadlessNode& node_, std::size_t position_,
                  HeadlessNode* parent_, std::vector<HeadlessNode*> children_)
        : scene(scene_), node(node_), position(position_), parent(parent_),
          children(std::move(children_)) {}

    void Restore(bool) override {
        node.SetParent(parent != nullptr && scene.InScene(parent) ? parent : nullptr);
        for (HeadlessNode* child : children) {
            if (scene.InScene(child))
                child->SetParent(&node);
        }
        scene.relink(node, position);
    }
    void Redo() override { scene.unlink(node); }

private:
    HeadlessScene& scene;
    HeadlessNode& node;
    std::size_t position;
    HeadlessNode* parent;
    std::vector<HeadlessNode*> children;
};

// Takes a new node out of the scene again, and puts it back on redo.
class HeadlessScene::CreateRestore final : public RestoreObj {
public:
    CreateRestore(HeadlessScene& scene_, HeadlessNode& node_) : scene(scene_), node(node_) {}
    void Restore(bool) override { scene.unlink(node); }
    void Redo() override { scene.relink(node, scene.live.size()); }

private:
    HeadlessScene& scene;
    HeadlessNode& node;
};

HeadlessScene::HeadlessScene(UndoHold& hold_, Notifications& notify_)
    : hold(hold_), notify(notify_) {}

// Nodes go before the objects they reference.
HeadlessScene::~HeadlessScene() {
    live.clear();
    allNodes.clear();
}

SceneObject* HeadlessScene::AddObject(std::unique_ptr<SceneObject> object) {
    objects.push_back(std::move(object));
    return objects.back().get();
}

HeadlessNode* HeadlessScene::CreateNode(const WStr& name, SceneObject* object) {
    allNodes.push_back(std::make_unique<HeadlessNode>(name, object));
    HeadlessNode* node = allNodes.back().get();
    relink(*node, live.size());
    return node;
}

INode* HeadlessScene::CreateObjectNode(std::unique_ptr<SceneObject> object) {
    return createHeld(object ? AddObject(std::move(object)) : nullptr);
}

HeadlessNode* HeadlessScene::createHeld(SceneObject* object) {
    HeadlessNode* node = CreateNode(WStr(), object);
    hold.Put(std::make_unique<CreateRestore>(*this, *node));
    return node;
}

INode* HeadlessScene::CreateInstanceNode(SceneObject* object) {
    const bool held = std::any_of(objects.begin(), objects.end(),
                                  [object](const auto& o) { return o.get() == object; });
    return held && object != nullptr ? createHeld(object) : nullptr;
}

SceneObject* HeadlessScene::CreatePointHelper() {
    return AddObject(std::make_unique<HeadlessHelper>());
}

void HeadlessScene::MakeNameUnique(WStr& name) {
    if (FindNode(name) == nullptr)
        return;
    // The trailing digits are the number to raise; the rest is the stem.
    const std::wstring& text = name.str();
    std::size_t stemEnd = text.size();
    while (stemEnd > 0 && text[stemEnd - 1] >= L'0' && text[stemEnd - 1] <= L'9')
        --stemEnd;
    const std::wstring stem = text.substr(0, stemEnd);
    for (unsigned n = 1;; ++n) {
        wchar_t digits[16];
        std::swprintf(digits, 16, L"%03u", n);
        const WStr candidate(stem + digits);
        if (FindNode(candidate) == nullptr) {
            name = candidate;
            return;
        }
    }
}

void HeadlessScene::ClearSelection() {
    for (HeadlessNode* node : live)
        node->SetSelected(false);
}

void HeadlessScene::SelectNode(INode* node) {
    if (HeadlessNode* found = Find(node))
        found->SetSelected(true);
}

void HeadlessScene::unlink(HeadlessNode& node) {
    live.erase(std::remove(live.begin(), live.end(), &node), live.end());
    const std::vector<HeadlessNode*> children = node.Children();
    for (HeadlessNode* child : children)
        child->SetParent(nullptr);
    node.SetParent(nullptr);
    node.SetAFlag(A_IS_DELETED);
    notify.BroadcastNotification(kNotifyNodeDeleted);
}

void HeadlessScene::relink(HeadlessNode& node, std::size_t position) {
    node.ClearAFlag(A_IS_DELETED);
    live.insert(live.begin() + static_cast<std::ptrdiff_t>(std::min(position, live.size())), &node);
    notify.BroadcastNotification(kNotifyNodeAdded);
}

void HeadlessScene::DeleteNode(INode* handle, bool redraw) {
    HeadlessNode* node = Find(handle);
    if (node == nullptr || !InScene(node))
        return;
    const auto position =
        static_cast<std::size_t>(std::find(live.begin(), live.end(), node) - live.begin());
    auto* parent = static_cast<HeadlessNode*>(node->GetParentNode());
    auto record = std::make_unique<DeleteRestore>(*this, *node, position, parent, node->Children());
    unlink(*node);
    hold.Put(std::move(record));
    if (redraw)
        ++redraws;
}

std::vector<INode*> HeadlessScene::SelectedNodes() {
    std::vector<INode*> found;
    for (HeadlessNode* node : live)
        if (node->Selected())
            found.push_back(node);
    return found;
}

std::vector<INode*> HeadlessScene::NodesReferencing(const SceneObject* object) {
    std::vector<INode*> found;
    if (object == nullptr)
        return found;
    for (HeadlessNode* node : live) {
        if (node->GetObjectRef() == object)
            found.push_back(node);
    }
    return found;
}

bool HeadlessScene::DependsOn(INode* node, const SceneObject* object) {
    return node != nullptr && object != nullptr && node->GetObjectRef() == object;
}

int HeadlessScene::TestForLoop(INode* node, const SceneObject* maker) {
    return DependsOn(node, maker) ? REF_FAIL : REF_SUCCEED;
}

HeadlessNode* HeadlessScene::FindNode(const WStr& name) const {
    const auto it = std::find_if(live.begin(), live.end(),
                                 [&name](const HeadlessNode* n) { return n->GetName() == name; });
    return it == live.end() ? nullptr : *it;
}

HeadlessNode* HeadlessScene::Find(const INode* node) const {
    const auto it =
        std::find_if(allNodes.begin(), allNodes.end(),
                     [node](const std::unique_ptr<HeadlessNode>& n) { return n.get() == node; });
    return it == allNodes.end() ? nullptr : it->get();
}

bool HeadlessScene::InScene(const INode* node) const {
    return std::find(live.begin(), live.end(), node) != live.end();
}
