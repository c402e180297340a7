#include "cachefile/wkCacheSizeText.h"
#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

using WelkardTools::FormatCacheSize;

TEST(CacheSizeText, WholeUnitsAndTwoDecimals) {
    EXPECT_EQ(FormatCacheSize(0), WStr(L"0 B"));
    EXPECT_EQ(FormatCacheSize(1), WStr(L"1 B"));
    EXPECT_EQ(FormatCacheSize(1023), WStr(L"1023 B"));
    EXPECT_EQ(FormatCacheSize(1024), WStr(L"1 KB"));
    EXPECT_EQ(FormatCacheSize(1536), WStr(L"1.50 KB"));
    EXPECT_EQ(FormatCacheSize(1025), WStr(L"1.00 KB"));
    EXPECT_EQ(FormatCacheSize(3u << 20), WStr(L"3 MB"));
    EXPECT_EQ(FormatCacheSize((1u << 30) + (1u << 29)), WStr(L"1.50 GB"));
    EXPECT_EQ(FormatCacheSize(std::uint64_t{5} << 40), WStr(L"5 TB"));
    EXPECT_EQ(FormatCacheSize(std::uint64_t{3} << 50), WStr(L"3072 TB"));
}
