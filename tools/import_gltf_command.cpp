// `wkcache import-gltf IN.gltf|IN.glb [-o SCENE.json] [--fps N] [--record OUT.wkc [--step FRAMES]
// [--deform]]`: a glTF asset as a scene file (docs/gltf.md), and with --record the scene's
// cache object recorded at once. What the asset holds that the scene cannot carry is named on
// stderr as a warning. Without -o and --record the scene goes to stdout. Ctrl-C or Escape stops
// the import, writing nothing.
#include "tools/cli_common.h"
#include "tools/cli_terminal.h"
#include "tools/gltf/gltf_accessor.h"
#include "tools/gltf/gltf_import.h"
#include "tools/output_file.h"
#include "tools/record_session.h"
#include "tools/scene_choice.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

namespace wkcli {

namespace {

struct ImportOptions {
    std::string in;
    std::string out;
    int fps = 30;
    std::string record;
    double step = 1.0;
    bool deform = false;
};

void runImport(const ImportOptions& options) {
    // The option's range check is made of comparisons, which NaN passes.
    if (std::isnan(options.step))
        throw CommandError(kExitUsage, "--step: expected frames from 0.001 to 999999, got \"nan\"");
    std::vector<std::string> warnings;
    wkgltf::ImportResult result;
    wkgltf::ImportOptions settings;
    settings.fps = options.fps;
    settings.recStep = options.step;
    settings.recDeform = options.deform;
    if (!options.out.empty())
        RefuseOutput(options.out, "-o", {options.in});
    std::string target;
    if (!options.record.empty()) {
        target = RecordOutputName(options.record,
                                  std::filesystem::path(options.in).stem().string() + ".wkc",
                                  {options.in, options.out});
        settings.cacheFile = target;
        // An existing file is refused above by identity; one not made yet by its path, or the
        // scene, committed after the recording, would replace the new cache.
        std::error_code outError;
        std::error_code targetError;
        const std::filesystem::path scenePath =
            std::filesystem::weakly_canonical(options.out, outError);
        if (!options.out.empty() && !outError &&
            scenePath == std::filesystem::weakly_canonical(target, targetError) && !targetError)
            throw CommandError(kExitUsage, "-o and --record name the same file, " + target);
    }
    try {
        const tinygltf::Model model = wkgltf::LoadGltf(options.in, warnings);
        // A host of its own for the terminal: Ctrl-C and Escape stop a long import.
        HeadlessHost terminalHost;
        TerminalSession terminal(terminalHost.UI(), terminalHost.Panels());
        settings.progress = [&](std::size_t done, std::size_t total) {
            terminal.showProgress("Importing", static_cast<long long>(done),
                                  static_cast<long long>(total));
            return !terminal.cancelled();
        };
        try {
            result = wkgltf::ImportGltf(model, settings);
        } catch (const wkgltf::ImportCancelled&) {
            terminal.endProgress();
            throw CommandError(kExitCancelled, "cancelled: nothing was written");
        }
        terminal.endProgress();
    } catch (const wkgltf::GltfError& e) {
        std::string message = e.what();
        while (!message.empty() && message.back() == '\n')
            message.pop_back();
        throw CommandError(kExitBadInput, options.in + ": " + message);
    }
    for (const std::string& w : warnings)
        std::cerr << "wkcache: warning: " << options.in << ": " << w << '\n';
    for (const std::string& w : result.warnings)
        std::cerr << "wkcache: warning: " << options.in << ": " << w << '\n';
    const std::string text = result.scene.dump(1) + "\n";
    // The scene is committed only after its recording: a failed command leaves no new scene,
    // and an old one as it was.
    std::optional<OutputFile> scene;
    if (!options.out.empty() || options.record.empty()) {
        scene.emplace(options.out.empty() ? "-" : options.out, "-o",
                      std::vector<std::string>{options.in});
        scene->stream() << text;
    }
    if (options.record.empty()) {
        scene->commit();
        return;
    }
    HeadlessHost host;
    LoadedScene loaded;
    try {
        loaded = LoadSceneText(text, host);
    } catch (const SceneFileError& e) {
        throw CommandError(kExitBadInput, options.in + ": the imported scene: " + e.what());
    }
    if (loaded.cacheObjects.empty())
        throw CommandError(kExitBadInput, options.in + ": no mesh to record");
    const RecordResult recorded = RunRecording(host, *loaded.cacheObjects.front().object, target);
    if (scene)
        scene->commit();
    std::cout << "Recorded " << recorded.writtenNodes
              << (recorded.writtenNodes == 1 ? " node" : " nodes") << " into "
              << recorded.target.ToCStr().str() << '\n';
}

} // namespace

void addImportGltfCommand(CLI::App& app) {
    auto options = std::make_shared<ImportOptions>();
    CLI::App* command = app.add_subcommand(
        "import-gltf", "Turn a glTF 2.0 asset into a scene file, ready to record");
    command->add_option("IN", options->in, "The asset: .gltf (with its buffers) or .glb")
        ->required();
    command->add_option("-o,--output", options->out,
                        "The scene file to write (stdout without -o and --record)");
    command->add_option("--fps", options->fps, "The scene's frame rate (default 30)")
        ->check(CLI::Range(1, 4800));
    command->add_option("--record", options->record,
                        "Record the scene's cache object into this .wkc at once");
    command->add_option("--step", options->step, "Frames between recorded samples (default 1)")
        ->check(CLI::Range(0.001, 999999.0));
    command->add_flag("--deform", options->deform,
                      "Record the deformation of morph targets and skins (a version 3 cache)");
    command->callback([options] { runImport(*options); });
}

} // namespace wkcli
