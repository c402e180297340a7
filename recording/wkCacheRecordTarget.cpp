#include "recording/wkCacheRecordTarget.h"

#include "host/Host.h"

#include <algorithm>
#include <cmath>

namespace {

// floor(done / total * 100 + 0.5) in single precision; a total of 0 (or a figure that is no
// number) shows 0, and the result stays within an int.
int percent(std::int32_t done, std::int32_t total) {
    const float value =
        std::floor(static_cast<float>(done) / static_cast<float>(total) * 100.0f + 0.5f);
    if (!std::isfinite(value))
        return 0;
    return static_cast<int>(std::clamp(value, -2147483520.0f, 2147483520.0f));
}

} // namespace

bool wkCacheRecordProgress(void* context, std::int32_t done, std::int32_t total) {
    auto& target = *static_cast<wkCacheRecordTarget*>(context);
    wkCacheProgressState& state = target.progressState();
    state.progressDone = done;
    state.progressTotal = total;
    target.progressChanged();
    const int shown = percent(done, total);
    if (state.prompt.IsEmpty() || shown != state.promptPercent ||
        !(state.progressFormat == state.promptFormat)) {
        state.prompt.printf(state.progressFormat.data(), shown);
        state.promptFormat = state.progressFormat;
        state.promptPercent = shown;
    }
    GetHost().UI().PushTempPrompt(state.prompt, 1000);
    return state.progress.step();
}
