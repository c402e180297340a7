// wkCacheReader: open, header, index, sizes and the material library. Samples are in
// wkCacheReaderSamples.cpp, meshes in wkCacheReaderMeshes.cpp.
#include "cachefile/wkCacheReader.h"

#include "cachefile/wkCacheBlockReader.h"
#include "cachefile/wkCacheFormat.h"
#include "host/MeshMap.h"
#include "host/Path.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <filesystem>
#include <string>
#include <system_error>

namespace WelkardTools {

namespace {

// Sums of counts are 32-bit in the format; they wrap rather than overflow.
std::int32_t addWrapping(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// maxChannel + 1 for Mesh::setNumMaps, taken as it stands (-98 without channels).
std::int32_t channelCount(std::int32_t maxChannel) {
    return addWrapping(maxChannel, 1);
}

} // namespace

wkCacheReader::wkCacheReader(const WStr& fileName, Materials* materials_)
    : wkCacheBase(fileName), materials(materials_) {
    loadCache();
}

wkCacheReader::~wkCacheReader() {
    clearCache();
}

bool wkCacheReader::hasData() const {
    return index && header && version >= 1;
}

// ---- loadCache

void wkCacheReader::loadCache() {
    frameStore.reset();
    clearCache();
    closeFile();
    status_ = kStatusOk;
    failedSampleIndex = -1;
    if (!openFile())
        return;
    try {
        if (!readHeader()) {
            if (!keepFileOpen)
                closeFile();
            return;
        }
        if (readIndex()) {
            buildFullMeshes(); // false for a cache without nodes, which still loads
            loadMaterialLibrary();
            const std::int32_t nodes = index ? static_cast<std::int32_t>(index->nodes.size()) : 0;
            for (std::int32_t n = 0; n < nodes; ++n) {
                wkCacheNodeInfo& node = *index->nodes[static_cast<std::size_t>(n)];
                node.box = std::make_unique<Mesh>();
                node.box->setNumVerts(8, false, true);
                node.box->setNumFaces(12, false, true);
                buildBoxMesh(node.bounds, *node.box, 0, 0, 0);
                if (!buildNodeMesh(n))
                    break;
            }
        }
    } catch (...) {
        // Memory, mostly: a cache too large for this machine fails like a broken one.
        status_ = kStatusException;
        clearCache();
    }
    freeNodeData();
    if (!keepFileOpen)
        closeFile();
}

void wkCacheReader::clearCache() {
    start = TIME_NegInfinity;
    end = TIME_NegInfinity;
    step_ = 0;
    version = 0;
    header.reset();
    fullMesh.reset();
    boxMesh.reset();
    index.reset();
    freeNodeData();
}

void wkCacheReader::freeNodeData() {
    nodeData.clear();
}

// ---- readHeader

bool wkCacheReader::readHeader() {
    clearCache();
    status_ = kStatusOk;
    unsigned char bytes[wkCacheFormat::kHeaderSize] = {};
    if (!seekFile(0, SEEK_SET, kStatusInvalidCache) || !readItems(bytes, 1, sizeof bytes)) {
        clearCache();
        return false;
    }
    const wkCacheHeader h = wkCacheHeader::Decode(bytes);
    if (!h.IsValid()) {
        status_ = kStatusInvalidCache;
        clearCache();
        return false;
    }
    // The file's end, looked up with the position restored. The format's offsets are 32-bit
    // signed, so a file beyond 2 GiB cannot be what it claims to be in full: it is refused
    // rather than read in part.
    std::FILE* f = stream();
    const long here = std::ftell(f);
    if (here >= 0 && std::fseek(f, 0, SEEK_END) == 0) {
        const long fileEnd = std::ftell(f);
        std::fseek(f, here, SEEK_SET);
        if (fileEnd > INT32_MAX) {
            status_ = kStatusInvalidCache;
            clearCache();
            return false;
        }
    }
    header = std::make_unique<wkCacheHeader>(h);
    version = h.fileVersion;
    start = h.cacheStart;
    end = h.cacheEnd;
    step_ = h.cacheStepSize;
    return true;
}

// ---- readIndex

bool wkCacheReader::readIndex() {
    status_ = kStatusOk;
    if (!header) {
        status_ = kStatusInvalidCache;
        return false;
    }
    if (!seekFile(wkCacheFormat::kNodeTableOffset, SEEK_SET, kStatusFileError))
        return false;
    const wkCacheHeader& h = *header;
    index = std::make_unique<wkCacheIndex>();
    index->loadedSamples.reset(h.cacheNumSamples, h.cacheNumNodes, h.sampleStride,
                               h.sampleTableOffset);
    freeNodeData();
    if (h.cacheNumNodes == 0)
        return true;

    wkCacheBlockReader in(stream(), wkCacheFormat::kNodeTableOffset);
    const auto failWith = [this](const wkCacheBlockReader& from) {
        status_ = from.failureStatus();
        clearCache();
        return false;
    };

    // Room for the nodes that the file can hold; a larger count fails at its first short read.
    const auto numNodes = static_cast<std::size_t>(h.cacheNumNodes);
    const auto fitting =
        static_cast<std::size_t>(in.bytesLeft() / wkCacheFormat::kNodeRecordMinSize + 1);
    nodeData.reserve(std::min(numNodes, fitting));
    index->nodes.reserve(std::min(numNodes, fitting));

    // Pass 1: node records.
    for (std::size_t n = 0; n < numNodes; ++n) {
        nodeData.push_back(std::make_unique<wkCacheNodeData>());
        index->nodes.push_back(std::make_unique<wkCacheNodeInfo>());
        if (!readNodeRecord(in, *index->nodes.back(), *nodeData.back()))
            return failWith(in);
    }
    // Pass 2: per node its vertices, then its faces.
    for (std::size_t n = 0; n < numNodes; ++n)
        if (!readGeometry(in, *index->nodes[n], *nodeData[n]))
            return failWith(in);
    // Pass 3: per channel, ascending, the nodes that list it, in node order.
    for (const auto& [channel, sum] : index->channels) {
        (void)sum;
        for (std::size_t n = 0; n < numNodes; ++n)
            if (nodeData[n]->channels.count(channel) != 0 &&
                !readMapChannel(in, channel, *index->nodes[n], *nodeData[n]))
                return failWith(in);
    }

    index->hiddenChanged.SetSize(h.cacheNumNodes);
    index->deletedChanged.SetSize(h.cacheNumNodes);
    index->materialChanged.SetSize(h.cacheNumNodes);
    return true;
}

bool wkCacheReader::readNodeRecord(wkCacheBlockReader& in, wkCacheNodeInfo& info,
                                   wkCacheNodeData& data) {
    std::int32_t nameLength = 0;
    if (!in.readI32(nameLength) || !in.expect(nameLength))
        return false;
    std::string name(static_cast<std::size_t>(nameLength), '\0');
    if (!in.read(name.data(), name.size()))
        return false;
    // The name is text up to its first NUL, as the terminated C string it was read into. The
    // 8-bit code page is UTF-8 here; bytes that are not UTF-8 become U+FFFD.
    info.name = WStr::FromUTF8(std::string_view(name.c_str()));

    float box[6];
    for (float& coordinate : box)
        if (!in.readF32(coordinate))
            return false;
    info.bounds = Box3(Point3(box[0], box[1], box[2]), Point3(box[3], box[4], box[5]));

    std::int32_t numChannels = 0;
    if (!in.readI32(info.numVerts) || !in.readI32(info.numFaces) || !in.readI32(numChannels))
        return false;
    index->totalVerts = addWrapping(index->totalVerts, info.numVerts);
    index->totalFaces = addWrapping(index->totalFaces, info.numFaces);

    if (!in.expect(std::int64_t{numChannels} * wkCacheFormat::kChannelEntrySize))
        return false;
    for (std::int32_t c = 0; c < numChannels; ++c) {
        std::int32_t channel = 0;
        std::int32_t numMapVerts = 0;
        if (!in.readI32(channel) || !in.readI32(numMapVerts))
            return false;
        data.channels.emplace(channel, numMapVerts); // a repeated channel keeps its first count
        if (data.minChannel == -99 || data.minChannel > channel)
            data.minChannel = channel;
        if (data.maxChannel == -99 || data.maxChannel < channel)
            data.maxChannel = channel;
        if (index->minChannel == -99 || index->minChannel > channel)
            index->minChannel = channel;
        if (index->maxChannel == -99 || index->maxChannel < channel)
            index->maxChannel = channel;
        const auto [it, added] = index->channels.emplace(channel, numMapVerts);
        if (!added)
            it->second = addWrapping(it->second, numMapVerts);
    }

    info.channels = data.channels;
    info.hasSpecifiedNormals = 0;
    if (version >= 2) {
        if (!in.readU8(info.hasSpecifiedNormals))
            return false;
        if (info.hasSpecifiedNormals != 0)
            index->hasSpecifiedNormals = 1;
    }
    return true;
}

bool wkCacheReader::readGeometry(wkCacheBlockReader& in, wkCacheNodeInfo& info,
                                 wkCacheNodeData& data) {
    namespace f = wkCacheFormat;
    if (!in.expect(std::int64_t{info.numVerts} * f::kVertexSize))
        return false;
    data.mesh = std::make_unique<Mesh>();
    Mesh& mesh = *data.mesh;
    mesh.setNumVerts(info.numVerts, false, true);
    if (info.numVerts > 0) {
        if (!in.read(mesh.getVertPtr(0), static_cast<std::size_t>(info.numVerts) * f::kVertexSize))
            return false;
        f::FixWordOrder(mesh.getVertPtr(0), static_cast<std::size_t>(info.numVerts) * 3);
    }

    const std::int32_t recordSize = f::FaceRecordSize(version);
    if (!in.expect(std::int64_t{info.numFaces} * recordSize))
        return false;
    mesh.setNumFaces(info.numFaces, false, true);
    mesh.setNumMaps(channelCount(data.maxChannel), false);
    info.faceMaterials.resize(static_cast<std::size_t>(info.numFaces));
    MeshNormalSpec* normals = nullptr;
    if (info.hasSpecifiedNormals != 0) {
        mesh.SpecifyNormals();
        normals = mesh.GetSpecifiedNormals();
        normals->SetNumFaces(info.numFaces);
        normals->NAlloc(info.numFaces * 3, true);
    }

    BitArray& selection = mesh.FaceSel();
    const std::int32_t perBlock = static_cast<std::int32_t>(in.capacity() / recordSize);
    for (std::int32_t first = 0; first < info.numFaces; first += perBlock) {
        const std::int32_t count = std::min(perBlock, info.numFaces - first);
        const unsigned char* p = in.take(static_cast<std::size_t>(count) * recordSize);
        if (p == nullptr)
            return false;
        for (std::int32_t i = first; i < first + count; ++i, p += recordSize) {
            const MtlID matID = f::LoadU16(p);
            Face& face = mesh.getFace(i);
            face.smGroup = f::LoadU32(p + 2);
            // The material id in the high half, the three edge bits in the low one.
            face.flags = static_cast<std::uint32_t>(matID) << FACE_MATID_SHIFT | (p[6] & EDGE_ALL);
            if (p[7] != 0)
                selection.Set(i);
            face.setVerts(f::LoadU32(p + 8), f::LoadU32(p + 12), f::LoadU32(p + 16));
            info.faceMaterials[static_cast<std::size_t>(i)] = matID;
            if (normals != nullptr) {
                MeshNormalFace& corners = normals->Face(i);
                for (int c = 0; c < 3; ++c) {
                    const unsigned char* n = p + 20 + 12 * c;
                    normals->SetNormal(i, c,
                                       Point3(f::LoadF32(n), f::LoadF32(n + 4), f::LoadF32(n + 8)));
                    corners.SetSpecified(c);
                    corners.SetExplicit(c);
                }
            }
        }
    }
    return true;
}

bool wkCacheReader::readMapChannel(wkCacheBlockReader& in, std::int32_t channel,
                                   const wkCacheNodeInfo& info, wkCacheNodeData& data) {
    namespace f = wkCacheFormat;
    const std::int32_t numMapVerts = data.channels.at(channel);
    const std::int64_t vertBytes = std::int64_t{numMapVerts} * f::kMapVertexSize;
    const std::int64_t faceBytes = std::int64_t{info.numFaces} * f::kMapFaceSize;
    // A mesh holds channels -2 to 99; the bytes of any other are read and passed over.
    if (channel < -NUM_HIDDENMAPS || channel >= MAX_MESHMAPS)
        return in.expect(vertBytes) && in.skip(vertBytes) && in.expect(faceBytes) &&
               in.skip(faceBytes);

    if (!in.expect(vertBytes))
        return false;
    Mesh& mesh = *data.mesh;
    mesh.setMapSupport(channel, true);
    mesh.setNumMapVerts(channel, numMapVerts, false);
    if (!in.read(mesh.mapVerts(channel), static_cast<std::size_t>(vertBytes)))
        return false;
    f::FixWordOrder(mesh.mapVerts(channel), static_cast<std::size_t>(numMapVerts) * 3);
    if (!in.expect(faceBytes) ||
        !in.read(mesh.mapFaces(channel), static_cast<std::size_t>(faceBytes)))
        return false;
    f::FixWordOrder(mesh.mapFaces(channel), static_cast<std::size_t>(info.numFaces) * 3);
    return true;
}

// ---- Queries

std::int32_t wkCacheReader::cacheNumNodes() const {
    return hasData() ? header->cacheNumNodes : 0;
}

std::int32_t wkCacheReader::cacheNumSamples() const {
    return hasData() ? std::max(header->cacheNumSamples, 0) : 0;
}

std::int32_t wkCacheReader::cacheFrameRate() const {
    return hasData() ? header->cacheFrameRate : 0;
}

std::int32_t wkCacheReader::cacheHasVisibility() const {
    return hasData() ? header->cacheHasVisibility : 0;
}

std::int32_t wkCacheReader::cacheHasSpecifiedNormals() const {
    return hasData() ? index->hasSpecifiedNormals : 0;
}

std::int64_t wkCacheReader::meshSize() const {
    if (!hasData() || header->cacheNumSamples < 1)
        return 0;
    return std::int64_t{header->sampleTableOffset} - header->nodeTableOffset;
}

std::int64_t wkCacheReader::animationSize() const {
    if (!hasData() || header->cacheNumSamples < 1)
        return 0;
    return fileSize_ - header->sampleTableOffset;
}

std::int32_t wkCacheReader::numFrames() const {
    if (!hasData() || header->cacheNumSamples < 1)
        return 0;
    const std::int32_t ticksPerFrame = TICKS_PER_SECOND / header->cacheFrameRate;
    const float frames = static_cast<float>(header->cacheStepSize) /
                             static_cast<float>(ticksPerFrame) *
                             static_cast<float>(header->cacheNumSamples) +
                         0.5f;
    // A frame rate above 4800 makes a frame shorter than a tick (0 ticks per frame) and the
    // count infinite: it saturates, as does any count beyond 32 bits.
    const float whole = std::floor(frames);
    if (!(whole >= static_cast<float>(INT32_MIN)))
        return frames > 0.0f ? INT32_MAX : INT32_MIN;
    if (whole >= 2147483648.0f)
        return INT32_MAX;
    return static_cast<std::int32_t>(whole);
}

void wkCacheReader::getSizes(std::int64_t& total, std::int64_t& loaded) const {
    const std::int64_t keyBytes = frameStore.keyBytes();
    total = static_cast<std::int64_t>(frameStore.keyFrames.size()) * keyBytes;
    loaded = static_cast<std::int64_t>(frameStore.keys.size()) * keyBytes;
    if (!hasData())
        return;
    total += std::int64_t{std::max(header->cacheNumSamples, 0)} * header->sampleStride;
    loaded += std::int64_t{index->loadedSamples.loadedCount()} * header->sampleStride;
}

// ---- Materials

WStr wkCacheReader::materialLibraryPath() const {
    MaxSDK::Util::Path folder(fileName_);
    folder.RemoveLeaf();
    folder.AddTrailingBackslash();
    const WStr leaf = MaxSDK::Util::Path(fileName_).GetLeaf();
    return folder.GetString() + leaf.Substr(0, leaf.Length() - 3) + WStr(L"mat");
}

void wkCacheReader::loadMaterialLibrary() {
    materialLibrary = std::make_unique<MtlBaseLib>();
    const WStr path = materialLibraryPath();
    std::error_code ec;
    if (materials != nullptr &&
        std::filesystem::exists(MaxSDK::Util::Path(path).ToFilesystemPath(), ec))
        materials->LoadMaterialLibrary(path, *materialLibrary);
}

Mtl* wkCacheReader::firstMaterial() const {
    if (!materialLibrary)
        return nullptr;
    for (int i = 0; i < materialLibrary->Count(); ++i) {
        MtlBase* entry = (*materialLibrary)[i];
        if (entry != nullptr && entry->SuperClassID() == MATERIAL_CLASS_ID)
            if (auto* mtl = dynamic_cast<Mtl*>(entry))
                return mtl;
    }
    return nullptr;
}

void wkCacheReader::setMaterialLibrary(std::unique_ptr<MtlBaseLib> library) {
    materialLibrary = std::move(library);
}

std::unique_ptr<MtlBaseLib> wkCacheReader::clearMaterialLibrary() {
    return std::move(materialLibrary);
}

} // namespace WelkardTools
