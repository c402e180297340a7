// `wkcache check FILE...`: opens each cache and reads every row of its sample table, as Pre-Load
// playback would. Prints "FILE: ok" on stdout for a sound file, and "FILE: <status text>" on
// stderr for one that is not, with the row that could not be read. Exits 0 only if all are sound.
#include "cachefile/wkCacheReader.h"
#include "tools/cli_common.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace wkcli {

namespace {

using WelkardTools::wkCacheReader;

struct CheckOptions {
    std::vector<std::string> files;
};

// The status text, or empty for a sound file.
std::string checkFile(const std::string& file) {
    wkCacheReader reader(WStr(file.c_str()));
    const auto text = [&reader] { return reader.statusText().ToCStr().str(); };
    if (reader.hasError())
        return text();
    if (!reader.preload())
        return text() + " (sample row " + std::to_string(reader.failedSample()) + ")";
    return {};
}

void runCheck(const CheckOptions& options) {
    std::size_t failed = 0;
    for (const std::string& file : options.files) {
        const std::string problem = checkFile(file);
        if (problem.empty()) {
            std::cout << file << ": ok\n";
        } else {
            ++failed;
            std::cout << std::flush;
            std::cerr << file << ": " << problem << '\n';
        }
    }
    std::cout << std::flush;
    if (failed > 0)
        throw CommandError(kExitBadInput, std::to_string(failed) + " of " +
                                              std::to_string(options.files.size()) +
                                              " caches are not sound");
}

} // namespace

void addCheckCommand(CLI::App& app) {
    auto options = std::make_shared<CheckOptions>();
    CLI::App* command = app.add_subcommand(
        "check", "Read every sample row of each cache and report the first fault");
    command->add_option("FILE", options->files, "Cache files")->required();
    command->callback([options] { runCheck(*options); });
}

} // namespace wkcli
