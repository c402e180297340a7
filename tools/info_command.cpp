// `wkcache info FILE [--json]`: what a cache file holds, as a summary or as one JSON object.
//
// The JSON object always has "status", "statusText" and "fileSize"; for a sound file also the
// header, sizes, totals, channels, nodes and the element block, in that order. Floats print
// with nine significant digits (%.9g), which gives every single-precision value back exactly.
// A reader error exits with 2 and the status text on stderr (after the JSON, with --json).
#include "cachefile/wkCacheElementBlockCheck.h"
#include "cachefile/wkCacheReader.h"
#include "cachefile/wkCacheSizeText.h"
#include "host/headless/HeadlessMaterials.h"
#include "tools/cli_common.h"
#include "tools/common/cli_json.h"
#include "tools/common/info_json.h"
#include "tools/common/input_file.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <limits>
#include <memory>
#include <string>

namespace wkcli {

namespace {

using WelkardTools::wkCacheReader;

struct InfoOptions {
    std::string file;
    bool json = false;
};

std::string sizeText(std::int64_t bytes) {
    return bytes < 0 ? std::to_string(bytes) + " B"
                     : utf8(WelkardTools::FormatCacheSize(static_cast<std::uint64_t>(bytes)));
}

std::string pointText(const Point3& p) {
    return "(" + floatText(p.x) + ", " + floatText(p.y) + ", " + floatText(p.z) + ")";
}

std::string channelText(const std::map<std::int32_t, std::int32_t>& channels) {
    if (channels.empty())
        return "none";
    std::string text;
    for (const auto& [channel, count] : channels)
        text += (text.empty() ? "" : ", ") + std::to_string(channel) + " (" +
                std::to_string(count) + " map vertices)";
    return text;
}

void printSummary(wkCacheReader& reader) {
    const WelkardTools::wkCacheHeader& header = *reader.getHeader();
    const WelkardTools::wkCacheIndex& index = *reader.getIndex();
    const auto line = [](const char* label, const std::string& value) {
        std::printf("%-18s: %s\n", label, value.c_str());
    };
    line("File", utf8(reader.fileName()));
    line("Version", std::to_string(reader.getVersion()));
    line("File size", sizeText(reader.fileSize()));
    line("Mesh size", sizeText(reader.meshSize()));
    line("Animation size", sizeText(reader.animationSize()));
    line("Range", std::to_string(header.cacheStart) + " to " + std::to_string(header.cacheEnd) +
                      " ticks, step " + std::to_string(header.cacheStepSize) + " ticks");
    line("Frame rate", std::to_string(header.cacheFrameRate) + " FPS");
    line("Samples", std::to_string(header.cacheNumSamples));
    line("Frames", std::to_string(reader.numFrames()));
    line("Nodes", std::to_string(header.cacheNumNodes));
    line("Vertices", std::to_string(index.totalVerts));
    line("Faces", std::to_string(index.totalFaces));
    line("Channels", channelText(index.channels));
    line("Visibility",
         reader.cacheHasVisibility() ? "some nodes hidden at some samples" : "all visible");
    line("Specified normals", reader.cacheHasSpecifiedNormals() ? "yes" : "no");
    const Json block = elementBlock(reader);
    line("Element block",
         block.is_null() ? std::string("none")
                         : std::to_string(block["frameCount"].get<int>()) + " frames, " +
                               std::to_string(block["keyFrameCount"].get<int>()) + " key frames, " +
                               std::to_string(block["pointCount"].get<int>()) + " points, " +
                               std::to_string(block["elementCount"].get<int>()) + " elements");
    const MtlBaseLib* library = reader.getMaterialLibrary();
    const Mtl* material = reader.firstMaterial();
    line("Material library",
         library == nullptr || library->IsEmpty()
             ? std::string("none")
             : std::to_string(library->Count()) + " entries" +
                   (material ? ", first material \"" + utf8(material->GetName()) + "\"" : ""));
    for (std::size_t n = 0; n < index.nodes.size(); ++n) {
        const WelkardTools::wkCacheNodeInfo& node = *index.nodes[n];
        std::printf("  %zu \"%s\": %d vertices, %d faces, box %s to %s, channels %s%s\n", n,
                    utf8(node.name).c_str(), node.numVerts, node.numFaces,
                    pointText(node.bounds.pmin).c_str(), pointText(node.bounds.pmax).c_str(),
                    channelText(node.channels).c_str(),
                    node.hasSpecifiedNormals ? ", specified normals" : "");
    }
}

void runInfo(const InfoOptions& options) {
    try {
        (void)CheckInputFile(options.file, std::numeric_limits<std::uintmax_t>::max());
    } catch (const InputFileError& e) {
        throw CommandError(kExitBadInput, options.file + ": " + e.what());
    }
    HeadlessMaterials materials;
    wkCacheReader reader(WStr(options.file.c_str()), &materials);
    if (options.json) {
        std::string out;
        writeJson(out, infoJson(reader), 0);
        std::cout << out << '\n' << std::flush;
    } else if (!reader.hasError() && reader.getHeader() != nullptr) {
        printSummary(reader);
        std::fflush(stdout);
    }
    if (reader.status() != WelkardTools::kStatusOk)
        throw CommandError(kExitBadInput, options.file + ": " + utf8(reader.statusText()));
}

} // namespace

void addInfoCommand(CLI::App& app) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command = app.add_subcommand("info", "Show what a .wkc cache holds");
    command->add_option("FILE", options->file, "The cache file")->required();
    command->add_flag("--json", options->json, "Print one JSON object instead of a summary");
    command->callback([options] { runInfo(*options); });
}

} // namespace wkcli
