// `wkcache reduce SCENE --range A:B --step FRAMES [--thresh X] [--node NAME]... -o OUT
// [--json]`: thins the keys of the transform controllers of the named nodes (every node with
// key controllers by default), as the script's reduceKeys does, writes the scene with the
// reduced controllers and reports the key counts before and after.
#include "explode/ReduceKeys.h"
#include "tools/cli_common.h"
#include "tools/common/cli_json.h"
#include "tools/common/scene_file.h"
#include "tools/output_file.h"
#include "tools/registry_scope.h"
#include "tools/scene_output.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace wkcli {

namespace {

struct ReduceOptions {
    std::string scene;
    std::string range;
    double step = 1.0;
    float thresh = 0.02f;
    std::vector<std::string> nodes;
    std::string out;
    bool json = false;
};

int transformKeys(INode& node) {
    ControlSet parts;
    AddTransformControllers(node, parts);
    int keys = 0;
    for (Control* c : parts)
        keys += std::max(c->NumKeys(), 0);
    return keys;
}

void runReduce(const ReduceOptions& options) {
    RefuseOutput(options.out, "-o", {options.scene});
    HeadlessHost host;
    ScopedHost scope(host);
    TerminalSession terminal(host.UI(), host.Panels());
    RegistryScope registry(host);
    LoadedScene loaded;
    try {
        loaded = LoadSceneFile(options.scene, host);
    } catch (const SceneFileError& e) {
        throw CommandError(kExitBadInput, options.scene + ": " + e.what());
    }
    const int tpf = host.Time().GetTicksPerFrame();
    const Interval interval = FrameRangeTicks(options.range, "--range", tpf);
    const std::int32_t step = StepTicks(options.step, "--step", tpf);
    const float thresh = ReduceThreshold(options.thresh, "--thresh");
    if ((std::int64_t{interval.End()} - interval.Start()) / step + 1 > kMaxReduceSamples)
        throw CommandError(kExitUsage, "--range, --step: more than " +
                                           std::to_string(kMaxReduceSamples) + " samples");

    std::vector<INode*> nodes;
    for (const std::string& name : options.nodes) {
        INode* node = host.Nodes().FindNode(WStr::FromUTF8(name));
        if (node == nullptr)
            throw CommandError(kExitBadInput,
                               options.scene + ": no node is named \"" + name + "\"");
        nodes.push_back(node);
    }
    if (options.nodes.empty()) {
        for (HeadlessNode* node : host.Nodes().Nodes()) {
            if (transformKeys(*node) > 0)
                nodes.push_back(node);
        }
    }

    // The status display of the run: the scene's cache object, or one made for it.
    std::unique_ptr<wkCache_obj> own;
    wkCache_obj* target = loaded.cacheObjects.empty() ? nullptr : loaded.cacheObjects[0].object;
    if (target == nullptr) {
        own = std::make_unique<wkCache_obj>();
        target = own.get();
    }
    target->setPanelOpen(true);
    std::vector<int> before;
    ControlSet controllers;
    for (INode* node : nodes) {
        before.push_back(transformKeys(*node));
        AddTransformControllers(*node, controllers);
    }
    ProgressOnTerminal progress(*target, terminal);
    const bool done = ReduceKeys(*target, controllers, interval, step, thresh);
    progress.end();
    if (!done || terminal.cancelled())
        throw CommandError(kExitCancelled, "cancelled: " + options.out + " was not written");
    WriteScene(host, options.scene, {}, nodes, options.out);

    Json list = Json::array();
    long long totalBefore = 0, totalAfter = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const int after = transformKeys(*nodes[i]);
        totalBefore += before[i];
        totalAfter += after;
        list.push_back(
            Json{{"name", utf8(nodes[i]->GetName())}, {"before", before[i]}, {"after", after}});
    }
    if (options.json) {
        std::string text;
        writeJson(text,
                  Json{{"nodes", std::move(list)}, {"before", totalBefore}, {"after", totalAfter}});
        std::cout << text << '\n';
    } else {
        std::cout << "Reduced " << nodes.size() << " nodes from " << totalBefore << " to "
                  << totalAfter << " keys into " << options.out << '\n';
    }
}

} // namespace

void addReduceCommand(CLI::App& app) {
    auto options = std::make_shared<ReduceOptions>();
    CLI::App* command = app.add_subcommand(
        "reduce", "Thin the transform keys of a scene's nodes within a threshold");
    command->add_option("SCENE", options->scene, "The scene file")->required();
    command->add_option("--range", options->range, "Frames A:B to test the curves over")
        ->required();
    command->add_option("--step", options->step, "Frames between the samples tested")->required();
    command->add_option("--thresh", options->thresh, "How far a curve may move (default 0.02)");
    command->add_option("--node", options->nodes, "A node to reduce (default: every keyed node)");
    command->add_option("-o,--out", options->out, "The scene file to write")->required();
    command->add_flag("--json", options->json, "Print the key counts as JSON");
    command->callback([options] { runReduce(*options); });
}

} // namespace wkcli
