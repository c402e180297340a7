// `wkcache frames CACHE --range A:B [--step S] --out DIR [...]`: evaluates a new cache object on
// CACHE (or the cache object of a scene file, with --scene) at the frames A, A+S, ... up to B
// (scene frames, S may be a fraction of at least one tick) and writes the mesh of each as an OBJ
// file named by its frame, DIR/<file name>_0012.obj (DIR is made when the first file is ready).
// Without --scene-fps the scene runs at the cache's own frame rate. More than 10000 files need
// --force. A progress
// bar runs on stderr when it is a terminal; Ctrl-C or Escape stops after the file being written
// (exit 130), keeping the files written so far.
#include "tools/cli_common.h"
#include "tools/frame_session.h"
#include "tools/obj_writer.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace wkcli {

namespace {

struct FramesOptions {
    FrameOptions frame;
    std::string range;
    std::string step = "1";
    std::string out;
    bool force = false;
};

// The file of `frame`: its number, with the fraction when the step has one, so that names sort
// and tell the frame ("boxes_0012.obj", "boxes_0012.50000.obj").
std::string fileName(const std::string& stem, double frame, bool wholeSteps) {
    char name[64];
    if (wholeSteps)
        std::snprintf(name, sizeof name, "_%04lld.obj", std::llround(frame));
    else
        std::snprintf(name, sizeof name, "_%010.5f.obj", frame);
    return stem + name;
}

void runFrames(const FramesOptions& options) {
    const FrameRange range = FrameRange::Parse(options.range, options.step);
    std::error_code ec;
    if (std::filesystem::exists(options.out, ec) && !std::filesystem::is_directory(options.out, ec))
        throw CommandError(kExitBadInput, options.out + ": exists and is not a folder");

    FrameSession session(options.frame);
    const std::vector<TimeValue> times =
        range.times(session.host().Time().GetTicksPerFrame(), "files", options.force);
    const auto count = static_cast<long long>(times.size());
    const double step = range.step;
    const bool wholeSteps = step == std::floor(step);
    const std::vector<std::string> inputs{options.frame.cache, options.frame.scene};
    const std::string stem =
        std::filesystem::path(options.frame.scene.empty() ? options.frame.cache
                                                          : options.frame.scene)
            .stem()
            .string();

    TerminalSession& terminal = session.terminal();
    for (long long i = 0; i < count; ++i) {
        const double frame = range.frame(i);
        if (!session.evaluate(times[static_cast<std::size_t>(i)])) {
            terminal.endProgress();
            throw session.failure();
        }
        // Made only now: a command that fails before its first file leaves no folder behind.
        if (i == 0) {
            std::filesystem::create_directories(options.out, ec);
            if (!std::filesystem::is_directory(options.out, ec))
                throw CommandError(kExitBadInput, options.out + ": the folder cannot be made");
        }
        Mesh mesh = session.object().getMesh();
        WriteObjFile(
            mesh, (std::filesystem::path(options.out) / fileName(stem, frame, wholeSteps)).string(),
            inputs);
        terminal.showProgress("Writing frames", i + 1, count);
        if (terminal.cancelled()) {
            terminal.endProgress();
            throw CommandError(kExitCancelled, "cancelled after " + std::to_string(i + 1) + " of " +
                                                   std::to_string(count) + " frames");
        }
    }
    terminal.endProgress();
    std::cout << "Wrote " << count << (count == 1 ? " frame" : " frames") << " into " << options.out
              << '\n';
}

} // namespace

void addFramesCommand(CLI::App& app) {
    auto options = std::make_shared<FramesOptions>();
    CLI::App* command = app.add_subcommand(
        "frames", "Write the meshes of a cache file over a frame range as numbered OBJ files");
    command->add_option("--range", options->range, "Scene frames A:B, both included")->required();
    command->add_option("--step", options->step,
                        "Frames between two files (default 1; at least one tick)");
    command->add_flag("--force", options->force,
                      "Write even when the range and step ask for more than 10000 files");
    command->add_option("--out", options->out, "Folder of the OBJ files (made if missing)")
        ->required();
    addFrameOptions(*command, options->frame);
    command->callback([options] { runFrames(*options); });
}

} // namespace wkcli
