// `wkcache frame CACHE (--time TICKS | --frame F) [--param NAME=VALUE]... [--json] [--obj OUT.obj]
// ...`: evaluates a new cache object on CACHE (or, with --scene SCENE.json [--object NAME], the
// cache object of a scene) at one scene time and shows what it plays: each element's place in the
// recording and state, the markers of hidden elements, and the mesh. From a scene, each element
// also tells its activation ("activated", "activationTick") and the material id the frame
// applies to it ("material", -1 for none).
//
// With --json one object: {"status", "elements": [{"index", "name", "time", "sample", "fraction",
// "nextSample", "interpolate", "inRange", "beforeRange", "afterRange", "state"}], "markers":
// [[x,y,z]...], "mesh": {"verts": [[x,y,z]...], "faces": [{"v", "matID", "smGroup",
// "hidden"}]}}, floats in %.9g; "state" is "shown", "hiddenByVisibility", "deleted" (by a
// group) or "outOfRange". Without it a short summary. A file the object cannot play exits
// with 2 and its status text on stderr (after the JSON, with --json).
#include "cachefile/wkCacheElementBlockCheck.h"
#include "cachefile/wkCacheRegistry.h"
#include "tools/cli_common.h"
#include "tools/common/cli_json.h"
#include "tools/frame_session.h"
#include "tools/obj_writer.h"
#include "tools/output_file.h"

#include <CLI/CLI.hpp>

#include <climits>
#include <cmath>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace wkcli {

namespace {

struct FrameCommandOptions {
    FrameOptions frame;
    TimeValue time = 0;
    double frameNumber = 0.0;
    CLI::Option* timeOption = nullptr;
    CLI::Option* frameOption = nullptr;
    bool json = false;
    std::string obj;
};

// Why an element shows or not, in the words of the panel: outside the recorded range (and not
// held), deleted by a group, or hidden by its own visibility track ("hiddenByVisibility"; with
// Delete Invisible its faces are also left out of the mesh).
const char* elementState(const wkCachePlaybackState& state, int index) {
    const wkCacheElementState& e = state.elements[static_cast<std::size_t>(index)];
    if (state.deletedElements[index]) {
        if (!e.inRange)
            return "outOfRange";
        return e.deleted ? "deleted" : "hiddenByVisibility";
    }
    return state.hiddenElements[index] ? "hiddenByVisibility" : "shown";
}

// The elements' names: those of the recorded nodes, in element order.
std::vector<std::string> elementNames(wkCache_obj& object) {
    std::vector<std::string> names;
    const WelkardTools::wkCacheReader* reader =
        theCacheRegistry.readerOfClient(&object.playbackRecord());
    if (reader != nullptr && reader->getIndex() != nullptr)
        for (const auto& node : reader->getIndex()->nodes)
            names.push_back(utf8(node->name));
    return names;
}

Json elementsJson(wkCache_obj& object, bool withActivation) {
    const wkCachePlaybackState& state = object.playbackRecord();
    const std::vector<std::string> names = elementNames(object);
    Json elements = Json::array();
    // A frame that failed before it sorted the elements put none of them in the mesh.
    const bool classified =
        state.deletedElements.GetSize() == static_cast<int>(state.elements.size());
    for (std::size_t i = 0; i < state.elements.size(); ++i) {
        const wkCacheElementState& e = state.elements[i];
        const int index = static_cast<int>(i);
        elements.push_back(Json{{"index", index},
                                {"name", i < names.size() ? Json(names[i]) : Json(nullptr)},
                                {"time", e.time},
                                {"sample", e.sample},
                                {"fraction", e.fraction},
                                {"nextSample", e.nextSample},
                                {"interpolate", e.interpolate},
                                {"inRange", e.inRange},
                                {"beforeRange", e.beforeRange},
                                {"afterRange", e.afterRange},
                                {"state", classified ? elementState(state, index) : "outOfRange"}});
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
                {"elements", elementsJson(object, fromScene)},
                {"markers", std::move(markers)},
                {"mesh", meshJson(object.getMesh())}};
}

void printSummary(wkCache_obj& object) {
    const wkCachePlaybackState& state = object.playbackRecord();
    const std::vector<std::string> names = elementNames(object);
    const bool classified =
        state.deletedElements.GetSize() == static_cast<int>(state.elements.size());
    std::map<std::string, int> counts;
    for (std::size_t i = 0; i < state.elements.size() && classified; ++i)
        ++counts[elementState(state, static_cast<int>(i))];
    const Mesh& mesh = object.getMesh();
    std::cout << "status:   " << utf8(object.defaultStatusText()) << '\n'
              << "elements: " << state.elements.size() << " (" << counts["shown"] << " shown, "
              << counts["hiddenByVisibility"] << " hidden by visibility, " << counts["deleted"]
              << " deleted by groups, " << counts["outOfRange"] << " out of range)\n";
    for (std::size_t i = 0; i < state.elements.size() && classified; ++i)
        std::cout << "  " << i << " \"" << (i < names.size() ? names[i] : std::string())
                  << "\": " << elementState(state, static_cast<int>(i)) << '\n';
    std::cout << "mesh:     " << mesh.getNumVerts() << " vertices, " << mesh.getNumFaces()
              << " faces\n";
}

// The time asked for: --time in ticks, or --frame at the session's frame rate.
TimeValue requestedTime(const FrameCommandOptions& options, FrameSession& session) {
    if (options.timeOption->count() + options.frameOption->count() != 1)
        throw CommandError(kExitUsage, "give the time as either --time TICKS or --frame F");
    if (options.timeOption->count() != 0)
        return options.time;
    const double ticks = options.frameNumber * session.host().Time().GetTicksPerFrame();
    if (!(ticks >= INT32_MIN && ticks <= INT32_MAX))
        throw CommandError(kExitUsage, "--frame: beyond the host's time");
    return static_cast<TimeValue>(std::llround(ticks));
}

void runFrame(const FrameCommandOptions& options) {
    if (options.json && options.obj == "-")
        throw CommandError(kExitUsage, "--json and --obj - both write to stdout: choose one");
    // The parser takes "nan" and "inf" for numbers; they are slips, told before any file is read.
    if (options.frameOption->count() != 0 && !std::isfinite(options.frameNumber))
        throw CommandError(kExitUsage, "--frame: expected a finite number of frames, got \"" +
                                           options.frameOption->results().back() + "\"");
    if (!options.obj.empty())
        RefuseOutput(options.obj, "--obj", {options.frame.cache, options.frame.scene});
    FrameSession session(options.frame);
    const bool ready = session.evaluate(requestedTime(options, session));
    wkCache_obj& object = session.object();
    if (options.json) {
        std::string out;
        writeJson(out, frameJson(object, session.fromScene()));
        std::cout << out << '\n' << std::flush;
    }
    if (!ready)
        throw session.failure();
    if (!options.json && options.obj != "-")
        printSummary(object);
    if (!options.obj.empty()) {
        Mesh mesh = object.getMesh();
        WriteObjFile(mesh, options.obj, {options.frame.cache, options.frame.scene});
    }
    // Playback drops a broken element block without a word; the user hears of it here.
    const WelkardTools::wkCacheReader* reader =
        theCacheRegistry.readerOfClient(&object.playbackRecord());
    if (reader != nullptr) {
        const std::string file = utf8(reader->fileName());
        if (const std::string problem = WelkardTools::CheckElementBlock(file); !problem.empty())
            throw CommandError(kExitBadInput,
                               file + ": " + problem + "; its deforming elements play undeformed");
    }
}

} // namespace

void addFrameCommand(CLI::App& app) {
    auto options = std::make_shared<FrameCommandOptions>();
    CLI::App* command = app.add_subcommand(
        "frame", "Evaluate a cache object (new on a cache file, or of a scene) at one scene time");
    options->timeOption =
        command->add_option("--time", options->time, "Scene time in ticks (4800 a second)");
    options->frameOption =
        command->add_option("--frame", options->frameNumber,
                            "Scene time in frames at the scene's frame rate (may have a fraction)");
    command->footer("The status is the object's status line: F: the bytes of animation data in "
                    "the file (sample table and element keys), M: how many of them are loaded in "
                    "memory.");
    addFrameOptions(*command, options->frame);
    command->add_flag("--json", options->json, "Print the elements, markers and mesh as JSON");
    command->add_option("--obj", options->obj,
                        "Write the mesh as Wavefront OBJ (UVs of channel 1, smoothing-group "
                        "normals; hidden faces left out); - writes it to stdout");
    command->callback([options] { runFrame(*options); });
}

} // namespace wkcli
