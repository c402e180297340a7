// `wkcache check FILE...`: opens each cache, reads every row of its sample table, as Pre-Load
// playback would, and the whole element block (head, lists and every key); vertices, transforms
// and keys must be finite. Prints "FILE: ok" on stdout for a sound file, and "FILE: <status text>"
// on stderr for one that is not, with the row that could not be read. Exits 0 only if all are
// sound. With --json, one object on stdout instead, {"files": [{"file", "ok", "problem"}]} in
// the order given ("problem" null for a sound file), and only the count of faulty ones on stderr.
#include "cachefile/wkCacheElementBlockCheck.h"
#include "cachefile/wkCacheReader.h"
#include "tools/cli_common.h"
#include "tools/common/cli_json.h"
#include "tools/common/input_file.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace wkcli {

namespace {

using WelkardTools::wkCacheReader;

struct CheckOptions {
    std::vector<std::string> files;
    bool json = false;
};

bool finite(const Point3& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

// A vertex or transform that is infinite or NaN: the reader takes them as they are, and they
// would spread through every frame that uses them.
std::string nonFiniteValue(const wkCacheReader& reader) {
    const Mesh* mesh = reader.getFullMesh();
    for (int v = 0; mesh != nullptr && v < mesh->getNumVerts(); ++v)
        if (!finite(mesh->getVert(v)))
            return "vertex " + std::to_string(v) + " is not finite";
    for (std::int32_t s = 0; s < reader.cacheNumSamples(); ++s)
        for (std::int32_t n = 0; n < reader.cacheNumNodes(); ++n) {
            const Matrix3 m = reader.sampleTransform(n, s);
            for (int row = 0; row < 4; ++row)
                if (!finite(m.GetRow(row)))
                    return "the transform of node " + std::to_string(n) + " at sample " +
                           std::to_string(s) + " is not finite";
        }
    return {};
}

// The status text, or empty for a sound file.
std::string checkFile(const std::string& file) {
    try {
        (void)CheckInputFile(file, std::numeric_limits<std::uintmax_t>::max());
    } catch (const InputFileError& e) {
        return e.what();
    }
    wkCacheReader reader(WStr(file.c_str()));
    const auto text = [&reader] { return reader.statusText().ToCStr().str(); };
    if (reader.hasError())
        return text();
    if (!reader.preload())
        return text() + " (sample row " + std::to_string(reader.failedSample()) + ")";
    if (std::string problem = nonFiniteValue(reader); !problem.empty())
        return problem;
    return WelkardTools::CheckElementBlock(file);
}

void runCheck(const CheckOptions& options) {
    std::size_t failed = 0;
    Json files = Json::array();
    for (const std::string& file : options.files) {
        const std::string problem = checkFile(file);
        failed += problem.empty() ? 0 : 1;
        if (options.json) {
            files.push_back(Json{{"file", file},
                                 {"ok", problem.empty()},
                                 {"problem", problem.empty() ? Json(nullptr) : Json(problem)}});
        } else if (problem.empty()) {
            std::cout << file << ": ok\n";
        } else {
            std::cout << std::flush;
            std::cerr << file << ": " << problem << '\n';
        }
    }
    if (options.json) {
        std::string out;
        writeJson(out, Json{{"files", std::move(files)}});
        std::cout << out << '\n';
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
        "check",
        "Read every sample row and the element block of each cache and report the first fault");
    command->add_option("FILE", options->files, "Cache files")->required();
    command->add_flag("--json", options->json, "Print each file's verdict as one JSON object");
    command->callback([options] { runCheck(*options); });
}

} // namespace wkcli
