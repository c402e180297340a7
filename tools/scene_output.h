// What the commands that make or change keyed nodes (explode, reduce) share: frame ranges and
// steps from the command line, the progress of the cache object's long operations on the
// terminal, and scene files written with the nodes they made or changed.
#pragma once

#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"
#include "tools/cli_terminal.h"

#include <string>
#include <vector>

namespace wkcli {

// "A:B" in frames as ticks; CommandError (usage) naming `option` otherwise.
Interval FrameRangeTicks(const std::string& text, const char* option, int ticksPerFrame);
// A step in frames (above 0, at most 999999) as whole ticks, at least 1.
std::int32_t StepTicks(double frames, const char* option, int ticksPerFrame);
// A key reduction threshold: a distance from 0 to 999999; CommandError (usage) naming `option`
// for anything else (NaN would remove every key, as no distance is above it).
float ReduceThreshold(float distance, const char* option);

// Shows the object's running stage as the terminal's progress bar while it lives.
class ProgressOnTerminal {
public:
    ProgressOnTerminal(wkCache_obj& object, TerminalSession& terminal);
    ~ProgressOnTerminal() { end(); }
    ProgressOnTerminal(const ProgressOnTerminal&) = delete;
    ProgressOnTerminal& operator=(const ProgressOnTerminal&) = delete;
    void end();

private:
    wkCache_obj& object;
    TerminalSession& terminal;
};

// Writes a scene file to `out` (under a temporary name, renamed on success): the scene file
// at `scenePath` as it was, or a new scene with the host's clock when that is empty, with the
// `added` nodes appended and the controllers of the `changed` nodes (found by name) replaced.
// `inputs` are the other files the command read; `out` may be none of them, nor the scene.
// CommandError (bad input) when it cannot be written.
void WriteScene(HeadlessHost& host, const std::string& scenePath, const std::vector<INode*>& added,
                const std::vector<INode*>& changed, const std::string& out,
                std::vector<std::string> inputs = {});

} // namespace wkcli
