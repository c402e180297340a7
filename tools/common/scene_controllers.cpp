#include "tools/common/scene_controllers.h"

#include "host/Host.h"
#include "host/headless/HeadlessKeyControl.h"
#include "host/headless/HeadlessObjects.h"
#include "tools/common/scene_file.h"

#include <cmath>

namespace wkcli {

namespace {

using Json = nlohmann::json;

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw SceneFileError(path + ": " + what);
}

float single(const Json& j, const std::string& path) {
    if (!j.is_number() || !std::isfinite(j.get<double>()))
        fail(path, "expected a number");
    return j.get<float>();
}

template <std::size_t N> std::array<float, N> floats(const Json& j, const std::string& path) {
    if (!j.is_array() || j.size() != N)
        fail(path, "expected " + std::to_string(N) + " numbers");
    std::array<float, N> out{};
    for (std::size_t i = 0; i < N; ++i)
        out[i] = single(j[i], path + "[" + std::to_string(i) + "]");
    return out;
}

const Json& field(const Json& j, const std::string& path, const char* key) {
    if (!j.is_object() || !j.contains(key))
        fail(path, std::string("expected the key \"") + key + "\"");
    return j[key];
}

void expectOnly(const Json& j, const std::string& path, std::initializer_list<const char*> keys) {
    if (!j.is_object())
        fail(path, "expected an object");
    for (const auto& item : j.items()) {
        if (std::find_if(keys.begin(), keys.end(),
                         [&](const char* k) { return item.key() == k; }) == keys.end())
            fail(path + "." + item.key(), "unknown key");
    }
}

Point3 point(const Json& j, const std::string& path) {
    const auto p = floats<3>(j, path);
    return {p[0], p[1], p[2]};
}

// ---- Values by type
void readValue(const Json& j, const std::string& path, float& v) {
    v = single(j, path);
}
void readValue(const Json& j, const std::string& path, Point3& v) {
    v = point(j, path);
}
void readValue(const Json& j, const std::string& path, AngAxis& v) {
    expectOnly(j, path, {"axis", "radians"});
    v = AngAxis(point(field(j, path, "axis"), path + ".axis"),
                single(field(j, path, "radians"), path + ".radians"));
}
void readValue(const Json& j, const std::string& path, ScaleValue& v) {
    expectOnly(j, path, {"scale", "axes"});
    v.s = point(field(j, path, "scale"), path + ".scale");
    v.q = Quat();
    if (j.contains("axes")) {
        const auto q = floats<4>(j["axes"], path + ".axes");
        v.q = Quat(q[0], q[1], q[2], q[3]);
    }
}

void readValue(const Json& j, const std::string& path, Quat& v) {
    expectOnly(j, path, {"quat"});
    const auto q = floats<4>(field(j, path, "quat"), path + ".quat");
    v = Quat(q[0], q[1], q[2], q[3]);
}

Json writeValue(float v) {
    return v;
}
Json writeValue(const Point3& v) {
    return Json::array({v.x, v.y, v.z});
}
Json writeValue(const AngAxis& v) {
    return {{"axis", writeValue(v.axis)}, {"radians", v.angle}};
}
Json writeValue(const Quat& v) {
    return {{"quat", Json::array({v.x, v.y, v.z, v.w})}};
}
Json writeValue(const ScaleValue& v) {
    return {{"scale", writeValue(v.s)}, {"axes", Json::array({v.q.x, v.q.y, v.q.z, v.q.w})}};
}

template <class Traits> std::unique_ptr<Control> readKeys(const Json& j, const std::string& path) {
    expectOnly(j, path, {"keys", "value"});
    const Json& list = field(j, path, "keys");
    if (!list.is_array())
        fail(path + ".keys", "expected a list of keys");
    using Key = typename HeadlessKeyControl<Traits>::Key;
    std::vector<Key> keys;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::string at = path + ".keys[" + std::to_string(i) + "]";
        const Json& k = list[i];
        expectOnly(
            k, at,
            {"time", "flags", "value", "tension", "continuity", "bias", "easeIn", "easeOut"});
        Key key;
        const Json& time = field(k, at, "time");
        if (!time.is_number_integer() || time.get<long long>() < TIME_NegInfinity ||
            time.get<long long>() > TIME_PosInfinity)
            fail(at + ".time", "expected a tick count");
        key.time = time.get<TimeValue>();
        if (k.contains("flags")) {
            if (!k["flags"].is_number_unsigned() ||
                k["flags"].get<unsigned long long>() > 0xFFFFFFFFu)
                fail(at + ".flags", "expected a 32-bit unsigned number");
            key.flags = k["flags"].get<std::uint32_t>();
        }
        readValue(field(k, at, "value"), at + ".value", key.val);
        const auto optional = [&](const char* name, float& out) {
            if (k.contains(name))
                out = single(k[name], at + "." + name);
        };
        optional("tension", key.tens);
        optional("continuity", key.cont);
        optional("bias", key.bias);
        optional("easeIn", key.easeIn);
        optional("easeOut", key.easeOut);
        keys.push_back(key);
    }
    auto control = std::make_unique<HeadlessKeyControl<Traits>>();
    control->ReplaceKeys(keys);
    if (j.contains("value")) {
        typename Traits::Value held;
        readValue(j["value"], path + ".value", held);
        control->SetHeldValue(held);
    }
    return control;
}

template <class Traits> Json writeKeys(const Control* control) {
    const auto* keyed = dynamic_cast<const HeadlessKeyControl<Traits>*>(control);
    if (keyed == nullptr)
        return nullptr;
    Json keys = Json::array();
    for (const auto& k : keyed->Keys())
        keys.push_back({{"time", k.time},
                        {"flags", k.flags},
                        {"value", writeValue(k.val)},
                        {"tension", k.tens},
                        {"continuity", k.cont},
                        {"bias", k.bias},
                        {"easeIn", k.easeIn},
                        {"easeOut", k.easeOut}});
    if (keys.empty())
        return {{"keys", keys}, {"value", writeValue(keyed->HeldValue())}};
    return {{"keys", keys}};
}

Json writeMesh(const Mesh& mesh) {
    Json vertices = Json::array();
    for (int v = 0; v < mesh.getNumVerts(); ++v)
        vertices.push_back(writeValue(mesh.getVert(v)));
    Json faces = Json::array();
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const Face& face = mesh.getFace(f);
        faces.push_back({{"v", {face.v[0], face.v[1], face.v[2]}},
                         {"matID", face.getMatID()},
                         {"smGroup", face.getSmGroup()},
                         {"edges",
                          {face.getEdgeVis(0) == EDGE_VIS, face.getEdgeVis(1) == EDGE_VIS,
                           face.getEdgeVis(2) == EDGE_VIS}}});
    }
    return {{"type", "mesh"}, {"vertices", vertices}, {"faces", faces}};
}

} // namespace

void ReadNodeControllers(const Json& j, const std::string& path, INode& node) {
    expectOnly(j, path, {"position", "rotation", "scale", "visibility"});
    if (j.contains("position") || j.contains("rotation") || j.contains("scale")) {
        std::unique_ptr<MatrixControl> prs = GetHost().CreatePRSControl();
        if (j.contains("position"))
            prs->SetPositionController(
                readKeys<PositionKeyTraits>(j["position"], path + ".position"));
        if (j.contains("rotation"))
            prs->SetRotationController(
                readKeys<RotationKeyTraits>(j["rotation"], path + ".rotation"));
        if (j.contains("scale"))
            prs->SetScaleController(readKeys<ScaleKeyTraits>(j["scale"], path + ".scale"));
        node.SetTMController(std::move(prs));
    }
    if (j.contains("visibility"))
        node.SetVisController(readKeys<FloatKeyTraits>(j["visibility"], path + ".visibility"));
}

Json WriteNodeControllers(INode& node) {
    Json out = Json::object();
    const auto put = [&out](const char* key, Json value) {
        if (!value.is_null())
            out[key] = std::move(value);
    };
    if (MatrixControl* tm = node.GetTMController()) {
        put("position", writeKeys<PositionKeyTraits>(tm->GetPositionController()));
        put("rotation", writeKeys<RotationKeyTraits>(tm->GetRotationController()));
        put("scale", writeKeys<ScaleKeyTraits>(tm->GetScaleController()));
    }
    put("visibility", writeKeys<FloatKeyTraits>(node.GetVisController()));
    return out;
}

Json WriteNodeEntry(INode& node) {
    Json entry = {{"name", node.GetName().ToCStr().data()}};
    SceneObject* object = node.GetObjectRef();
    if (auto* tri = dynamic_cast<TriObject*>(object))
        entry["object"] = writeMesh(tri->GetMesh());
    else if (object != nullptr && object->SuperClassID() == HELPER_CLASS_ID)
        entry["object"] = {{"type", "helper"}};
    entry["controllers"] = WriteNodeControllers(node);
    // The properties explode copies from its reference node.
    const std::uint32_t colour = node.GetWireColor();
    entry["wireColor"] = {colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF};
    entry["inheritVisibility"] = node.GetInheritVisibility();
    return entry;
}

} // namespace wkcli
