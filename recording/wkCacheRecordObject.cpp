#include "recording/wkCacheRecordObject.h"

#include "cachefile/wkCacheRegistry.h"
#include "host/Host.h"
#include "recording/RecordCache.h"

#include <algorithm>

namespace {

// The objects alive now, to find the object of a registry client. Main thread only.
std::vector<wkCacheRecordObject*>& liveObjects() {
    static std::vector<wkCacheRecordObject*> objects;
    return objects;
}

} // namespace

// Puts the node list back as it was before clearNodes.
class wkCacheRecordObject::NodeListRestore final : public RestoreObj {
public:
    NodeListRestore(wkCacheRecordObject& object_, std::vector<INode*> before_)
        : object(object_), before(std::move(before_)) {}
    void Restore(bool) override { object.nodes = before; }
    void Redo() override { object.nodes.clear(); }

private:
    wkCacheRecordObject& object;
    std::vector<INode*> before;
};

wkCacheRecordObject::wkCacheRecordObject() {
    liveObjects().push_back(this);
}

wkCacheRecordObject::~wkCacheRecordObject() {
    auto& objects = liveObjects();
    objects.erase(std::remove(objects.begin(), objects.end(), this), objects.end());
    theCacheRegistry.releaseClient(playbackState());
}

INode* wkCacheRecordObject::nodeAt(int index, TimeValue) const {
    if (index < 0 || index >= nodeCount())
        return nullptr;
    return nodes[static_cast<std::size_t>(index)];
}

void wkCacheRecordObject::clearNodes() {
    UndoHold& hold = GetHost().Hold();
    if (hold.Holding())
        hold.Put(std::make_unique<NodeListRestore>(*this, nodes));
    nodes.clear();
}

bool wkCacheRecordObject::addNode(INode* node) {
    if (!IsRecordableNode(*this, node, true))
        return false;
    nodes.push_back(node);
    return true;
}

// The registry knows a client by its address alone and never looks inside it: until the
// playback state exists, the object's own address is its key.
wkCachePlaybackState* wkCacheRecordObject::playbackState() {
    return reinterpret_cast<wkCachePlaybackState*>(this);
}

wkCacheRecordTarget* wkCacheRecordObject::targetOfClient(wkCachePlaybackState* client) const {
    for (wkCacheRecordObject* object : liveObjects()) {
        if (object->playbackState() == client)
            return object;
    }
    return nullptr;
}

void wkCacheRecordObject::invalidateAll() {
    ++invalidateCount;
    notifyDependents(PART_ALL, REFMSG_CHANGE);
}

void wkCacheRecordObject::notifyDependents(std::uint32_t partMask, int message) {
    sent.emplace_back(partMask, message);
}

void wkCacheRecordObject::showStatus(const WStr* text) {
    status = text != nullptr ? *text : WStr();
    if (statusObserver)
        statusObserver(*this);
}

void wkCacheRecordObject::progressChanged() {
    if (statusObserver)
        statusObserver(*this);
}
