#include "tools/common/scene_file.h"

#include "host/headless/HeadlessObjects.h"
#include "host/headless/HeadlessParamBlock.h"
#include "host/headless/HeadlessPrimitives.h"
#include "tools/common/input_file.h"
#include "tools/common/module_objects.h"
#include "tools/common/scene_binary.h"
#include "tools/common/scene_controllers.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <fstream>
#include <initializer_list>
#include <map>
#include <numbers>
#include <set>
#include <sstream>
#include <tuple>

namespace wkcli {

namespace {

using Json = nlohmann::json;

constexpr int kFormatVersion = 1;

// An empty path is the whole file, which the caller names.
[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw SceneFileError(path.empty() ? what : path + ": " + what);
}

std::string member(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

std::string element(const std::string& path, std::size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

// An object holding only the keys allowed for it.
void expectKeys(const Json& j, const std::string& path,
                std::initializer_list<std::string_view> allowed) {
    if (!j.is_object())
        fail(path, "expected an object");
    for (const auto& item : j.items()) {
        if (std::find(allowed.begin(), allowed.end(), item.key()) == allowed.end())
            fail(member(path, item.key()), "unknown key");
    }
}

const Json* find(const Json& j, const char* key) {
    const auto it = j.find(key);
    return it == j.end() ? nullptr : &*it;
}

const Json& require(const Json& j, const std::string& path, const char* key) {
    const Json* value = find(j, key);
    if (value == nullptr)
        fail(member(path, key), "missing");
    return *value;
}

const Json& array(const Json& j, const std::string& path) {
    if (!j.is_array())
        fail(path, "expected an array");
    return j;
}

double number(const Json& j, const std::string& path) {
    if (!j.is_number())
        fail(path, "expected a number");
    return j.get<double>();
}

float single(const Json& j, const std::string& path) {
    const double v = number(j, path);
    if (!(std::fabs(v) <= FLT_MAX))
        fail(path, "out of the range of a float");
    return static_cast<float>(v);
}

float singleIn(const Json& j, const std::string& path, float lo, float hi) {
    const float v = single(j, path);
    if (v < lo || v > hi) {
        std::ostringstream range;
        range << "must be " << lo << " to " << hi;
        fail(path, range.str());
    }
    return v;
}

int integer(const Json& j, const std::string& path, long long lo, long long hi) {
    if (!j.is_number_integer())
        fail(path, "expected a whole number");
    const bool tooLarge =
        j.is_number_unsigned() && j.get<unsigned long long>() > static_cast<unsigned long long>(hi);
    const long long v = tooLarge ? hi : j.get<long long>();
    if (tooLarge || v < lo || v > hi)
        fail(path, "must be " + std::to_string(lo) + " to " + std::to_string(hi));
    return static_cast<int>(v);
}

// A 32-bit word of bits, such as smoothing groups.
std::uint32_t word(const Json& j, const std::string& path) {
    if (!j.is_number_unsigned() || j.get<unsigned long long>() > 0xFFFFFFFFull)
        fail(path, "expected a whole number from 0 to 4294967295");
    return static_cast<std::uint32_t>(j.get<unsigned long long>());
}

bool boolean(const Json& j, const std::string& path) {
    if (!j.is_boolean())
        fail(path, "expected true or false");
    return j.get<bool>();
}

std::string text(const Json& j, const std::string& path) {
    if (!j.is_string())
        fail(path, "expected a string");
    return j.get<std::string>();
}

Point3 point(const Json& j, const std::string& path) {
    if (!j.is_array() || j.size() != 3)
        fail(path, "expected an array of 3 numbers");
    return {single(j[0], element(path, 0)), single(j[1], element(path, 1)),
            single(j[2], element(path, 2))};
}

std::vector<Point3> points(const Json& j, const std::string& path) {
    std::vector<Point3> out;
    for (std::size_t i = 0; i < array(j, path).size(); ++i)
        out.push_back(point(j[i], element(path, i)));
    return out;
}

// {"axis": [x, y, z], "angle": degrees} or {"quat": [x, y, z, w]}.
Quat rotation(const Json& j, const std::string& path) {
    if (!j.is_object())
        fail(path, "expected a rotation: {\"axis\": [x, y, z], \"angle\": degrees} or "
                   "{\"quat\": [x, y, z, w]}");
    if (const Json* q = find(j, "quat")) {
        expectKeys(j, path, {"quat"});
        const std::string qpath = member(path, "quat");
        if (!q->is_array() || q->size() != 4)
            fail(qpath, "expected an array of 4 numbers");
        Quat value(single((*q)[0], element(qpath, 0)), single((*q)[1], element(qpath, 1)),
                   single((*q)[2], element(qpath, 2)), single((*q)[3], element(qpath, 3)));
        const float lengthSquared = QuatDot(value, value);
        if (lengthSquared == 0.0f)
            fail(qpath, "a rotation cannot be all zero");
        // A rotation of unit length to float precision is kept as written: normalising it again
        // could move its last bit, and a written scene must read back as it was.
        return std::fabs(lengthSquared - 1.0f) <= 4.0f * FLT_EPSILON ? value : Normalize(value);
    }
    expectKeys(j, path, {"axis", "angle"});
    const Point3 axis = point(require(j, path, "axis"), member(path, "axis"));
    if (axis.LengthSquared() == 0.0f)
        fail(member(path, "axis"), "an axis cannot be zero");
    const float degrees = single(require(j, path, "angle"), member(path, "angle"));
    return Quat(AngAxis(Normalize(axis), degrees * std::numbers::pi_v<float> / 180.0f));
}

// Bounds of what a scene file may build; see Builder::spend.
// Four million: room for a benchmark scene of a million vertices with their faces.
constexpr std::int64_t kSceneGeometryLimit = 4'000'000;
constexpr std::size_t kSceneNodeLimit = 100'000;

class Builder {
public:
    explicit Builder(HeadlessHost& host_) : host(host_), scene(host_.Nodes()) {}

    LoadedScene build(const Json& root) {
        expectKeys(
            root, "",
            {"wkcacheScene", "frameRate", "animationRange", "currentFrame", "materials", "nodes"});
        const int version = integer(require(root, "", "wkcacheScene"), "wkcacheScene", 1, 1000);
        if (version != kFormatVersion)
            fail("wkcacheScene", "format version " + std::to_string(version) +
                                     " is not known; this tool reads version " +
                                     std::to_string(kFormatVersion));
        readClock(root);
        if (const Json* list = find(root, "materials"))
            readMaterials(*list);
        if (const Json* list = find(root, "nodes"))
            readNodes(*list);
        return std::move(loaded);
    }

private:
    // ---- Time

    void readClock(const Json& root) {
        if (const Json* rate = find(root, "frameRate"))
            host.Time().SetFrameRate(integer(*rate, "frameRate", 1, TICKS_PER_SECOND));
        ticksPerFrame = host.Time().GetTicksPerFrame();
        if (const Json* range = find(root, "animationRange")) {
            if (!range->is_array() || range->size() != 2)
                fail("animationRange", "expected [start frame, end frame]");
            const TimeValue start = tick((*range)[0], "animationRange[0]");
            const TimeValue end = tick((*range)[1], "animationRange[1]");
            if (end < start)
                fail("animationRange", "the range ends before it starts");
            host.Time().SetAnimRange(Interval(start, end));
        }
        if (const Json* now = find(root, "currentFrame"))
            host.Time().SetTime(tick(*now, "currentFrame"));
    }

    // A frame number (whole or not) as the nearest tick.
    TimeValue tick(const Json& j, const std::string& path) const {
        const double ticks = std::round(number(j, path) * ticksPerFrame);
        if (!(ticks >= INT32_MIN + 1.0 && ticks <= INT32_MAX))
            fail(path, "beyond the range of time");
        return static_cast<TimeValue>(ticks);
    }

    // ---- Materials

    void readMaterials(const Json& list) {
        for (std::size_t i = 0; i < array(list, "materials").size(); ++i) {
            const std::string path = element("materials", i);
            const Json& j = list[i];
            expectKeys(j, path, {"name", "subMaterials"});
            const std::string name = text(require(j, path, "name"), member(path, "name"));
            if (materials.count(name) != 0)
                fail(member(path, "name"), "\"" + name + "\" is defined already");
            auto mtl = std::make_shared<Mtl>(WStr::FromUTF8(name));
            if (const Json* subs = find(j, "subMaterials")) {
                const std::string spath = member(path, "subMaterials");
                mtl->SetNumSubMtls(static_cast<int>(array(*subs, spath).size()));
                for (std::size_t s = 0; s < subs->size(); ++s) {
                    if ((*subs)[s].is_null())
                        continue; // an empty slot
                    mtl->SetSubMtl(static_cast<int>(s),
                                   material((*subs)[s], element(spath, s), "defined before it"));
                }
            }
            materials.emplace(name, std::move(mtl));
        }
    }

    std::shared_ptr<Mtl> material(const Json& j, const std::string& path, const char* where) {
        const std::string name = text(j, path);
        const auto it = materials.find(name);
        if (it == materials.end())
            fail(path, "no material \"" + name + "\" " + where);
        return it->second;
    }

    // ---- Tracks

    template <class T, class Value>
    void readTrack(HeadlessKeyTrack<T>& track, const Json& j, const std::string& path,
                   Value value) {
        if (!j.is_object() || find(j, "keys") == nullptr) {
            track.ClearKeys();
            track.AddKey(0, value(j, path)); // a constant
            return;
        }
        expectKeys(j, path, {"interpolation", "keys"});
        track.SetInterpolation(KeyInterpolation::Linear);
        if (const Json* kind = find(j, "interpolation")) {
            const std::string name = text(*kind, member(path, "interpolation"));
            if (name == "tcb")
                track.SetInterpolation(KeyInterpolation::TCB);
            else if (name != "linear")
                fail(member(path, "interpolation"), "expected \"linear\" or \"tcb\"");
        }
        const std::string kpath = member(path, "keys");
        const Json& keys = array(j["keys"], kpath);
        if (keys.empty())
            fail(kpath, "a track needs at least one key");
        track.ClearKeys();
        for (std::size_t k = 0; k < keys.size(); ++k) {
            const std::string at = element(kpath, k);
            const Json& key = keys[k];
            expectKeys(key, at,
                       {"frame", "value", "tension", "continuity", "bias", "easeIn", "easeOut"});
            TCBParams tcb;
            const auto param = [&](const char* name, float lo, float hi, float& out) {
                if (const Json* v = find(key, name))
                    out = singleIn(*v, member(at, name), lo, hi);
            };
            param("tension", -1.0f, 1.0f, tcb.tension);
            param("continuity", -1.0f, 1.0f, tcb.continuity);
            param("bias", -1.0f, 1.0f, tcb.bias);
            param("easeIn", 0.0f, 1.0f, tcb.easeIn);
            param("easeOut", 0.0f, 1.0f, tcb.easeOut);
            track.AddKey(tick(require(key, at, "frame"), member(at, "frame")),
                         value(require(key, at, "value"), member(at, "value")), tcb);
        }
    }

    void readFloatTrack(FloatTrack& track, const Json& j, const std::string& path) {
        readTrack(track, j, path, single);
    }

    // ---- Meshes

    Mesh readMesh(const Json& j, const std::string& path) {
        if (!j.is_object())
            fail(path, "expected a mesh object");
        const std::string type = text(require(j, path, "type"), member(path, "type"));
        if (type == "box") {
            expectKeys(j, path, {"type", "width", "length", "height"});
            return MakeBoxMesh(positive(j, path, "width"), positive(j, path, "length"),
                               positive(j, path, "height"));
        }
        if (type == "plane") {
            expectKeys(j, path, {"type", "width", "length", "segments"});
            int segX = 1;
            int segY = 1;
            if (const Json* segments = find(j, "segments")) {
                const std::string spath = member(path, "segments");
                if (!segments->is_array() || segments->size() != 2)
                    fail(spath, "expected [x segments, y segments]");
                segX = integer((*segments)[0], element(spath, 0), 1, 1000);
                segY = integer((*segments)[1], element(spath, 1), 1, 1000);
            }
            spend(std::int64_t{segX + 1} * (segY + 1) + std::int64_t{2} * segX * segY, path);
            return MakePlaneMesh(positive(j, path, "width"), positive(j, path, "length"), segX,
                                 segY);
        }
        if (type == "mesh")
            return readExplicitMesh(j, path);
        fail(member(path, "type"), "expected \"mesh\", \"box\" or \"plane\"");
    }

    static float positive(const Json& j, const std::string& path, const char* key) {
        const Json* v = find(j, key);
        if (v == nullptr)
            return 1.0f;
        const float value = single(*v, member(path, key));
        if (!(value > 0.0f))
            fail(member(path, key), "must be above 0");
        return value;
    }

    static std::uint32_t index(const Json& j, const std::string& path, int count,
                               const char* what) {
        if (count == 0)
            fail(path, std::string("there are no ") + what + " to refer to");
        return static_cast<std::uint32_t>(integer(j, path, 0, count - 1));
    }

    static void corners(const Json& j, const std::string& path, int count, const char* what,
                        std::uint32_t out[3]) {
        if (!j.is_array() || j.size() != 3)
            fail(path, std::string("expected 3 ") + what + " indices");
        for (std::size_t c = 0; c < 3; ++c)
            out[c] = index(j[c], element(path, c), count, what);
    }

    Mesh readExplicitMesh(const Json& j, const std::string& path) {
        expectKeys(j, path, {"type", "vertices", "faces", "maps"});
        Mesh mesh;
        const std::vector<Point3> verts =
            points(require(j, path, "vertices"), member(path, "vertices"));
        mesh.setNumVerts(static_cast<int>(verts.size()));
        for (std::size_t v = 0; v < verts.size(); ++v)
            mesh.setVert(static_cast<int>(v), verts[v]);

        const std::string fpath = member(path, "faces");
        const Json& faces = array(require(j, path, "faces"), fpath);
        mesh.setNumFaces(static_cast<int>(faces.size()));
        for (std::size_t f = 0; f < faces.size(); ++f) {
            const std::string at = element(fpath, f);
            Face& face = mesh.getFace(static_cast<int>(f));
            face.setSmGroup(1);
            face.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, EDGE_VIS);
            const Json* corner = &faces[f];
            if (faces[f].is_object()) {
                expectKeys(faces[f], at, {"v", "matID", "smGroup", "edges"});
                corner = &require(faces[f], at, "v");
                if (const Json* id = find(faces[f], "matID"))
                    face.setMatID(static_cast<MtlID>(integer(*id, member(at, "matID"), 0, 65535)));
                if (const Json* sm = find(faces[f], "smGroup"))
                    face.setSmGroup(word(*sm, member(at, "smGroup")));
                if (const Json* edges = find(faces[f], "edges")) {
                    const std::string epath = member(at, "edges");
                    if (!edges->is_array() || edges->size() != 3)
                        fail(epath, "expected 3 booleans, one per edge");
                    for (std::size_t e = 0; e < 3; ++e)
                        face.setEdgeVis(static_cast<int>(e),
                                        boolean((*edges)[e], element(epath, e)));
                }
            }
            std::uint32_t v[3];
            corners(*corner, faces[f].is_object() ? member(at, "v") : at, mesh.getNumVerts(),
                    "vertex", v);
            face.setVerts(v);
        }
        if (const Json* maps = find(j, "maps"))
            readMaps(mesh, *maps, member(path, "maps"));
        spend(std::int64_t{mesh.getNumVerts()} + mesh.getNumFaces(), path);
        return mesh;
    }

    // A few bytes of text can ask for a huge mesh (a plane of many segments, the same mesh in
    // many topology states): all meshes of a scene share one budget of vertices and faces.
    void spend(std::int64_t elements, const std::string& path) {
        geometry += elements;
        if (geometry > kSceneGeometryLimit)
            fail(path, "the scene's meshes would hold more than " +
                           std::to_string(kSceneGeometryLimit) + " vertices and faces");
    }

    void readMaps(Mesh& mesh, const Json& maps, const std::string& path) {
        if (!maps.is_object())
            fail(path, "expected an object of channels");
        for (const auto& item : maps.items()) {
            const std::string cpath = member(path, item.key());
            int channel = -1;
            try {
                std::size_t used = 0;
                channel = std::stoi(item.key(), &used);
                if (used != item.key().size())
                    channel = -1;
            } catch (const std::exception&) {
                channel = -1;
            }
            if (channel < 0 || channel >= MAX_MESHMAPS)
                fail(cpath, "a channel is a number from 0 to " + std::to_string(MAX_MESHMAPS - 1));
            const Json& j = item.value();
            expectKeys(j, cpath, {"vertices", "faces"});
            const std::vector<Point3> verts =
                points(require(j, cpath, "vertices"), member(cpath, "vertices"));
            const std::string fpath = member(cpath, "faces");
            const Json& faces = array(require(j, cpath, "faces"), fpath);
            if (static_cast<int>(faces.size()) != mesh.getNumFaces())
                fail(fpath,
                     "expected one map face per face: " + std::to_string(mesh.getNumFaces()) +
                         ", got " + std::to_string(faces.size()));
            mesh.setMapSupport(channel, true);
            mesh.setNumMapVerts(channel, static_cast<int>(verts.size()));
            for (std::size_t v = 0; v < verts.size(); ++v)
                mesh.mapVerts(channel)[v] = verts[v];
            for (std::size_t f = 0; f < faces.size(); ++f) {
                std::uint32_t t[3];
                corners(faces[f], element(fpath, f), static_cast<int>(verts.size()), "map vertex",
                        t);
                mesh.mapFaces(channel)[f].setTVerts(t);
            }
        }
    }

    // ---- Objects

    SceneObject* readObject(const Json& j, const std::string& path, const std::string& nodeName) {
        if (!j.is_object())
            fail(path, "expected an object");
        const std::string type = text(require(j, path, "type"), member(path, "type"));
        if (type == "mesh" || type == "box" || type == "plane")
            return scene.AddObject(std::make_unique<TriObject>(readMesh(j, path)));
        if (type == "deformingMesh")
            return readDeforming(j, path);
        if (type == "topologyMesh")
            return readTopology(j, path);
        if (type == "shape")
            return readShape(j, path);
        if (type == "helper" || type == "camera") {
            expectKeys(j, path, {"type"});
            if (type == "helper")
                return scene.AddObject(std::make_unique<HeadlessHelper>());
            return scene.AddObject(std::make_unique<HeadlessCamera>());
        }
        if (type == "omniLight" || type == "spotLight") {
            expectKeys(j, path, {"type", "farAttenuation"});
            auto light = std::make_unique<HeadlessLight>(
                type == "omniLight" ? HeadlessLight::Kind::Omni : HeadlessLight::Kind::Spot);
            if (const Json* far = find(j, "farAttenuation"))
                readFloatTrack(light->FarAttenuation(), *far, member(path, "farAttenuation"));
            return scene.AddObject(std::move(light));
        }
        if (type == "cache")
            return readCache(j, path, nodeName);
        fail(member(path, "type"),
             "unknown object type \"" + type +
                 "\"; expected mesh, box, plane, deformingMesh, topologyMesh, shape, helper, "
                 "camera, omniLight, spotLight or cache");
    }

    SceneObject* readDeforming(const Json& j, const std::string& path) {
        expectKeys(j, path, {"type", "mesh", "keys"});
        auto object = std::make_unique<HeadlessDeformingMesh>(
            readMesh(require(j, path, "mesh"), member(path, "mesh")));
        const int numVerts = object->MeshAt(0).getNumVerts();
        const std::string kpath = member(path, "keys");
        const Json& keys = array(require(j, path, "keys"), kpath);
        for (std::size_t k = 0; k < keys.size(); ++k) {
            const std::string at = element(kpath, k);
            expectKeys(keys[k], at, {"frame", "vertices"});
            std::vector<Point3> positions =
                points(require(keys[k], at, "vertices"), member(at, "vertices"));
            if (static_cast<int>(positions.size()) != numVerts)
                fail(member(at, "vertices"), "expected " + std::to_string(numVerts) +
                                                 " points, got " +
                                                 std::to_string(positions.size()));
            object->AddKey(tick(require(keys[k], at, "frame"), member(at, "frame")),
                           std::move(positions));
        }
        return scene.AddObject(std::move(object));
    }

    SceneObject* readTopology(const Json& j, const std::string& path) {
        expectKeys(j, path, {"type", "states"});
        auto object = std::make_unique<HeadlessTopologyMesh>();
        const std::string spath = member(path, "states");
        const Json& states = array(require(j, path, "states"), spath);
        if (states.empty())
            fail(spath, "a topology mesh needs at least one state");
        for (std::size_t s = 0; s < states.size(); ++s) {
            const std::string at = element(spath, s);
            expectKeys(states[s], at, {"frame", "mesh"});
            object->AddState(tick(require(states[s], at, "frame"), member(at, "frame")),
                             readMesh(require(states[s], at, "mesh"), member(at, "mesh")));
        }
        return scene.AddObject(std::move(object));
    }

    SceneObject* readShape(const Json& j, const std::string& path) {
        expectKeys(j, path,
                   {"type", "points", "closed", "renderable", "useViewport", "displayRenderMesh",
                    "thickness", "sides"});
        const std::string ppath = member(path, "points");
        std::vector<Point3> corners = points(require(j, path, "points"), ppath);
        if (corners.size() < 2)
            fail(ppath, "a shape needs at least 2 points");
        const auto flag = [&](const char* key) {
            const Json* v = find(j, key);
            return v != nullptr && boolean(*v, member(path, key));
        };
        auto shape = std::make_unique<HeadlessSplineShape>(std::move(corners), flag("closed"));
        shape->SetRenderable(flag("renderable"));
        shape->SetUseViewport(flag("useViewport"));
        shape->SetDispRenderMesh(flag("displayRenderMesh"));
        const float thickness = positive(j, path, "thickness");
        int sides = 12;
        if (const Json* v = find(j, "sides"))
            sides = integer(*v, member(path, "sides"), 3, 1000);
        shape->SetTube(thickness, sides);
        return scene.AddObject(std::move(shape));
    }

    SceneObject* readCache(const Json& j, const std::string& path, const std::string& nodeName) {
        if (!j.is_object())
            fail(path, "expected an object");
        auto* cache = scene.Add(NewCacheObject(host));
        // A scene file is a loaded scene: the block takes its values without reacting to them,
        // so the unit lists, say, do not recompute scaleUnits.
        IParamBlock2& block = cache->params();
        block.EnableNotifications(false);
        for (const auto& item : j.items()) {
            const std::string& key = item.key();
            const std::string at = member(path, key);
            if (key == "type") {
                continue;
            } else if (key == "fileName") {
                const std::string name = text(item.value(), at);
                block.SetValue(wkCacheParam::fileName, 0,
                               host.Assets().GetAsset(WStr::FromUTF8(name), kAssetTypeCache));
            } else if (key == "nodes") {
                pendingLists.push_back({cache, &item.value(), at});
            } else if (key == "triggerOmni" || key == "explodeToNode") {
                pendingNodeParams.push_back({cache, &item.value(), at,
                                             key == "triggerOmni" ? wkCacheParam::triggerOmni
                                                                  : wkCacheParam::explodeToNode});
            } else if (key == "selection") {
                readSelection(*cache, item.value(), at);
            } else if (key == "groups") {
                readGroups(*cache, item.value(), at);
            } else if (key == "gizmo") {
                readGizmo(static_cast<HeadlessPRSControl&>(cache->gizmo()), item.value(), at);
            } else {
                readCacheParam(block, key, item.value(), at);
            }
        }
        block.EnableNotifications(true);
        loaded.cacheObjects.push_back({nodeName, cache});
        return cache;
    }

    // Groups in list order; each with its entry of elementFrames, the frame of Set Frame.
    void readGroups(wkCache_obj& cache, const Json& list, const std::string& path) {
        wkCacheGroupList& groups = cache.playbackRecord().groups;
        auto& block = static_cast<HeadlessParamBlock&>(cache.params());
        for (std::size_t g = 0; g < array(list, path).size(); ++g) {
            const std::string at = element(path, g);
            const Json& j = list[g];
            expectKeys(j, at,
                       {"name", "mode", "enabled", "offset", "materialId", "respectActivation",
                        "byAge", "age", "byDistance", "distance", "elements", "frame"});
            const std::string name = text(require(j, at, "name"), member(at, "name"));
            wkCacheGroup group(WStr::FromUTF8(name));
            if (group.name.IsEmpty() || groups.contains(group.name))
                fail(member(at, "name"), "a group needs a name of its own");
            if (const Json* v = find(j, "mode"))
                group.setMode(groupMode(*v, member(at, "mode")));
            const auto flag = [&](const char* key, bool& out) {
                if (const Json* v = find(j, key))
                    out = boolean(*v, member(at, key));
            };
            flag("enabled", group.enabled);
            flag("respectActivation", group.respectActivation);
            flag("byAge", group.byAge);
            flag("byDistance", group.byDistance);
            if (const Json* v = find(j, "offset"))
                group.setOffset(single(*v, member(at, "offset")));
            // Numbered from 1, as the panel and scripts show it; kept one lower.
            if (const Json* v = find(j, "materialId"))
                group.materialId = integer(*v, member(at, "materialId"), 1, 99) - 1;
            if (const Json* v = find(j, "age"))
                group.setAge(singleIn(*v, member(at, "age"), 0.0f, FLT_MAX));
            if (const Json* v = find(j, "distance"))
                group.setDistance(singleIn(*v, member(at, "distance"), 0.0f, FLT_MAX));
            if (const Json* v = find(j, "elements")) {
                const std::string epath = member(at, "elements");
                for (std::size_t e = 0; e < array(*v, epath).size(); ++e)
                    group.elements.insert(static_cast<std::uint32_t>(
                        integer((*v)[e], element(epath, e), 0, 2147483647)));
            }
            groups.addRecord(group);
            const int entry = block.Append(wkCacheParam::elementFrames, 1);
            if (const Json* v = find(j, "frame")) {
                FloatTrack track;
                readFloatTrack(track, *v, member(at, "frame"));
                if (track.GetInterpolation() != KeyInterpolation::Linear)
                    fail(member(member(at, "frame"), "interpolation"),
                         "parameters are keyed linearly");
                if (v->is_object()) {
                    for (int k = 0; k < track.NumKeys(); ++k)
                        block.SetKey(wkCacheParam::elementFrames, track.GetKey(k).time,
                                     track.GetKey(k).value, entry);
                } else {
                    block.SetValue(wkCacheParam::elementFrames, 0, track.GetValue(0), entry);
                }
            }
        }
    }

    // The element selection: element indices, as the binary scene file keeps it.
    static void readSelection(wkCache_obj& cache, const Json& list, const std::string& path) {
        wkCache_obj::ElementSet elements;
        for (std::size_t e = 0; e < array(list, path).size(); ++e)
            elements.insert(
                static_cast<std::uint32_t>(integer(list[e], element(path, e), 0, 2147483647)));
        cache.setElementSelection(std::move(elements));
    }

    // A mode by its label ("Delete", "Hold In", ...) or its number.
    static std::int32_t groupMode(const Json& j, const std::string& path) {
        if (j.is_number_integer())
            return integer(j, path, 0, 5);
        const std::string label = j.is_string() ? j.get<std::string>() : std::string();
        for (std::int32_t m = 0; m <= 5; ++m) {
            if (WStr::FromUTF8(label) == WStr(groupModeLabel(static_cast<wkCacheGroupMode>(m))))
                return m;
        }
        fail(path, "expected \"Delete\", \"Hold In\", \"Hold Out\", \"Offset\", \"Set Frame\", "
                   "\"Set Material ID\" or 0 to 5");
    }

    void readGizmo(HeadlessPRSControl& gizmo, const Json& j, const std::string& path) {
        expectKeys(j, path, {"position", "rotation", "scale"});
        readPRS(gizmo.Position(), gizmo.Rotation(), gizmo.Scale(), j, path);
    }

    // The "position", "rotation" and "scale" tracks of a node or the gizmo.
    void readPRS(Point3Track& position, RotationTrack& rotationTrack, Point3Track& scale,
                 const Json& j, const std::string& path) {
        if (const Json* v = find(j, "position"))
            readTrack(position, *v, member(path, "position"), point);
        if (const Json* v = find(j, "rotation"))
            readTrack(rotationTrack, *v, member(path, "rotation"), rotation);
        if (const Json* v = find(j, "scale"))
            readTrack(scale, *v, member(path, "scale"), point);
    }

    // A plain parameter of the cache object by its internal name; the To list of the units,
    // which shares the name scaleUnitsFrom with the From list, is "scaleUnitsTo" here.
    void readCacheParam(IParamBlock2& block, const std::string& key, const Json& value,
                        const std::string& at) {
        const ParamBlockDesc2& desc = block.GetDesc();
        const ParamDef* def =
            key == "scaleUnitsTo" ? desc.GetParamDef(wkCacheParam::scaleUnitsTo) : nullptr;
        for (const ParamDef& row : desc.params) {
            if (def == nullptr && key == row.internalName && row.id != wkCacheParam::scaleUnitsTo)
                def = &row;
        }
        if (def == nullptr || def->IsTable() || def->type == TYPE_INODE ||
            def->type == TYPE_FILENAME)
            fail(at, "unknown key");
        if (def->type == TYPE_INT || (def->type == TYPE_BOOL && def->hasRange)) {
            block.SetValue(def->id, 0, integer(value, at, def->rangeLowInt, def->rangeHighInt));
        } else if (def->type == TYPE_BOOL) {
            block.SetValue(def->id, 0, int{boolean(value, at)});
        } else if (def->IsAnimatable() && value.is_object()) {
            FloatTrack track;
            readTrack(track, value, at, [def](const Json& v, const std::string& p) {
                return def->hasRange ? singleIn(v, p, def->rangeLowFloat, def->rangeHighFloat)
                                     : single(v, p);
            });
            if (track.GetInterpolation() != KeyInterpolation::Linear)
                fail(member(at, "interpolation"), "parameters are keyed linearly");
            auto& headless = static_cast<HeadlessParamBlock&>(block);
            for (int k = 0; k < track.NumKeys(); ++k)
                headless.SetKey(def->id, track.GetKey(k).time, track.GetKey(k).value);
        } else {
            block.SetValue(def->id, 0,
                           def->hasRange
                               ? singleIn(value, at, def->rangeLowFloat, def->rangeHighFloat)
                               : single(value, at));
        }
    }

    // ---- Nodes

    void readNodes(const Json& list) {
        array(list, "nodes");
        if (list.size() > kSceneNodeLimit)
            fail("nodes", "more than " + std::to_string(kSceneNodeLimit) + " nodes");
        std::vector<std::pair<HeadlessNode*, std::size_t>> withParent;
        for (std::size_t i = 0; i < list.size(); ++i) {
            const std::string path = element("nodes", i);
            const Json& j = list[i];
            expectKeys(j, path,
                       {"name", "parent", "position", "rotation", "scale", "objectOffset",
                        "visibility", "inheritVisibility", "hidden", "selected", "frozen",
                        "wireColor", "material", "object", "controllers"});
            const std::string name = text(require(j, path, "name"), member(path, "name"));
            if (name.empty())
                fail(member(path, "name"), "a node needs a name");
            if (nodes.count(name) != 0)
                fail(member(path, "name"), "\"" + name + "\" names an earlier node already");
            SceneObject* object = nullptr;
            if (const Json* o = find(j, "object"))
                object = readObject(*o, member(path, "object"), name);
            HeadlessNode* node = scene.CreateNode(WStr::FromUTF8(name), object);
            nodes.emplace(name, node);
            readNodeSettings(*node, j, path);
            if (find(j, "parent") != nullptr)
                withParent.emplace_back(node, i);
        }
        linkParents(list, withParent);
        for (const PendingList& pending : pendingNodeParams)
            pending.cache->params().SetValue(pending.param, 0,
                                             nodeNamed(*pending.list, pending.path));
        for (const PendingList& pending : pendingLists) {
            for (std::size_t k = 0; k < array(*pending.list, pending.path).size(); ++k) {
                const Json& entry = (*pending.list)[k];
                pending.cache->appendNodeEntry(
                    entry.is_null() ? nullptr : nodeNamed(entry, element(pending.path, k)));
            }
        }
    }

    // Links and node lists may name nodes anywhere in the file. Loops are found here, in one
    // pass; the links then go deepest first, so that each link's own loop test meets a parent
    // not linked yet and a long chain loads in linear time.
    void linkParents(const Json& list,
                     const std::vector<std::pair<HeadlessNode*, std::size_t>>& withParent) {
        std::map<HeadlessNode*, std::pair<HeadlessNode*, std::size_t>> parentOf;
        for (const auto& [node, i] : withParent)
            parentOf[node] = {nodeNamed(list[i]["parent"], member(element("nodes", i), "parent")),
                              i};
        std::map<HeadlessNode*, std::size_t> depth; // complete entries only
        for (const auto& [node, i] : withParent) {
            std::vector<HeadlessNode*> walk;
            std::set<HeadlessNode*> onWalk;
            HeadlessNode* up = node;
            while (depth.count(up) == 0 && parentOf.count(up) != 0) {
                if (!onWalk.insert(up).second) {
                    // The loop is closed by its last link in the file: that one is named.
                    std::size_t last = 0;
                    for (auto it = std::find(walk.begin(), walk.end(), up); it != walk.end(); ++it)
                        last = std::max(last, parentOf[*it].second);
                    fail(member(element("nodes", last), "parent"),
                         "linking here would make a loop of parents");
                }
                walk.push_back(up);
                up = parentOf[up].first;
            }
            std::size_t d = depth.count(up) != 0 ? depth[up] : 0;
            for (auto it = walk.rbegin(); it != walk.rend(); ++it)
                depth[*it] = ++d;
        }
        // Siblings keep the file's order among the children of their parent.
        std::vector<std::tuple<std::size_t, std::size_t, HeadlessNode*>> order;
        for (const auto& [node, link] : parentOf)
            order.emplace_back(depth[node], link.second, node);
        std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) {
            return std::get<0>(a) != std::get<0>(b) ? std::get<0>(a) > std::get<0>(b)
                                                    : std::get<1>(a) < std::get<1>(b);
        });
        for (const auto& [d, i, node] : order)
            node->SetParent(parentOf[node].first);
    }

    HeadlessNode* nodeNamed(const Json& j, const std::string& path) {
        const std::string name = text(j, path);
        const auto it = nodes.find(name);
        if (it == nodes.end())
            fail(path, "no node is named \"" + name + "\"");
        return it->second;
    }

    void readNodeSettings(HeadlessNode& node, const Json& j, const std::string& path) {
        readPRS(node.Position(), node.Rotation(), node.Scale(), j, path);
        if (const Json* v = find(j, "controllers"))
            ReadNodeControllers(*v, member(path, "controllers"), node);
        if (const Json* v = find(j, "visibility"))
            readFloatTrack(node.Visibility(), *v, member(path, "visibility"));
        if (const Json* v = find(j, "objectOffset")) {
            const std::string opath = member(path, "objectOffset");
            expectKeys(*v, opath, {"position", "rotation", "scale"});
            if (const Json* p = find(*v, "position"))
                node.SetObjOffsetPos(point(*p, member(opath, "position")));
            if (const Json* r = find(*v, "rotation"))
                node.SetObjOffsetRot(rotation(*r, member(opath, "rotation")));
            if (const Json* s = find(*v, "scale"))
                node.SetObjOffsetScale(ScaleValue(point(*s, member(opath, "scale"))));
        }
        const auto flag = [&](const char* key, auto set) {
            if (const Json* v = find(j, key))
                (node.*set)(boolean(*v, member(path, key)));
        };
        flag("inheritVisibility", &HeadlessNode::SetInheritVisibility);
        flag("hidden", &HeadlessNode::SetHidden);
        flag("selected", &HeadlessNode::SetSelected);
        flag("frozen", &HeadlessNode::SetFrozen);
        if (const Json* v = find(j, "wireColor")) {
            const std::string cpath = member(path, "wireColor");
            if (!v->is_array() || v->size() != 3)
                fail(cpath, "expected [red, green, blue], each 0 to 255");
            std::uint32_t colour = 0;
            for (std::size_t c = 0; c < 3; ++c)
                colour |= static_cast<std::uint32_t>(integer((*v)[c], element(cpath, c), 0, 255))
                          << (8 * c);
            node.SetWireColor(colour);
        }
        if (const Json* v = find(j, "material"))
            node.SetMtl(material(*v, member(path, "material"), "in \"materials\""));
    }

    struct PendingList {
        wkCache_obj* cache;
        const Json* list;
        std::string path;
        ParamID param = wkCacheParam::nodes;
    };

    HeadlessHost& host;
    HeadlessScene& scene;
    int ticksPerFrame = 160;
    std::int64_t geometry = 0; // vertices and faces of the meshes so far
    std::map<std::string, std::shared_ptr<Mtl>> materials;
    std::map<std::string, HeadlessNode*> nodes;
    std::vector<PendingList> pendingLists;
    std::vector<PendingList> pendingNodeParams;
    LoadedScene loaded;
};

} // namespace

LoadedScene LoadSceneText(const std::string& text, HeadlessHost& host) {
    if (IsCacheFile(text))
        throw SceneFileError("a .wkc cache, not a scene file");
    if (IsBinaryScene(text))
        return LoadSceneBinary(
            std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), host);
    Json root;
    try {
        root = Json::parse(text);
    } catch (const Json::parse_error& e) {
        // nlohmann's message says where: "parse error at line 3, column 5: ...".
        const std::string what = e.what();
        const std::size_t at = what.find("parse error");
        throw SceneFileError("not valid JSON: " +
                             (at == std::string::npos ? what : what.substr(at)));
    } catch (const Json::exception& e) {
        // A number too large for a double ends the parse with out_of_range, not parse_error;
        // the message goes without the library's "[json.exception...]" code.
        const std::string what = e.what();
        const std::size_t code = what.find("] ");
        throw SceneFileError("not valid JSON: " +
                             (code == std::string::npos ? what : what.substr(code + 2)));
    }
    // Cache objects take their parameter blocks from the host that builds them.
    ScopedHost installed(host);
    try {
        return Builder(host).build(root);
    } catch (const Json::exception& e) {
        // The reader checks types before it converts; one it missed still says what, without
        // the library's "[json.exception...]" code.
        const std::string what = e.what();
        const std::size_t code = what.find("] ");
        throw SceneFileError(code == std::string::npos ? what : what.substr(code + 2));
    }
}

LoadedScene LoadSceneFile(const std::string& path, HeadlessHost& host) {
    std::string text;
    try {
        text = ReadInputFile(path, kSceneFileLimit);
    } catch (const InputFileError& e) {
        throw SceneFileError(e.what());
    }
    return LoadSceneText(text, host);
}

} // namespace wkcli
