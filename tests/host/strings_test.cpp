#include "host/Strings.h"

#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

// --- UTF-8 -----------------------------------------------------------------------------

TEST(Utf8, RoundTripsEveryEncodedLength) {
    // 1, 2, 3 and 4 bytes, and the extremes of each length.
    const std::string utf8 =
        "a\x7F"
        "\xC2\x80\xC3\xA9\xDF\xBF"                          // U+0080 é U+07FF
        "\xE0\xA0\x80\xE2\x82\xAC\xE4\xB8\xAD\xEF\xBF\xBF"  // U+0800 € 中 U+FFFF
        "\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"; // U+10000 😀 U+10FFFF
    const WStr w(utf8.c_str());
    const std::wstring expected = {L'a',   0x7F,   0x80,   0xE9,    0x7FF,   0x800,
                                   0x20AC, 0x4E2D, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF};
    EXPECT_EQ(w.str(), expected);
    EXPECT_EQ(w.Length(), 12) << "a 4-byte character is one wide character";
    const CStr back = w.ToCStr();
    EXPECT_EQ(back.str(), utf8);
    EXPECT_EQ(back.Length(), static_cast<int>(utf8.size()));
    EXPECT_EQ(back.ToWStr(), w);
    EXPECT_EQ(WStr(back), w);
}

TEST(Utf8, WideValuesThatAreNotCharactersEncodeAsReplacement) {
    const std::wstring bad = {L'x',
                              static_cast<wchar_t>(0xD800),
                              static_cast<wchar_t>(0xDFFF),
                              static_cast<wchar_t>(0x110000),
                              static_cast<wchar_t>(-1),
                              L'y'};
    EXPECT_EQ(WStr(bad).ToCStr().str(), "x\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
                                        "y");
}

TEST(Utf8, IllFormedInputDecodesPerMaximalSubpart) {
    const wchar_t R = 0xFFFD;
    struct Case {
        std::string bytes;
        std::wstring expected;
    };
    const Case cases[] = {
        // The example of the Unicode standard: truncated sequences are one U+FFFD each,
        // stray continuation bytes one each.
        {"\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
         {L'a', R, R, R, L'b', R, L'c', R, R, L'd'}},
        {"\xC0\xAF", {R, R}},               // overlong lead bytes start nothing
        {"\xE0\x80\xAF", {R, R, R}},        // overlong three-byte form
        {"\xED\xA0\x80", {R, R, R}},        // a surrogate
        {"\xF4\x90\x80\x80", {R, R, R, R}}, // above U+10FFFF
        {"\xF5\x80", {R, R}},               // lead byte beyond the range
        {"\xFF\xFE", {R, R}},
        {"\xE2\x82"
         "A",
         {R, L'A'}},                  // cut short before a valid character
        {"z\xF0\x9F\x98", {L'z', R}}, // cut short by the end of the input
        {"\xC3", {R}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(WStr::FromUTF8(c.bytes).str(), c.expected)
            << "bytes of length " << c.bytes.size();
    }
}

TEST(Utf8, EmbeddedNulsAndNullPointers) {
    const std::string withNul("a\0b", 3);
    EXPECT_EQ(WStr::FromUTF8(withNul).Length(), 3);
    EXPECT_TRUE(WStr(static_cast<const char*>(nullptr)).isNull());
    EXPECT_TRUE(WStr(static_cast<const wchar_t*>(nullptr)).isNull());
    EXPECT_TRUE(CStr(static_cast<const char*>(nullptr)).isNull());
}

TEST(Utf8, ArbitraryBytesAlwaysGiveTextThatRoundTrips) {
    // A name read from a hostile file: whatever the bytes, decoding gives valid text, and
    // valid text survives the trip to UTF-8 and back unchanged.
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<int> length(0, 24);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes(static_cast<std::size_t>(length(rng)), '\0');
        for (char& b : bytes) {
            // Bias towards the bytes that make and break multi-byte sequences.
            const int v = byte(rng);
            b = static_cast<char>(v < 128 ? 0x80 | (v & 0x3F) : v);
        }
        const WStr once = WStr::FromUTF8(bytes);
        ASSERT_LE(once.Length(), static_cast<int>(bytes.size()));
        const CStr encoded = once.ToCStr();
        ASSERT_EQ(WStr::FromUTF8(encoded.str()), once);
        if (once.first(static_cast<wchar_t>(0xFFFD)) < 0) {
            ASSERT_EQ(encoded.str(), bytes) << "valid input must come back byte for byte";
        }
    }
}

// --- printf ----------------------------------------------------------------------------

TEST(WStrPrintf, WideAndNarrowTextArguments) {
    WStr s;
    EXPECT_EQ(s.printf(L"%s%s", WStr(L"Group").data(), L"\x00E9"), 6);
    EXPECT_EQ(s, WStr(L"Group\x00E9"));
    s.printf(L"[%hs|%ls|%S]", "\xE2\x82\xAC", L"w", "n");
    EXPECT_EQ(s, WStr(L"[\x20AC|w|n]"));
    s.printf(L"%c%hc%lc", L'\x4E2D', 'a', L'b');
    EXPECT_EQ(s, WStr(L"\x4E2D"
                      L"ab"));
    s.printf(L"%s|%hs", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr));
    EXPECT_EQ(s, WStr(L"(null)|(null)"));
}

TEST(WStrPrintf, NumbersFlagsWidthsAndPrecision) {
    WStr s;
    s.printf(L"%s < %g or > %g: %g", L"Material ID out of range (1-99)", 1.0, 99.0, 120.0);
    EXPECT_EQ(s, WStr(L"Material ID out of range (1-99) < 1 or > 99: 120"));
    s.printf(L"%03i|%03i|%i%%", 7, 1000, 50);
    EXPECT_EQ(s, WStr(L"007|1000|50%"));
    s.printf(L"%-5s|%5s|%.2s|%*d|%-*d|%.*f", L"ab", L"ab", L"abc", 4, 7, 3, 7, 2, 3.14159);
    EXPECT_EQ(s, WStr(L"ab   |   ab|ab|   7|7  |3.14"));
    s.printf(L"%*d|%.*d", -3, 5, -1,
             42); // negative * width left-aligns; negative precision is none
    EXPECT_EQ(s, WStr(L"5  |42"));
    s.printf(L"%lld %llu %zu %I64d %x %#o %+d %hhd", LLONG_MIN, ULLONG_MAX, size_t{12},
             static_cast<long long>(-5), 255u, 8u, 3, 300);
    EXPECT_EQ(s, WStr(L"-9223372036854775808 18446744073709551615 12 -5 ff 010 +3 44"));
    s.printf(L"%Lf %5.1e", 1.5L, 12345.0);
    EXPECT_EQ(s, WStr(L"1.500000 1.2e+04"));
}

TEST(WStrPrintf, OutputOfAnyLength) {
    const std::wstring big(100000, L'x');
    WStr s;
    EXPECT_EQ(s.printf(L"<%s>", big.c_str()), 100002);
    EXPECT_EQ(s.str(), L"<" + big + L">");
    EXPECT_EQ(s.printf(L"%20000d", 1), 20000);
    EXPECT_EQ(s.Substr(19999, 1), WStr(L"1"));
    EXPECT_EQ(s.printf(L"%.400f", 1.0), 402);
}

TEST(WStrPrintf, ReplacesTheContentsAndLeavesOddFormatsLiteral) {
    WStr s(L"old text");
    s.printf(L"new");
    EXPECT_EQ(s, WStr(L"new"));
    int ignored = 0;
    s.printf(L"a%nb%qz%", &ignored); // %n writes nothing; an unknown conversion stays
    EXPECT_EQ(ignored, 0);
    EXPECT_EQ(s, WStr(L"ab%qz%"));
    EXPECT_EQ(s.printf(nullptr), 0);
    EXPECT_TRUE(s.isNull());
}

// --- Editing ---------------------------------------------------------------------------

TEST(WStrEditing, SubstrKeepsTheInsidePartOfTheRange) {
    const WStr s(L"abc.wkc");
    EXPECT_EQ(s.Substr(s.Length() - 4, 4), WStr(L".wkc"));
    EXPECT_EQ(s.Substr(0, 0), WStr());
    EXPECT_EQ(s.Substr(5, 100), WStr(L"kc"));
    EXPECT_EQ(s.Substr(7, 1), WStr());
    EXPECT_EQ(s.Substr(50, 1), WStr());
    EXPECT_EQ(s.Substr(-2, 4), WStr(L"ab"));
    EXPECT_EQ(s.Substr(2, -1), WStr());
    EXPECT_EQ(s.Substr(1, INT_MAX), WStr(L"bc.wkc"));
    EXPECT_EQ(s.Substr(INT_MIN, INT_MAX), WStr());
    EXPECT_EQ(WStr().Substr(0, 3), WStr());
}

TEST(WStrEditing, RemoveToTheEndOrACount) {
    WStr leaf(L"a.wkc");
    leaf.remove(leaf.Length() - 3);
    EXPECT_EQ(leaf + L"mat", WStr(L"a.mat"));
    WStr s(L"1a2b3");
    s.remove(1, 1).remove(2, 1);
    EXPECT_EQ(s, WStr(L"123"));
    s.remove(5).remove(-3, 4).remove(1, INT_MAX);
    EXPECT_EQ(s, WStr(L"2"));
    s.remove(-1);
    EXPECT_TRUE(s.isNull());
}

TEST(WStrEditing, ResizeAndWriteInPlace) {
    WStr s(L"abc");
    s.Resize(5);
    EXPECT_EQ(s.Length(), 5);
    EXPECT_EQ(s[4], L'\0');
    s.dataForWrite()[3] = L'd';
    s.Resize(4);
    EXPECT_EQ(s, WStr(L"abcd"));
    EXPECT_EQ(s.data()[4], L'\0');
    EXPECT_THROW((void)s[4], std::out_of_range);
    s.Resize(-1);
    EXPECT_TRUE(s.isNull());

    CStr c("xy");
    c.Resize(3);
    c.dataForWrite()[2] = 'z';
    EXPECT_EQ(c, CStr("xyz"));
    EXPECT_EQ(c + "!", CStr("xyz!"));
}

TEST(WStrEditing, ConcatenationAndSearch) {
    WStr s = WStr(L"a") + L"b" + "\xC3\xA9";
    s += L'!';
    s += WStr(L"?");
    EXPECT_EQ(s, WStr(L"ab\x00E9!?"));
    EXPECT_EQ(s.first(L'b'), 1);
    EXPECT_EQ(WStr(L"a.b.c").last(L'.'), 3);
    EXPECT_EQ(s.first(L'z'), -1);
}

TEST(WStrEditing, ToLowerIsIndependentOfTheLocale) {
    WStr s(L"HoldIN 09 \x00C0\x00C9\x00D6\x00D7\x00DE \x0100\x0139\x0178 \x0391\x03A3\x0386 "
           L"\x041F\x0401\x042F \x1F600");
    s.toLower();
    EXPECT_EQ(s, WStr(L"holdin 09 \x00E0\x00E9\x00F6\x00D7\x00FE \x0101\x013A\x00FF "
                      L"\x03B1\x03C3\x03AC \x043F\x0451\x044F \x1F600"));
    WStr lower(L"already \x00DF lower");
    EXPECT_EQ(WStr(lower).toLower(), lower);
}

// --- Order -----------------------------------------------------------------------------

TEST(WStrOrder, CodePointOrderMatchesTheUtf8ByteOrder) {
    std::vector<WStr> names = {L"b",       L"a",        L"B",  L"",     L"ab",           L"a\x00E9",
                               L"a\xFF00", L"a\x10000", L"aa", L"\x7F", L"a\U0001F600b", L"A.wkc"};
    std::vector<WStr> byWide = names;
    std::sort(byWide.begin(), byWide.end());
    std::vector<WStr> byBytes = names;
    std::sort(byBytes.begin(), byBytes.end(),
              [](const WStr& x, const WStr& y) { return x.ToCStr() < y.ToCStr(); });
    EXPECT_EQ(byWide, byBytes);
    EXPECT_EQ(byWide.front(), WStr());
    EXPECT_TRUE(WStr(L"a") < WStr(L"aa")) << "a prefix comes first";
    EXPECT_TRUE(WStr(L"Z") < WStr(L"a")) << "upper case ASCII before lower case";
    EXPECT_TRUE(WStr(L"a\xFF00") < WStr(L"a\x10000"));
    // A stray value with the sign bit set sorts as a large number, after all characters.
    const WStr stray(std::wstring(1, static_cast<wchar_t>(-5)));
    EXPECT_TRUE(WStr(L"\x10FFFF") < stray);
    EXPECT_FALSE(stray < WStr(L"\x10FFFF"));
}

TEST(WStrOrder, RegistryKeysAreExactAndCaseSensitive) {
    std::map<WStr, int> registry;
    registry[WStr(L"/c/a.wkc")] = 1;
    registry[WStr(L"/c/A.wkc")] = 2;
    registry[WStr("/c/a.wkc")] = 3;
    EXPECT_EQ(registry.size(), 2u);
    EXPECT_EQ(registry.begin()->second, 2);
    EXPECT_EQ(registry[WStr(L"/c/a.wkc")], 3);
}

// --- MatchPattern ----------------------------------------------------------------------

TEST(MatchPattern, WildcardsAndLiterals) {
    struct Case {
        const wchar_t* text;
        const wchar_t* pattern;
        bool match;
    };
    const Case cases[] = {
        {L"Box01", L"*", true},
        {L"", L"*", true},
        {L"", L"", true},
        {L"Box01", L"", false},
        {L"", L"?", false},
        {L"Box01", L"Box*", true},
        {L"Box01", L"*01", true},
        {L"Box01", L"*02", false},
        {L"Box01", L"B?x01", true},
        {L"Bx01", L"B?x01", false},
        {L"Box01", L"*x*", true},
        {L"Box01", L"Box", false},
        {L"Box01", L"Box01*", true},
        {L"Box01", L"**0*1**", true},
        {L"abcbc", L"a*bc", true},
        {L"abcbd", L"a*bc", false},
        {L"aXbYbc", L"a*b*c", true},
        {L"Box[1]", L"Box[1]", true},
        {L"Box1", L"Box[1]", false},
        {L"a.b", L"a?b", true},
        {L"Rock \x1F600", L"* ?", true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(MatchPattern(WStr(c.text), WStr(c.pattern), false), c.match)
            << "text \"" << WStr(c.text).ToCStr().data() << "\", pattern \""
            << WStr(c.pattern).ToCStr().data() << "\"";
    }
}

TEST(MatchPattern, IgnoreCase) {
    EXPECT_TRUE(MatchPattern(WStr(L"SmokeBox"), WStr(L"*box"), true));
    EXPECT_FALSE(MatchPattern(WStr(L"SmokeBox"), WStr(L"*box"), false));
    EXPECT_TRUE(MatchPattern(WStr(L"\x00C9TOILE"), WStr(L"\x00E9toi?e"), true));
    EXPECT_TRUE(MatchPattern(WStr(L"smokebox"), WStr(L"SMOKE*")));
}

// Plain recursive matcher: slow, obviously right, for small inputs only.
bool naiveMatch(const wchar_t* t, const wchar_t* p) {
    if (*p == 0) {
        return *t == 0;
    }
    if (*p == L'*') {
        return naiveMatch(t, p + 1) || (*t != 0 && naiveMatch(t + 1, p));
    }
    return *t != 0 && (*p == L'?' || *p == *t) && naiveMatch(t + 1, p + 1);
}

TEST(MatchPattern, AgreesWithAPlainRecursiveMatcher) {
    std::mt19937 rng(7);
    const wchar_t textChars[] = L"ab";
    const wchar_t patternChars[] = L"ab*?";
    for (int round = 0; round < 20000; ++round) {
        std::wstring text(rng() % 8, L' ');
        for (wchar_t& c : text) {
            c = textChars[rng() % 2];
        }
        std::wstring pattern(rng() % 7, L' ');
        for (wchar_t& c : pattern) {
            c = patternChars[rng() % 4];
        }
        ASSERT_EQ(MatchPattern(WStr(text), WStr(pattern), false),
                  naiveMatch(text.c_str(), pattern.c_str()))
            << "text " << WStr(text).ToCStr().data() << ", pattern "
            << WStr(pattern).ToCStr().data();
    }
}

TEST(MatchPattern, ManyStarsStayFast) {
    // Backtracking over every star would take exponential time here: the test's timeout, not
    // a clock, catches it.
    const WStr text(std::wstring(20000, L'a'));
    const WStr pattern(L"a*a*a*a*a*a*a*a*a*a*a*a*b");
    EXPECT_FALSE(MatchPattern(text, pattern, true));
    EXPECT_TRUE(MatchPattern(text + L"b", pattern, true));
}

} // namespace
