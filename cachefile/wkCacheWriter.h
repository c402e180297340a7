// wkCacheWriter: writes one .wkc file in version 2 from captured scene nodes.
//
// The recording makes a writer, hands it the nodes (each captured once, at the start of its
// span), and runs write() once. The header needs numbers known only at the end, so the file is
// written front to back behind a zeroed reserved area and the 46-byte header goes in last: a
// file left by a crash or a cancel fails the header test.
//
// Before writing, the captured meshes are prepared: their materials are combined into one
// (each mesh's ids shifted to its material's slots in the combination), and every mesh gets
// every map channel that any of them has (zeros with the mesh's own faces where it had none).
//
// Node, geometry and map data are gathered node by node and written in pieces of a megabyte or
// more; geometry and maps on a second thread, while the first sample rows are made. The sample
// table is the bulk of a file: it goes out in blocks of 2,621,402 bytes (53,498 records), each
// written on the second thread while the next is filled.
//
// Like every file class, the writer calls no host service: the nodes, their materials and
// transforms are asked of the INode handles it is given, and the frame rate comes in with the
// construction. Host exceptions from step 4 of write() on become status 5.
#pragma once

#include "cachefile/NodeCapture.h"
#include "cachefile/RecordSpans.h"
#include "cachefile/wkCacheBase.h"
#include "host/INode.h"
#include "host/Materials.h"
#include "host/Matrix3.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace WelkardTools {

class wkCacheWriter : public wkCacheBase {
public:
    static constexpr std::int32_t kSampleBufferBytes = 2'621'402;
    // At most this many samples have their rows made together, node by node.
    static constexpr int kRunSamples = 16;

    // Nothing is opened. `interval` gives the first and the last tick, `step` the ticks between
    // samples; `frameRate` goes into the header.
    wkCacheWriter(const WStr& fileName, const Matrix3& referenceMatrix, Interval interval,
                  TimeValue step, std::int32_t version, std::int32_t frameRate);
    ~wkCacheWriter() override;

    // Captures the node at `captureTick` (its render mesh) and keeps it, answering true; a node
    // that cannot be captured (also one whose capture throws) is not kept, and nothing is
    // reported.
    bool addNode(INode* node, TimeValue captureTick);

    // Writes the whole file. `spans` gives each node's start and end tick by node index; a node
    // without an entry is taken as alive over the whole range. False with status 0 and no file
    // when no node was added; otherwise false leaves a status, and the caller removes the file
    // unless the status is 1.
    bool write(const RecordSpans& spans);

    // The material is named after the file written (its name without folder and extension);
    // a writer that writes under a temporary name is given the file it stands for here.
    void nameMaterialAfter(const WStr& targetFileName) { materialFileName = targetFileName; }

    // The one material of all nodes, or their combination; null without any. Set by write().
    const std::shared_ptr<Mtl>& combinedMaterial() const { return combined; }

    int nodeCount() const { return static_cast<int>(nodes.size()); }
    const NodeCapture& node(int index) const { return *nodes[static_cast<std::size_t>(index)]; }

private:
    // The stages of write() behind the open file; false ends the write with the status set.
    bool writeOpenFile(const RecordSpans& spans);
    void combineMaterials();
    std::vector<std::int32_t> channelUnion() const;
    void fillChannels(const std::vector<std::int32_t>& channels);
    bool writeNodeTable(std::int64_t& estimate);
    // Geometry, then map channels: written on the second thread (false: a write fell short),
    // their size in the file, and their progress reported on the caller's.
    bool writeMeshData(std::FILE* file, const std::vector<std::int32_t>& channels) const;
    std::int64_t meshDataBytes(const std::vector<std::int32_t>& channels) const;
    bool reportMeshData(const std::vector<std::int32_t>& channels, std::int32_t progressTotal);
    // The second thread and the buffers the sample table's rows wait in for it.
    struct SampleStaging;
    bool writeSamples(std::int32_t numSamples, const RecordSpans& spans, SampleStaging& staging,
                      std::uint8_t& hasVisibility);
    bool writeHeader(std::int32_t sampleTableOffset, std::int32_t numSamples,
                     std::uint8_t hasVisibility);

    // One write of `count` items of `size` bytes: no open file 2, a short write 4.
    bool writeItems(const void* data, std::size_t size, std::size_t count);
    bool writeBytes(const std::vector<unsigned char>& bytes) {
        return writeItems(bytes.data(), 1, bytes.size());
    }
    // Node, geometry and map data are gathered node by node and written once at least this many
    // bytes are waiting (`last`: whatever waits): a write per node would be a system call for
    // every few kilobytes.
    static constexpr std::size_t kGatherBytes = std::size_t{1} << 20;
    bool writeGathered(std::vector<unsigned char>& bytes, bool last);
    // The gathering rule, with the bytes written by `write(bytes)` when they are due.
    template <class Write>
    static bool flushGathered(std::vector<unsigned char>& bytes, bool last, Write write);
    bool report(std::int32_t done, std::int32_t total);

    // Fields in the order of the design.
    std::vector<std::unique_ptr<NodeCapture>> nodes;
    Matrix3 referenceMatrix;
    std::shared_ptr<Mtl> combined;
    std::int32_t frameRate;
    WStr materialFileName; // empty: the file written
};

} // namespace WelkardTools
