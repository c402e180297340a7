// What every subcommand of the wkcache tool shares: the exit codes and the error that carries
// one out of a command.
//
// A subcommand lives in its own file, tools/<name>_command.cpp, and adds itself to the app with
// one function, `void add<Name>Command(CLI::App& app)`, declared here and called from
// addCommands() in main.cpp. Its callback writes results to stdout and throws CommandError to
// stop with a message on stderr.
#pragma once

#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace wkcli {

// Scripts test these: keep them stable.
enum ExitCode : int {
    kExitOk = 0,
    kExitUsage = 1,       // the command line is wrong
    kExitBadInput = 2,    // a file could not be read, written or understood
    kExitCancelled = 130, // stopped by the user; the code a shell reports for Ctrl-C
};

// The footer of `wkcache --help`.
inline constexpr const char* kExitCodesHelp =
    "Exit codes:\n"
    "  0    success\n"
    "  1    usage error (unknown command or option, missing argument)\n"
    "  2    bad input or file error\n"
    "  130  cancelled (Ctrl-C, Escape, or no file chosen)";

// Stops a command: main prints "wkcache: error: <message>" on stderr and exits with code().
class CommandError : public std::runtime_error {
public:
    CommandError(ExitCode code, const std::string& message)
        : std::runtime_error(message), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

// The subcommands, in the order the help lists them.
void addDemoCommand(CLI::App& app);       // demo_command.cpp
void addRecordCommand(CLI::App& app);     // record_command.cpp
void addInfoCommand(CLI::App& app);       // info_command.cpp
void addCheckCommand(CLI::App& app);      // check_command.cpp
void addFrameCommand(CLI::App& app);      // frame_command.cpp
void addFramesCommand(CLI::App& app);     // frames_command.cpp
void addExplodeCommand(CLI::App& app);    // explode_command.cpp
void addReduceCommand(CLI::App& app);     // reduce_command.cpp
void addRenderCommand(CLI::App& app);     // render_command.cpp
void addPickCommand(CLI::App& app);       // pick_command.cpp
void addSceneCommand(CLI::App& app);      // scene_command.cpp
void addImportGltfCommand(CLI::App& app); // import_gltf_command.cpp
void addExportGltfCommand(CLI::App& app); // export_gltf_command.cpp
void addServeCommand(CLI::App& app);        // serve_command.cpp

} // namespace wkcli
