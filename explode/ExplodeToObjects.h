// Explode to objects: the elements of a cache object turned back into ordinary scene nodes,
// one per element, with a key per step on a position, a rotation and a scale key controller,
// visibility keyed where it changes, and the keys optionally thinned afterwards (ReduceKeys).
//
// The run opens a private reader on the object's file and leaves the object's playback record
// as its own evaluation set it. The nodes are made inside one undo step, "Explode To Objects";
// the reduction is a second, "Reduce Keys". Escape while making nodes or keys takes every new
// node away again; Escape while reducing keeps the nodes with all their keys. Either way the
// answer is 0.
#pragma once

#include "explode/wkCacheExplodeTarget.h"
#include "host/INode.h"
#include "host/Mesh.h"

#include <cstdint>
#include <vector>

// Makes one node per chosen element (all, or the selected ones) over `interval`, a key every
// `stepTicks` (at least 1), the last on the last whole step. Nodes are placed by the element
// transforms times the object transform of `referenceNode` (null: the first node showing the
// object, if any; in Custom mode the custom node), and take its material and properties.
// `quiet` leaves the scene's selection alone; otherwise the new nodes are selected. With
// `reduce`, ReduceKeys runs on their transform controllers over the keyed range, at
// `reduceStepTicks` (below 1: the explode step) and `reduceThresh`. Answers 1 on success and
// fills `outNodes`; 0 otherwise (also beyond kMaxExplodeKeys), with `outNodes` empty unless only
// the reduction was cancelled. `elements`, when given, receives the element index of each node of
// `outNodes`.
int ExplodeToObjects(wkCacheExplodeTarget& object, Interval interval, std::int32_t stepTicks,
                     INodeTab& outNodes, INode* referenceNode, bool selectedOnly, bool reduce,
                     std::int32_t reduceStepTicks, float reduceThresh, bool quiet,
                     std::vector<int>* elements = nullptr);

// The settings of a clean evaluation at a key time (render settings, hidden elements kept with
// their faces flagged, no materials applied), the same at every key time.
void ExplodeEvaluationSetup(wkCachePlaybackState& playback, bool boxes);
// Whether element i is hidden at the evaluated time: before its range without a type that
// shows it there, hidden, or deleted.
bool ExplodeElementHidden(const wkCachePlaybackState& playback, int i);

// The keyed range: the interval's end brought back to the last whole step from its start.
Interval ExplodeKeyRange(Interval interval, std::int32_t stepTicks);
// The key times over that range: every step from the start, then the end.
std::vector<TimeValue> ExplodeKeyTimes(Interval interval, std::int32_t stepTicks);
// How many key times that is, without making them.
std::int64_t ExplodeKeyCount(Interval interval, std::int32_t stepTicks);
// The most keys one run makes per controller kind (key times times nodes): about 2.3 GB of key
// records. A larger run fails before it makes anything, rather than run out of memory midway.
inline constexpr std::int64_t kMaxExplodeKeys = std::int64_t{1} << 24;

// An editable mesh node holding a copy of `mesh` (every channel with deepCopy), placed by `tm`
// at time 0 and named `name`, made unique when in use. Null when the node cannot be made.
INode* MakeMeshNode(const Mesh& mesh, const Matrix3& tm, const WStr& name, bool deepCopy);

// Keys the node's visibility at t (0 hidden, 1 shown) where it changes: no key when the track
// already has that state. A node without a float visibility controller gets a new key
// controller; a first key that shows the node after the start of the animation gets a shown
// key at the start too, so that only an element that starts hidden is hidden before it.
void AddVisibilityKey(INode& node, TimeValue t, bool hide);
