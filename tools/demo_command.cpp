// `wkcache demo [-o FILE]`: builds the procedural demo scene (see demo_scene.h), records it
// with deformation and topology into demo.wkc (or FILE), and prints what `wkcache info` prints
// for the result.
#include "tools/cli_common.h"
#include "tools/demo_scene.h"
#include "tools/record_session.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace wkcli {

namespace {

struct DemoOptions {
    std::string out = "demo.wkc";
};

void runDemo(CLI::App& app, const DemoOptions& options) {
    std::string written;
    {
        HeadlessHost host;
        ScopedHost installed(host);
        wkCache_obj& cache = BuildDemoScene(host);
        const RecordResult result =
            RunRecording(host, cache, RecordOutputName(options.out, "demo.wkc", {}));
        written = result.target.ToCStr().str();
        std::cout << "Recorded " << result.writtenNodes << " nodes into " << written << "\n\n"
                  << std::flush;
    }
    // The summary is the info command's own: run it on the new file.
    CLI::App* info = app.get_subcommand("info");
    std::vector<std::string> arguments{written, "--"}; // in reverse order, as CLI11 takes them
    info->parse(arguments);
}

} // namespace

void addDemoCommand(CLI::App& app) {
    auto options = std::make_shared<DemoOptions>();
    CLI::App* command = app.add_subcommand(
        "demo", "Record a procedural demo scene into demo.wkc and show what it holds");
    command
        ->add_option("-o,--output", options->out,
                     "Write the demo cache here instead (a folder gets demo.wkc inside it)")
        ->capture_default_str();
    command->callback([&app, options] { runDemo(app, *options); });
}

} // namespace wkcli
