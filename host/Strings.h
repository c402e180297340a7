// The host's strings: WStr, wide text, and CStr, its 8-bit form; and MatchPattern.
//
// WStr holds one code point per wchar_t (32 bits on this platform). CStr holds bytes,
// which this system always reads and writes as UTF-8: the 8-bit code page of the host is
// UTF-8 here. Conversions in both directions never fail; what cannot be converted becomes
// U+FFFD (see host/Utf8.h).
//
// Order: operator< compares code units as unsigned numbers, one by one, the shorter
// string first when one is a prefix of the other. For valid text that is code point
// order, the same as the byte order of the UTF-8 forms. It is exact and case-sensitive:
// "a.wkc" and "A.wkc" are different keys of the open-cache registry.
//
// Positions and counts are ints, as the callers count with ints. Substr and remove work
// on the intersection of the asked range with the string, so they never fail.
#pragma once

#include <compare>
#include <string>
#include <string_view>

class CStr;

class WStr {
public:
    WStr() = default;
    // A null pointer gives the empty string.
    WStr(const wchar_t* text);
    // Narrow text is UTF-8.
    WStr(const char* utf8);
    WStr(std::wstring text) : s(std::move(text)) {}
    WStr(std::wstring_view text) : s(text) {}
    explicit WStr(const CStr& utf8);
    // Exactly these bytes, NULs included.
    static WStr FromUTF8(std::string_view bytes);

    int Length() const { return static_cast<int>(s.size()); }
    bool isNull() const { return s.empty(); }
    bool IsEmpty() const { return s.empty(); }
    // NUL-terminated.
    const wchar_t* data() const { return s.c_str(); }
    // Length() writable characters, followed by a NUL that must stay.
    wchar_t* dataForWrite() { return s.data(); }
    const std::wstring& str() const { return s; }
    std::wstring_view view() const { return s; }

    // Throws std::out_of_range outside 0..Length()-1.
    wchar_t operator[](int i) const;

    // The length becomes n; new characters are NUL.
    void Resize(int n);

    // The characters of [start, start + count) that lie inside the string.
    WStr Substr(int start, int count) const;
    // Removes the characters of [pos, pos + count) that lie inside the string.
    WStr& remove(int pos, int count);
    // Removes everything from pos on.
    WStr& remove(int pos);

    // Lower case in place, with the locale-independent mapping of host/CaseMap.h.
    WStr& toLower();

    // Index of the first or last occurrence of c, or -1.
    int first(wchar_t c) const;
    int last(wchar_t c) const;

    // Replaces the contents with formatted text of any length, in the host's wide format
    // convention (%s takes a wchar_t*, %hs a UTF-8 char*; see host/WideFormat.h). Returns
    // the new length, or -1 if the C library refused a number (the text then stops there).
    int printf(const wchar_t* format, ...);

    CStr ToCStr() const;

    WStr& operator+=(const WStr& b) {
        s += b.s;
        return *this;
    }
    WStr& operator+=(wchar_t c) {
        s += c;
        return *this;
    }
    friend WStr operator+(WStr a, const WStr& b) { return a += b; }

    friend bool operator==(const WStr& a, const WStr& b) { return a.s == b.s; }
    friend std::strong_ordering operator<=>(const WStr& a, const WStr& b);

private:
    std::wstring s;
};

class CStr {
public:
    CStr() = default;
    // A null pointer gives the empty string.
    CStr(const char* text) : s(text ? text : "") {}
    CStr(std::string text) : s(std::move(text)) {}
    CStr(std::string_view text) : s(text) {}

    // Length in bytes.
    int Length() const { return static_cast<int>(s.size()); }
    bool isNull() const { return s.empty(); }
    const char* data() const { return s.c_str(); }
    // Length() writable bytes, followed by a NUL that must stay.
    char* dataForWrite() { return s.data(); }
    const std::string& str() const { return s; }

    // The length becomes n bytes; new bytes are NUL.
    void Resize(int n);

    WStr ToWStr() const { return WStr::FromUTF8(s); }

    CStr& operator+=(const CStr& b) {
        s += b.s;
        return *this;
    }
    friend CStr operator+(CStr a, const CStr& b) { return a += b; }

    friend bool operator==(const CStr& a, const CStr& b) { return a.s == b.s; }
    // Byte order, the bytes taken as unsigned.
    friend std::strong_ordering operator<=>(const CStr& a, const CStr& b) {
        const int c = a.s.compare(b.s);
        return c < 0 ? std::strong_ordering::less
                     : (c > 0 ? std::strong_ordering::greater : std::strong_ordering::equal);
    }

private:
    std::string s;
};

// The host's wildcard match of a whole text: '*' matches any run of characters, also an
// empty one; '?' matches exactly one character; every other character matches itself.
// There are no sets and no escapes, so names with brackets or dots need no quoting. An
// empty pattern matches only the empty text. With ignoreCase both sides are compared in
// lower case (host/CaseMap.h). Time is at most proportional to the product of the two
// lengths, whatever the pattern.
bool MatchPattern(const WStr& text, const WStr& pattern, bool ignoreCase = true);
