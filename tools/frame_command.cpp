// `wkcache frame CACHE --time TICKS [--param NAME=VALUE]... [--json] [--obj OUT.obj] ...`:
// evaluates a new cache object on CACHE (or, with --scene SCENE.json [--object NAME], the cache
// object of a scene) at one scene time and shows what it plays: each element's place in the
// recording and state, the markers of hidden elements, and the mesh. From a scene, each element
// also tells its activation ("activated", "activationTick") and the material id the frame
// applies to it ("material", -1 for none).
//
// With --json one object: {"status", "elements": [{"index", "time", "sample", "fraction",
// "nextSample", "interpolate", "inRange", "beforeRange", "afterRange", "state"}], "markers":
// [[x,y,z]...], "mesh": {"verts": [[x,y,z]...], "faces": [{"v", "matID", "smGroup",
// "hidden"}]}}, floats in %.9g. Without it a short summary. A file the object cannot play exits
// with 2 and its status text on stderr (after the JSON, with --json).
#include "tools/cli_common.h"
#include "tools/cli_json.h"
#include "tools/frame_session.h"
#include "tools/obj_writer.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>

namespace wkcli {

namespace {

struct FrameCommandOptions {
    FrameOptions frame;
    TimeValue time = 0;
    bool json = false;
    std::string obj;
};

const char* elementState(const wkCachePlaybackState& state, int index) {
    if (state.deletedElements[index])
        return "deleted";
    return state.hiddenElements[index] ? "hidden" : "shown";
}

Json elementsJson(const wkCachePlaybackState& state, bool withActivation) {
    Json elements = Json::array();
    // A frame that failed before it sorted the elements put none of them in the mesh.
    const bool classified =
        state.deletedElements.GetSize() == static_cast<int>(state.elements.size());
    for (std::size_t i = 0; i < state.elements.size(); ++i) {
        const wkCacheElementState& e = state.elements[i];
        const int index = static_cast<int>(i);
        elements.push_back(Json{{"index", index},
                                {"time", e.time},
                                {"sample", e.sample},
                                {"fraction", e.fraction},
                                {"nextSample", e.nextSample},
                                {"interpolate", e.interpolate},
                                {"inRange", e.inRange},
                                {"beforeRange", e.beforeRange},
                                {"afterRange", e.afterRange},
                                {"state", classified ? elementState(state, index) : "deleted"}});
        if (withActivation) {
            Json& entry = elements.back();
            entry["activated"] = e.activated;
            entry["activationTick"] = e.activationTick;
            entry["material"] = e.appliedMaterial;
        }
    }
    return elements;
}

Json meshJson(const Mesh& mesh) {
    Json verts = Json::array();
    for (int v = 0; v < mesh.getNumVerts(); ++v)
        verts.push_back(point(mesh.getVert(v)));
    Json faces = Json::array();
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        const Face& face = mesh.getFace(f);
        faces.push_back(Json{{"v", Json::array({face.v[0], face.v[1], face.v[2]})},
                             {"matID", face.getMatID()},
                             {"smGroup", face.getSmGroup()},
                             {"hidden", face.Hidden()}});
    }
    return Json{{"verts", std::move(verts)}, {"faces", std::move(faces)}};
}

Json frameJson(wkCache_obj& object, bool fromScene) {
    Json markers = Json::array();
    for (const Matrix3& m : object.getMarkers())
        markers.push_back(point(m.GetTrans()));
    return Json{{"status", utf8(object.defaultStatusText())},
                {"elements", elementsJson(object.playbackRecord(), fromScene)},
                {"markers", std::move(markers)},
                {"mesh", meshJson(object.getMesh())}};
}

void printSummary(wkCache_obj& object) {
    const wkCachePlaybackState& state = object.playbackRecord();
    int hidden = 0;
    int deleted = 0;
    for (std::size_t i = 0; i < state.elements.size(); ++i) {
        const std::string s = elementState(state, static_cast<int>(i));
        hidden += s == "hidden";
        deleted += s == "deleted";
    }
    const Mesh& mesh = object.getMesh();
    std::cout << "status:   " << utf8(object.defaultStatusText()) << '\n'
              << "elements: " << state.elements.size() << " ("
              << state.elements.size() - static_cast<std::size_t>(hidden + deleted) << " shown, "
              << hidden << " hidden, " << deleted << " deleted)\n"
              << "mesh:     " << mesh.getNumVerts() << " vertices, " << mesh.getNumFaces()
              << " faces\n";
}

void runFrame(const FrameCommandOptions& options) {
    FrameSession session(options.frame);
    const bool ready = session.evaluate(options.time);
    wkCache_obj& object = session.object();
    if (options.json) {
        std::string out;
        writeJson(out, frameJson(object, session.fromScene()));
        std::cout << out << '\n' << std::flush;
    }
    if (!ready)
        throw session.failure();
    if (!options.json)
        printSummary(object);
    if (!options.obj.empty()) {
        Mesh mesh = object.getMesh();
        WriteObjFile(mesh, options.obj);
    }
}

} // namespace

void addFrameCommand(CLI::App& app) {
    auto options = std::make_shared<FrameCommandOptions>();
    CLI::App* command = app.add_subcommand(
        "frame", "Evaluate a cache object (new on a cache file, or of a scene) at one scene time");
    command->add_option("--time", options->time, "Scene time in ticks (4800 a second)")->required();
    addFrameOptions(*command, options->frame);
    command->add_flag("--json", options->json, "Print the elements, markers and mesh as JSON");
    command->add_option("--obj", options->obj,
                        "Write the mesh as Wavefront OBJ (UVs of channel 1, smoothing-group "
                        "normals; hidden faces left out)");
    command->callback([options] { runFrame(*options); });
}

} // namespace wkcli
