// Element frames analysis: what a recording stores beyond one mesh and one transform per node
// and sample.
//
// SplitTopologySpans finds, per node, the stretches of the record range over which its face
// list stays the same, and enters the node once per stretch, each entry alive for its span:
// playback crosses from one mesh to the next by visibility. AnalyzeElementFrames samples the
// vertices of every entry, puts the entries that deform first, drops the samples that a
// straight blend of their neighbours rebuilds, and builds the element block that
// AppendElementBlock puts behind a written cache, making it a version 3 file.
//
// Frames are the host's frames as floats; a frame f is at tick truncate(f * 160 / rate), rate
// being the scene's frame rate over 30, in single precision.
#pragma once

#include "cachefile/RecordSpans.h"
#include "cachefile/wkCacheBase.h"
#include "host/INode.h"
#include "host/Point.h"

#include <cstdint>
#include <vector>

// The tick of a frame value at `rate` (frames a second over 30). Values beyond the 32-bit
// range of ticks stop at its ends.
TimeValue FrameToTick(float frame, float rate);

// The spans of constant topology of one node over [startFrame, endFrame], sampled every
// `stepFrames`. Each sample is compared with the one a step before it (the first with one
// before the range); a change ends a span at the sample before it and starts one at it.
// `starts` gets the start tick of each span, `ends` its last tick, the last one the tick of
// endFrame. False when a capture failed (the lists are then incomplete).
bool MeasureTopologySpans(INode* node, int startFrame, int endFrame, float stepFrames,
                          std::vector<TimeValue>& starts, std::vector<TimeValue>& ends);

// Replaces `nodes` by one entry per span of each node and appends the spans to `spans`. A node
// whose measure fails or gives no span is dropped.
void SplitTopologySpans(INodeTab& nodes, RecordSpans& spans, int startFrame, int endFrame,
                        float stepFrames);

// One sample of all deforming entries.
struct FrameRecord {
    std::int32_t frame = 0;        // the sample number
    std::vector<Point3> positions; // every vertex of every deforming entry, entry by entry
    std::uint8_t keep = 1;
};

// Samples `inNodes` (parallel to `spans`) over the range and fills `outNodes` and `spans` in the
// order deforming entries, other entries, single-sample entries, and `elementBlock` with the
// block's bytes. `report` hears of each sample; its answer is not looked at (this stage cannot
// be cancelled).
void AnalyzeElementFrames(const INodeTab& inNodes, INodeTab& outNodes, RecordSpans& spans,
                          std::vector<unsigned char>& elementBlock, int startFrame, int endFrame,
                          float stepFrames, WelkardTools::ProgressCallback report,
                          void* reportData);

// Marks every frame but the first and the last whose positions all lie, within 1e-8 per axis,
// on the straight line through its two direct neighbours.
void DropLinearFrames(std::vector<FrameRecord>& frames);

// The element block: frame count, kept frame count, positions per frame, element count, the
// elements' vertex counts, the kept frames' numbers, then their positions. Empty without frames.
void SerializeElementBlock(std::vector<unsigned char>& elementBlock,
                           const std::vector<std::int32_t>& vertexCounts,
                           const std::vector<FrameRecord>& frames);

// Makes the closed cache at `path` a version 3 file with `elementBlock` at its end: the version
// word at offset 7 (which also clears byte 8 and the two low bytes of cacheStart), the old file
// size twice at offset 46, the block at the old end. False when the file cannot be opened or
// written (a recording then keeps its old cache); `report` is not called.
bool AppendElementBlock(const std::vector<unsigned char>& elementBlock, const WStr& path,
                        WelkardTools::ProgressCallback report, void* reportData);
