#include "tools/frame_session.h"

#include "cachefile/wkCacheHeader.h"
#include "cachefile/wkCacheRegistry.h"
#include "host/headless/HeadlessParamBlock.h"
#include "tools/cli_common.h"
#include "tools/common/cli_json.h"
#include "tools/common/input_file.h"
#include "tools/common/module_objects.h"
#include "tools/scene_choice.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>

namespace wkcli {

void addFrameOptions(CLI::App& command, FrameOptions& options) {
    command.add_option("CACHE", options.cache, "The .wkc file (or give --scene)");
    command.add_option(
        "--scene", options.scene,
        "Evaluate a cache object of this scene file instead: JSON (docs/scene-format.md) "
        "or binary (.wks)");
    command.add_option("--object", options.object,
                       "With --scene: the node holding the cache object (needed when the scene "
                       "has several)");
    command
        .add_option("--param", options.params,
                    "Set a parameter before the first frame: NAME=VALUE with the internal "
                    "name (or the id) of the parameter, booleans as 0/1; the unit lists are "
                    "8 (From) and 9 (To) and record the choice only: scaleUnits is the "
                    "factor. Repeatable, applied in order")
        ->allow_extra_args(false); // one value each: a cache path after it stays the cache

    command
        .add_option("--scene-fps", options.sceneFps,
                    "Frame rate of the scene (default: the cache's own, or the scene file's)")
        ->check(CLI::Range(1, TICKS_PER_SECOND));
    command.add_option("--anim-range", options.animRange,
                       "Animation range of the scene, A:B in ticks (default 0:16000)");
    command.add_flag("--render", options.render, "Evaluate as a render, not for the viewport");
    command.add_flag("--playing", options.playing, "Evaluate as during animation playback");
}

bool ParseRange(const std::string& text, long long& a, long long& b) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos)
        return false;
    try {
        std::size_t used = 0;
        const std::string first = text.substr(0, colon);
        const std::string second = text.substr(colon + 1);
        a = std::stoll(first, &used);
        if (used != first.size())
            return false;
        b = std::stoll(second, &used);
        return used == second.size();
    } catch (const std::exception&) {
        return false;
    }
}

FrameRange FrameRange::Parse(const std::string& range, const std::string& step) {
    FrameRange parsed;
    if (!ParseRange(range, parsed.first, parsed.last) || parsed.first > parsed.last)
        throw CommandError(kExitUsage,
                           "--range: expected A:B in frames with A not above B, got \"" + range +
                               "\"");
    // Parsed here rather than by a validator, whose message prints the smallest double.
    char* end = nullptr;
    parsed.step = std::strtod(step.c_str(), &end);
    if (step.empty() || *end != '\0' || !std::isfinite(parsed.step) || !(parsed.step > 0.0))
        throw CommandError(kExitUsage,
                           "--step: expected a positive number of frames, got \"" + step + "\"");
    parsed.stepText = step;
    return parsed;
}

std::vector<TimeValue> FrameRange::times(int ticksPerFrame, const char* noun, bool force) const {
    // A request beyond this many files is more likely a slip than a wish.
    constexpr long long kCountWithoutForce = 10'000;
    if (step * ticksPerFrame < 1.0)
        throw CommandError(kExitUsage, "--step: " + stepText + " frames is less than one tick (1/" +
                                           std::to_string(ticksPerFrame) +
                                           " frame at this frame rate)");
    if (static_cast<double>(first) * ticksPerFrame < INT_MIN ||
        static_cast<double>(last) * ticksPerFrame > INT_MAX)
        throw CommandError(kExitUsage, "--range: frames beyond the host's time");
    const auto count =
        static_cast<long long>(std::floor(static_cast<double>(last - first) / step)) + 1;
    if (count > kCountWithoutForce && !force)
        throw CommandError(kExitUsage, "this would write " + std::to_string(count) + " " + noun +
                                           " (more than " + std::to_string(kCountWithoutForce) +
                                           "); give --force if that is meant");
    std::vector<TimeValue> result;
    result.reserve(static_cast<std::size_t>(count));
    for (long long i = 0; i < count; ++i)
        result.push_back(static_cast<TimeValue>(std::llround(frame(i) * ticksPerFrame)));
    return result;
}

namespace {

void setClock(HeadlessTime& clock, const FrameOptions& options) {
    if (options.sceneFps != 0)
        clock.SetFrameRate(options.sceneFps);
    if (!options.animRange.empty()) {
        long long a = 0;
        long long b = 0;
        if (!ParseRange(options.animRange, a, b) || a > b || a < INT_MIN || b > INT_MAX)
            throw CommandError(kExitUsage, "--anim-range: expected A:B in ticks with A not "
                                           "above B, got \"" +
                                               options.animRange + "\"");
        clock.SetAnimRange(Interval(static_cast<TimeValue>(a), static_cast<TimeValue>(b)));
    }
    clock.SetAnimPlaying(options.playing ? 1 : 0);
}

// The frame rate in the header of a cache, or 0 when the header is not a valid one (the object
// then reports the file's fault).
int cacheFrameRate(const std::string& path) {
    unsigned char bytes[46] = {};
    std::ifstream in(path, std::ios::binary);
    if (!in.read(reinterpret_cast<char*>(bytes), sizeof bytes))
        return 0;
    const WelkardTools::wkCacheHeader header = WelkardTools::wkCacheHeader::Decode(bytes);
    return header.IsValid() && header.cacheFrameRate <= TICKS_PER_SECOND ? header.cacheFrameRate
                                                                         : 0;
}

} // namespace

FrameSession::FrameSession(const FrameOptions& options)
    : sourceName(options.scene.empty() ? options.cache : options.scene), render(options.render),
      scene(!options.scene.empty()) {
    if (options.noFile ? scene || !options.cache.empty() : scene == !options.cache.empty())
        throw CommandError(kExitUsage, "give either a CACHE file or --scene");
    if (!scene && !options.object.empty())
        throw CommandError(kExitUsage, "--object needs --scene");
    if (scene) {
        LoadedScene loaded;
        try {
            loaded = LoadSceneFile(options.scene, headless);
        } catch (const SceneFileError& e) {
            throw CommandError(kExitBadInput, options.scene + ": " + e.what());
        }
        cache = &ChooseCacheObject(loaded, options.scene, options.object);
        setClock(headless.Time(), options);
    } else {
        if (!options.noFile) {
            try {
                (void)CheckInputFile(options.cache, std::numeric_limits<std::uintmax_t>::max());
            } catch (const InputFileError& e) {
                throw CommandError(kExitBadInput, options.cache + ": " + e.what());
            }
            // A cache plays at its own rate unless the scene's is given.
            if (options.sceneFps == 0)
                if (const int fps = cacheFrameRate(options.cache); fps > 0)
                    headless.Time().SetFrameRate(fps);
        }
        setClock(headless.Time(), options);
        auto made = NewCacheObject(headless);
        cache = made.get();
        INode* node = headless.Nodes().CreateObjectNode(std::move(made));
        node->SetName(L"WK Cache");
        if (!options.noFile)
            cache->setFileName(
                headless.Assets().GetAsset(WStr::FromUTF8(options.cache), kAssetTypeCache));
    }

    for (const std::string& assignment : options.params) {
        const std::size_t equals = assignment.find('=');
        if (equals == std::string::npos)
            throw CommandError(kExitUsage,
                               "--param: expected NAME=VALUE, got \"" + assignment + "\"");
        std::string error;
        if (!SetParamByName(cache->params(), assignment.substr(0, equals),
                            assignment.substr(equals + 1), error))
            throw CommandError(kExitUsage, "--param: " + error);
    }
}

FrameSession::~FrameSession() {
    if (renderStarted)
        cache->RenderEnd(headless.Time().GetTime());
}

bool FrameSession::evaluate(TimeValue t) {
    if (render && !renderStarted) {
        cache->RenderBegin(t);
        renderStarted = true;
    }
    headless.Time().SetTime(t);
    cache->updateCacheMesh(t);
    return cache->isMeshReady();
}

CommandError FrameSession::failure() const {
    // The scene itself was read: what failed is the cache it names.
    const std::string file = scene ? utf8(cache->cacheFilePath()) : std::string();
    return CommandError(kExitBadInput, sourceName + ": " +
                                           (file.empty() ? "" : "its cache " + file + ": ") +
                                           utf8(cache->defaultStatusText()));
}

} // namespace wkcli
