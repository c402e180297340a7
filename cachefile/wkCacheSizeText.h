// Sizes in bytes as the panels, the info print and the tools show them: "0 B", "500 B",
// "1 KB", "1.50 KB", "2 MB", up to "TB".
#pragma once

#include "host/Strings.h"

#include <cstdint>

namespace WelkardTools {

// The largest unit (TB, GB, MB, KB, B) whose size the value reaches. A whole number of that
// unit is shown as an integer; otherwise with two decimals, from a single-precision division.
WStr FormatCacheSize(std::uint64_t bytes);

} // namespace WelkardTools
