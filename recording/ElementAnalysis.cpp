#include "recording/ElementAnalysis.h"

#include "cachefile/NodeCapture.h"
#include "host/Host.h"
#include "host/Path.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <fstream>

namespace {

float sceneRate() {
    return static_cast<float>(GetHost().Time().GetFrameRate()) / 30.0f;
}

void putI32(std::vector<unsigned char>& out, std::int32_t v) {
    const auto u = static_cast<std::uint32_t>(v);
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<unsigned char>(u >> (8 * i)));
}

void putF32(std::vector<unsigned char>& out, float v) {
    putI32(out, std::bit_cast<std::int32_t>(v));
}

bool sameFaces(const Mesh& a, const Mesh& b) {
    if (a.getNumFaces() != b.getNumFaces())
        return false;
    for (int f = 0; f < a.getNumFaces(); ++f) {
        const Face& fa = a.getFace(f);
        const Face& fb = b.getFace(f);
        for (int corner = 0; corner < 3; ++corner) {
            if (fa.getVert(corner) != fb.getVert(corner))
                return false;
        }
    }
    return true;
}

// One entry that can be sampled over its span.
struct ElementTrack {
    INode* node = nullptr;
    std::vector<std::vector<Point3>> samples; // per sample, every vertex
    std::vector<std::int32_t> sampleIndices;  // the running sample number of each
    std::uint8_t deforms = 0;
};

// Whether any of the vertices both lists have differs in any coordinate (a NaN always does).
// Compared in blocks without stopping inside one: most tracks of a scene do not deform, and
// all of their samples are compared to the end.
bool differsAnywhere(const std::vector<Point3>& a, const std::vector<Point3>& b) {
    constexpr std::size_t kBlock = 64;
    const std::size_t count = std::min(a.size(), b.size());
    for (std::size_t first = 0; first < count; first += kBlock) {
        const std::size_t last = std::min(count, first + kBlock);
        bool differs = false;
        for (std::size_t v = first; v < last; ++v)
            differs |= (a[v].x != b[v].x) | (a[v].y != b[v].y) | (a[v].z != b[v].z);
        if (differs)
            return true;
    }
    return false;
}

} // namespace

TimeValue FrameToTick(float frame, float rate) {
    const float ticks = frame * 160.0f / rate;
    // Truncation towards zero, within the range of ticks (a NaN counts as 0).
    if (!(ticks == ticks))
        return 0;
    if (ticks >= 2147483520.0f)
        return TIME_PosInfinity;
    if (ticks <= -2147483648.0f)
        return TIME_NegInfinity;
    return static_cast<TimeValue>(ticks);
}

bool MeasureTopologySpans(INode* node, int startFrame, int endFrame, float stepFrames,
                          std::vector<TimeValue>& starts, std::vector<TimeValue>& ends) {
    const float rate = sceneRate();
    const auto tEnd = static_cast<float>(endFrame);

    // One bit per sample: its faces differ from those one step before.
    // The sample before is most often the last one captured (unless the float steps round to
    // another tick): that mesh is taken again instead of a second capture at its tick.
    std::vector<bool> changed;
    NodeCapture previous;
    TimeValue previousTick = 0;
    for (auto t = static_cast<float>(startFrame); tEnd > t; t += stepFrames) {
        const TimeValue beforeTick = FrameToTick(t - stepFrames, rate);
        const TimeValue nowTick = FrameToTick(t, rate);
        NodeCapture before;
        NodeCapture now;
        if (previous.mesh && previousTick == beforeTick)
            before = std::move(previous);
        else if (!CaptureNodeMesh(before, node, beforeTick, true))
            return false;
        if (!CaptureNodeMesh(now, node, nowTick, true))
            return false;
        changed.push_back(!sameFaces(*before.mesh, *now.mesh));
        previous = std::move(now);
        previousTick = nowTick;
    }

    starts.push_back(FrameToTick(static_cast<float>(startFrame), rate));
    const float limit = tEnd - stepFrames;
    std::size_t i = 0;
    for (auto t = static_cast<float>(startFrame); limit > t && i + 1 < changed.size();
         t += stepFrames, ++i) {
        const TimeValue tick = FrameToTick(t, rate);
        const bool cur = changed[i];
        const bool next = changed[i + 1];
        if (next && cur) {
            starts.push_back(tick); // a span of one sample
            ends.push_back(tick);
        } else if (next) {
            ends.push_back(tick);
        } else if (cur) {
            starts.push_back(tick);
        }
    }
    ends.push_back(FrameToTick(tEnd, rate));
    return true;
}

void SplitTopologySpans(INodeTab& nodes, RecordSpans& spans, int startFrame, int endFrame,
                        float stepFrames) {
    INodeTab split;
    for (int n = 0; n < nodes.Count(); ++n) {
        INode* node = nodes[n];
        std::vector<TimeValue> starts;
        std::vector<TimeValue> ends;
        if (!MeasureTopologySpans(node, startFrame, endFrame, stepFrames, starts, ends) ||
            starts.empty())
            continue;
        // A change at the very first sample enters the first start twice: that duplicate goes,
        // so that every later start meets its own end. Only starts that have an end make spans.
        if (starts.size() == ends.size() + 1 && starts.size() >= 2 && starts[0] == starts[1])
            starts.erase(starts.begin() + 1);
        const std::size_t count = std::min(starts.size(), ends.size());
        for (std::size_t k = 0; k < count; ++k) {
            split.Append(1, &node);
            spans.startTicks.push_back(starts[k]);
            spans.endTicks.push_back(ends[k]);
            // The verdict compares the entries at index k of the whole lists, as they stand.
            spans.singleSample.push_back(spans.startTicks[k] == spans.endTicks[k]);
        }
    }
    nodes = split;
}

void AnalyzeElementFrames(const INodeTab& inNodes, INodeTab& outNodes, RecordSpans& spans,
                          std::vector<unsigned char>& elementBlock, int startFrame, int endFrame,
                          float stepFrames, WelkardTools::ProgressCallback report,
                          void* reportData) {
    const float rate = sceneRate();

    // 1. Entries of more than one sample are analysed; the others only travel along.
    INodeTab multiNodes;
    RecordSpans multi;
    INodeTab singleNodes;
    RecordSpans single;
    const std::size_t entries =
        std::min({static_cast<std::size_t>(inNodes.Count()), spans.startTicks.size(),
                  spans.endTicks.size(), spans.singleSample.size()});
    for (std::size_t j = 0; j < entries; ++j) {
        INode* node = inNodes[static_cast<int>(j)];
        const bool isMulti = spans.startTicks[j] != spans.endTicks[j];
        (isMulti ? multiNodes : singleNodes).Append(1, &node);
        (isMulti ? multi : single)
            .append(spans.startTicks[j], spans.endTicks[j], spans.singleSample[j]);
    }
    spans = multi;

    // 2. A track for each entry that can be captured at its start.
    std::vector<ElementTrack> tracks;
    std::vector<std::vector<Point3>> references;
    for (int j = 0; j < multiNodes.Count(); ++j) {
        std::vector<Point3> reference;
        if (!CaptureNodeVertices(reference, multiNodes[j],
                                 spans.startTicks[static_cast<std::size_t>(j)], true))
            continue;
        references.push_back(std::move(reference));
        tracks.push_back({multiNodes[j], {}, {}, 0});
    }

    // 3. Every entry at every sample, its time held inside its span. A failed capture leaves the
    // sample out and the next success lands at the same track, so an entry without a track
    // feeds the tracks after it; what goes beyond the last track is dropped.
    std::int32_t numSamples = 0;
    for (auto t = static_cast<float>(startFrame); static_cast<float>(endFrame) > t;
         t += stepFrames) {
        const TimeValue tick = FrameToTick(t, rate);
        std::size_t cursor = 0;
        for (int j = 0; j < multiNodes.Count(); ++j) {
            const auto index = static_cast<std::size_t>(j);
            const TimeValue at = tick < spans.startTicks[index]
                                     ? spans.startTicks[index]
                                     : std::min(tick, spans.endTicks[index]);
            std::vector<Point3> sample;
            if (!CaptureNodeVertices(sample, multiNodes[j], at, true))
                continue;
            if (cursor < tracks.size()) {
                tracks[cursor].samples.push_back(std::move(sample));
                tracks[cursor].sampleIndices.push_back(numSamples);
            }
            ++cursor;
        }
        if (report != nullptr)
            (void)report(reportData, static_cast<std::int32_t>(t - static_cast<float>(startFrame)),
                         endFrame - startFrame);
        ++numSamples;
    }

    // 4. A track deforms when any sample differs from its first capture in any coordinate.
    int deformCount = 0;
    for (std::size_t k = 0; k < tracks.size(); ++k) {
        ElementTrack& track = tracks[k];
        for (const std::vector<Point3>& sample : track.samples) {
            if (differsAnywhere(sample, references[k])) {
                track.deforms = 1;
                ++deformCount;
                break;
            }
        }
    }

    // 5. Deforming tracks first. A track takes the span at its own index in the list of entries.
    outNodes = INodeTab();
    RecordSpans ordered;
    for (const std::uint8_t group : {std::uint8_t{1}, std::uint8_t{0}}) {
        for (std::size_t k = 0; k < tracks.size(); ++k) {
            if (tracks[k].deforms != group)
                continue;
            outNodes.Append(1, &tracks[k].node);
            ordered.append(spans.startTicks[k], spans.endTicks[k], spans.singleSample[k]);
        }
    }

    // 6. The positions of the deforming tracks, sample by sample.
    std::vector<FrameRecord> frames;
    for (std::int32_t s = 0; s < numSamples; ++s) {
        FrameRecord record;
        record.frame = s;
        for (const ElementTrack& track : tracks) {
            if (track.deforms != 1 || static_cast<std::size_t>(s) >= track.samples.size())
                continue;
            record.frame = track.sampleIndices[static_cast<std::size_t>(s)];
            const auto& sample = track.samples[static_cast<std::size_t>(s)];
            record.positions.insert(record.positions.end(), sample.begin(), sample.end());
        }
        frames.push_back(std::move(record));
    }

    // 7 to 9.
    DropLinearFrames(frames);
    std::vector<std::int32_t> vertexCounts;
    for (int k = 0; k < deformCount && k < outNodes.Count(); ++k) {
        std::vector<Point3> verts;
        if (CaptureNodeVertices(verts, outNodes[k], 0, true))
            vertexCounts.push_back(static_cast<std::int32_t>(verts.size()));
    }
    SerializeElementBlock(elementBlock, vertexCounts, frames);

    // 10. Single-sample entries last.
    for (int j = 0; j < singleNodes.Count(); ++j) {
        INode* node = singleNodes[j];
        outNodes.Append(1, &node);
        const auto index = static_cast<std::size_t>(j);
        ordered.append(single.startTicks[index], single.endTicks[index],
                       single.singleSample[index]);
    }
    spans = ordered;
}

void DropLinearFrames(std::vector<FrameRecord>& frames) {
    if (frames.size() < 3)
        return;
    for (std::size_t i = 1; i + 1 < frames.size(); ++i) {
        const FrameRecord& prev = frames[i - 1];
        FrameRecord& cur = frames[i];
        const FrameRecord& next = frames[i + 1];
        const std::size_t count =
            std::min({prev.positions.size(), cur.positions.size(), next.positions.size()});
        bool linear = true;
        for (std::size_t p = 0; p < count && linear; ++p) {
            const Point3 bend =
                (cur.positions[p] - prev.positions[p]) - (next.positions[p] - cur.positions[p]);
            for (int axis = 0; axis < 3 && linear; ++axis)
                linear = !(std::fabs(bend[axis]) > 1e-8);
        }
        if (linear)
            cur.keep = 0;
    }
}

void SerializeElementBlock(std::vector<unsigned char>& elementBlock,
                           const std::vector<std::int32_t>& vertexCounts,
                           const std::vector<FrameRecord>& frames) {
    elementBlock.clear();
    if (frames.empty())
        return;
    const auto kept = std::count_if(frames.begin(), frames.end(),
                                    [](const FrameRecord& f) { return f.keep == 1; });
    putI32(elementBlock, static_cast<std::int32_t>(frames.size()));
    putI32(elementBlock, static_cast<std::int32_t>(kept));
    putI32(elementBlock, static_cast<std::int32_t>(frames.front().positions.size()));
    putI32(elementBlock, static_cast<std::int32_t>(vertexCounts.size()));
    for (const std::int32_t count : vertexCounts)
        putI32(elementBlock, count);
    for (const FrameRecord& frame : frames) {
        if (frame.keep == 1)
            putI32(elementBlock, frame.frame);
    }
    for (const FrameRecord& frame : frames) {
        if (frame.keep != 1)
            continue;
        for (const Point3& p : frame.positions) {
            putF32(elementBlock, p.x);
            putF32(elementBlock, p.y);
            putF32(elementBlock, p.z);
        }
    }
}

bool AppendElementBlock(const std::vector<unsigned char>& elementBlock, const WStr& path,
                        WelkardTools::ProgressCallback, void*) {
    const std::filesystem::path file = MaxSDK::Util::Path(path).ToFilesystemPath();
    std::int32_t fileSize = 0;
    {
        std::fstream probe(file, std::ios::in | std::ios::out | std::ios::binary);
        if (!probe)
            return false;
        probe.seekg(0, std::ios::end);
        const std::streamoff size = probe.tellg();
        if (size < 0)
            return false;
        fileSize = static_cast<std::int32_t>(static_cast<std::uint32_t>(size));
    }
    std::fstream out(file, std::ios::in | std::ios::out | std::ios::binary);
    if (!out)
        return false;
    std::vector<unsigned char> word;
    // The version as a 32-bit word: byte 8 and the low two bytes of cacheStart become zero too.
    putI32(word, 3);
    out.seekp(7);
    out.write(reinterpret_cast<const char*>(word.data()), 4);
    word.clear();
    putI32(word, fileSize);
    putI32(word, fileSize);
    out.seekp(46);
    out.write(reinterpret_cast<const char*>(word.data()), 8);
    out.seekp(static_cast<std::streamoff>(fileSize));
    out.write(reinterpret_cast<const char*>(elementBlock.data()),
              static_cast<std::streamsize>(elementBlock.size()));
    out.close();
    return static_cast<bool>(out);
}
