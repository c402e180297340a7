// wkcache.Scene, Node, Controller and CacheObject with its parameters, mesh and script
// interface.
#include "python/py_scene.h"

#include "cachefile/wkCacheRegistry.h"
#include "host/FileReplacement.h"
#include "host/INode.h"
#include "host/ScriptError.h"
#include "python/py_long_call.h"
#include "python/py_values.h"
#include "script/wkCache_mxs.h"
#include "tools/common/module_objects.h"
#include "tools/common/scene_binary.h"
#include "tools/common/scene_file.h"
#include "tools/common/scene_json_writer.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>

namespace wkpy {

namespace {

// One host is installed at a time; a call that waits for another thread's gives up the GIL
// while it waits, so that the other's callbacks can run.
std::recursive_mutex hostMutex;

std::unique_lock<std::recursive_mutex> lockHost() {
    std::unique_lock<std::recursive_mutex> lock(hostMutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        py::gil_scoped_release release;
        lock.lock();
    }
    return lock;
}

} // namespace

SceneState::~SceneState() {
    auto lock = lockHost();
    {
        ScopedHost scope(host);
        owned.reset();
    }
    theCacheRegistry.setMaterials(nullptr);
}

HostCall::HostCall(SceneState& state) : scope(state.host) {
    theCacheRegistry.setMaterials(&state.host.Materials());
}

namespace {

using Scene = std::shared_ptr<SceneState>;

// A cache object of a scene, named by its node.
struct CacheObjectRef {
    Scene scene;
    INode* node;
    wkCache_obj& object() const { return *static_cast<wkCache_obj*>(node->GetObjectRef()); }
};
struct ParamsRef {
    CacheObjectRef owner;
};
struct FnsRef {
    CacheObjectRef owner;
};

// Runs f with the scene's host installed and the core's errors turned into Python's.
template <class F> auto withHost(SceneState& s, F&& f) {
    auto lock = lockHost();
    HostCall call(s);
    return f();
}

wkCache_obj* cacheObjectOf(INode* node) {
    SceneObject* object = node ? node->GetObjectRef() : nullptr;
    return object && object->ClassID() == wkCache_obj::kClassID ? static_cast<wkCache_obj*>(object)
                                                                : nullptr;
}

py::object nodeObject(const Scene& scene, INode* node) {
    if (cacheObjectOf(node))
        return py::cast(CacheObjectRef{scene, node});
    return py::none();
}

// One of the node's transform controllers (position, rotation or scale), or None.
py::object transformPart(const NodeRef& n, Control* (MatrixControl::*part)() const) {
    const MatrixControl* tm = n.node->GetTMController();
    Control* control = tm ? (tm->*part)() : nullptr;
    if (control == nullptr)
        return py::none();
    return py::cast(ControllerRef{n.scene, control});
}

const ParamDef& paramDef(const IParamBlock2& block, const py::object& key) {
    const ParamBlockDesc2& desc = block.GetDesc();
    if (py::isinstance<py::int_>(key)) {
        if (const ParamDef* def = desc.GetParamDef(static_cast<ParamID>(key.cast<int>())))
            return *def;
    } else {
        const std::string name = key.cast<std::string>();
        const ParamDef* found = nullptr;
        int matches = 0;
        for (const ParamDef& def : desc.params)
            if (name == def.internalName) {
                found = &def;
                ++matches;
            }
        // Two parameters share a name: they are told by number.
        if (matches > 1)
            throw py::key_error("parameter \"" + name + "\" is ambiguous: use its id");
        if (found)
            return *found;
    }
    throw py::key_error(py::str(key).cast<std::string>());
}

py::object getParam(const ParamsRef& p, const py::object& key) {
    const CacheObjectRef& o = p.owner;
    return withHost(*o.scene, [&]() -> py::object {
        const IParamBlock2& block = o.object().params();
        const ParamDef& def = paramDef(block, key);
        const TimeValue t = o.scene->host.Time().GetTime();
        if (def.IsTable()) {
            py::list items;
            for (int i = 0; i < block.Count(def.id); ++i)
                items.append(def.type == TYPE_INODE_TAB
                                 ? fromValue(Value(block.GetINode(def.id, t, i)), o.scene)
                                 : py::cast(block.GetFloat(def.id, t, i)));
            return items;
        }
        switch (def.type) {
        case TYPE_FLOAT:
        case TYPE_WORLD:
            return py::float_(block.GetFloat(def.id, t));
        case TYPE_BOOL:
            return py::bool_(block.GetInt(def.id, t) == 1);
        case TYPE_FILENAME:
            return py::str(utf8(block.GetAssetUser(def.id, t).GetFileName()));
        case TYPE_INODE:
            return fromValue(Value(block.GetINode(def.id, t)), o.scene);
        default:
            return py::int_(block.GetInt(def.id, t));
        }
    });
}

void setParam(const ParamsRef& p, const py::object& key, const py::object& value) {
    const CacheObjectRef& o = p.owner;
    withHost(*o.scene, [&] {
        IParamBlock2& block = o.object().params();
        const ParamDef& def = paramDef(block, key);
        const TimeValue t = o.scene->host.Time().GetTime();
        bool written = false;
        switch (def.type) {
        case TYPE_FLOAT:
        case TYPE_WORLD:
            written = block.SetValue(def.id, t, value.cast<float>());
            break;
        case TYPE_FILENAME:
            written = block.SetValue(
                def.id, t,
                o.scene->host.Assets().GetAsset(wide(value.cast<std::string>()), def.assetType));
            break;
        case TYPE_INODE:
            written =
                block.SetValue(def.id, t, value.is_none() ? nullptr : value.cast<NodeRef&>().node);
            break;
        case TYPE_INODE_TAB:
        case TYPE_FLOAT_TAB:
            throw py::type_error(std::string("parameter ") + def.internalName +
                                 " is a table: change it through its object's operations");
        default:
            written = block.SetValue(def.id, t, value.cast<int>());
        }
        if (!written)
            throw py::value_error(std::string("parameter ") + def.internalName +
                                  " refused the value");
        return 0;
    });
}

py::dict meshArrays(const Mesh& mesh) {
    const auto nv = static_cast<py::ssize_t>(mesh.getNumVerts());
    const auto nf = static_cast<py::ssize_t>(mesh.getNumFaces());
    py::array_t<float> verts({nv, py::ssize_t{3}});
    py::array_t<std::int32_t> faces({nf, py::ssize_t{3}});
    py::array_t<std::int32_t> matIds(nf);
    py::array_t<std::uint32_t> smGroups(nf);
    py::array_t<bool> hidden(nf);
    if (nv > 0)
        std::memcpy(verts.mutable_data(), mesh.getVertPtr(0), sizeof(float) * 3 * nv);
    auto f = faces.mutable_unchecked<2>();
    auto m = matIds.mutable_unchecked<1>();
    auto s = smGroups.mutable_unchecked<1>();
    auto h = hidden.mutable_unchecked<1>();
    for (py::ssize_t i = 0; i < nf; ++i) {
        const Face& face = mesh.getFace(static_cast<int>(i));
        for (int c = 0; c < 3; ++c)
            f(i, c) = static_cast<std::int32_t>(face.getVert(c));
        m(i) = face.getMatID();
        s(i) = face.getSmGroup();
        h(i) = face.Hidden();
    }
    py::dict out;
    out["vertices"] = verts;
    out["faces"] = faces;
    out["material_ids"] = matIds;
    out["smoothing_groups"] = smGroups;
    out["hidden"] = hidden;
    return out;
}

// One line on each function of the interface, for help().
const std::map<std::string, const char*>& functionHelp() {
    static const std::map<std::string, const char*> help{
        {"record",
         "Records the object's nodes into fileName (\".wkc\" added unless it ends in it), "
         "or into its own file; True when a file was written and loaded."},
        {"getElementNames", "[[index, name], ...] of the elements whose names match the pattern "
                            "(\"*\" when none), ignoring case; indices 0-based."},
        {"getElementSelection", "The element selection as a BitArray, 1-based."},
        {"setElementSelection",
         "Selects the elements of 1-based indices (a list or a BitArray); indices beyond the "
         "element count are ignored. Returns the selection as a BitArray."},
        {"addGroup", "Adds a group (a unique name when the name is empty), with the selected "
                     "elements if addSelected."},
        {"deleteGroup", "Removes the group; False if there is none of that name."},
        {"renameGroup", "Renames the group; False if there is none of that name."},
        {"getSelectedGroup", "The name of the selected group, or \"\"."},
        {"setSelectedGroup", "Selects the group; False if it is selected already."},
        {"getGroupMode",
         "The group's action: delete, holdin, holdout, delay, setframe or setmatid."},
        {"setGroupMode", "Sets the group's action by its name, in any case."},
        {"getGroupElements", "The group's elements as a BitArray, 1-based."},
        {"setGroupElements", "Replaces the group's elements by these 1-based indices."},
        {"addGroupElements", "Adds these 1-based indices to the group's elements."},
        {"removeGroupElements", "Takes these 1-based indices out of the group."},
        {"makeGroupElementsUnique", "Removes the group's elements from every other group."},
        {"getGroupEnabled", "Whether the group acts."},
        {"setGroupEnabled", "Switches the group on or off."},
        {"getGroupDelay", "The group's offset in frames."},
        {"setGroupDelay", "Sets the group's offset in frames."},
        {"getGroupDeleteByAge", "Whether a Delete group deletes by age."},
        {"setGroupDeleteByAge", "Switches deletion by age."},
        {"getGroupDeleteAge", "The age, in frames, at which a Delete group deletes."},
        {"setGroupDeleteAge", "Sets the age of deletion in frames."},
        {"getGroupDeleteByDistance", "Whether a Delete group deletes by distance to the gizmo."},
        {"setGroupDeleteByDistance", "Switches deletion by distance."},
        {"getGroupDeleteDistance", "The distance at which a Delete group deletes."},
        {"setGroupDeleteDistance", "Sets the distance of deletion."},
        {"getGroupMatID", "The group's material id, 1 to 99."},
        {"setGroupMatID", "Sets the group's material id, 1 to 99."},
        {"deleteAllGroups", "Removes every group, as one undo step."},
        {"explode", "Turns the elements into keyframed nodes over the interval; returns them."},
        {"reduceKeys", "Reduces the keys of nodes or controllers over the interval."},
        {"debugPrint", "Prints every open cache and the nodes that show it."},
    };
    return help;
}

std::string typeName(std::int32_t type) {
    switch (type) {
    case FPT_FLOAT:
        return "float";
    case FPT_INT:
        return "int";
    case FPT_BOOL:
        return "bool";
    case FPT_STRING:
    case FPT_NAME:
        return "str";
    case FPT_FILENAME:
        return "str (file name)";
    case FPT_TIMEVALUE:
        return "int (ticks)";
    case FPT_INODE:
        return "Node";
    case FPT_INTERVAL:
        return "(start, end) in ticks";
    case FPT_VOID:
        return "None";
    default:
        return "value";
    }
}

std::string signature(const FPFunctionDef& f) {
    std::string text = utf8(f.name) + "(";
    for (std::size_t i = 0; i < f.params.size(); ++i) {
        const FPParamDef& p = f.params[i];
        text += (i ? ", " : "") + utf8(p.name) + ": " + typeName(p.type);
        if (p.keyword)
            text += "=" + utf8(p.defaultValue.ToScriptText());
    }
    return text + ") -> " + typeName(f.resultType);
}

// Functions whose work can take long.
bool isLongCall(const std::string& name) {
    return name == "record" || name == "explode" || name == "reduceKeys";
}

// Whether the argument declared under `name` (keyword arguments, in any case) or at
// `position` among the others is an interval.
bool declaredInterval(const FPFunctionDef& f, std::size_t position) {
    for (const FPParamDef& p : f.params)
        if (!p.keyword && position-- == 0)
            return p.type == FPT_INTERVAL;
    return false;
}

bool declaredInterval(const FPFunctionDef& f, const WStr& name) {
    for (const FPParamDef& p : f.params)
        if (p.keyword && SameScriptName(p.name, name))
            return p.type == FPT_INTERVAL;
    return false;
}

py::object callFunction(const FnsRef& fns, const FPFunctionDef& f, const py::args& args,
                        const py::kwargs& kwargs) {
    const CacheObjectRef& o = fns.owner;
    std::vector<Value> positional;
    for (const py::handle& a : args)
        positional.push_back(toValue(a, declaredInterval(f, positional.size())));
    std::vector<std::pair<WStr, Value>> keywords;
    py::object progress = py::none();
    for (const auto& [key, value] : kwargs) {
        const std::string name = key.cast<std::string>();
        if (name == "progress")
            progress = py::reinterpret_borrow<py::object>(value);
        else
            keywords.emplace_back(wide(name), toValue(value, declaredInterval(f, wide(name))));
    }
    const std::string name = utf8(f.name);
    return withHost(*o.scene, [&] {
        wkCache_obj& object = o.object();
        const TimeValue t = o.scene->host.Time().GetTime();
        auto call = [&] {
            // Like a viewport, the object is up to date at the scene time before a script
            // asks it about its cache.
            object.updateCacheMesh(t);
            auto* fp = static_cast<FPInterface*>(object.GetInterface(WK_CACHE_FNS_INTERFACE));
            return CallFunction(*fp, f.name, t, positional, keywords);
        };
        if (!isLongCall(name)) {
            if (!progress.is_none())
                throw py::type_error(name + "() takes no progress callback");
            return fromValue(call(), o.scene);
        }
        LongCall longCall(*o.scene, &object, progress);
        return fromValue(longCall.run(call), o.scene);
    });
}

py::object fnsAttribute(const FnsRef& fns, const std::string& name) {
    FPInterfaceDesc& desc = wkCache_mxs::Desc();
    if (const FPFunctionDef* f = desc.findFunction(wide(name))) {
        const auto it = functionHelp().find(utf8(f->name));
        const std::string doc =
            signature(*f) + "\n\n" + (it != functionHelp().end() ? it->second : "");
        const FPFunctionDef* def = f;
        return py::cpp_function(
            [fns, def](const py::args& args, const py::kwargs& kwargs) {
                return callFunction(fns, *def, args, kwargs);
            },
            py::name(name.c_str()), py::doc(doc.c_str()));
    }
    if (const FPPropDef* p = desc.findProp(wide(name))) {
        const CacheObjectRef& o = fns.owner;
        return withHost(*o.scene, [&] {
            wkCache_obj& object = o.object();
            const TimeValue t = o.scene->host.Time().GetTime();
            object.updateCacheMesh(t);
            return fromValue(
                GetProperty(*static_cast<FPInterface*>(object.GetInterface(WK_CACHE_FNS_INTERFACE)),
                            p->name, t),
                o.scene);
        });
    }
    throw py::attribute_error("WK_Cache_Fns has no function or property \"" + name + "\"");
}

std::vector<std::string> fnsNames() {
    std::vector<std::string> names;
    for (const FPFunctionDef& f : wkCache_mxs::Desc().functions)
        names.push_back(utf8(f.name));
    for (const FPPropDef& p : wkCache_mxs::Desc().props)
        names.push_back(utf8(p.name));
    return names;
}

std::string fnsHelp() {
    std::string text =
        "The script interface WK_Cache_Fns of a cache object.\n\n"
        "Functions take their arguments in order and their keyword arguments by name; every long "
        "one (record, explode, reduceKeys) also takes progress=callable(done, total), which "
        "cancels by returning False. Script errors raise wkcache.ScriptError with the script's "
        "text.\n\nFunctions:\n";
    for (const FPFunctionDef& f : wkCache_mxs::Desc().functions) {
        const auto it = functionHelp().find(utf8(f.name));
        text += "  " + signature(f) + "\n      " + (it != functionHelp().end() ? it->second : "") +
                "\n";
    }
    text += "\nRead-only properties:\n";
    for (const FPPropDef& p : wkCache_mxs::Desc().props)
        text += "  " + utf8(p.name) + ": " + typeName(p.type) + "\n";
    return text;
}

// Installed, the plug-in modules are in lib/wkcache/plugins, two folders above this module; the
// host's own rule looks beside the interpreter instead.
void loadPluginFolder(HeadlessHost& host) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (fs::is_directory(HeadlessPluginManager::DefaultFolder(), ec))
        return;
    const fs::path here = py::module_::import("wkcache").attr("__file__").cast<std::string>();
    const fs::path folder = here.parent_path().parent_path().parent_path() / "wkcache" / "plugins";
    if (fs::is_directory(folder, ec))
        host.Modules().LoadFolder(folder.string());
}

void saveScene(SceneState& s, const std::string& path) {
    std::string bytes;
    withHost(s, [&] {
        std::string lower = path;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        try {
            if (lower.ends_with(".json")) {
                bytes = wkcli::SceneToJsonText(s.host);
            } else {
                const std::vector<std::uint8_t> binary = wkcli::SaveSceneBinary(s.host);
                bytes.assign(binary.begin(), binary.end());
            }
        } catch (const wkcli::SceneFileError& e) {
            throw py::value_error(path + ": " + e.what());
        }
        return 0;
    });
    FileReplacement out{std::filesystem::path(path)};
    {
        std::ofstream file(out.temporary(), std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        file.close();
        if (file && out.commit())
            return;
    }
    PyErr_SetString(PyExc_OSError, (path + ": cannot be written").c_str());
    throw py::error_already_set();
}

Scene makeScene(const std::optional<std::string>& path) {
    auto scene = std::make_shared<SceneState>();
    loadPluginFolder(scene->host);
    scene->host.Listener().SetSink([](const WStr& text) {
        py::gil_scoped_acquire gil;
        py::module_::import("sys").attr("stdout").attr("write")(utf8(text));
    });
    if (path) {
        withHost(*scene, [&] {
            try {
                wkcli::LoadSceneFile(*path, scene->host);
            } catch (const wkcli::SceneFileError& e) {
                throw py::value_error(*path + ": " + e.what());
            }
            return 0;
        });
    }
    return scene;
}

} // namespace

void bindScene(py::module_& m) {
    py::class_<SceneState, Scene>(m, "Scene", R"(A headless host with one scene.

``Scene()`` is empty; ``Scene(path)`` loads a JSON scene file (docs/scene-format.md) or a
binary one (.wks, docs/scene-binary.md), and ``save(path)`` writes either. The scene
has a clock (``fps``, ``anim_range`` and ``time``, in ticks of 1/4800 s), nodes by name, and an
undo history in which each script call that changes an object is one step.)")
        .def(py::init(&makeScene), py::arg("path") = py::none())
        .def_property(
            "fps", [](SceneState& s) { return s.host.Time().GetFrameRate(); },
            [](SceneState& s, int fps) { s.host.Time().SetFrameRate(fps); },
            "Frames per second of the scene.")
        .def_property_readonly(
            "ticks_per_frame", [](SceneState& s) { return s.host.Time().GetTicksPerFrame(); },
            "Ticks in one frame at the scene's frame rate.")
        .def_property(
            "anim_range",
            [](SceneState& s) {
                const Interval r = s.host.Time().GetAnimRange();
                return py::make_tuple(r.Start(), r.End());
            },
            [](SceneState& s, std::pair<TimeValue, TimeValue> r) {
                s.host.Time().SetAnimRange(Interval(r.first, r.second));
            },
            "The animation range (start, end) in ticks.")
        .def_property(
            "time", [](SceneState& s) { return s.host.Time().GetTime(); },
            [](SceneState& s, TimeValue t) { s.host.Time().SetTime(t); },
            "The current time in ticks.")
        .def_property_readonly(
            "nodes",
            [](const Scene& s) {
                std::vector<NodeRef> out;
                for (INode* node : s->host.Nodes().Nodes())
                    out.push_back(NodeRef{s, node});
                return out;
            },
            "Every node of the scene, in scene order.")
        .def(
            "node",
            [](const Scene& s, const std::string& name) {
                INode* node = s->host.Nodes().FindNode(wide(name));
                if (!node)
                    throw py::key_error(name);
                return NodeRef{s, node};
            },
            py::arg("name"), "The node of this name; KeyError if there is none.")
        .def_property_readonly(
            "cache_objects",
            [](const Scene& s) {
                std::vector<CacheObjectRef> out;
                for (INode* node : s->host.Nodes().Nodes())
                    if (cacheObjectOf(node))
                        out.push_back(CacheObjectRef{s, node});
                return out;
            },
            "The cache objects of the scene, in scene order.")
        .def(
            "add_cache_object",
            [](const Scene& s, const std::string& name, const std::optional<std::string>& file) {
                return withHost(*s, [&] {
                    std::unique_ptr<wkCache_obj> made = NewCacheObject(s->host);
                    wkCache_obj* object = made.get();
                    INode* node = s->host.Nodes().CreateObjectNode(std::move(made));
                    node->SetName(wide(name));
                    if (file)
                        object->setFileName(
                            s->host.Assets().GetAsset(wide(*file), kAssetTypeCache));
                    return CacheObjectRef{s, node};
                });
            },
            py::arg("name") = "WK Cache", py::arg("file") = py::none(),
            "A new cache object in a node of this name, playing `file` if given; its ranges come "
            "from the animation range, as in the create panel.")
        .def(
            "undo", [](SceneState& s) { return withHost(s, [&] { return s.host.Hold().Undo(); }); },
            "Undoes the newest step; False when there is none.")
        .def(
            "redo", [](SceneState& s) { return withHost(s, [&] { return s.host.Hold().Redo(); }); },
            "Redoes the step undone last; False when there is none.")
        .def("save", &saveScene, py::arg("path"),
             R"(Writes the scene to `path`: a JSON scene file when the name ends in ".json" (any
case), else a binary scene file (.wks) that keeps everything, undo history aside. The file is
written under a temporary name and renamed into place, so a failure leaves an old file as it
was. ValueError for what the scene file cannot hold, OSError when it cannot be written.)")
        .def_property_readonly(
            "undo_steps",
            [](SceneState& s) {
                std::vector<std::string> names;
                for (int i = 0; i < s.host.Hold().NumUndoSteps(); ++i)
                    names.push_back(utf8(s.host.Hold().UndoStepName(i)));
                return names;
            },
            "The names of the undo steps, oldest first.");

    py::class_<NodeRef>(m, "Node", "A node of a scene.")
        .def_property(
            "name", [](const NodeRef& n) { return utf8(n.node->GetName()); },
            [](const NodeRef& n, const std::string& name) { n.node->SetName(wide(name)); },
            "The node's name.")
        .def_property_readonly(
            "object", [](const NodeRef& n) { return nodeObject(n.scene, n.node); },
            "The node's cache object, or None when it holds another kind.")
        .def_property_readonly(
            "position_controller",
            [](const NodeRef& n) {
                return transformPart(n, &MatrixControl::GetPositionController);
            },
            "The position controller of the node's transform, or None.")
        .def_property_readonly(
            "rotation_controller",
            [](const NodeRef& n) {
                return transformPart(n, &MatrixControl::GetRotationController);
            },
            "The rotation controller of the node's transform, or None.")
        .def_property_readonly(
            "scale_controller",
            [](const NodeRef& n) { return transformPart(n, &MatrixControl::GetScaleController); },
            "The scale controller of the node's transform, or None.")
        .def("__eq__", [](const NodeRef& a, const NodeRef& b) { return a.node == b.node; })
        .def("__hash__", [](const NodeRef& n) { return std::hash<INode*>()(n.node); })
        .def("__repr__",
             [](const NodeRef& n) { return "<wkcache.Node '" + utf8(n.node->GetName()) + "'>"; });

    py::class_<ControllerRef>(m, "Controller", "An animation controller of a scene.")
        .def_property_readonly(
            "key_times",
            [](const ControllerRef& c) {
                std::vector<TimeValue> times;
                if (const auto* control = dynamic_cast<const Control*>(c.control))
                    control->GetKeyTimes(times, FOREVER, 0);
                return times;
            },
            "The times of its keys in ticks, in order; empty for a controller without keys.")
        .def("__eq__",
             [](const ControllerRef& a, const ControllerRef& b) { return a.control == b.control; })
        .def("__hash__",
             [](const ControllerRef& c) { return std::hash<ReferenceTarget*>()(c.control); });

    py::class_<CacheObjectRef>(m, "CacheObject", R"(A cache object: a .wkc file played as one mesh.

``params`` reads and writes its parameters by internal name (ids 8 and 9, which share a name, by
number); ``mesh(time)`` gives its mesh at a time as numpy arrays; ``fns`` is its script
interface WK_Cache_Fns.)")
        .def_property_readonly(
            "node",
            [](const CacheObjectRef& o) {
                return NodeRef{o.scene, o.node};
            },
            "The node that holds the object.")
        .def_property_readonly(
            "params", [](const CacheObjectRef& o) { return ParamsRef{o}; },
            "The parameters, by internal name or by id.")
        .def_property_readonly(
            "fns", [](const CacheObjectRef& o) { return FnsRef{o}; },
            "The script interface WK_Cache_Fns: see help(wkcache.Interface).")
        .def(
            "mesh",
            [](const CacheObjectRef& o, std::optional<TimeValue> time, py::object progress) {
                return withHost(*o.scene, [&] {
                    wkCache_obj& object = o.object();
                    const TimeValue t = time.value_or(o.scene->host.Time().GetTime());
                    LongCall call(*o.scene, &object, progress);
                    call.run([&] {
                        object.updateCacheMesh(t);
                        return 0;
                    });
                    return meshArrays(object.getMesh());
                });
            },
            py::arg("time") = py::none(), py::arg("progress") = py::none(),
            R"(The object's mesh at `time` (ticks; the scene's time if None) as a dict of numpy
arrays: "vertices" float32 (n, 3), "faces" int32 (m, 3), "material_ids" int32 (m,) as faces hold
them (0-based), "smoothing_groups" uint32 (m,), "hidden" bool (m,). A pre-load runs here, with
`progress` called as progress(done, total).)")
        .def("__repr__", [](const CacheObjectRef& o) {
            return "<wkcache.CacheObject of '" + utf8(o.node->GetName()) + "'>";
        });

    py::class_<ParamsRef>(m, "Params", "A cache object's parameters, by internal name or id.")
        .def("__getitem__", &getParam)
        .def("__setitem__", &setParam)
        .def(
            "keys",
            [](const ParamsRef& p) {
                std::vector<std::string> names;
                for (const ParamDef& def : p.owner.object().params().GetDesc().params)
                    names.push_back(def.internalName);
                return names;
            },
            "The internal names, in id order.");

    py::class_<FnsRef>(m, "Interface", fnsHelp().c_str())
        .def("__getattr__", &fnsAttribute)
        .def("__dir__", [](const FnsRef&) { return fnsNames(); });
}

} // namespace wkpy
