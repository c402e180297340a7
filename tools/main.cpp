// The wkcache command-line tool: parses the command line, runs one subcommand and turns every
// way out into one of the documented exit codes.
#include "tools/cli_common.h"
#include "tools/output_file.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <string>

#ifndef WKCACHE_VERSION
#error "WKCACHE_VERSION must come from the build (the CMake project version)"
#endif

namespace wkcli {
namespace {

// One line per subcommand, in the order the help lists them.
void addCommands(CLI::App& app) {
    addDemoCommand(app);
    addRecordCommand(app);
    addInfoCommand(app);
    addCheckCommand(app);
    addFrameCommand(app);
    addFramesCommand(app);
    addExplodeCommand(app);
    addReduceCommand(app);
    addRenderCommand(app);
    addPickCommand(app);
    addSceneCommand(app);
    addImportGltfCommand(app);
    addExportGltfCommand(app);
    addServeCommand(app);
}

int run(int argc, char** argv) {
    CLI::App app{"wkcache - tools for .wkc geometry caches", "wkcache"};
    app.set_version_flag("--version", std::string("wkcache ") + WKCACHE_VERSION,
                         "Print the version and exit");
    app.footer(kExitCodesHelp);
    app.failure_message([](const CLI::App*, const CLI::Error& e) {
        return std::string("wkcache: error: ") + e.what() +
               "\nRun with --help for more information.\n";
    });
    addCommands(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        // --help and --version arrive here too, with exit code 0 and their text on stdout;
        // CLI11's own codes for real parse errors all collapse into the one usage code.
        return app.exit(e, std::cout, std::cerr) == 0 ? kExitOk : kExitUsage;
    }

    // Without a command there is nothing to do: say how to use the tool, as a usage error, so
    // that a script that forgot its command fails.
    if (app.get_subcommands().empty()) {
        std::cerr << app.help();
        return kExitUsage;
    }
    return kExitOk;
}

} // namespace
} // namespace wkcli

int main(int argc, char** argv) {
    try {
        const int code = wkcli::run(argc, argv);
        // Output lost on a full device or a closed pipe is a failure, not a success.
        wkcli::FlushStdout();
        return code;
    } catch (const wkcli::CommandError& e) {
        std::cerr << "wkcache: error: " << e.what() << '\n';
        return e.code();
    } catch (const std::exception& e) {
        // Whatever else escapes a command came from the data it was given.
        std::cerr << "wkcache: error: " << e.what() << '\n';
        return wkcli::kExitBadInput;
    }
}
