// `wkcache export-gltf CACHE|--scene SCENE [--object NAME] --range A:B [--step FRAMES]
// [--param NAME=VALUE]... -o OUT.glb|OUT.gltf [--exploded]`: a cache object's playback over the
// range as a glTF 2.0 asset (docs/gltf.md): binary for .glb, JSON with the buffer inside it for
// .gltf. With --exploded the nodes `wkcache explode` would make (every step keyed, no
// reduction) are exported instead of the elements. Ctrl-C or Escape stops, writing nothing.
#include "explode/ExplodeToObjects.h"
#include "tools/cli_common.h"
#include "tools/common/file_names.h"
#include "tools/frame_session.h"
#include "tools/gltf/gltf_export.h"
#include "tools/output_file.h"
#include "tools/scene_output.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace wkcli {

namespace {

struct ExportOptions {
    FrameOptions frame;
    std::string range;
    double step = 1.0;
    std::string out;
    bool exploded = false;
};

void runExport(const ExportOptions& options) {
    const bool binary = HasExtension(options.out, ".glb");
    if (!binary && !HasExtension(options.out, ".gltf"))
        throw CommandError(kExitUsage, "-o: the name must end in .glb or .gltf");
    FrameSession session(options.frame);
    wkCache_obj& object = session.object();
    const int tpf = session.host().Time().GetTicksPerFrame();
    const Interval interval = FrameRangeTicks(options.range, "--range", tpf);
    const std::int32_t step = StepTicks(options.step, "--step", tpf);
    if (ExplodeKeyCount(interval, step) > kMaxExplodeKeys)
        throw CommandError(kExitUsage, "--range, --step: more than " +
                                           std::to_string(kMaxExplodeKeys) + " samples");
    RefuseOutput(options.out, "-o", {options.frame.cache, options.frame.scene});

    TerminalSession& terminal = session.terminal();
    wkgltf::ExportScene scene;
    if (options.exploded) {
        ProgressOnTerminal progress(object, terminal);
        INodeTab nodes;
        const int made =
            ExplodeToObjects(object, interval, step, nodes, nullptr, false, false, 0, 0.0f, true);
        progress.end();
        if (terminal.cancelled())
            throw CommandError(kExitCancelled, "cancelled: " + options.out + " was not written");
        if (made == 0 && !session.evaluate(interval.Start()))
            throw session.failure();
        if (made == 0)
            throw CommandError(kExitBadInput, "nothing to explode: the object has no file it "
                                              "can play or no element to make");
        wkgltf::CollectNodes(std::vector<INode*>(nodes.Addr(0), nodes.Addr(0) + nodes.Count()),
                             interval, step, scene);
    } else {
        const bool done = wkgltf::CollectPlayback(
            object, interval, step, object.params().GetFloat(wkCacheParam::scaleUnits, 0),
            [&](std::int64_t at, std::int64_t total) {
                terminal.showProgress("Sampling", at, total);
                return !terminal.cancelled();
            },
            scene);
        terminal.endProgress();
        if (terminal.cancelled())
            throw CommandError(kExitCancelled, "cancelled: " + options.out + " was not written");
        // A file the object cannot play is told with its fault, as frame tells it.
        if (!done && !session.evaluate(interval.Start()))
            throw session.failure();
        if (!done)
            throw CommandError(kExitBadInput, "the object has no file it can play");
    }
    const tinygltf::Model model = wkgltf::BuildGltf(scene);
    OutputFile out(options.out, "-o", {options.frame.cache, options.frame.scene});
    tinygltf::TinyGLTF writer;
    if (!writer.WriteGltfSceneToStream(&model, out.stream(), !binary, binary))
        throw CommandError(kExitBadInput, options.out + ": cannot be written");
    out.commit();
    std::cout << "Exported " << scene.nodes.size() << (scene.nodes.size() == 1 ? " node" : " nodes")
              << " over " << scene.seconds.size()
              << (scene.seconds.size() == 1 ? " sample" : " samples") << " into " << options.out
              << '\n';
}

} // namespace

void addExportGltfCommand(CLI::App& app) {
    auto options = std::make_shared<ExportOptions>();
    CLI::App* command = app.add_subcommand(
        "export-gltf", "Export a cache object's playback as a glTF 2.0 asset (.glb or .gltf)");
    addFrameOptions(*command, options->frame);
    command->add_option("--range", options->range, "Frames A:B to sample")->required();
    command->add_option("--step", options->step, "Frames between samples (default 1)");
    command->add_option("-o,--output", options->out, "The asset: .glb or .gltf")->required();
    command->add_flag("--exploded", options->exploded,
                      "Export the nodes that explode makes instead of the elements");
    command->callback([options] { runExport(*options); });
}

} // namespace wkcli
