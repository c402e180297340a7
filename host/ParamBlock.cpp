#include "host/ParamBlock.h"

#include <algorithm>

const ParamDef* ParamBlockDesc2::GetParamDef(ParamID id) const {
    const auto it =
        std::find_if(params.begin(), params.end(), [id](const ParamDef& p) { return p.id == id; });
    return it == params.end() ? nullptr : &*it;
}

bool ParamBlockDesc2::ParamOption(ParamID id, std::uint32_t tag, PBValidator* validator) {
    if (tag != p_validator)
        return false;
    for (ParamDef& def : params)
        if (def.id == id) {
            def.validator = validator;
            return true;
        }
    return false;
}
