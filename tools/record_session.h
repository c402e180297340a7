// One recording as the wkcache tool runs it: the scene's host installed, its user interface
// answered on the terminal, progress drawn on stderr, and the outcome turned into the tool's
// exit codes.
#pragma once

#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"
#include "recording/RecordCache.h"

#include <optional>
#include <string>
#include <vector>

namespace wkcli {

// Records `object` of the scene in `host`. With `outFile` the quiet path runs (the name gets
// ".wkc" unless it ends in it, as the script's record does); without, the interactive one (the
// object's own file, or a name asked on the terminal). Answers the result of a recording that
// wrote its file; throws CommandError otherwise: 2 for nothing to cache or a write error, 130
// for a cancel.
// The file `-o` names for a recording: a folder takes `defaultName` inside it. Throws
// CommandError for an empty name, a target that is not a regular file (a device, a FIFO: the
// recording replaces its target by renaming) and a target that is one of `inputs`.
std::string RecordOutputName(const std::string& out, const std::string& defaultName,
                             const std::vector<std::string>& inputs);

RecordResult RunRecording(HeadlessHost& host, wkCache_obj& object,
                          const std::optional<std::string>& outFile);

} // namespace wkcli
