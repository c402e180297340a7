#include "tools/common/scene_json_writer.h"

#include "host/Utf8.h"
#include "host/headless/HeadlessObjects.h"
#include "object/wkCacheParams.h"
#include "object/wkCache_obj.h"
#include "tools/common/scene_controllers.h"
#include "tools/common/scene_file.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cstdlib>
#include <map>
#include <set>

namespace wkcli {

namespace {

using Json = nlohmann::json;

// The shortest decimal text of the float, as a double: it prints as written ("0.1") and reads
// back as the same float.
Json number(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    *end = '\0';
    return std::strtod(text, nullptr);
}

Json point(const Point3& p) {
    return Json::array({number(p.x), number(p.y), number(p.z)});
}

Json rotation(const Quat& q) {
    return {{"quat", Json::array({number(q.x), number(q.y), number(q.z), number(q.w)})}};
}

std::string utf8(const WStr& text) {
    return wkhost::EncodeUtf8(text.view());
}

class Writer {
public:
    explicit Writer(HeadlessHost& host_) : host(host_) {
        ticksPerFrame = host.Time().GetTicksPerFrame();
    }

    Json write() {
        Json root;
        root["wkcacheScene"] = 1;
        root["frameRate"] = host.Time().GetFrameRate();
        const Interval range = host.Time().GetAnimRange();
        root["animationRange"] = Json::array({frame(range.Start()), frame(range.End())});
        root["currentFrame"] = frame(host.Time().GetTime());
        const auto& nodes = host.Nodes().Nodes();
        std::set<std::string> names;
        for (const HeadlessNode* node : nodes) {
            if (!names.insert(utf8(node->GetName())).second)
                throw SceneFileError("two nodes are named \"" + utf8(node->GetName()) +
                                     "\": the JSON form names nodes uniquely");
        }
        Json list = Json::array();
        for (HeadlessNode* node : nodes)
            list.push_back(writeNode(*node));
        if (!materials.empty())
            root["materials"] = std::move(materials);
        root["nodes"] = std::move(list);
        return root;
    }

private:
    // A frame number: whole when the tick falls on a frame.
    Json frame(TimeValue t) const {
        if (t % ticksPerFrame == 0)
            return t / ticksPerFrame;
        return static_cast<double>(t) / ticksPerFrame;
    }

    template <class T, class Value> Json track(const HeadlessKeyTrack<T>& keys, Value value) const {
        if (keys.NumKeys() == 0)
            return value(keys.GetValue(0));
        if (keys.NumKeys() == 1 && keys.GetKey(0).time == 0 &&
            keys.GetInterpolation() == KeyInterpolation::Linear)
            return value(keys.GetKey(0).value);
        Json out;
        out["interpolation"] = keys.GetInterpolation() == KeyInterpolation::TCB ? "tcb" : "linear";
        Json list = Json::array();
        for (int k = 0; k < keys.NumKeys(); ++k) {
            const TrackKey<T>& key = keys.GetKey(k);
            Json j{{"frame", frame(key.time)}, {"value", value(key.value)}};
            const auto param = [&](const char* name, float v) {
                if (v != 0.0f)
                    j[name] = number(v);
            };
            param("tension", key.tcb.tension);
            param("continuity", key.tcb.continuity);
            param("bias", key.tcb.bias);
            param("easeIn", key.tcb.easeIn);
            param("easeOut", key.tcb.easeOut);
            list.push_back(std::move(j));
        }
        out["keys"] = std::move(list);
        return out;
    }

    static Json floatValue(float v) { return number(v); }

    void writePRS(Json& j, Point3Track& position, RotationTrack& rot, Point3Track& scale) const {
        j["position"] = track(position, point);
        j["rotation"] = track(rot, rotation);
        j["scale"] = track(scale, point);
    }

    // ---- Materials: each once, its sub-materials before it.

    std::string material(const std::shared_ptr<Mtl>& mtl) {
        const auto known = materialNames.find(mtl.get());
        if (known != materialNames.end())
            return known->second;
        Json j;
        if (mtl->NumSubMtls() > 0) {
            Json subs = Json::array();
            for (int s = 0; s < mtl->NumSubMtls(); ++s) {
                const std::shared_ptr<Mtl> sub = mtl->ShareSubMtl(s);
                subs.push_back(sub ? Json(material(sub)) : Json());
            }
            j["subMaterials"] = std::move(subs);
        }
        const std::string name = utf8(mtl->GetName());
        if (!usedMaterialNames.insert(name).second)
            throw SceneFileError("two materials are named \"" + name +
                                 "\": the JSON form names materials uniquely");
        j["name"] = name;
        materials.push_back(std::move(j));
        materialNames.emplace(mtl.get(), name);
        return name;
    }

    // ---- Nodes

    Json writeNode(HeadlessNode& node) {
        Json j;
        j["name"] = utf8(node.GetName());
        if (node.GetParentNode() != nullptr)
            j["parent"] = utf8(node.GetParentNode()->GetName());
        writePRS(j, node.Position(), node.Rotation(), node.Scale());
        if (node.HasVisibilityTrack())
            j["visibility"] = track(node.Visibility(), floatValue);
        // Key controllers (as explode makes them) take the place of the tracks above on reading.
        if (Json keyed = WriteNodeControllers(node); !keyed.empty())
            j["controllers"] = std::move(keyed);
        const ScaleValue offsetScale = node.GetObjOffsetScale();
        j["objectOffset"] = {{"position", point(node.GetObjOffsetPos())},
                             {"rotation", rotation(node.GetObjOffsetRot())},
                             {"scale", point(offsetScale.s)}};
        j["inheritVisibility"] = node.GetInheritVisibility();
        j["hidden"] = node.IsNodeHidden();
        j["selected"] = node.Selected();
        j["frozen"] = node.IsFrozen();
        const std::uint32_t colour = node.GetWireColor();
        j["wireColor"] = Json::array({colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF});
        if (const std::shared_ptr<Mtl> mtl = node.ShareMtl())
            j["material"] = material(mtl);
        if (SceneObject* object = node.GetObjectRef())
            j["object"] = writeObject(*object);
        return j;
    }

    // ---- Objects

    Json writeObject(SceneObject& object) {
        if (auto* cache = dynamic_cast<wkCache_obj*>(&object))
            return writeCache(*cache);
        if (auto* tri = dynamic_cast<TriObject*>(&object))
            return mesh(tri->GetMesh());
        if (auto* deforming = dynamic_cast<HeadlessDeformingMesh*>(&object)) {
            Json keys = Json::array();
            for (int k = 0; k < deforming->NumKeys(); ++k) {
                Json verts = Json::array();
                for (const Point3& p : deforming->KeyPositions(k))
                    verts.push_back(point(p));
                keys.push_back({{"frame", frame(deforming->KeyTime(k))}, {"vertices", verts}});
            }
            return {{"type", "deformingMesh"},
                    {"mesh", mesh(deforming->BaseMesh())},
                    {"keys", std::move(keys)}};
        }
        if (auto* topology = dynamic_cast<HeadlessTopologyMesh*>(&object)) {
            Json states = Json::array();
            for (int s = 0; s < topology->NumStates(); ++s)
                states.push_back({{"frame", frame(topology->StateTime(s))},
                                  {"mesh", mesh(topology->StateMesh(s))}});
            return {{"type", "topologyMesh"}, {"states", std::move(states)}};
        }
        if (auto* shape = dynamic_cast<HeadlessSplineShape*>(&object)) {
            Json points = Json::array();
            for (const Point3& p : shape->Points())
                points.push_back(point(p));
            return {{"type", "shape"},
                    {"points", std::move(points)},
                    {"closed", shape->IsClosed()},
                    {"renderable", shape->GetRenderable()},
                    {"useViewport", shape->GetUseViewport()},
                    {"displayRenderMesh", shape->GetDispRenderMesh()},
                    {"thickness", number(shape->Thickness())},
                    {"sides", shape->Sides()}};
        }
        if (dynamic_cast<HeadlessHelper*>(&object) != nullptr)
            return {{"type", "helper"}};
        if (dynamic_cast<HeadlessCamera*>(&object) != nullptr)
            return {{"type", "camera"}};
        if (auto* light = dynamic_cast<HeadlessLight*>(&object))
            return {
                {"type", light->GetKind() == HeadlessLight::Kind::Omni ? "omniLight" : "spotLight"},
                {"farAttenuation", track(light->FarAttenuation(), floatValue)}};
        throw SceneFileError("an object of a class the JSON form does not know");
    }

    static Json mesh(const Mesh& m) {
        Json verts = Json::array();
        for (int v = 0; v < m.getNumVerts(); ++v)
            verts.push_back(point(m.getVert(v)));
        Json faces = Json::array();
        for (int f = 0; f < m.getNumFaces(); ++f) {
            const Face& face = m.getFace(f);
            Json corners = Json::array({face.getVert(0), face.getVert(1), face.getVert(2)});
            if (face.getMatID() == 0 && face.getSmGroup() == 1 &&
                face.getEdgeVisFlags() == EDGE_ALL) {
                faces.push_back(std::move(corners));
                continue;
            }
            faces.push_back({{"v", std::move(corners)},
                             {"matID", face.getMatID()},
                             {"smGroup", face.getSmGroup()},
                             {"edges", Json::array({face.getEdgeVis(0) == EDGE_VIS,
                                                    face.getEdgeVis(1) == EDGE_VIS,
                                                    face.getEdgeVis(2) == EDGE_VIS})}});
        }
        Json j{{"type", "mesh"}, {"vertices", std::move(verts)}, {"faces", std::move(faces)}};
        Json maps = Json::object();
        for (int c = 0; c < m.getNumMaps(); ++c) {
            if (!m.mapSupport(c))
                continue;
            Json mverts = Json::array();
            for (int v = 0; v < m.getNumMapVerts(c); ++v)
                mverts.push_back(point(m.mapVerts(c)[v]));
            Json mfaces = Json::array();
            for (int f = 0; f < m.getNumFaces(); ++f) {
                const TVFace& t = m.mapFaces(c)[f];
                mfaces.push_back(Json::array({t.getTVert(0), t.getTVert(1), t.getTVert(2)}));
            }
            maps[std::to_string(c)] = {{"vertices", std::move(mverts)},
                                       {"faces", std::move(mfaces)}};
        }
        if (!maps.empty())
            j["maps"] = std::move(maps);
        return j;
    }

    // ---- The cache object: its parameters by internal name, as the reader takes them.

    Json writeCache(wkCache_obj& cache) {
        Json j{{"type", "cache"}};
        auto& block = static_cast<HeadlessParamBlock&>(cache.params());
        for (const ParamDef& def : block.GetDesc().params) {
            const std::string key =
                def.id == wkCacheParam::scaleUnitsTo ? "scaleUnitsTo" : def.internalName;
            if (def.type == TYPE_FILENAME) {
                const AssetUser asset = block.GetAssetUser(def.id);
                if (!asset.IsNull())
                    j[key] = utf8(asset.GetFileName());
            } else if (def.type == TYPE_INODE) {
                if (INode* node = block.GetINode(def.id))
                    j[key] = utf8(node->GetName());
            } else if (def.type == TYPE_INODE_TAB) {
                Json list = Json::array();
                for (int i = 0; i < block.Count(def.id); ++i) {
                    INode* node = block.GetINode(def.id, 0, i);
                    list.push_back(node != nullptr ? Json(utf8(node->GetName())) : Json());
                }
                if (!list.empty())
                    j[key] = std::move(list);
            } else if (def.id != wkCacheParam::elementFrames) {
                if (Json value = parameter(block, def, 0); !value.is_null())
                    j[key] = std::move(value);
            }
        }
        const wkCacheGroupList& groups = cache.playbackRecord().groups;
        if (groups.count() > 0) {
            Json list = Json::array();
            for (std::int32_t g = 0; g < groups.count(); ++g)
                list.push_back(group(groups.at(g), block, g));
            j["groups"] = std::move(list);
        }
        if (!cache.elementSelection().empty())
            j["selection"] = Json(std::vector<std::uint32_t>(cache.elementSelection().begin(),
                                                             cache.elementSelection().end()));
        auto& gizmo = static_cast<HeadlessPRSControl&>(cache.gizmo());
        Json prs;
        writePRS(prs, gizmo.Position(), gizmo.Rotation(), gizmo.Scale());
        j["gizmo"] = std::move(prs);
        return j;
    }

    // A value that differs from the default, or the keys of an animated one; null otherwise.
    Json parameter(const HeadlessParamBlock& block, const ParamDef& def, int entry) const {
        if (const auto* control =
                dynamic_cast<const HeadlessFloatControl*>(block.GetControllerByID(def.id, entry)))
            return track(control->Track(), floatValue);
        if (def.type == TYPE_INT || def.type == TYPE_BOOL) {
            const int value = block.GetInt(def.id, 0, entry);
            if (value == def.defaultInt)
                return nullptr;
            if (def.type == TYPE_BOOL && !def.hasRange)
                return value != 0;
            return value;
        }
        const float value = block.GetFloat(def.id, 0, entry);
        return value == def.defaultFloat && !def.IsTable() ? Json() : number(value);
    }

    Json group(const wkCacheGroup& g, const HeadlessParamBlock& block, int entry) const {
        Json j{
            {"name", utf8(g.name)},
            {"mode", static_cast<int>(g.mode)},
            {"enabled", g.enabled},
            {"offset", number(g.offset)},
            {"respectActivation", g.respectActivation},
            {"byAge", g.byAge},
            {"age", number(g.age)},
            {"byDistance", g.byDistance},
            {"distance", number(g.distance)},
            {"elements", Json(std::vector<std::uint32_t>(g.elements.begin(), g.elements.end()))}};
        if (g.materialId != 0)
            j["materialId"] = g.materialId + 1; // numbered from 1, as the panel shows it
        const ParamDef* frames = block.GetDesc().GetParamDef(wkCacheParam::elementFrames);
        j["frame"] = parameter(block, *frames, entry);
        return j;
    }

    HeadlessHost& host;
    int ticksPerFrame = 160;
    Json materials = Json::array();
    std::map<const Mtl*, std::string> materialNames;
    std::set<std::string> usedMaterialNames;
};

} // namespace

std::string SceneToJsonText(HeadlessHost& host) {
    return Writer(host).write().dump(2) + "\n";
}

} // namespace wkcli
