#include "tools/common/scene_binary.h"

#include "host/Utf8.h"
#include "host/headless/HeadlessChunkFile.h"
#include "host/headless/HeadlessKeyControl.h"
#include "host/headless/HeadlessObjects.h"
#include "object/wkCacheParams.h"

#include <cmath>
#include <cstring>
#include <map>
#include <stdexcept>

namespace wkcli {

namespace {

// ---- Writing

class Out {
public:
    explicit Out(HeadlessChunkWriter& w_) : w(w_) {}

    template <class T> void put(T value) { w.Write(&value, sizeof value); }
    void i32(std::int32_t v) { put(v); }
    void u32(std::uint32_t v) { put(v); }
    void f32(float v) { put(v); }
    void p3(const Point3& p) {
        f32(p.x);
        f32(p.y);
        f32(p.z);
    }
    void quat(const Quat& q) {
        f32(q.x);
        f32(q.y);
        f32(q.z);
        f32(q.w);
    }
    void text(const WStr& s) {
        const std::string bytes = wkhost::EncodeUtf8(s.view());
        w.Write(bytes.data(), bytes.size());
    }
    void value(float v) { f32(v); }
    void value(const Point3& p) { p3(p); }
    void value(const Quat& q) { quat(q); }
    void value(const AngAxis& a) {
        p3(a.axis);
        f32(a.angle);
    }
    void value(const ScaleValue& s) {
        p3(s.s);
        quat(s.q);
    }

    void begin(std::uint16_t id) { w.BeginChunk(id); }
    void end() { w.EndChunk(); }
    HeadlessChunkWriter& writer() { return w; }

private:
    HeadlessChunkWriter& w;
};

// ---- Reading: every failure is a SceneFileError naming the chunk.

class In {
public:
    explicit In(std::span<const std::uint8_t> bytes) : r(bytes) {}

    [[noreturn]] void damaged(const std::string& what) const {
        throw SceneFileError("damaged scene file: " + where + ": " + what);
    }

    // Opens the next chunk of this level; false at its end.
    bool open() {
        const IOResult result = r.OpenChunk();
        if (result == IO_END)
            return false;
        if (result != IO_OK)
            damaged("a chunk header is damaged or runs past its end");
        return true;
    }
    void close() {
        if (r.CloseChunk() != IO_OK)
            damaged("a chunk does not close");
    }
    std::uint16_t id() const { return r.CurChunkID(); }
    bool isContainer() const { return r.CurChunkIsContainer(); }
    void expectContainer(bool container) const {
        // A chunk of chunks that holds none is marked as neither: it is empty.
        if (container && r.Remaining() == 0)
            return;
        if (isContainer() != container)
            damaged(container ? "a chunk of chunks holds data" : "a data chunk holds chunks");
    }

    template <class T> T get() {
        T value;
        if (r.Read(&value, sizeof value) != IO_OK)
            damaged("the data ends early");
        return value;
    }
    std::int32_t i32() { return get<std::int32_t>(); }
    std::uint32_t u32() { return get<std::uint32_t>(); }
    std::uint8_t u8() { return get<std::uint8_t>(); }
    float f32() {
        const float v = get<float>();
        if (!std::isfinite(v))
            damaged("a number is not finite");
        return v;
    }
    Point3 p3() {
        const float x = f32();
        const float y = f32();
        return {x, y, f32()};
    }
    Quat quat() {
        const float x = f32();
        const float y = f32();
        const float z = f32();
        return {x, y, z, f32()};
    }
    void value(float& v) { v = f32(); }
    void value(Point3& p) { p = p3(); }
    void value(Quat& q) { q = quat(); }
    void value(AngAxis& a) {
        const Point3 axis = p3();
        a = AngAxis(axis, f32());
    }
    void value(ScaleValue& s) {
        const Point3 factors = p3();
        s = ScaleValue(factors, quat());
    }
    // The rest of the chunk as text.
    WStr text() {
        std::string bytes(r.Remaining(), '\0');
        if (r.Read(bytes.data(), bytes.size()) != IO_OK)
            damaged("the data ends early");
        return WStr::FromUTF8(bytes);
    }
    // A count of items of `itemSize` bytes each that the rest of the chunk must hold.
    std::uint32_t count(std::size_t itemSize) {
        const std::uint32_t n = u32();
        if (n > r.Remaining() / itemSize)
            damaged("a count of " + std::to_string(n) + " runs past the end of its chunk");
        return n;
    }
    std::size_t remaining() const { return r.Remaining(); }
    ILoad& load() { return r; }

    std::string where = "file";

private:
    HeadlessChunkReader r;
};

// Each nested read names its place for the messages, and gives the old one back.
class Where {
public:
    Where(In& in_, std::string place) : in(in_), saved(in_.where) {
        in.where = saved + "." + std::move(place);
    }
    ~Where() { in.where = saved; }

private:
    In& in;
    std::string saved;
};

constexpr std::size_t kKeyExtra = 4 + 5 * 4; // time and the five TCB parameters

// ---- Tracks: interpolation, the value without keys, then the keys.

template <class T> void writeTrack(Out& out, std::uint16_t id, const HeadlessKeyTrack<T>& track) {
    out.begin(id);
    out.u32(track.GetInterpolation() == KeyInterpolation::TCB ? 1 : 0);
    out.value(track.GetValue(0));
    out.u32(static_cast<std::uint32_t>(track.NumKeys()));
    for (int k = 0; k < track.NumKeys(); ++k) {
        const TrackKey<T>& key = track.GetKey(k);
        out.i32(key.time);
        out.value(key.value);
        out.f32(key.tcb.tension);
        out.f32(key.tcb.continuity);
        out.f32(key.tcb.bias);
        out.f32(key.tcb.easeIn);
        out.f32(key.tcb.easeOut);
    }
    out.end();
}

template <class T> void readTrack(In& in, HeadlessKeyTrack<T>& track) {
    in.expectContainer(false);
    const std::uint32_t kind = in.u32();
    if (kind > 1)
        in.damaged("unknown interpolation " + std::to_string(kind));
    T constant{};
    in.value(constant);
    const std::uint32_t n = in.count(kKeyExtra + sizeof(T));
    track.ClearKeys();
    track.SetInterpolation(kind == 1 ? KeyInterpolation::TCB : KeyInterpolation::Linear);
    track.SetValue(0, constant);
    for (std::uint32_t k = 0; k < n; ++k) {
        TrackKey<T> key;
        key.time = in.i32();
        // Saved keys are in time order; any other order would make each insert a move of all
        // the keys after it.
        if (k > 0 && key.time <= track.GetKey(static_cast<int>(k) - 1).time)
            in.damaged("keys out of time order");
        in.value(key.value);
        key.tcb.tension = in.f32();
        key.tcb.continuity = in.f32();
        key.tcb.bias = in.f32();
        key.tcb.easeIn = in.f32();
        key.tcb.easeOut = in.f32();
        track.AddKey(key);
    }
}

// ---- Key controllers: their class, then the keys as the controller holds them, in its order
// (time, flags, value, tension, continuity, bias, ease in, ease out). Tangents are not kept:
// the controller rebuilds them from the keys.

template <class Traits> void writeKeyControl(Out& out, std::uint16_t id, const Control* control) {
    if (control == nullptr)
        return;
    const auto* keyed = dynamic_cast<const HeadlessKeyControl<Traits>*>(control);
    if (keyed == nullptr)
        throw SceneFileError("a controller of a class the scene file cannot hold");
    out.begin(id);
    out.u32(Traits::superClass);
    out.u32(Traits::classID.PartA());
    out.u32(Traits::classID.PartB());
    out.u32(static_cast<std::uint32_t>(keyed->Keys().size()));
    for (const auto& key : keyed->Keys()) {
        out.i32(key.time);
        out.u32(key.flags);
        out.value(key.val);
        out.f32(key.tens);
        out.f32(key.cont);
        out.f32(key.bias);
        out.f32(key.easeIn);
        out.f32(key.easeOut);
    }
    if (keyed->Keys().empty())
        out.value(keyed->HeldValue());
    out.end();
}

template <class Traits> std::unique_ptr<Control> readKeyControl(In& in) {
    using KeyControl = HeadlessKeyControl<Traits>;
    using Key = typename KeyControl::Key;
    in.expectContainer(false);
    const SClass_ID superClass = in.u32();
    const std::uint32_t a = in.u32();
    const Class_ID classId(a, in.u32());
    if (superClass != Traits::superClass || classId != Traits::classID)
        in.damaged("a key controller of class (" + std::to_string(superClass) + ", " +
                   std::to_string(classId.PartA()) + ", " + std::to_string(classId.PartB()) +
                   ") in this place");
    // Key values are plain floats: a float, a point, an axis and angle, or factors and axes.
    const std::uint32_t n = in.count(8 + sizeof(typename Traits::KeyValue) + 5 * 4);
    std::vector<Key> keys(n);
    for (Key& key : keys) {
        key.time = in.i32();
        key.flags = in.u32();
        in.value(key.val);
        key.tens = in.f32();
        key.cont = in.f32();
        key.bias = in.f32();
        key.easeIn = in.f32();
        key.easeOut = in.f32();
    }
    auto control = std::make_unique<KeyControl>();
    control->ReplaceKeys(keys);
    // Files of earlier versions end a controller without keys here, at the default value.
    if (n == 0 && in.remaining() != 0) {
        typename Traits::Value held;
        in.value(held);
        control->SetHeldValue(held);
    }
    return control;
}

// A transform controller (a node's, or the gizmo): its three tracks, then the key controllers
// that take their places.
void writeTransform(Out& out, HeadlessPRSControl& prs) {
    writeTrack(out, SceneChunk::position, prs.Position());
    writeTrack(out, SceneChunk::rotation, prs.Rotation());
    writeTrack(out, SceneChunk::scale, prs.Scale());
    writeKeyControl<PositionKeyTraits>(out, SceneChunk::positionKeys, prs.GetPositionController());
    writeKeyControl<RotationKeyTraits>(out, SceneChunk::rotationKeys, prs.GetRotationController());
    writeKeyControl<ScaleKeyTraits>(out, SceneChunk::scaleKeys, prs.GetScaleController());
}

void readTransform(In& in, HeadlessPRSControl& prs) {
    in.expectContainer(true);
    while (in.open()) {
        switch (in.id()) {
        case SceneChunk::position:
            readTrack(in, prs.Position());
            break;
        case SceneChunk::rotation:
            readTrack(in, prs.Rotation());
            break;
        case SceneChunk::scale:
            readTrack(in, prs.Scale());
            break;
        case SceneChunk::positionKeys:
            prs.SetPositionController(readKeyControl<PositionKeyTraits>(in));
            break;
        case SceneChunk::rotationKeys:
            prs.SetRotationController(readKeyControl<RotationKeyTraits>(in));
            break;
        case SceneChunk::scaleKeys:
            prs.SetScaleController(readKeyControl<ScaleKeyTraits>(in));
            break;
        default:
            break;
        }
        in.close();
    }
}

// ---- Meshes: vertices, faces (corners, smoothing groups, material id, edge and hidden flags),
// then the map channels from 0 up that are supported.

constexpr std::uint32_t kFaceHidden = 0x8;

void writeMesh(Out& out, const Mesh& mesh) {
    out.begin(SceneChunk::mesh);
    out.u32(static_cast<std::uint32_t>(mesh.getNumVerts()));
    for (int v = 0; v < mesh.getNumVerts(); ++v)
        out.p3(mesh.getVert(v));
    out.u32(static_cast<std::uint32_t>(mesh.getNumFaces()));
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const Face& face = mesh.getFace(f);
        for (int c = 0; c < 3; ++c)
            out.u32(face.getVert(c));
        out.u32(face.getSmGroup());
        out.u32(face.getMatID());
        out.u32(face.getEdgeVisFlags() | (face.Hidden() ? kFaceHidden : 0));
    }
    std::uint32_t channels = 0;
    for (int c = 0; c < mesh.getNumMaps(); ++c)
        channels += mesh.mapSupport(c) ? 1 : 0;
    out.u32(channels);
    for (int c = 0; c < mesh.getNumMaps(); ++c) {
        if (!mesh.mapSupport(c))
            continue;
        out.i32(c);
        out.u32(static_cast<std::uint32_t>(mesh.getNumMapVerts(c)));
        for (int v = 0; v < mesh.getNumMapVerts(c); ++v)
            out.p3(mesh.mapVerts(c)[v]);
        for (int f = 0; f < mesh.getNumFaces(); ++f)
            for (int k = 0; k < 3; ++k)
                out.u32(mesh.mapFaces(c)[f].getTVert(k));
    }
    out.end();
}

Mesh readMesh(In& in) {
    Where here(in, "mesh");
    in.expectContainer(false);
    Mesh mesh;
    const std::uint32_t numVerts = in.count(12);
    mesh.setNumVerts(static_cast<int>(numVerts));
    for (std::uint32_t v = 0; v < numVerts; ++v)
        mesh.setVert(static_cast<int>(v), in.p3());
    const std::uint32_t numFaces = in.count(24);
    mesh.setNumFaces(static_cast<int>(numFaces));
    for (std::uint32_t f = 0; f < numFaces; ++f) {
        Face& face = mesh.getFace(static_cast<int>(f));
        for (int c = 0; c < 3; ++c) {
            const std::uint32_t v = in.u32();
            if (v >= numVerts)
                in.damaged("face " + std::to_string(f) + " names vertex " + std::to_string(v) +
                           " of " + std::to_string(numVerts));
            face.setVert(c, v);
        }
        face.setSmGroup(in.u32());
        const std::uint32_t id = in.u32();
        if (id > 0xFFFF)
            in.damaged("face " + std::to_string(f) + " has material id " + std::to_string(id));
        face.setMatID(static_cast<MtlID>(id));
        const std::uint32_t flags = in.u32();
        face.setEdgeVisFlags(flags & 1, (flags >> 1) & 1, (flags >> 2) & 1);
        face.SetHide((flags & kFaceHidden) != 0);
    }
    const std::uint32_t channels = in.count(8);
    for (std::uint32_t m = 0; m < channels; ++m) {
        const std::int32_t c = in.i32();
        if (c < 0 || c >= MAX_MESHMAPS || mesh.mapSupport(c))
            in.damaged("map channel " + std::to_string(c) + " is out of range or repeated");
        const std::uint32_t n = in.count(12);
        if (numFaces > in.remaining() / 12 - n)
            in.damaged("map channel " + std::to_string(c) + " ends early");
        mesh.setMapSupport(c, true);
        mesh.setNumMapVerts(c, static_cast<int>(n));
        for (std::uint32_t v = 0; v < n; ++v)
            mesh.mapVerts(c)[v] = in.p3();
        for (std::uint32_t f = 0; f < numFaces; ++f) {
            for (int k = 0; k < 3; ++k) {
                const std::uint32_t t = in.u32();
                if (t >= n)
                    in.damaged("map face " + std::to_string(f) + " names map vertex " +
                               std::to_string(t) + " of " + std::to_string(n));
                mesh.mapFaces(c)[f].setTVert(k, t);
            }
        }
    }
    return mesh;
}

// ---- The scene writer

class SceneWriter {
public:
    explicit SceneWriter(HeadlessHost& host_) : host(host_), out(writer) {}

    std::vector<std::uint8_t> write() {
        const auto& nodes = host.Nodes().Nodes();
        for (std::size_t i = 0; i < nodes.size(); ++i)
            nodeIndex.emplace(nodes[i], static_cast<std::int32_t>(i));
        // A host saves a scene it has shown: each cache object has its cache open, which tells
        // its save how many elements there are to keep the selection and groups to. Opening a
        // cache may give its node the cache's material library, so materials are collected after.
        for (HeadlessNode* node : nodes)
            if (auto* cache = dynamic_cast<wkCache_obj*>(node->GetObjectRef()))
                cache->updateCacheMesh(host.Time().GetTime());
        for (const HeadlessNode* node : nodes)
            if (const std::shared_ptr<Mtl> mtl = node->ShareMtl())
                collect(mtl);

        out.begin(SceneChunk::header);
        out.u32(kBinarySceneVersion);
        out.i32(host.Time().GetFrameRate());
        out.i32(host.Time().GetAnimRange().Start());
        out.i32(host.Time().GetAnimRange().End());
        out.i32(host.Time().GetTime());
        out.end();

        out.begin(SceneChunk::materials);
        for (const std::shared_ptr<Mtl>& mtl : materials) {
            out.begin(SceneChunk::material);
            out.begin(SceneChunk::materialName);
            out.text(mtl->GetName());
            out.end();
            out.begin(SceneChunk::materialSubs);
            out.u32(static_cast<std::uint32_t>(mtl->NumSubMtls()));
            for (int s = 0; s < mtl->NumSubMtls(); ++s) {
                Mtl* sub = mtl->GetSubMtl(s);
                out.i32(sub != nullptr ? materialIndex.at(sub) : -1);
            }
            out.end();
            out.end();
        }
        out.end();

        out.begin(SceneChunk::nodes);
        for (HeadlessNode* node : nodes)
            writeNode(*node);
        out.end();
        return writer.bytes();
    }

private:
    // Sub-materials come before the materials that hold them.
    void collect(const std::shared_ptr<Mtl>& mtl) {
        if (materialIndex.count(mtl.get()) != 0)
            return;
        for (int s = 0; s < mtl->NumSubMtls(); ++s)
            if (const std::shared_ptr<Mtl> sub = mtl->ShareSubMtl(s))
                collect(sub);
        materialIndex.emplace(mtl.get(), static_cast<std::int32_t>(materials.size()));
        materials.push_back(mtl);
    }

    std::int32_t indexOf(const INode* node) const {
        if (node == nullptr)
            return -1;
        const auto it = nodeIndex.find(node);
        return it == nodeIndex.end() ? -1 : it->second;
    }

    void writeNode(HeadlessNode& node) {
        out.begin(SceneChunk::node);
        out.begin(SceneChunk::nodeName);
        out.text(node.GetName());
        out.end();
        out.begin(SceneChunk::nodeSettings);
        out.i32(indexOf(node.GetParentNode()));
        out.i32(node.GetMtl() != nullptr ? materialIndex.at(node.GetMtl()) : -1);
        out.put<std::uint8_t>(node.GetInheritVisibility());
        out.put<std::uint8_t>(node.IsNodeHidden());
        out.put<std::uint8_t>(node.Selected());
        out.put<std::uint8_t>(node.IsFrozen());
        out.u32(node.GetWireColor());
        out.p3(node.GetObjOffsetPos());
        out.quat(node.GetObjOffsetRot());
        out.p3(node.GetObjOffsetScale().s);
        out.quat(node.GetObjOffsetScale().q);
        out.end();
        writeTrack(out, SceneChunk::position, node.Position());
        writeTrack(out, SceneChunk::rotation, node.Rotation());
        writeTrack(out, SceneChunk::scale, node.Scale());
        if (node.HasVisibilityTrack())
            writeTrack(out, SceneChunk::visibility, node.Visibility());
        if (MatrixControl* tm = node.GetTMController()) {
            auto* prs = dynamic_cast<HeadlessPRSControl*>(tm);
            if (prs == nullptr)
                throw SceneFileError("a transform controller the scene file cannot hold");
            out.begin(SceneChunk::transform);
            writeTransform(out, *prs);
            out.end();
        }
        writeKeyControl<FloatKeyTraits>(out, SceneChunk::visibilityKeys, node.GetVisController());
        if (SceneObject* object = node.GetObjectRef())
            writeObject(*object);
        out.end();
    }

    void writeObject(SceneObject& object) {
        out.begin(SceneChunk::object);
        out.begin(SceneChunk::objectClass);
        out.u32(object.SuperClassID());
        out.u32(object.ClassID().PartA());
        out.u32(object.ClassID().PartB());
        out.end();
        if (auto* cache = dynamic_cast<wkCache_obj*>(&object)) {
            writePlugin(*cache);
        } else if (auto* tri = dynamic_cast<TriObject*>(&object)) {
            writeMesh(out, tri->GetMesh());
        } else if (auto* deforming = dynamic_cast<HeadlessDeformingMesh*>(&object)) {
            writeMesh(out, deforming->BaseMesh());
            for (int k = 0; k < deforming->NumKeys(); ++k) {
                out.begin(SceneChunk::deformKey);
                out.i32(deforming->KeyTime(k));
                for (const Point3& p : deforming->KeyPositions(k))
                    out.p3(p);
                out.end();
            }
        } else if (auto* topology = dynamic_cast<HeadlessTopologyMesh*>(&object)) {
            for (int s = 0; s < topology->NumStates(); ++s) {
                out.begin(SceneChunk::topologyState);
                out.begin(SceneChunk::stateTime);
                out.i32(topology->StateTime(s));
                out.end();
                writeMesh(out, topology->StateMesh(s));
                out.end();
            }
        } else if (auto* shape = dynamic_cast<HeadlessSplineShape*>(&object)) {
            out.begin(SceneChunk::spline);
            out.put<std::uint8_t>(shape->IsClosed());
            out.put<std::uint8_t>(shape->GetRenderable());
            out.put<std::uint8_t>(shape->GetUseViewport());
            out.put<std::uint8_t>(shape->GetDispRenderMesh());
            out.f32(shape->Thickness());
            out.i32(shape->Sides());
            out.u32(static_cast<std::uint32_t>(shape->Points().size()));
            for (const Point3& p : shape->Points())
                out.p3(p);
            out.end();
        } else if (auto* light = dynamic_cast<HeadlessLight*>(&object)) {
            writeTrack(out, SceneChunk::farAttenuation, light->FarAttenuation());
        } else if (dynamic_cast<HeadlessNonGeometric*>(&object) == nullptr) {
            throw SceneFileError("an object of a class the scene file cannot hold");
        }
        out.end();
    }

    // The object's own chunks first: a host sets the references of a loaded object after its
    // Load, so its Load cannot undo them.
    void writePlugin(wkCache_obj& cache) {
        out.begin(SceneChunk::pluginData);
        if (cache.Save(out.writer()) != IO_OK)
            throw SceneFileError("the cache object could not be saved");
        out.end();
        auto& block = static_cast<HeadlessParamBlock&>(cache.params());
        out.begin(SceneChunk::paramBlock);
        for (const ParamDef& def : block.GetDesc().params)
            writeParam(block, def);
        out.end();
        out.begin(SceneChunk::gizmo);
        writeTransform(out, static_cast<HeadlessPRSControl&>(cache.gizmo()));
        out.end();
    }

    // id, type, then the file name, or the entries: int, float, node, keys (time, value).
    void writeParam(const HeadlessParamBlock& block, const ParamDef& def) {
        out.begin(SceneChunk::param);
        out.i32(def.id);
        out.i32(def.type);
        if (def.type == TYPE_FILENAME) {
            out.text(block.GetAssetUser(def.id).GetFileName());
            out.end();
            return;
        }
        const int entries = def.IsTable() ? block.Count(def.id) : 1;
        out.u32(static_cast<std::uint32_t>(entries));
        const bool isNode = def.type == TYPE_INODE || def.type == TYPE_INODE_TAB;
        for (int i = 0; i < entries; ++i) {
            out.i32(def.IsFloatType() || isNode ? 0 : block.GetInt(def.id, 0, i));
            out.f32(def.IsFloatType() ? block.GetFloat(def.id, 0, i) : 0.0f);
            out.i32(isNode ? indexOf(block.GetINode(def.id, 0, i)) : -1);
            const auto* control =
                dynamic_cast<const HeadlessFloatControl*>(block.GetControllerByID(def.id, i));
            const int keys = control != nullptr ? control->Track().NumKeys() : 0;
            out.u32(static_cast<std::uint32_t>(keys));
            for (int k = 0; k < keys; ++k) {
                out.i32(control->Track().GetKey(k).time);
                out.f32(control->Track().GetKey(k).value);
            }
        }
        out.end();
    }

    HeadlessHost& host;
    HeadlessChunkWriter writer;
    Out out;
    std::map<const INode*, std::int32_t> nodeIndex;
    std::vector<std::shared_ptr<Mtl>> materials;
    std::map<const Mtl*, std::int32_t> materialIndex;
};

// ---- The scene loader

class SceneReader {
public:
    SceneReader(std::span<const std::uint8_t> bytes, HeadlessHost& host_)
        : host(host_), in(bytes) {}

    LoadedScene read() {
        if (!in.open() || in.id() != SceneChunk::header)
            in.damaged("not a binary scene file (no header chunk)");
        readHeader();
        in.close();
        bool haveNodes = false;
        while (in.open()) {
            if (in.id() == SceneChunk::materials) {
                Where here(in, "materials");
                in.expectContainer(true);
                while (in.open()) {
                    if (in.id() == SceneChunk::material)
                        readMaterial();
                    in.close();
                }
            } else if (in.id() == SceneChunk::nodes) {
                if (haveNodes)
                    in.damaged("a second node list");
                haveNodes = true;
                Where here(in, "nodes");
                in.expectContainer(true);
                while (in.open()) {
                    if (in.id() == SceneChunk::node)
                        readNode();
                    in.close();
                }
            }
            in.close();
        }
        resolveNodes();
        return std::move(loaded);
    }

private:
    void readHeader() {
        Where here(in, "header");
        in.expectContainer(false);
        const std::uint32_t version = in.u32();
        if (version != kBinarySceneVersion)
            throw SceneFileError("scene file format version " + std::to_string(version) +
                                 " is not known; this tool reads version " +
                                 std::to_string(kBinarySceneVersion));
        const std::int32_t rate = in.i32();
        if (rate < 1 || rate > TICKS_PER_SECOND)
            in.damaged("frame rate " + std::to_string(rate));
        host.Time().SetFrameRate(rate);
        const TimeValue start = in.i32();
        const TimeValue end = in.i32();
        if (end < start)
            in.damaged("the animation range ends before it starts");
        host.Time().SetAnimRange(Interval(start, end));
        host.Time().SetTime(in.i32());
    }

    void readMaterial() {
        Where here(in, "material[" + std::to_string(materials.size()) + "]");
        in.expectContainer(true);
        auto mtl = std::make_shared<Mtl>(WStr());
        while (in.open()) {
            if (in.id() == SceneChunk::materialName) {
                in.expectContainer(false);
                mtl->SetName(in.text());
            } else if (in.id() == SceneChunk::materialSubs) {
                in.expectContainer(false);
                const std::uint32_t n = in.count(4);
                mtl->SetNumSubMtls(static_cast<int>(n));
                for (std::uint32_t s = 0; s < n; ++s) {
                    const std::int32_t index = in.i32();
                    if (index < -1 || index >= static_cast<std::int32_t>(materials.size()))
                        in.damaged("sub-material " + std::to_string(s) +
                                   " names no earlier material");
                    if (index >= 0)
                        mtl->SetSubMtl(static_cast<int>(s), materials[index]);
                }
            }
            in.close();
        }
        materials.push_back(std::move(mtl));
    }

    void readNode() {
        const std::size_t index = nodes.size();
        if (index >= kNodeLimit)
            in.damaged("more than " + std::to_string(kNodeLimit) + " nodes");
        Where here(in, "node[" + std::to_string(index) + "]");
        in.expectContainer(true);
        HeadlessNode* node = host.Nodes().CreateNode(WStr());
        nodes.push_back(node);
        parents.push_back(-1);
        while (in.open()) {
            switch (in.id()) {
            case SceneChunk::nodeName:
                in.expectContainer(false);
                node->SetName(in.text());
                break;
            case SceneChunk::nodeSettings:
                readSettings(*node);
                break;
            case SceneChunk::position:
                readTrack(in, node->Position());
                break;
            case SceneChunk::rotation:
                readTrack(in, node->Rotation());
                break;
            case SceneChunk::scale:
                readTrack(in, node->Scale());
                break;
            case SceneChunk::visibility:
                readTrack(in, node->Visibility());
                break;
            case SceneChunk::transform: {
                Where tm(in, "transform");
                auto prs = std::make_unique<HeadlessPRSControl>();
                readTransform(in, *prs);
                node->SetTMController(std::move(prs));
                break;
            }
            case SceneChunk::visibilityKeys: {
                Where keys(in, "visibility keys");
                node->SetVisController(readKeyControl<FloatKeyTraits>(in));
                break;
            }
            case SceneChunk::object:
                if (node->GetObjectRef() != nullptr)
                    in.damaged("a second object");
                node->SetObjectRef(readObject(*node));
                break;
            default:
                break;
            }
            in.close();
        }
    }

    void readSettings(HeadlessNode& node) {
        in.expectContainer(false);
        parents.back() = in.i32();
        const std::int32_t material = in.i32();
        if (material < -1 || material >= static_cast<std::int32_t>(materials.size()))
            in.damaged("material " + std::to_string(material) + " is not in the file");
        if (material >= 0)
            node.SetMtl(materials[material]);
        node.SetInheritVisibility(in.u8() != 0);
        node.SetHidden(in.u8() != 0);
        node.SetSelected(in.u8() != 0);
        node.SetFrozen(in.u8() != 0);
        node.SetWireColor(in.u32());
        node.SetObjOffsetPos(in.p3());
        node.SetObjOffsetRot(in.quat());
        const Point3 s = in.p3();
        node.SetObjOffsetScale(ScaleValue(s, in.quat()));
    }

    SceneObject* readObject(HeadlessNode& node) {
        Where here(in, "object");
        in.expectContainer(true);
        if (!in.open() || in.id() != SceneChunk::objectClass)
            in.damaged("an object without its class");
        in.expectContainer(false);
        const SClass_ID superClass = in.u32();
        const std::uint32_t a = in.u32();
        const Class_ID classId(a, in.u32());
        in.close();
        std::unique_ptr<SceneObject> object = makeObject(superClass, classId);
        SceneObject* raw = object.get();
        if (auto* cache = dynamic_cast<wkCache_obj*>(raw)) {
            host.Nodes().AddObject(std::move(object));
            readPlugin(*cache);
            loaded.cacheObjects.push_back({wkhost::EncodeUtf8(node.GetName().view()), cache});
            return raw;
        }
        std::vector<TimeValue> times;
        while (in.open()) {
            const std::uint16_t id = in.id();
            if (id == SceneChunk::mesh) {
                Mesh mesh = readMesh(in);
                if (auto* tri = dynamic_cast<TriObject*>(raw))
                    tri->GetMesh() = std::move(mesh);
                else if (dynamic_cast<HeadlessDeformingMesh*>(raw) != nullptr)
                    object = std::make_unique<HeadlessDeformingMesh>(std::move(mesh));
                raw = object.get();
            } else if (id == SceneChunk::deformKey) {
                auto* deforming = dynamic_cast<HeadlessDeformingMesh*>(raw);
                in.expectContainer(false);
                const TimeValue t = in.i32();
                if (deforming != nullptr && deforming->NumKeys() > 0 &&
                    t <= deforming->KeyTime(deforming->NumKeys() - 1))
                    in.damaged("keys out of time order");
                const std::uint32_t n = static_cast<std::uint32_t>(in.remaining() / 12);
                std::vector<Point3> positions;
                positions.reserve(n);
                for (std::uint32_t v = 0; v < n; ++v)
                    positions.push_back(in.p3());
                if (deforming == nullptr ||
                    static_cast<int>(n) != deforming->BaseMesh().getNumVerts())
                    in.damaged("a key that does not fit its mesh");
                deforming->AddKey(t, std::move(positions));
            } else if (id == SceneChunk::topologyState) {
                readState(raw);
            } else if (id == SceneChunk::spline) {
                object = readSpline(raw);
                raw = object.get();
            } else if (id == SceneChunk::farAttenuation) {
                auto* light = dynamic_cast<HeadlessLight*>(raw);
                if (light == nullptr)
                    in.damaged("an attenuation chunk in an object that is no light");
                readTrack(in, light->FarAttenuation());
            }
            in.close();
        }
        return host.Nodes().AddObject(std::move(object));
    }

    std::unique_ptr<SceneObject> makeObject(SClass_ID superClass, const Class_ID& id) {
        if (id == triObjectClassID)
            return std::make_unique<TriObject>();
        if (id == kDeformingMeshClassID)
            return std::make_unique<HeadlessDeformingMesh>(Mesh());
        if (id == kTopologyMeshClassID)
            return std::make_unique<HeadlessTopologyMesh>();
        if (id == kSplineShapeClassID)
            return std::make_unique<HeadlessSplineShape>(std::vector<Point3>(), false);
        if (id == kPointHelperClassID)
            return std::make_unique<HeadlessHelper>();
        if (id == kCameraClassID)
            return std::make_unique<HeadlessCamera>();
        if (id == OMNI_LIGHT_CLASS_ID)
            return std::make_unique<HeadlessLight>(HeadlessLight::Kind::Omni);
        if (id == SPOT_LIGHT_CLASS_ID)
            return std::make_unique<HeadlessLight>(HeadlessLight::Kind::Spot);
        // Anything else comes from a plug-in module, made as for a loaded scene.
        try {
            std::unique_ptr<SceneObject> made = host.Modules().Create(superClass, id, true);
            if (dynamic_cast<wkCache_obj*>(made.get()) == nullptr)
                in.damaged("the plug-in class of this object cannot be loaded here");
            return made;
        } catch (const std::runtime_error& e) {
            if (dynamic_cast<const SceneFileError*>(&e) != nullptr)
                throw;
            in.damaged(e.what());
        }
    }

    void readState(SceneObject* raw) {
        auto* topology = dynamic_cast<HeadlessTopologyMesh*>(raw);
        if (topology == nullptr)
            in.damaged("a topology state in an object that has none");
        in.expectContainer(true);
        bool haveTime = false;
        TimeValue t = 0;
        while (in.open()) {
            if (in.id() == SceneChunk::stateTime) {
                in.expectContainer(false);
                t = in.i32();
                haveTime = true;
            } else if (in.id() == SceneChunk::mesh) {
                if (!haveTime)
                    in.damaged("a topology state without its time");
                if (topology->NumStates() > 0 &&
                    t <= topology->StateTime(topology->NumStates() - 1))
                    in.damaged("topology states out of time order");
                topology->AddState(t, readMesh(in));
            }
            in.close();
        }
    }

    std::unique_ptr<SceneObject> readSpline(SceneObject* raw) {
        if (dynamic_cast<HeadlessSplineShape*>(raw) == nullptr)
            in.damaged("a spline chunk in an object that is no shape");
        in.expectContainer(false);
        const bool closed = in.u8() != 0;
        const bool renderable = in.u8() != 0;
        const bool useViewport = in.u8() != 0;
        const bool dispRenderMesh = in.u8() != 0;
        const float thickness = in.f32();
        const std::int32_t sides = in.i32();
        const std::uint32_t n = in.count(12);
        std::vector<Point3> points;
        points.reserve(n);
        for (std::uint32_t p = 0; p < n; ++p)
            points.push_back(in.p3());
        auto shape = std::make_unique<HeadlessSplineShape>(std::move(points), closed);
        shape->SetRenderable(renderable);
        shape->SetUseViewport(useViewport);
        shape->SetDispRenderMesh(dispRenderMesh);
        if (!(thickness > 0.0f) || sides < 3)
            in.damaged("a tube of thickness " + std::to_string(thickness) + " and " +
                       std::to_string(sides) + " sides");
        shape->SetTube(thickness, sides);
        return shape;
    }

    // The object's own chunks, then its parameters and gizmo, taken as a loaded scene gives
    // them: the block does not react to them.
    void readPlugin(wkCache_obj& cache) {
        auto& block = static_cast<HeadlessParamBlock&>(cache.params());
        block.EnableNotifications(false);
        while (in.open()) {
            if (in.id() == SceneChunk::pluginData) {
                Where here(in, "cache");
                in.expectContainer(true);
                if (cache.Load(in.load()) != IO_OK)
                    in.damaged("the cache object's chunks do not load");
            } else if (in.id() == SceneChunk::paramBlock) {
                Where here(in, "parameters");
                in.expectContainer(true);
                while (in.open()) {
                    if (in.id() == SceneChunk::param)
                        readParam(block);
                    in.close();
                }
            } else if (in.id() == SceneChunk::gizmo) {
                Where here(in, "gizmo");
                readTransform(in, static_cast<HeadlessPRSControl&>(cache.gizmo()));
            }
            in.close();
        }
        block.EnableNotifications(true);
    }

    void readParam(HeadlessParamBlock& block) {
        in.expectContainer(false);
        const ParamID id = in.i32();
        const std::int32_t type = in.i32();
        const ParamDef* def = block.GetDesc().GetParamDef(id);
        if (def == nullptr)
            return; // a parameter of a later version
        Where here(in, def->internalName);
        if (type != def->type)
            in.damaged("saved as type " + std::to_string(type) + ", not " +
                       std::to_string(def->type));
        if (def->type == TYPE_FILENAME) {
            const WStr name = in.text();
            block.SetValue(
                id, 0, name.IsEmpty() ? AssetUser() : host.Assets().GetAsset(name, def->assetType));
            return;
        }
        const std::uint32_t entries = in.count(16);
        if (!def->IsTable() && entries != 1)
            in.damaged(std::to_string(entries) + " values of a single parameter");
        if (def->IsTable()) {
            block.Delete(id, 0, block.Count(id));
            block.Append(id, static_cast<int>(entries));
        }
        const bool isNode = def->type == TYPE_INODE || def->type == TYPE_INODE_TAB;
        for (std::uint32_t i = 0; i < entries; ++i) {
            const int entry = static_cast<int>(i);
            const std::int32_t intValue = in.i32();
            const float floatValue = in.f32();
            const std::int32_t node = in.i32();
            if (isNode) {
                if (node < -1)
                    in.damaged("node " + std::to_string(node));
                if (node >= 0)
                    pendingNodes.push_back({&block, id, entry, node, in.where});
            } else if (def->IsFloatType()) {
                block.SetValue(id, 0, floatValue, entry);
            } else {
                block.SetValue(id, 0, intValue, entry);
            }
            const std::uint32_t keys = in.count(8);
            if (keys > 0 && !def->IsFloatType())
                in.damaged("keys on a parameter that does not animate");
            TimeValue last = 0;
            for (std::uint32_t k = 0; k < keys; ++k) {
                const TimeValue t = in.i32();
                if (k > 0 && t <= last)
                    in.damaged("keys out of time order");
                last = t;
                if (!block.SetKey(id, t, in.f32(), entry))
                    in.damaged("keys on a parameter that does not animate");
            }
        }
    }

    // Parents and node parameters may name any node of the file. Loops are refused here; the
    // links then go deepest first, so that each link's own loop test stays short.
    void resolveNodes() {
        const std::size_t n = nodes.size();
        std::vector<int> depth(n, -1); // -1 not yet, -2 on the current walk
        for (std::size_t i = 0; i < n; ++i) {
            if (parents[i] < -1 || parents[i] >= static_cast<std::int32_t>(n))
                throw SceneFileError("damaged scene file: node[" + std::to_string(i) +
                                     "] has a parent not in the file");
        }
        for (std::size_t i = 0; i < n; ++i) {
            std::vector<std::size_t> walk;
            std::size_t at = i;
            int base = -1; // the depth above the walk: -1 when it ends at the top
            while (true) {
                if (depth[at] >= 0) {
                    base = depth[at];
                    break;
                }
                if (depth[at] == -2)
                    throw SceneFileError("damaged scene file: node[" + std::to_string(at) +
                                         "] lies in a loop of parents");
                depth[at] = -2;
                walk.push_back(at);
                if (parents[at] < 0)
                    break;
                at = static_cast<std::size_t>(parents[at]);
            }
            for (auto it = walk.rbegin(); it != walk.rend(); ++it)
                depth[*it] = ++base;
        }
        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < n; ++i)
            if (parents[i] >= 0)
                order.push_back(i);
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t a, std::size_t b) { return depth[a] > depth[b]; });
        for (const std::size_t i : order)
            nodes[i]->SetParent(nodes[static_cast<std::size_t>(parents[i])]);
        for (const PendingNode& p : pendingNodes) {
            if (p.node >= static_cast<std::int32_t>(n))
                throw SceneFileError("damaged scene file: " + p.where + ": node " +
                                     std::to_string(p.node) + " is not in the file");
            p.block->EnableNotifications(false);
            p.block->SetValue(p.id, 0, static_cast<INode*>(nodes[static_cast<std::size_t>(p.node)]),
                              p.entry);
            p.block->EnableNotifications(true);
        }
    }

    struct PendingNode {
        HeadlessParamBlock* block;
        ParamID id;
        int entry;
        std::int32_t node;
        std::string where;
    };

    static constexpr std::size_t kNodeLimit = 100'000;

    HeadlessHost& host;
    In in;
    std::vector<std::shared_ptr<Mtl>> materials;
    std::vector<HeadlessNode*> nodes;
    std::vector<std::int32_t> parents;
    std::vector<PendingNode> pendingNodes;
    LoadedScene loaded;
};

} // namespace

bool IsBinaryScene(std::string_view bytes) {
    return bytes.size() >= 2 &&
           static_cast<std::uint8_t>(bytes[0]) == (SceneChunk::header & 0xFF) &&
           static_cast<std::uint8_t>(bytes[1]) == (SceneChunk::header >> 8);
}

bool IsCacheFile(std::string_view bytes) {
    return bytes.starts_with("WKCACHE");
}

std::vector<std::uint8_t> SaveSceneBinary(HeadlessHost& host) {
    ScopedHost installed(host);
    return SceneWriter(host).write();
}

LoadedScene LoadSceneBinary(std::span<const std::uint8_t> bytes, HeadlessHost& host) {
    ScopedHost installed(host);
    try {
        return SceneReader(bytes, host).read();
    } catch (const std::invalid_argument& e) {
        // What the headless objects refuse (a key that does not fit): the file is damaged.
        throw SceneFileError(std::string("damaged scene file: ") + e.what());
    }
}

} // namespace wkcli
