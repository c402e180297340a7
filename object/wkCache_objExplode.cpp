// The cache object as explode and key reduction see it, and its Explode button.
#include "explode/ExplodeToObjects.h"
#include "host/Host.h"
#include "object/wkCache_obj.h"

using namespace wkCacheParam;

void wkCache_obj::beginOperation(const WStr& progressFormat, const WStr& statusText) {
    progress.progressFormat = progressFormat;
    showStatus(&statusText);
    progress.progress.begin();
}

bool wkCache_obj::reportProgress(std::int32_t done, std::int32_t total) {
    return wkCacheRecordProgress(static_cast<wkCacheRecordTarget*>(this), done, total);
}

void wkCache_obj::endOperation() {
    progress.progress.end();
    progress.progressDone = -1;
    progress.progressTotal = -1;
    GetHost().UI().RemoveTempPrompt();
    showStatus(nullptr);
}

wkCacheExplodeSettings wkCache_obj::explodeSettings() const {
    return {parameters->GetInt(explodeTo), parameters->GetINode(explodeToNode)};
}

int wkCache_obj::explodeWithSettings() {
    const IParamBlock2& block = *parameters;
    const int tpf = GetHost().Time().GetTicksPerFrame();
    const Interval range(tpf * block.GetInt(explodeStart), tpf * block.GetInt(explodeEnd));
    const auto step =
        static_cast<std::int32_t>(block.GetFloat(explodeStep) * static_cast<float>(tpf));
    const bool reduce = block.GetInt(explodeReduce) == 1;
    std::int32_t reduceStep = tpf;
    float thresh = 0.02f;
    if (reduce) {
        // The whole-number getter, as the button reads it.
        reduceStep = tpf * block.GetInt(explodeReduceStep);
        thresh = block.GetFloat(explodeReduceThresh);
    }
    INodeTab nodes;
    return ExplodeToObjects(*this, range, step, nodes, nullptr,
                            block.GetInt(explodeSelectedOnly) == 1, reduce, reduceStep, thresh,
                            false);
}
