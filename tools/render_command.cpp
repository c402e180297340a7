// `wkcache render CACHE|--scene SCENE --time TICKS [view options] -o OUT.png`: one picture of a
// cache object as a viewport shows it. With `--range A:B [--step S] --out DIR` instead, a
// numbered PNG sequence of the scene frames A, A+S, ... up to B, DIR/<name>_0000.png on, with a
// progress bar on a terminal; Ctrl-C or Escape stops after the picture being written (exit 130).
// More than 10000 pictures need --force.
// A sequence keeps one camera: the view frames the bounds of all its frames, in a first pass
// that shows its own progress and stops at Ctrl-C or Escape too, before any picture.
#include "tools/cli_common.h"
#include "tools/output_file.h"
#include "tools/png_io.h"
#include "tools/viewport_session.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>

namespace wkcli {

namespace {

struct RenderOptions {
    FrameOptions frame;
    ViewOptions view;
    TimeValue time = 0;
    bool timeGiven = false;
    std::string output;
    std::string range;
    std::string step = "1";
    std::string out;
    bool force = false;
};

RgbImage Picture(HeadlessGraphicsWindow& gw) {
    return {gw.Width(), gw.Height(), gw.Pixels()};
}

// As every output of the tool: under a temporary name, never over an input, "-" for stdout.
void WritePicture(const std::string& path, const char* option, const RgbImage& image,
                  const FrameOptions& inputs) {
    OutputFile out(path, option, {inputs.cache, inputs.scene});
    WritePng(out.stream(), image);
    out.commit();
}

void runRender(const RenderOptions& options) {
    const bool sequence = !options.range.empty();
    if (sequence == options.timeGiven)
        throw CommandError(kExitUsage, "give either --time or --range");
    if (sequence ? (options.out.empty() || !options.output.empty())
                 : (options.output.empty() || !options.out.empty()))
        throw CommandError(kExitUsage, sequence ? "--range writes into --out DIR, not -o"
                                                : "--time writes one picture: give -o OUT.png");
    FrameRange range;
    if (sequence) {
        range = FrameRange::Parse(options.range, options.step);
        std::error_code ec;
        if (std::filesystem::exists(options.out, ec) &&
            !std::filesystem::is_directory(options.out, ec))
            throw CommandError(kExitBadInput, options.out + ": exists and is not a folder");
    }
    FrameSession session(options.frame);
    ViewportSession viewport(session, options.view);
    if (!sequence) {
        viewport.frame({options.time});
        if (!viewport.draw(options.time))
            throw session.failure();
        WritePicture(options.output, "-o", Picture(viewport.window()), options.frame);
        return;
    }

    const std::vector<TimeValue> times =
        range.times(session.host().Time().GetTicksPerFrame(), "pictures", options.force);
    std::error_code ec;
    const std::string stem =
        std::filesystem::path(options.frame.scene.empty() ? options.frame.cache
                                                          : options.frame.scene)
            .stem()
            .string();
    TerminalSession& terminal = session.terminal();
    const auto count = static_cast<long long>(times.size());
    if (!viewport.frame(times))
        throw CommandError(kExitCancelled,
                           "cancelled after 0 of " + std::to_string(count) + " pictures");
    for (long long i = 0; i < count; ++i) {
        if (!viewport.draw(times[static_cast<std::size_t>(i)])) {
            terminal.endProgress();
            throw session.failure();
        }
        // Made only now: a command that fails before its first picture leaves no folder behind.
        if (i == 0) {
            std::filesystem::create_directories(options.out, ec);
            if (!std::filesystem::is_directory(options.out, ec))
                throw CommandError(kExitBadInput, options.out + ": the folder cannot be made");
        }
        char name[32];
        std::snprintf(name, sizeof name, "_%04lld.png", i);
        WritePicture((std::filesystem::path(options.out) / (stem + name)).string(), "--out",
                     Picture(viewport.window()), options.frame);
        terminal.showProgress("Rendering", i + 1, count);
        if (terminal.cancelled()) {
            terminal.endProgress();
            throw CommandError(kExitCancelled, "cancelled after " + std::to_string(i + 1) + " of " +
                                                   std::to_string(count) + " pictures");
        }
    }
    terminal.endProgress();
    std::cout << "Wrote " << count << (count == 1 ? " picture" : " pictures") << " into "
              << options.out << '\n';
}

} // namespace

void addRenderCommand(CLI::App& app) {
    auto options = std::make_shared<RenderOptions>();
    CLI::App* command = app.add_subcommand(
        "render", "Draw a cache object as a viewport shows it, into a PNG picture or a sequence");
    command->add_option_function<TimeValue>(
        "--time",
        [options](const TimeValue& t) {
            options->time = t;
            options->timeGiven = true;
        },
        "Scene time in ticks (4800 a second)");
    command->add_option("-o,--output", options->output, "The PNG file to write");
    command->add_option("--range", options->range,
                        "Instead of --time: scene frames A:B, both included, one picture each");
    command->add_option("--step", options->step,
                        "With --range: frames between two pictures (default 1; at least one tick)");
    command->add_flag("--force", options->force,
                      "With --range: write even when it asks for more than 10000 pictures");
    command->add_option("--out", options->out,
                        "With --range: folder of the pictures (made if "
                        "missing)");
    addFrameOptions(*command, options->frame);
    addViewOptions(*command, options->view);
    command->callback([options] { runRender(*options); });
}

} // namespace wkcli
