#include "cachefile/wkCacheWriter.h"

#include "cachefile/ChunkWriter.h"
#include "cachefile/wkCacheFormat.h"
#include "host/FileName.h"
#include "host/MaterialOps.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <memory>
#include <set>

namespace WelkardTools {

namespace {

namespace fmt = wkCacheFormat;

// 32-bit arithmetic that wraps, as the progress figures and counts of the format are computed.
std::int32_t wrap32(std::int64_t v) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(v)));
}

// The face size the progress figures count, indexed by the version number itself: version 2
// falls behind the two real sizes onto a zero, so faces count for nothing in the figures of a
// version 2 file. Only the progress figures use it; the bytes written are always right.
constexpr std::int32_t kProgressFaceSize[3] = {fmt::kFaceRecordSizeV1, fmt::kFaceRecordSize, 0};
std::int32_t progressFaceSize(std::int32_t version) {
    return version >= 0 && version < 3 ? kProgressFaceSize[version] : 0;
}

// Little-endian encoding into a byte vector.
class Encoder {
public:
    explicit Encoder(std::vector<unsigned char>& out_) : out(out_) {}

    void u8(std::uint8_t v) { out.push_back(v); }
    void u16(std::uint16_t v) {
        out.push_back(static_cast<unsigned char>(v));
        out.push_back(static_cast<unsigned char>(v >> 8));
    }
    void u32(std::uint32_t v) {
        for (int i = 0; i < 4; ++i)
            out.push_back(static_cast<unsigned char>(v >> (8 * i)));
    }
    void i32(std::int32_t v) { u32(static_cast<std::uint32_t>(v)); }
    void f32(float v) { u32(std::bit_cast<std::uint32_t>(v)); }
    void vec3(const Point3& p) {
        f32(p.x);
        f32(p.y);
        f32(p.z);
    }
    void zeros(std::size_t n) { out.insert(out.end(), n, 0); }

private:
    std::vector<unsigned char>& out;
};

// One sampleRecord at `record`: the 12 floats of the transform, row by row, and the visible
// byte. Only for machines that are not little-endian: the others use ProductRows.
void putSampleRecord(unsigned char* record, const Matrix3& transform, bool visible) {
    const float* rows = transform.GetAddr();
    for (int k = 0; k < 12; ++k) {
        const auto bits = std::bit_cast<std::uint32_t>(rows[k]);
        for (int b = 0; b < 4; ++b)
            record[k * 4 + b] = static_cast<unsigned char>(bits >> (8 * b));
    }
    record[fmt::kTransformSize] = visible ? 1 : 0;
}

// The rows of a sampleRecord on a little-endian machine: transform * reference made a row at a
// time in four lanes (the fourth unused) and stored straight into the record. Each lane does the
// product's operations in its order, so the bits are those of Matrix3's operator*. The bulk of
// every file: one matrix copy and a pass over the records fewer than a product then a copy.
class ProductRows {
public:
    explicit ProductRows(const Matrix3& reference) {
        for (int j = 0; j < 4; ++j) {
            const Point3 row = reference.GetRow(j);
            rows[j] = Lanes{row.x, row.y, row.z, 0.0f};
        }
    }
    void put(unsigned char* record, const Matrix3& transform, bool visible) const {
        const float* m = transform.GetAddr();
        Lanes out[4];
        for (int i = 0; i < 4; ++i) {
            const float* r = m + 3 * i;
            out[i] = r[0] * rows[0] + r[1] * rows[1] + r[2] * rows[2];
        }
        out[3] += rows[3];
        // Whole lanes for the first three rows, each store's fourth lane overwritten by the next
        // row; the last row's three floats alone, then the visible byte.
        for (int i = 0; i < 3; ++i)
            std::memcpy(record + 12 * i, &out[i], sizeof(Lanes));
        std::memcpy(record + 36, &out[3], 12);
        record[fmt::kTransformSize] = visible ? 1 : 0;
    }

private:
    typedef float Lanes __attribute__((vector_size(16)));
    Lanes rows[4];
};

// Every supported channel of the mesh from 0 up, ascending.
std::vector<std::int32_t> meshChannels(const Mesh& mesh) {
    std::vector<std::int32_t> channels;
    for (int c = 0; c < mesh.getNumMaps(); ++c) {
        if (mesh.mapSupport(c))
            channels.push_back(c);
    }
    return channels;
}

} // namespace

// Two buffers of a chunk and one sample more: one is filled on the recording's thread while the
// second thread writes the other. The second thread first touches every page of the first while
// the node table is written here, and every page of the second after the geometry, so that
// filling them does not stop at a page fault every few kilobytes.
struct wkCacheWriter::SampleStaging {
    explicit SampleStaging(std::size_t size_) : size(size_) {
        if (size == 0)
            return;
        for (auto& buffer : buffers)
            buffer = std::make_unique_for_overwrite<unsigned char[]>(size);
        worker.post([this] {
            touch(0);
            return true;
        });
    }
    // Writes to every page of buffer `i` (none without a sample table), on the second thread.
    void touch(int i) const {
        constexpr std::size_t kPage = 4096; // the smallest page there is
        if (unsigned char* const buffer = buffers[i].get()) {
            for (std::size_t at = 0; at < size; at += kPage)
                buffer[at] = 0;
        }
    }

    // The status of a failed piece: an exception (set by the second thread before its piece
    // ends, read after a wait) or a write that fell short.
    std::int32_t failure() const { return threw ? kStatusException : kStatusFileError; }

    std::size_t size;
    std::unique_ptr<unsigned char[]> buffers[2];
    bool threw = false;
    ChunkWriter worker; // last: destroyed, and so waited for, before the buffers it uses
};

wkCacheWriter::wkCacheWriter(const WStr& fileName, const Matrix3& referenceMatrix_,
                             Interval interval, TimeValue step, std::int32_t version_,
                             std::int32_t frameRate_)
    : wkCacheBase(fileName, version_, interval, step), referenceMatrix(referenceMatrix_),
      frameRate(frameRate_) {}

wkCacheWriter::~wkCacheWriter() = default;

bool wkCacheWriter::addNode(INode* node, TimeValue captureTick) {
    auto capture = std::make_unique<NodeCapture>();
    try {
        if (!CaptureNodeMesh(*capture, node, captureTick, true))
            return false;
    } catch (...) {
        return false;
    }
    nodes.push_back(std::move(capture));
    return true;
}

bool wkCacheWriter::writeItems(const void* data, std::size_t size, std::size_t count) {
    if (!isOpen()) {
        status_ = kStatusNoFile;
        return false;
    }
    if (size == 0 || count == 0)
        return true;
    if (std::fwrite(data, size, count, stream()) < count) {
        status_ = kStatusFileError;
        return false;
    }
    return true;
}

template <class Write>
bool wkCacheWriter::flushGathered(std::vector<unsigned char>& bytes, bool last, Write write) {
    if (!last && bytes.size() < kGatherBytes)
        return true;
    const bool written = write(bytes);
    bytes.clear();
    return written;
}

bool wkCacheWriter::writeGathered(std::vector<unsigned char>& bytes, bool last) {
    return flushGathered(bytes, last, [this](const auto& all) { return writeBytes(all); });
}

bool wkCacheWriter::report(std::int32_t done, std::int32_t total) {
    if (progressCallback == nullptr || progressCallback(progressContext, done, total))
        return true;
    status_ = kStatusCancelled;
    return false;
}

bool wkCacheWriter::write(const RecordSpans& spans) {
    if (nodes.empty())
        return false;
    if (!openFile())
        return false;
    bool written = false;
    try {
        written = writeOpenFile(spans);
    } catch (...) {
        status_ = kStatusException;
        written = false;
    }
    closeFile();
    return written;
}

bool wkCacheWriter::writeOpenFile(const RecordSpans& spans) {
    const std::vector<unsigned char> reserved(fmt::kReservedSize, 0);
    if (!writeBytes(reserved))
        return false;

    combineMaterials();
    if (combined) {
        WStr name;
        SplitFilename(materialFileName.IsEmpty() ? fileName_ : materialFileName, nullptr, &name,
                      nullptr);
        combined->SetName(name.IsEmpty() ? WStr(L"WK Cache") : name);
    }
    const std::vector<std::int32_t> channels = channelUnion();
    fillChannels(channels);

    if (step_ < 1) {
        // No sample count can be made of it; the recording never asks for one.
        status_ = kStatusException;
        return false;
    }
    const std::int32_t numSamples = wrap32(wrap32(std::int64_t{end} - start + step_) / step_);
    const auto nodeCount = static_cast<std::int32_t>(nodes.size());

    // The sample table's staging is made ready while the geometry is written.
    const std::int32_t tableBytes =
        wrap32(std::int64_t{nodeCount} * numSamples * fmt::kSampleRecordSize);
    const std::int64_t stagingBytes = tableBytes > 0
                                          ? std::int64_t{std::min(tableBytes, kSampleBufferBytes)} +
                                                std::int64_t{nodeCount} * fmt::kSampleRecordSize
                                          : 0;
    SampleStaging staging(static_cast<std::size_t>(stagingBytes));

    std::int64_t estimate = 0;
    if (!writeNodeTable(estimate))
        return false;

    // Geometry and map channels follow the node table; the second thread encodes and writes
    // them (then readies the other staging buffer) while their progress is reported here and
    // the first chunk of rows is made. The rows follow them, at an offset known from the sizes.
    const long tableAt = std::ftell(stream());
    const std::int64_t position = tableAt < 0 ? -1 : tableAt + meshDataBytes(channels);
    std::FILE* const file = stream();
    staging.worker.post([this, file, &channels, &staging] {
        try {
            if (!writeMeshData(file, channels))
                return false;
        } catch (...) {
            staging.threw = true; // out of memory
            return false;
        }
        staging.touch(1);
        return true;
    });
    const std::int32_t progressTotal =
        wrap32(std::int64_t{wrap32(std::int64_t{nodeCount} * fmt::kSampleRecordSize * numSamples)} +
               wrap32(estimate));
    if (!reportMeshData(channels, progressTotal))
        return false;

    // The format's offsets are signed 32-bit: a position beyond them is as unusable as a failed
    // tell, and so is a sample table that would end beyond them.
    if (position < 0 || position > INT32_MAX ||
        position + std::int64_t{nodeCount} * fmt::kSampleRecordSize * std::max(numSamples, 0) >
            INT32_MAX) {
        status_ = kStatusFileError;
        return false;
    }
    const auto sampleTableOffset = static_cast<std::int32_t>(position);

    std::uint8_t hasVisibility = 0;
    if (!writeSamples(numSamples, spans, staging, hasVisibility))
        return false;
    return writeHeader(sampleTableOffset, numSamples, hasVisibility);
}

void wkCacheWriter::combineMaterials() {
    combined.reset();
    for (const auto& capture : nodes) {
        std::shared_ptr<Mtl> material = capture->node->ShareMtl();
        if (!material)
            continue;
        FitMeshIDsToMaterial(*capture->mesh, *material);
        if (!combined) {
            // One material for the whole set stays the scene's own material.
            combined = material;
        } else if (material != combined) {
            int offset = 0;
            combined = CombineMaterials(combined, material, offset);
            capture->matIdOffset = offset;
        }
    }
}

std::vector<std::int32_t> wkCacheWriter::channelUnion() const {
    std::set<std::int32_t> channels;
    for (const auto& capture : nodes) {
        const Mesh& mesh = *capture->mesh;
        // The hidden channels below 0 never reach the file.
        for (int c = -NUM_HIDDENMAPS; c < mesh.getNumMaps(); ++c) {
            if (mesh.mapSupport(c) && c >= 0)
                channels.insert(c);
        }
    }
    return {channels.begin(), channels.end()};
}

void wkCacheWriter::fillChannels(const std::vector<std::int32_t>& channels) {
    for (const auto& capture : nodes) {
        Mesh& mesh = *capture->mesh;
        const int numVerts = mesh.getNumVerts();
        const int numFaces = mesh.getNumFaces();
        for (const std::int32_t c : channels) {
            if (mesh.mapSupport(c))
                continue;
            // A zero channel with the mesh's own topology.
            mesh.setMapSupport(c, true);
            if (c == 0) {
                mesh.setNumVertCol(numVerts, false);
                mesh.setNumVCFaces(numFaces, false, 0);
            } else {
                mesh.setNumMapVerts(c, numVerts, false);
            }
            TVFace* mapFaces = mesh.mapFaces(c);
            for (int f = 0; f < numFaces; ++f)
                mapFaces[f].setTVerts(mesh.getFace(f).getAllVerts());
        }
    }
}

bool wkCacheWriter::writeNodeTable(std::int64_t& estimate) {
    const std::int32_t faceSize = progressFaceSize(version);
    std::vector<unsigned char> bytes;
    for (const auto& capture : nodes) {
        const Mesh& mesh = *capture->mesh;
        Encoder out(bytes);

        const WStr name = capture->node->GetName();
        const CStr narrow = name.ToCStr();
        const int nameLength = name.Length();
        out.i32(nameLength);
        // As many bytes of the narrow form as the name has characters: a longer narrow form is
        // cut (the reader reads nameLength bytes either way).
        const int taken = std::min(nameLength, narrow.Length());
        bytes.insert(bytes.end(), narrow.data(), narrow.data() + taken);
        out.zeros(static_cast<std::size_t>(nameLength - taken));

        const Box3 box = mesh.getBoundingBox();
        out.vec3(box.pmin);
        out.vec3(box.pmax);
        out.i32(mesh.getNumVerts());
        out.i32(mesh.getNumFaces());
        const std::vector<std::int32_t> channels = meshChannels(mesh);
        out.i32(static_cast<std::int32_t>(channels.size()));
        for (const std::int32_t c : channels) {
            out.i32(c);
            out.i32(mesh.getNumMapVerts(c));
        }
        if (version == 2) {
            const MeshNormalSpec* normals = mesh.GetSpecifiedNormals();
            out.u8(normals != nullptr && normals->GetNumFaces() > 0 ? 1 : 0);
        }
        if (!writeGathered(bytes, false))
            return false;

        estimate += std::int64_t{mesh.getNumVerts()} * fmt::kVertexSize +
                    std::int64_t{mesh.getNumFaces()} * faceSize;
        for (const std::int32_t c : channels)
            estimate +=
                (std::int64_t{mesh.getNumMapVerts(c)} + mesh.getNumFaces()) * fmt::kMapVertexSize;
    }
    return writeGathered(bytes, true);
}

bool wkCacheWriter::writeMeshData(std::FILE* file,
                                  const std::vector<std::int32_t>& channels) const {
    // On the second thread: straight to the file, without the status, which the caller sets.
    std::vector<unsigned char> bytes;
    const auto flush = [&](bool last) {
        return flushGathered(bytes, last, [file](const std::vector<unsigned char>& all) {
            return std::fwrite(all.data(), 1, all.size(), file) == all.size();
        });
    };
    for (const auto& capture : nodes) {
        const Mesh& mesh = *capture->mesh;
        Encoder out(bytes);
        for (int v = 0; v < mesh.getNumVerts(); ++v)
            out.vec3(mesh.getVert(v));

        const BitArray& selection = mesh.FaceSel();
        const MeshNormalSpec* normals = mesh.GetSpecifiedNormals();
        const bool hasNormals = normals != nullptr && normals->GetNumFaces() > 0;
        for (int f = 0; f < mesh.getNumFaces(); ++f) {
            const Face& face = mesh.getFace(f);
            out.u16(static_cast<std::uint16_t>(face.getMatID() + capture->matIdOffset));
            out.u32(face.getSmGroup());
            out.u8(static_cast<std::uint8_t>(face.getEdgeVisFlags()));
            out.u8(f < selection.GetSize() && selection[f] ? 1 : 0);
            out.u32(face.getVert(0));
            out.u32(face.getVert(1));
            out.u32(face.getVert(2));
            if (version == 1) {
                out.zeros(12);
            } else if (hasNormals) {
                // A normal spec shorter than the face list gives zeros for the faces it lacks.
                for (int corner = 0; corner < 3; ++corner)
                    out.vec3(f < normals->GetNumFaces() ? normals->GetNormal(f, corner) : Point3());
            } else {
                out.zeros(36);
            }
        }
        if (!flush(false))
            return false;
    }
    for (const std::int32_t c : channels) {
        for (const auto& capture : nodes) {
            const Mesh& mesh = *capture->mesh;
            if (!mesh.mapSupport(c))
                continue;
            Encoder out(bytes);
            const int numMapVerts = mesh.getNumMapVerts(c);
            const UVVert* mapVerts = mesh.mapVerts(c);
            for (int v = 0; v < numMapVerts; ++v)
                out.vec3(mapVerts[v]);
            // One map face per face, as the reader counts them.
            const TVFace* mapFaces = mesh.mapFaces(c);
            const int numMapFaces = mesh.getNumMapFaces(c);
            for (int f = 0; f < mesh.getNumFaces(); ++f) {
                for (int corner = 0; corner < 3; ++corner)
                    out.u32(f < numMapFaces ? mapFaces[f].getTVert(corner) : 0);
            }
            if (!flush(false))
                return false;
        }
    }
    return flush(true);
}

std::int64_t wkCacheWriter::meshDataBytes(const std::vector<std::int32_t>& channels) const {
    std::int64_t total = 0;
    for (const auto& capture : nodes) {
        const Mesh& mesh = *capture->mesh;
        total += std::int64_t{mesh.getNumVerts()} * fmt::kVertexSize +
                 std::int64_t{mesh.getNumFaces()} * fmt::FaceRecordSize(version);
        for (const std::int32_t c : channels) {
            if (mesh.mapSupport(c))
                total += std::int64_t{mesh.getNumMapVerts(c)} * fmt::kMapVertexSize +
                         std::int64_t{mesh.getNumFaces()} * fmt::kMapFaceSize;
        }
    }
    return total;
}

bool wkCacheWriter::reportMeshData(const std::vector<std::int32_t>& channels,
                                   std::int32_t progressTotal) {
    const std::int32_t faceSize = progressFaceSize(version);
    const auto nodeCount = static_cast<std::int32_t>(nodes.size());
    std::int64_t bytesDone = 0;
    for (std::int32_t i = 0; i < nodeCount; ++i) {
        const Mesh& mesh = *nodes[static_cast<std::size_t>(i)]->mesh;
        bytesDone += std::int64_t{mesh.getNumVerts()} * fmt::kVertexSize +
                     std::int64_t{mesh.getNumFaces()} * faceSize;
        if (!report(i, nodeCount))
            return false;
    }
    for (const std::int32_t c : channels) {
        for (const auto& capture : nodes) {
            const Mesh& mesh = *capture->mesh;
            if (mesh.mapSupport(c))
                bytesDone += (std::int64_t{mesh.getNumMapVerts(c)} + mesh.getNumFaces()) *
                             fmt::kMapVertexSize;
            if (!report(wrap32(bytesDone), progressTotal))
                return false;
        }
    }
    return true;
}

bool wkCacheWriter::writeSamples(std::int32_t numSamples, const RecordSpans& spans,
                                 SampleStaging& staging, std::uint8_t& hasVisibility) {
    const auto nodeCount = static_cast<std::int32_t>(nodes.size());
    std::int32_t remaining = wrap32(std::int64_t{nodeCount} * numSamples * fmt::kSampleRecordSize);
    std::int32_t chunk = std::min(remaining, kSampleBufferBytes);
    bool haveBuffer = chunk > 0;
    if (start > end && haveBuffer) {
        status_ = kStatusException;
        return false;
    }

    // The host is asked for a run of samples node by node, each node over the whole run at once
    // (GetObjectTMs), and the node's rows of the run (times the reference) go straight to their
    // places in the file's order while its transforms are at hand. A run stops at the first
    // sample that reaches the end of a chunk; the full chunk is handed to the second thread to
    // write, and what the run made beyond it moves to the front of the other buffer.
    const std::int64_t sampleBytes = std::int64_t{nodeCount} * fmt::kSampleRecordSize;
    const auto runSamples = static_cast<int>(
        std::clamp<std::int64_t>(kSampleBufferBytes / sampleBytes, 1, kRunSamples));
    const ProductRows product(referenceMatrix);
    std::FILE* const file = stream();
    TimeValue ticks[kRunSamples];
    Matrix3 transforms[kRunSamples];
    float visibilities[kRunSamples];
    int current = 0;
    std::int64_t filled = 0;
    for (std::int64_t tick = start; tick <= end;) {
        if (!haveBuffer) {
            // More records than the count promised: only a range that wraps can do this.
            status_ = kStatusException;
            return false;
        }
        const std::int64_t room = (chunk - filled + sampleBytes - 1) / sampleBytes;
        int count = 0;
        for (; count < runSamples && count < room && tick <= end; tick += step_)
            ticks[count++] = static_cast<TimeValue>(tick);
        unsigned char* const first = staging.buffers[current].get() + filled;
        for (std::int32_t n = 0; n < nodeCount; ++n) {
            const auto index = static_cast<std::size_t>(n);
            INode* node = nodes[index]->node;
            const bool hasSpan = index < spans.startTicks.size() && index < spans.endTicks.size();
            node->GetObjectTMs(ticks, count, transforms);
            node->GetVisibilities(ticks, count, node->GetInheritVisibility(), visibilities);
            unsigned char* record = first + index * fmt::kSampleRecordSize;
            for (int k = 0; k < count; ++k, record += sampleBytes) {
                const TimeValue t = ticks[k];
                float visibility = visibilities[k];
                if (hasSpan && (t < spans.startTicks[index] || t > spans.endTicks[index]))
                    visibility = 0.0f;
                const bool visible = visibility > 0.0f;
                if (!visible)
                    hasVisibility = 1;
                if constexpr (std::endian::native == std::endian::little)
                    product.put(record, transforms[k], visible);
                else
                    putSampleRecord(record, transforms[k] * referenceMatrix, visible);
            }
        }
        filled += count * sampleBytes;
        while (haveBuffer && filled >= chunk) {
            // The chunk before is written, which frees the other buffer.
            if (!staging.worker.wait()) {
                status_ = staging.failure();
                return false;
            }
            // The sample stage reports the same figure at every chunk.
            if (!report(nodeCount, nodeCount))
                return false;
            const unsigned char* full = staging.buffers[current].get();
            const auto bytes = static_cast<std::size_t>(chunk);
            staging.worker.post(
                [file, full, bytes] { return std::fwrite(full, 1, bytes, file) == bytes; });
            current = 1 - current;
            filled -= chunk;
            std::memcpy(staging.buffers[current].get(), full + bytes,
                        static_cast<std::size_t>(filled));
            remaining -= chunk;
            chunk = std::min(remaining, kSampleBufferBytes);
            haveBuffer = chunk > 0;
        }
    }
    if (haveBuffer || filled > 0) {
        // Fewer records than the count promised, or (a range that wraps) more.
        status_ = kStatusException;
        return false;
    }
    // The buffer not being written is given back while the last chunk is written.
    staging.buffers[current].reset();
    if (!staging.worker.wait()) {
        status_ = staging.failure();
        return false;
    }
    return true;
}

bool wkCacheWriter::writeHeader(std::int32_t sampleTableOffset, std::int32_t numSamples,
                                std::uint8_t hasVisibility) {
    std::vector<unsigned char> header;
    Encoder out(header);
    header.insert(header.end(), fmt::kMagic, fmt::kMagic + fmt::kMagicSize);
    out.u8(static_cast<std::uint8_t>(version));
    out.u8(0); // reserved, never interpreted
    out.i32(start);
    out.i32(end);
    out.i32(step_);
    out.i32(frameRate);
    const auto nodeCount = static_cast<std::int32_t>(nodes.size());
    out.i32(nodeCount);
    out.i32(numSamples);
    out.i32(wrap32(std::int64_t{nodeCount} * fmt::kSampleRecordSize));
    out.i32(fmt::kNodeTableOffset);
    out.i32(sampleTableOffset);
    out.u8(hasVisibility);

    if (!seekFile(0, SEEK_SET, kStatusFileError))
        return false;
    if (!writeItems(header.data(), header.size(), 1))
        return false;
    // The header is the proof of a finished file: it must have reached the file.
    if (std::fflush(stream()) != 0) {
        status_ = kStatusFileError;
        return false;
    }
    return true;
}

} // namespace WelkardTools
