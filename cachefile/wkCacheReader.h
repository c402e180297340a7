// wkCacheReader: one .wkc file, opened, indexed and turned into meshes, with the rows of its
// sample table brought into memory as playback needs them.
//
// Construction runs loadCache: the header is checked, all static data (nodes, vertices, faces,
// map channels) is parsed, the meshes are built, the material library beside the file is loaded,
// and the raw arrays are freed again. Only the sample table stays on disk; how much of it comes
// into memory is the matter of the load type:
//   0 Stream      keepFileOpen true:  a row is read the first time it is needed and kept; the
//                                     file closes by itself when the last row has arrived.
//   1 Per-Sample  keepFileOpen false: rows are dropped at each frame and the needed ones read
//                                     again; the file is closed after each row.
//   2 Pre-Load    keepFileOpen true:  all rows at once by preload(), with progress; the file
//                                     stays open.
//
// Failures never throw: they leave a status (see wkCacheBase). A reader with an error holds no
// data and is reloaded by the registry at its next use.
//
// Hostile files are normal input. Every count read from the file is checked against the bytes
// the file still holds before anything is allocated for it; a count that does not fit ends as
// the short read it would be (status 3). A file of more than 2 GiB is refused with status 6: the
// format's offsets and addresses are 32 bits wide and cannot reach beyond that.
#pragma once

#include "cachefile/wkCacheBase.h"
#include "cachefile/wkCacheElementFrames.h"
#include "cachefile/wkCacheHeader.h"
#include "cachefile/wkCacheIndex.h"
#include "host/Box3.h"
#include "host/Materials.h"
#include "host/Matrix3.h"
#include "host/Mesh.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace WelkardTools {

class wkCacheBlockReader;

class wkCacheReader : public wkCacheBase {
public:
    // Loads the file at once; the outcome is in status(). `materials` loads the library beside
    // the file; without it the library stays empty. It must outlive the reader.
    explicit wkCacheReader(const WStr& fileName, Materials* materials = nullptr);
    ~wkCacheReader() override;

    // ---- Open and index
    // Starts from nothing (fileSize excepted) and loads the whole file again.
    void loadCache();
    // Reads and checks the header at offset 0.
    bool readHeader();
    // Parses node table, geometry and map channels in the file's order (three passes).
    bool readIndex();
    // Forgets everything parsed; leaves the file, the status, keepFileOpen, the material
    // library and the element frames alone.
    void clearCache();

    // Header or index values; 0 without data.
    std::int32_t cacheNumNodes() const;
    std::int32_t cacheNumSamples() const;
    std::int32_t cacheFrameRate() const;
    std::int32_t cacheHasVisibility() const;
    std::int32_t cacheHasSpecifiedNormals() const;

    // sampleTableOffset - nodeTableOffset; 0 without data or samples.
    std::int64_t meshSize() const;
    // fileSize - sampleTableOffset (with the element block of a version 3 file); 0 without
    // data or samples.
    std::int64_t animationSize() const;
    // Whole frames the samples span, at the cache's frame rate.
    std::int32_t numFrames() const;
    // Bytes of the sample table and the element block's keys: all, and those in memory.
    void getSizes(std::int64_t& total, std::int64_t& loaded) const;

    // ---- Samples
    // Brings one row of the sample table into memory. A loaded row answers true at once,
    // without I/O and with the status untouched.
    bool fetchSample(std::int32_t sample, bool preloading);
    // fetchSample, then closes the file unless keepFileOpen is set.
    bool fetchSampleAndRelease(std::int32_t sample);
    bool isPreloaded() const;
    // Reads all rows, reporting progress to the callback after each one. A callback that says
    // stop gives status 7; the rows read so far stay, and a later preload goes on from there.
    bool preload();
    // Forgets every row.
    void dropSamples();

    bool isSampleLoaded(std::int32_t sample) const;
    std::int32_t loadedSampleCount() const;
    // The transform and visibility of node n at a sample that is in memory; a default Matrix3
    // and false for one that is not. Constant time, no allocation.
    Matrix3 sampleTransform(std::int32_t node, std::int32_t sample) const;
    bool sampleVisible(std::int32_t node, std::int32_t sample) const;
    // The sample whose fetch failed last (-1 while none): where a short sample table ends.
    std::int32_t failedSample() const { return failedSampleIndex; }

    // ---- Meshes
    bool buildFullMeshes();
    bool buildNodeMesh(std::int32_t node);
    // The box of `bounds` as 8 vertices at vertexBase and 12 faces at faceBase of `target`.
    static void buildBoxMesh(const Box3& bounds, Mesh& target, std::int32_t vertexBase,
                             std::int32_t faceBase, MtlID matID);

    // ---- Materials
    // The first entry of the library that is a material (superclass 3072), or null.
    Mtl* firstMaterial() const;
    // The reader owns the library while it is set.
    void setMaterialLibrary(std::unique_ptr<MtlBaseLib> library);
    // Takes the library out of the reader without deleting it: the caller owns it now.
    [[nodiscard]] std::unique_ptr<MtlBaseLib> clearMaterialLibrary();
    MtlBaseLib* getMaterialLibrary() const { return materialLibrary.get(); }

    // ---- What playback reads
    bool getKeepFileOpen() const { return keepFileOpen; }
    void setKeepFileOpen(bool keep) { keepFileOpen = keep; }
    const wkCacheHeader* getHeader() const { return header.get(); }
    wkCacheIndex* getIndex() { return index.get(); }
    const wkCacheIndex* getIndex() const { return index.get(); }
    // All nodes end to end, and their boxes; shared by every object on this file.
    Mesh* getFullMesh() { return fullMesh.get(); }
    const Mesh* getFullMesh() const { return fullMesh.get(); }
    Mesh* getBoxMesh() { return boxMesh.get(); }
    const Mesh* getBoxMesh() const { return boxMesh.get(); }
    wkCacheElementFrames& getFrameStore() { return frameStore; }
    const wkCacheElementFrames& getFrameStore() const { return frameStore; }

private:
    // The index, the header and a version at least 1.
    bool hasData() const;
    void freeNodeData();
    // The file's material library, beside it: a.wkc goes with a.mat.
    WStr materialLibraryPath() const;
    void loadMaterialLibrary();
    // Parse steps of readIndex; false after a short read, whose status `in` holds.
    bool readNodeRecord(wkCacheBlockReader& in, wkCacheNodeInfo& info, wkCacheNodeData& data);
    bool readGeometry(wkCacheBlockReader& in, wkCacheNodeInfo& info, wkCacheNodeData& data);
    bool readMapChannel(wkCacheBlockReader& in, std::int32_t channel, const wkCacheNodeInfo& info,
                        wkCacheNodeData& data);
    // Preload of rows that hold no bytes (no nodes), where no row needs reading.
    bool preloadEmptyRows();

    // Fields in the order of the design.
    std::unique_ptr<wkCacheIndex> index;
    std::unique_ptr<Mesh> fullMesh;
    std::unique_ptr<Mesh> boxMesh;
    std::unique_ptr<wkCacheHeader> header;
    bool keepFileOpen = true;
    std::unique_ptr<MtlBaseLib> materialLibrary;
    std::vector<std::unique_ptr<wkCacheNodeData>> nodeData;
    wkCacheElementFrames frameStore;

    Materials* materials;
    std::int32_t failedSampleIndex = -1;
    // One row of the sample table, reused by every fetch.
    std::vector<unsigned char> rowBuffer;
};

} // namespace WelkardTools
