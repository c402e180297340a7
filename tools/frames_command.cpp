// `wkcache frames CACHE --range A:B [--step S] --out DIR [...]`: evaluates a new cache object on
// CACHE (or the cache object of a scene file, with --scene) at the frames A, A+S, ... up to B
// (scene frames, S may be a fraction) and writes the mesh of each as a numbered OBJ file,
// DIR/<file name>_0000.obj on, numbered in sequence. A progress
// bar runs on stderr when it is a terminal; Ctrl-C or Escape stops after the file being written
// (exit 130), keeping the files written so far.
#include "tools/cli_common.h"
#include "tools/frame_session.h"
#include "tools/obj_writer.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

namespace wkcli {

namespace {

struct FramesOptions {
    FrameOptions frame;
    std::string range;
    double step = 1.0;
    std::string out;
};

void runFrames(const FramesOptions& options) {
    long long first = 0;
    long long last = 0;
    if (!ParseRange(options.range, first, last) || first > last)
        throw CommandError(kExitUsage, "--range: expected A:B in frames with A not above B, "
                                       "got \"" +
                                           options.range + "\"");
    std::error_code ec;
    std::filesystem::create_directories(options.out, ec);
    if (!std::filesystem::is_directory(options.out, ec))
        throw CommandError(kExitBadInput, options.out + ": not a folder and cannot be made");

    FrameSession session(options.frame);
    const int tpf = session.host().Time().GetTicksPerFrame();
    const long long count =
        static_cast<long long>(std::floor(static_cast<double>(last - first) / options.step)) + 1;
    const double lowest = static_cast<double>(INT32_MIN) / tpf;
    const double highest = static_cast<double>(INT32_MAX) / tpf;
    if (static_cast<double>(first) < lowest || static_cast<double>(last) > highest)
        throw CommandError(kExitUsage, "--range: frames beyond the host's time");
    const std::string stem =
        std::filesystem::path(options.frame.scene.empty() ? options.frame.cache
                                                          : options.frame.scene)
            .stem()
            .string();

    TerminalSession& terminal = session.terminal();
    for (long long i = 0; i < count; ++i) {
        const double frame = static_cast<double>(first) + static_cast<double>(i) * options.step;
        const auto t = static_cast<TimeValue>(std::llround(frame * tpf));
        if (!session.evaluate(t)) {
            terminal.endProgress();
            throw session.failure();
        }
        char name[32];
        std::snprintf(name, sizeof name, "_%04lld.obj", i);
        Mesh mesh = session.object().getMesh();
        WriteObjFile(mesh, (std::filesystem::path(options.out) / (stem + name)).string());
        terminal.showProgress("Writing frames", i + 1, count);
        if (terminal.interrupted()) {
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
    command->add_option("--step", options->step, "Frames between two files (default 1)")
        ->check(CLI::PositiveNumber);
    command->add_option("--out", options->out, "Folder of the OBJ files (made if missing)")
        ->required();
    addFrameOptions(*command, options->frame);
    command->callback([options] { runFrames(*options); });
}

} // namespace wkcli
