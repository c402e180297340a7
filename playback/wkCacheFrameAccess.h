// What the operations of frame assembly share in reaching the reader: the test for open data
// that every one of them starts with, and the element count the state is fitted to.
#pragma once

#include "cachefile/wkCacheReader.h"
#include "playback/wkCacheElementState.h"

#include <cstdint>

namespace WelkardTools {

// hasOpenData, or else status 2 with the file closed, and false.
bool requireOpenData(wkCacheReader& reader);

// The cache's elements; the reader must hold open data.
inline std::int32_t elementCount(const wkCacheReader& reader) {
    return static_cast<std::int32_t>(reader.getIndex()->nodes.size());
}

// The state's elements follow the cache's element count. The evaluation sizes them; an element
// it did not reach stands at time 0.
void fitElements(const wkCacheReader& reader, wkCacheFrameState& state);

} // namespace WelkardTools
