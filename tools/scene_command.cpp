// `wkcache scene save|load|dump`: converts a scene between its JSON form and the binary scene
// file, and lists the chunk tree of a binary one.
//
//   wkcache scene save SCENE.json -o SCENE.wks
//   wkcache scene load SCENE.wks -o SCENE.json
//   wkcache scene dump SCENE.wks [--json]
//
// save and load take either kind of input (the content says which), so both also rewrite a
// file of their own kind.
#include "elements/wkCacheGroup.h"
#include "elements/wkCacheGroupChunk.h"
#include "host/BitArray.h"
#include "host/Utf8.h"
#include "host/headless/HeadlessChunkFile.h"
#include "tools/cli_common.h"
#include "tools/common/input_file.h"
#include "tools/common/scene_binary.h"
#include "tools/common/scene_json_writer.h"
#include "tools/output_file.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <span>
#include <string>

namespace wkcli {

namespace {

using Json = nlohmann::json;

struct SceneOptions {
    std::string input;
    std::string output;
    bool json = false;
};

std::string readScene(const std::string& path) {
    try {
        return ReadInputFile(path, kSceneFileLimit);
    } catch (const InputFileError& e) {
        throw CommandError(kExitBadInput, path + ": " + e.what());
    }
}

// The scene of `path`, of either kind, built into `host`.
void loadScene(const std::string& path, HeadlessHost& host) {
    try {
        (void)LoadSceneText(readScene(path), host);
    } catch (const SceneFileError& e) {
        throw CommandError(kExitBadInput, path + ": " + e.what());
    }
}

void runSave(const SceneOptions& options) {
    HeadlessHost host;
    loadScene(options.input, host);
    std::vector<std::uint8_t> bytes;
    try {
        bytes = SaveSceneBinary(host);
    } catch (const SceneFileError& e) {
        throw CommandError(kExitBadInput, options.input + ": " + e.what());
    }
    OutputFile out(options.output, "-o", {options.input});
    out.stream().write(reinterpret_cast<const char*>(bytes.data()),
                       static_cast<std::streamsize>(bytes.size()));
    out.commit();
}

void runLoad(const SceneOptions& options) {
    HeadlessHost host;
    loadScene(options.input, host);
    std::string text;
    try {
        text = SceneToJsonText(host);
    } catch (const SceneFileError& e) {
        throw CommandError(kExitBadInput, options.input + ": " + e.what());
    }
    OutputFile out(options.output, "-o", {options.input});
    out.stream() << text;
    out.commit();
}

// ---- dump

const char* chunkName(std::uint16_t id, bool inPlugin) {
    if (inPlugin)
        return id == 0x0100 ? "element selection" : id == kGroupsChunkId ? "groups" : "";
    static const std::map<std::uint16_t, const char*> names = {
        {SceneChunk::header, "header"},
        {SceneChunk::materials, "materials"},
        {SceneChunk::nodes, "nodes"},
        {SceneChunk::material, "material"},
        {SceneChunk::materialName, "material name"},
        {SceneChunk::materialSubs, "sub-materials"},
        {SceneChunk::node, "node"},
        {SceneChunk::nodeName, "node name"},
        {SceneChunk::nodeSettings, "node settings"},
        {SceneChunk::position, "position track"},
        {SceneChunk::rotation, "rotation track"},
        {SceneChunk::scale, "scale track"},
        {SceneChunk::visibility, "visibility track"},
        {SceneChunk::transform, "transform controller"},
        {SceneChunk::object, "object"},
        {SceneChunk::objectClass, "object class"},
        {SceneChunk::mesh, "mesh"},
        {SceneChunk::deformKey, "deformation key"},
        {SceneChunk::topologyState, "topology state"},
        {SceneChunk::stateTime, "state time"},
        {SceneChunk::spline, "spline"},
        {SceneChunk::farAttenuation, "far attenuation track"},
        {SceneChunk::pluginData, "plug-in object data"},
        {SceneChunk::paramBlock, "parameter block"},
        {SceneChunk::param, "parameter"},
        {SceneChunk::gizmo, "gizmo"},
        {SceneChunk::positionKeys, "position key controller"},
        {SceneChunk::rotationKeys, "rotation key controller"},
        {SceneChunk::scaleKeys, "scale key controller"},
        {SceneChunk::visibilityKeys, "visibility key controller"},
    };
    const auto it = names.find(id);
    return it == names.end() ? "" : it->second;
}

std::string hexId(std::uint16_t id) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", id);
    return text;
}

Json groupJson(const wkCacheGroup& g) {
    return {{"name", wkhost::EncodeUtf8(g.name.view())},
            {"mode", wkhost::EncodeUtf8(groupModeLabel(g.mode))},
            {"enabled", g.enabled},
            {"offset", g.offset},
            {"materialId", g.materialId},
            {"respectActivation", g.respectActivation},
            {"byAge", g.byAge},
            {"age", g.age},
            {"byDistance", g.byDistance},
            {"distance", g.distance},
            {"elements", g.elements}};
}

// The cache object's chunks, decoded; a chunk that does not decode says so.
void decode(HeadlessChunkReader& reader, Json& chunk) {
    if (reader.CurChunkID() == 0x0100) {
        BitArray bits;
        if (bits.Load(reader) != IO_OK) {
            chunk["error"] = "the bit array does not load";
            return;
        }
        Json selected = Json::array();
        for (int i = 0; i < bits.GetSize(); ++i)
            if (bits[i])
                selected.push_back(i);
        chunk["bits"] = bits.GetSize();
        chunk["selected"] = std::move(selected);
    } else if (reader.CurChunkID() == kGroupsChunkId) {
        std::vector<std::uint8_t> bytes(reader.Remaining());
        wkCacheGroupList list;
        if (reader.Read(bytes.data(), bytes.size()) != IO_OK ||
            loadGroups(list, bytes) == wkCacheGroupIO::readError) {
            chunk["error"] = "the group list does not load";
            return;
        }
        Json groups = Json::array();
        for (std::int32_t g = 0; g < list.count(); ++g)
            groups.push_back(groupJson(list.at(g)));
        chunk["groups"] = std::move(groups);
    }
}

constexpr std::size_t kDumpDepthLimit = 64;

Json chunkTree(HeadlessChunkReader& reader, bool inPlugin, const std::string& path) {
    Json level = Json::array();
    while (true) {
        const IOResult opened = reader.OpenChunk();
        if (opened == IO_END)
            break;
        if (opened != IO_OK)
            throw CommandError(kExitBadInput, path +
                                                  ": damaged scene file: a chunk header at depth " +
                                                  std::to_string(reader.Depth()) +
                                                  " is damaged or runs past its end");
        const std::uint16_t id = reader.CurChunkID();
        Json chunk{
            {"id", hexId(id)}, {"name", chunkName(id, inPlugin)}, {"size", reader.Remaining() + 6}};
        // A hostile file can nest chunks as deep as its bytes allow: far beyond any scene.
        if (reader.Depth() > kDumpDepthLimit)
            throw CommandError(kExitBadInput, path +
                                                  ": damaged scene file: chunks nest deeper "
                                                  "than " +
                                                  std::to_string(kDumpDepthLimit));
        if (reader.CurChunkIsContainer())
            chunk["chunks"] = chunkTree(reader, id == SceneChunk::pluginData, path);
        else if (inPlugin)
            decode(reader, chunk);
        reader.CloseChunk();
        level.push_back(std::move(chunk));
    }
    return level;
}

void printTree(const Json& level, int depth) {
    for (const Json& chunk : level) {
        std::cout << std::string(static_cast<std::size_t>(depth) * 2, ' ')
                  << chunk["id"].get<std::string>() << ' ' << chunk["size"].get<std::size_t>()
                  << " bytes";
        if (const std::string name = chunk["name"]; !name.empty())
            std::cout << "  " << name;
        if (chunk.contains("error"))
            std::cout << ": " << chunk["error"].get<std::string>();
        if (chunk.contains("bits")) {
            std::cout << ": " << chunk["bits"] << " bits, selected " << chunk["selected"].dump();
        }
        std::cout << '\n';
        if (chunk.contains("groups")) {
            for (const Json& g : chunk["groups"])
                std::cout << std::string(static_cast<std::size_t>(depth + 1) * 2, ' ') << "group "
                          << g["name"] << ": " << g["mode"].get<std::string>()
                          << (g["enabled"].get<bool>() ? "" : " (off)") << ", elements "
                          << g["elements"].dump() << '\n';
        }
        if (chunk.contains("chunks"))
            printTree(chunk["chunks"], depth + 1);
    }
}

void runDump(const SceneOptions& options) {
    const std::string bytes = readScene(options.input);
    if (IsCacheFile(bytes))
        throw CommandError(kExitBadInput, options.input + ": a .wkc cache, not a scene file");
    if (!IsBinaryScene(bytes))
        throw CommandError(kExitBadInput, options.input + ": not a binary scene file");
    HeadlessChunkReader reader(
        std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
    const Json tree = chunkTree(reader, false, options.input);
    if (options.json)
        std::cout << Json{{"file", options.input}, {"size", bytes.size()}, {"chunks", tree}}.dump(2)
                  << '\n';
    else
        printTree(tree, 0);
}

} // namespace

void addSceneCommand(CLI::App& app) {
    CLI::App* scene =
        app.add_subcommand("scene", "Convert scenes between JSON and binary scene files");
    // At most one action, and none is refused in the callback: require_subcommand's check comes
    // before the one of unexpected words, and so would not name a misspelt action.
    scene->require_subcommand(0, 1);
    scene->callback([scene] {
        if (scene->get_subcommands().empty())
            throw CommandError(kExitUsage, "scene: expected an action: save, load or dump");
    });

    auto save = std::make_shared<SceneOptions>();
    CLI::App* saveCommand =
        scene->add_subcommand("save", "Write a scene (JSON or binary) as a binary scene file");
    saveCommand->add_option("SCENE", save->input, "Scene file")->required();
    saveCommand->add_option("-o,--output", save->output, "Binary scene file to write")->required();
    saveCommand->callback([save] { runSave(*save); });

    auto load = std::make_shared<SceneOptions>();
    CLI::App* loadCommand =
        scene->add_subcommand("load", "Write a scene (binary or JSON) as a JSON scene file");
    loadCommand->add_option("SCENE", load->input, "Scene file")->required();
    loadCommand->add_option("-o,--output", load->output, "JSON scene file to write")->required();
    loadCommand->callback([load] { runLoad(*load); });

    auto dump = std::make_shared<SceneOptions>();
    CLI::App* dumpCommand = scene->add_subcommand(
        "dump", "List the chunks of a binary scene file, with the cache objects' content");
    dumpCommand->add_option("SCENE", dump->input, "Binary scene file")->required();
    dumpCommand->add_flag("--json", dump->json, "Print the chunk tree as JSON");
    dumpCommand->callback([dump] { runDump(*dump); });
}

} // namespace wkcli
