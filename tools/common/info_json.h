// The facts of a cache file as one JSON object: what `wkcache info --json` prints and what the
// Python module's Cache.info gives.
//
// Always "status", "statusText" and "fileSize"; for a sound file also the header, sizes, totals,
// channels, nodes and the element block, in that order.
#pragma once

#include "cachefile/wkCacheReader.h"
#include "tools/common/cli_json.h"

namespace wkcli {

Json infoJson(WelkardTools::wkCacheReader& reader);
// The head of a version 3 file's element block, or null when it has none.
Json elementBlock(WelkardTools::wkCacheReader& reader);

} // namespace wkcli
