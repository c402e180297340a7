#include "tools/record_session.h"

#include "cachefile/wkCacheBase.h"
#include "cachefile/wkCacheRegistry.h"
#include "panels/wkCacheFileDialogs.h"
#include "tools/cli_common.h"
#include "tools/cli_terminal.h"
#include "tools/output_file.h"
#include "tools/registry_scope.h"

#include <filesystem>
#include <system_error>

namespace wkcli {

namespace {

std::string narrow(const WStr& text) {
    return text.ToCStr().str();
}

// The stage's name from its progress format: "Writing Cache (%i %%) ..." shows "Writing Cache".
std::string stageName(const WStr& format) {
    const std::string text = narrow(format);
    return text.substr(0, text.find(" ("));
}

} // namespace

std::string RecordOutputName(const std::string& out, const std::string& defaultName,
                             const std::vector<std::string>& inputs) {
    if (out.empty())
        throw CommandError(kExitUsage, "-o: the file name is empty");
    std::error_code ec;
    const std::string name = std::filesystem::is_directory(out, ec)
                                 ? (std::filesystem::path(out) / defaultName).string()
                                 : narrow(RecordFileName(WStr::FromUTF8(out)));
    const std::filesystem::file_status status = std::filesystem::status(name, ec);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw CommandError(kExitBadInput, name + ": is not a regular file; a cache can only "
                                                 "replace a file");
    RefuseOutput(name, "-o", inputs);
    return name;
}

RecordResult RunRecording(HeadlessHost& host, wkCache_obj& object,
                          const std::optional<std::string>& outFile) {
    ScopedHost installed(host);
    RegistryScope registry(host);
    TerminalSession terminal(host.UI(), host.Panels());

    const bool quiet = outFile.has_value();
    // The terminal is the panel of an interactive recording: write errors are shown there.
    object.setPanelOpen(!quiet);
    object.setStatusObserver([&terminal](wkCache_obj& o) {
        const wkCacheProgressState& state = o.progressState();
        // Only while a stage runs: the status text goes back to the cache's state at its end.
        if (!o.statusText().IsEmpty() && state.progressTotal > 0 && !state.progressFormat.IsEmpty())
            terminal.showProgress(stageName(state.progressFormat), state.progressDone,
                                  state.progressTotal);
    });

    RecordResult result;
    const WStr name = quiet ? RecordFileName(WStr::FromUTF8(*outFile)) : WStr();
    RecordCache(object, quiet ? &name : nullptr, quiet, &result, specifyCacheFile);
    terminal.endProgress();
    object.setStatusObserver(nullptr);

    const std::string target = narrow(result.target);
    switch (result.outcome) {
    case RecordOutcome::Recorded:
        return result;
    case RecordOutcome::BadRange: {
        const wkCacheRecordParams params = object.recordParams();
        const std::string range = "record range: recStart " + std::to_string(params.recStart) +
                                  " to recEnd " + std::to_string(params.recEnd) + " ";
        throw CommandError(kExitBadInput,
                           range +
                               (params.recEnd < params.recStart
                                    ? "ends before it starts"
                                    : "lies beyond the scene's time at " +
                                          std::to_string(host.Time().GetTicksPerFrame()) +
                                          " ticks a frame") +
                               "; nothing was written");
    }
    case RecordOutcome::NothingToCache:
        throw CommandError(kExitBadInput, "nothing to cache: no node of the list can be recorded");
    case RecordOutcome::NoTarget:
        if (quiet)
            throw CommandError(kExitBadInput,
                               narrow(name) + ": cannot be written (its folder does not exist)");
        throw CommandError(kExitCancelled, "cancelled: no file was chosen");
    case RecordOutcome::Cancelled:
        throw CommandError(kExitCancelled, "cancelled: " + target + " was not written");
    case RecordOutcome::WriteFailed:
        break;
    }
    throw CommandError(kExitBadInput,
                       target + ": " + narrow(WelkardTools::wkCacheStatusText(result.status)));
}

} // namespace wkcli
