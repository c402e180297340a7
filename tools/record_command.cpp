// `wkcache record SCENE.json [--object NAME] [-o OUT.wkc]`: records a cache object of a scene
// file (docs/scene-format.md) with its record parameters.
//
// With -o the file is written there without questions (".wkc" is added unless the name ends in
// it; in a folder it is SCENE.wkc). The old file is replaced only when the recording succeeded.
// Without, the object's own fileName is recorded again, or, if it has none, the file name is asked
// on the terminal. Prints "Recorded N nodes into FILE" on success.
#include "tools/cli_common.h"
#include "tools/record_session.h"
#include "tools/scene_file.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace wkcli {

namespace {

struct RecordOptions {
    std::string scene;
    std::string object;
    std::string out;
    CLI::Option* outOption = nullptr;
};

void runRecord(const RecordOptions& options) {
    HeadlessHost host;
    LoadedScene loaded;
    try {
        loaded = LoadSceneFile(options.scene, host);
    } catch (const SceneFileError& e) {
        throw CommandError(kExitBadInput, options.scene + ": " + e.what());
    }
    wkCache_obj& object = ChooseCacheObject(loaded, options.scene, options.object);
    const std::optional<std::string> out =
        options.outOption->count() == 0
            ? std::nullopt
            : std::optional<std::string>(RecordOutputName(
                  options.out, std::filesystem::path(options.scene).stem().string() + ".wkc",
                  {options.scene}));
    const RecordResult result = RunRecording(host, object, out);
    std::cout << "Recorded " << result.writtenNodes
              << (result.writtenNodes == 1 ? " node" : " nodes") << " into "
              << result.target.ToCStr().str() << '\n'
              << std::flush;
}

} // namespace

void addRecordCommand(CLI::App& app) {
    auto options = std::make_shared<RecordOptions>();
    CLI::App* command =
        app.add_subcommand("record", "Record a cache object of a scene file into a .wkc cache");
    command
        ->add_option("SCENE", options->scene,
                     "The scene file: JSON (docs/scene-format.md) or binary (.wks)")
        ->required();
    command->add_option("--object", options->object,
                        "The node holding the cache object to record (needed when the scene "
                        "has several)");
    options->outOption = command->add_option(
        "-o,--output", options->out,
        "Write here without asking (.wkc is added unless the name ends in it; a folder gets "
        "SCENE.wkc inside it)");
    command->callback([options] { runRecord(*options); });
}

} // namespace wkcli
