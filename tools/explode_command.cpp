// `wkcache explode CACHE|--scene SCENE [--object NAME] --range A:B [--step FRAMES] [--to KIND]
// [--custom-node NAME] [--selected-only] [--no-reduce] [--reduce-step FRAMES]
// [--reduce-thresh X] [--param NAME=VALUE]... -o OUT.json [--json]`: turns the elements of a
// cache object into keyed nodes and writes them as a scene file (with --scene, into a copy of
// that scene). --json prints {"nodes": [{"name", "element", "keys": {"position", "rotation",
// "scale", "visibility"}}], "keyTimes": [...], "reduced": bool}, key counts after reduction.
#include "explode/ExplodeToObjects.h"
#include "tools/cli_common.h"
#include "tools/common/cli_json.h"
#include "tools/common/scene_controllers.h"
#include "tools/frame_session.h"
#include "tools/output_file.h"
#include "tools/scene_output.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <map>
#include <memory>

namespace wkcli {

namespace {

struct ExplodeOptions {
    FrameOptions frame;
    std::string range;
    double step = 1.0;
    std::string to = "objects";
    std::string customNode;
    bool selectedOnly = false;
    bool noReduce = false;
    double reduceStep = 0.0; // 0: the explode step
    float reduceThresh = 0.02f;
    std::string out;
    bool json = false;
};

int keyCount(Control* control) {
    return control != nullptr ? std::max(control->NumKeys(), 0) : 0;
}

Json nodeKeys(INode& node) {
    MatrixControl* tm = node.GetTMController();
    return Json{{"position", keyCount(tm ? tm->GetPositionController() : nullptr)},
                {"rotation", keyCount(tm ? tm->GetRotationController() : nullptr)},
                {"scale", keyCount(tm ? tm->GetScaleController() : nullptr)},
                {"visibility", keyCount(node.GetVisController())}};
}

void runExplode(const ExplodeOptions& options) {
    FrameSession session(options.frame);
    HeadlessHost& host = session.host();
    wkCache_obj& object = session.object();
    const int tpf = host.Time().GetTicksPerFrame();
    const Interval interval = FrameRangeTicks(options.range, "--range", tpf);
    const std::int32_t step = StepTicks(options.step, "--step", tpf);
    const std::int32_t reduceStep =
        options.reduceStep == 0.0 ? 0 : StepTicks(options.reduceStep, "--reduce-step", tpf);
    const float reduceThresh = ReduceThreshold(options.reduceThresh, "--reduce-thresh");
    // Every file read, the cache too (by any name: a link to it is the same file), before the
    // work that would be lost.
    const std::vector<std::string> inputs = {options.frame.scene, options.frame.cache,
                                             utf8(object.cacheFilePath())};
    RefuseOutput(options.out, "-o", inputs);

    if (ExplodeKeyCount(interval, step) > kMaxExplodeKeys)
        throw CommandError(kExitUsage, "--range, --step: more than " +
                                           std::to_string(kMaxExplodeKeys) + " keys per node");

    static const std::map<std::string, int> kinds = {
        {"objects", 0}, {"boxes", 1}, {"points", 2}, {"custom", 3}};
    const auto kind = kinds.find(options.to);
    if (kind == kinds.end())
        throw CommandError(kExitUsage, "--to: expected objects, boxes, points or custom");
    object.params().SetValue(wkCacheParam::explodeTo, 0, kind->second);
    if (kind->second == 3) {
        INode* custom = host.Nodes().FindNode(WStr::FromUTF8(options.customNode));
        if (options.customNode.empty() || custom == nullptr)
            throw CommandError(kExitUsage, "--to custom needs --custom-node naming a node");
        object.params().SetValue(wkCacheParam::explodeToNode, 0, custom);
    }

    // The terminal is the object's panel: it shows the stages' progress.
    object.setPanelOpen(true);
    ProgressOnTerminal progress(object, session.terminal());
    INodeTab nodes;
    std::vector<int> elements;
    const bool reduce = !options.noReduce;
    const int result =
        ExplodeToObjects(object, interval, step, nodes, nullptr, options.selectedOnly, reduce,
                         reduceStep, reduceThresh, true, &elements);
    progress.end();
    if (session.terminal().cancelled())
        throw CommandError(kExitCancelled, "cancelled: " + options.out + " was not written");
    // A file the object cannot play is told with its fault, as frame tells it.
    if (result == 0 && !session.evaluate(interval.Start()))
        throw session.failure();
    if (result == 0)
        throw CommandError(kExitBadInput, "nothing to explode: the object has no file it can "
                                          "play, no element to make, no custom node, or more "
                                          "than " +
                                              std::to_string(kMaxExplodeKeys) + " keys in all");

    std::vector<INode*> made(nodes.Addr(0), nodes.Addr(0) + nodes.Count());
    WriteScene(host, options.frame.scene, made, {}, options.out, inputs);
    if (options.json) {
        Json list = Json::array();
        for (std::size_t i = 0; i < made.size(); ++i)
            list.push_back(Json{{"name", utf8(made[i]->GetName())},
                                {"element", elements[i]},
                                {"keys", nodeKeys(*made[i])}});
        Json times = Json::array();
        for (TimeValue t : ExplodeKeyTimes(interval, step))
            times.push_back(t);
        std::string text;
        writeJson(
            text,
            Json{{"nodes", std::move(list)}, {"keyTimes", std::move(times)}, {"reduced", reduce}});
        std::cout << text << '\n';
    } else {
        std::cout << "Exploded " << made.size() << " elements into " << options.out << '\n';
    }
}

} // namespace

void addExplodeCommand(CLI::App& app) {
    auto options = std::make_shared<ExplodeOptions>();
    CLI::App* command =
        app.add_subcommand("explode", "Turn the elements of a cache into keyed scene nodes");
    addFrameOptions(*command, options->frame);
    command->add_option("--range", options->range, "Frames A:B to key")->required();
    command->add_option("--step", options->step, "Frames between keys (default 1)");
    command->add_option("--to", options->to, "objects, boxes, points or custom");
    command->add_option("--custom-node", options->customNode,
                        "With --to custom: the node whose object every element instances");
    command->add_flag("--selected-only", options->selectedOnly, "Only the selected elements");
    command->add_flag("--no-reduce", options->noReduce, "Keep a key at every step");
    command->add_option("--reduce-step", options->reduceStep,
                        "Frames between the samples of key reduction (default: --step)");
    command->add_option("--reduce-thresh", options->reduceThresh,
                        "How far reduction may move a curve (default 0.02)");
    command->add_option("-o,--out", options->out, "The scene file to write")->required();
    command->add_flag("--json", options->json, "Print the nodes and their key counts as JSON");
    command->callback([options] { runExplode(*options); });
}

} // namespace wkcli
