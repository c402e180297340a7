// wkCacheRecordObject: a cache object as far as recording knows it. It is a scene object that
// a node can show, with the record parameters, the node list, the file and the playback
// settings a recording reads and sets, its client key in the open-cache registry, and a status
// display that tools can watch.
//
// It plays nothing itself: it never converts to a mesh. The full cache object, with playback,
// implements wkCacheRecordTarget in its place.
#pragma once

#include "recording/wkCacheRecordTarget.h"

#include <functional>
#include <utility>
#include <vector>

class wkCacheRecordObject final : public GeomObject, public wkCacheRecordTarget {
public:
    // The cache object's class.
    static constexpr Class_ID kClassID{0x74131F4A, 0x5C615BBA};

    wkCacheRecordObject();
    // Leaves the open-cache registry.
    ~wkCacheRecordObject() override;
    wkCacheRecordObject(const wkCacheRecordObject&) = delete;
    wkCacheRecordObject& operator=(const wkCacheRecordObject&) = delete;

    // ---- SceneObject
    SClass_ID SuperClassID() const override { return GEOMOBJECT_CLASS_ID; }
    Class_ID ClassID() const override { return kClassID; }
    bool CanConvertToTriMesh() const override { return false; }
    TriObjectConversion ConvertToTriMesh(TimeValue) override { return {}; }
    RenderMesh GetRenderMesh(TimeValue, INode*, View&) override { return {}; }

    // ---- wkCacheRecordTarget
    SceneObject& recordObject() override { return *this; }
    int nodeCount() const override { return static_cast<int>(nodes.size()); }
    INode* nodeAt(int index, TimeValue t) const override;
    void clearNodes() override;
    wkCacheRecordParams recordParams() const override { return params; }
    AssetUser fileName() const override { return file; }
    void setFileName(const AssetUser& asset) override { file = asset; }
    void setPlayStart(int frame) override { playStart = frame; }
    void setExplodeStart(int frame) override { explodeStart = frame; }
    void setExplodeEnd(int frame) override { explodeEnd = frame; }
    wkCachePlaybackState* playbackState() override;
    wkCacheRecordTarget* targetOfClient(wkCachePlaybackState* client) const override;
    void invalidateAll() override;
    void notifyDependents(std::uint32_t partMask, int message) override;
    bool hasPanel() const override { return panelOpen; }
    void showStatus(const WStr* text) override;
    void progressChanged() override;
    wkCacheProgressState& progressState() override { return progress; }

    // ---- Settings, as the parameter block and its validators would take them
    // Values outside a parameter's range are clamped.
    void setRecordParams(const wkCacheRecordParams& p) { params = p.clamped(); }
    // Appends a node the node validator accepts (IsRecordableNode with the list checked);
    // false, with the list unchanged, for one it refuses.
    bool addNode(INode* node);
    // Appends without the validator, as a loaded scene file does.
    void appendNodeEntry(INode* node) { nodes.push_back(node); }
    const std::vector<INode*>& nodeList() const { return nodes; }
    int getPlayStart() const { return playStart; }
    int getExplodeStart() const { return explodeStart; }
    int getExplodeEnd() const { return explodeEnd; }

    // ---- The status display
    void setPanelOpen(bool open) { panelOpen = open; }
    // The text shown, or empty when the loaded cache's state is shown.
    const WStr& statusText() const { return status; }
    // Called at every change of the status text or of the progress numbers.
    void setStatusObserver(std::function<void(wkCacheRecordObject&)> observer) {
        statusObserver = std::move(observer);
    }
    int invalidations() const { return invalidateCount; }
    // (part mask, message) of each change message sent.
    const std::vector<std::pair<std::uint32_t, int>>& notifications() const { return sent; }

private:
    class NodeListRestore;

    wkCacheRecordParams params;
    std::vector<INode*> nodes;
    AssetUser file;
    int playStart = 0;
    int explodeStart = 0;
    int explodeEnd = 0;
    wkCacheProgressState progress;
    bool panelOpen = false;
    WStr status;
    std::function<void(wkCacheRecordObject&)> statusObserver;
    int invalidateCount = 0;
    std::vector<std::pair<std::uint32_t, int>> sent;
};
