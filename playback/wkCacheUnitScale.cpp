#include "playback/wkCacheUnitScale.h"

namespace {

float unitInches(std::int32_t index) {
    if (index < 0 || index >= static_cast<std::int32_t>(kCacheUnits.size()))
        return 1.0f;
    return kCacheUnits[static_cast<std::size_t>(index)].inches;
}

} // namespace

float UnitListScale(std::int32_t from, std::int32_t to) {
    return unitInches(to) / unitInches(from);
}
