// A cache object evaluated from the command line: what `wkcache frame` and `wkcache frames`
// share.
//
// The session installs a headless host. On a bare cache it sets the scene clock of the options,
// makes a new cache object (as the create panel would: its ranges from the animation range) in a
// node of its own and points it at the file. On a scene file it loads the scene and takes its
// cache object, with the groups, gizmo and trigger settings the file gives, and then applies the
// clock options. With `noFile` it makes the new cache object and gives it no file. Either way the
// parameter values of the command line come last, in order.
#pragma once

#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"
#include "tools/cli_common.h"
#include "tools/cli_terminal.h"
#include "tools/registry_scope.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace wkcli {

struct FrameOptions {
    std::string cache;               // a bare cache file, or
    std::string scene;               // a scene file (docs/scene-format.md)
    std::string object;              // with the node of its cache object
    std::vector<std::string> params; // NAME=VALUE, internal names or ids
    int sceneFps = 0;                // 0: the host's default
    std::string animRange;           // A:B in ticks, empty for the default
    bool render = false;
    bool playing = false;
    bool noFile = false; // neither: a new cache object with no file yet
};

// Adds the options above to a subcommand.
void addFrameOptions(CLI::App& command, FrameOptions& options);

class FrameSession {
public:
    // Throws CommandError (usage) for a bad option value.
    explicit FrameSession(const FrameOptions& options);
    // Ends a render that is still on; the cache closes with the session.
    ~FrameSession();
    FrameSession(const FrameSession&) = delete;
    FrameSession& operator=(const FrameSession&) = delete;

    HeadlessHost& host() { return headless; }
    // Ctrl-C and Escape reach the host as its Escape key: an activation scan or a pre-load stops.
    TerminalSession& terminal() { return term; }
    wkCache_obj& object() { return *cache; }
    bool fromScene() const { return scene; }

    // Builds the object's mesh at t (in a render with --render); false when the object cannot
    // play the file.
    bool evaluate(TimeValue t);
    // The error of a failed evaluate: the file (from a scene, also its cache) with the object's
    // status text.
    CommandError failure() const;

private:
    HeadlessHost headless;
    ScopedHost scope{headless};
    TerminalSession term{headless.UI(), headless.Panels()};
    RegistryScope registry{headless};
    std::string sourceName; // the cache or scene file, for messages
    wkCache_obj* cache = nullptr;
    bool render;
    bool scene;
    bool renderStarted = false;
};

// "A:B" into two integers; false when it is not that.
bool ParseRange(const std::string& text, long long& a, long long& b);

// The frames A, A+S, ... up to B of `--range A:B --step S`, for the commands that write one file
// a frame. Parse checks the text (a usage error names the option); times checks what needs the
// scene's frame rate: a step of at least one tick, frames within the host's time, and no more
// than 10000 `noun` without `force`.
struct FrameRange {
    long long first = 0;
    long long last = 0;
    double step = 1.0;
    std::string stepText;

    static FrameRange Parse(const std::string& range, const std::string& step);
    double frame(long long i) const {
        return static_cast<double>(first) + static_cast<double>(i) * step;
    }
    std::vector<TimeValue> times(int ticksPerFrame, const char* noun, bool force) const;
};

} // namespace wkcli
