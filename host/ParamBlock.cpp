#include "host/ParamBlock.h"

#include <algorithm>

const ParamDef* ParamBlockDesc2::GetParamDef(ParamID id) const {
    const auto it =
        std::find_if(params.begin(), params.end(), [id](const ParamDef& p) { return p.id == id; });
    return it == params.end() ? nullptr : &*it;
}
