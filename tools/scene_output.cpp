#include "tools/scene_output.h"

#include "tools/cli_common.h"
#include "tools/common/file_names.h"
#include "tools/common/input_file.h"
#include "tools/common/scene_binary.h"
#include "tools/common/scene_controllers.h"
#include "tools/common/scene_json_writer.h"
#include "tools/frame_session.h"
#include "tools/output_file.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <set>

namespace wkcli {

namespace {

constexpr long long kFrameLimit = 9999999;

std::string stageName(const WStr& format) {
    const std::string text = format.ToCStr().str();
    return text.substr(0, text.find(" ("));
}

nlohmann::json readScene(const std::string& path) {
    try {
        return nlohmann::json::parse(ReadInputFile(path, kSceneFileLimit));
    } catch (const InputFileError& e) {
        throw CommandError(kExitBadInput, path + ": " + e.what());
    } catch (const nlohmann::json::exception& e) {
        throw CommandError(kExitBadInput, path + ": " + e.what());
    }
}

} // namespace

Interval FrameRangeTicks(const std::string& text, const char* option, int ticksPerFrame) {
    long long a = 0, b = 0;
    if (!ParseRange(text, a, b) || std::llabs(a) > kFrameLimit || std::llabs(b) > kFrameLimit ||
        b < a)
        throw CommandError(kExitUsage, std::string(option) + ": expected frames A:B with A <= B, "
                                                             "each within 9999999");
    return {static_cast<TimeValue>(a * ticksPerFrame), static_cast<TimeValue>(b * ticksPerFrame)};
}

std::int32_t StepTicks(double frames, const char* option, int ticksPerFrame) {
    if (!(frames > 0.0 && frames <= 999999.0)) {
        char text[32];
        std::snprintf(text, sizeof text, "%g", frames);
        throw CommandError(kExitUsage, std::string(option) +
                                           ": expected frames above 0, at most "
                                           "999999, got " +
                                           text);
    }
    return std::max<std::int32_t>(1, static_cast<std::int32_t>(frames * ticksPerFrame));
}

float ReduceThreshold(float distance, const char* option) {
    if (!(distance >= 0.0f && distance <= 999999.0f)) {
        char text[32];
        std::snprintf(text, sizeof text, "%g", static_cast<double>(distance));
        throw CommandError(kExitUsage, std::string(option) +
                                           ": expected a distance from 0 to 999999, got " + text);
    }
    return distance;
}

ProgressOnTerminal::ProgressOnTerminal(wkCache_obj& object_, TerminalSession& terminal_)
    : object(object_), terminal(terminal_) {
    object.setStatusObserver([this](wkCache_obj& o) {
        const wkCacheProgressState& state = o.progressState();
        if (state.progressTotal > 0 && !state.progressFormat.IsEmpty())
            terminal.showProgress(stageName(state.progressFormat), state.progressDone,
                                  state.progressTotal);
    });
}

void ProgressOnTerminal::end() {
    terminal.endProgress();
    object.setStatusObserver(nullptr);
}

namespace {

bool isBinarySceneFile(const std::string& path) {
    try {
        return IsBinaryScene(ReadInputFile(path, kSceneFileLimit));
    } catch (const InputFileError& e) {
        throw CommandError(kExitBadInput, path + ": " + e.what());
    }
}

// The host's whole scene: a binary scene cannot be patched as text, so it is written from what
// the host holds, in the form the output's name asks for.
void writeWholeScene(HeadlessHost& host, const std::string& out,
                     const std::vector<std::string>& inputs) {
    std::string bytes;
    try {
        if (HasExtension(out, ".wks")) {
            const std::vector<std::uint8_t> binary = SaveSceneBinary(host);
            bytes.assign(binary.begin(), binary.end());
        } else {
            bytes = SceneToJsonText(host);
        }
    } catch (const SceneFileError& e) {
        throw CommandError(kExitBadInput, out + ": " + e.what());
    }
    OutputFile file(out, "-o", inputs);
    file.stream().write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.commit();
}

} // namespace

void WriteScene(HeadlessHost& host, const std::string& scenePath, const std::vector<INode*>& added,
                const std::vector<INode*>& changed, const std::string& out,
                std::vector<std::string> inputs) {
    if (HasExtension(out, ".wks") || (!scenePath.empty() && isBinarySceneFile(scenePath))) {
        if (!scenePath.empty())
            inputs.push_back(scenePath);
        writeWholeScene(host, out, inputs);
        return;
    }
    nlohmann::json scene;
    if (scenePath.empty()) {
        const HeadlessTime& clock = host.Time();
        const int tpf = clock.GetTicksPerFrame();
        const Interval range = clock.GetAnimRange();
        scene = {{"wkcacheScene", 1},
                 {"frameRate", clock.GetFrameRate()},
                 {"animationRange", {range.Start() / tpf, range.End() / tpf}},
                 {"nodes", nlohmann::json::array()}};
    } else {
        scene = readScene(scenePath);
        if (!scene.contains("nodes"))
            scene["nodes"] = nlohmann::json::array();
    }
    nlohmann::json& nodes = scene["nodes"];
    for (INode* node : changed) {
        const std::string name = node->GetName().ToCStr().str();
        for (nlohmann::json& entry : nodes) {
            if (entry.value("name", std::string()) == name)
                entry["controllers"] = WriteNodeControllers(*node);
        }
    }
    // A material is written by name, so only one the scene defines can go with a node.
    std::set<std::string> materials;
    for (const nlohmann::json& m : scene.value("materials", nlohmann::json::array()))
        materials.insert(m.value("name", std::string()));
    for (INode* node : added) {
        nlohmann::json entry = WriteNodeEntry(*node);
        if (const std::shared_ptr<Mtl> mtl = node->ShareMtl()) {
            const std::string name = mtl->GetName().ToCStr().str();
            if (materials.count(name) != 0)
                entry["material"] = name;
        }
        nodes.push_back(std::move(entry));
    }

    inputs.push_back(scenePath);
    OutputFile file(out, "-o", inputs);
    file.stream() << scene.dump(1) << '\n';
    file.commit();
}

} // namespace wkcli
