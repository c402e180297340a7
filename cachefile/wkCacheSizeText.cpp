#include "cachefile/wkCacheSizeText.h"

#include <cinttypes>
#include <cstdio>

namespace WelkardTools {

WStr FormatCacheSize(std::uint64_t bytes) {
    char text[64];
    if (bytes == 0) {
        std::snprintf(text, sizeof text, "%" PRIu64 " %s", bytes, "B");
        return WStr(text);
    }
    static constexpr const char* kUnits[] = {"TB", "GB", "MB", "KB", "B"};
    std::uint64_t limit = std::uint64_t{1} << 40;
    int unit = 0;
    while (bytes < limit) {
        limit >>= 10;
        ++unit;
    }
    if (bytes % limit == 0)
        std::snprintf(text, sizeof text, "%" PRIu64 " %s", bytes / limit, kUnits[unit]);
    else
        std::snprintf(text, sizeof text, "%.2f %s",
                      static_cast<double>(static_cast<float>(bytes) / static_cast<float>(limit)),
                      kUnits[unit]);
    return WStr(text);
}

} // namespace WelkardTools
