#include "host/WideFormat.h"

#include "host/Utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>

namespace wkhost {

namespace {

enum class Length { None, hh, h, l, ll, L, j, z, t };
// The printf spelling of each Length, in its order.
constexpr const char* kLengthModifiers[] = {"", "hh", "h", "l", "ll", "L", "j", "z", "t"};

struct Spec {
    std::string flags;
    int width = -1;     // -1: none
    int precision = -1; // -1: none
    Length length = Length::None;
    wchar_t conversion = 0;
    bool narrowText = false; // %hs %hc %S %C: the argument is UTF-8 text
    bool leftAlign() const { return flags.find('-') != std::string::npos; }
};

bool isFlag(wchar_t c) {
    return c == L'-' || c == L'+' || c == L' ' || c == L'#' || c == L'0' || c == L'\'';
}

int readNumber(const wchar_t*& p) {
    long long n = 0;
    while (*p >= L'0' && *p <= L'9') {
        if (n < 0x7FFFFFFF) {
            n = n * 10 + (*p - L'0');
        }
        ++p;
    }
    return n > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(n);
}

// The length modifiers as written, including the host's I64/I32/I forms; a longer spelling
// before its prefix.
struct LengthSpelling {
    const wchar_t* text;
    Length length;
};
constexpr LengthSpelling kLengthSpellings[] = {
    {L"hh", Length::hh}, {L"h", Length::h}, {L"ll", Length::ll},  {L"l", Length::l},
    {L"w", Length::l},   {L"L", Length::L}, {L"q", Length::ll},   {L"j", Length::j},
    {L"z", Length::z},   {L"t", Length::t}, {L"I64", Length::ll}, {L"I32", Length::None},
    {L"I", Length::z},
};

// Reads the length modifier, if any.
Length readLength(const wchar_t*& p) {
    for (const LengthSpelling& s : kLengthSpellings) {
        const std::size_t n = std::wcslen(s.text);
        if (std::wcsncmp(p, s.text, n) == 0) {
            p += n;
            return s.length;
        }
    }
    return Length::None;
}

void pad(std::wstring& out, int count) {
    if (count > 0) {
        out.append(static_cast<std::size_t>(count), L' ');
    }
}

void appendPadded(std::wstring& out, std::wstring_view text, const Spec& spec) {
    if (spec.precision >= 0 && text.size() > static_cast<std::size_t>(spec.precision)) {
        text = text.substr(0, static_cast<std::size_t>(spec.precision));
    }
    const int fill = spec.width - static_cast<int>(text.size());
    if (!spec.leftAlign()) {
        pad(out, fill);
    }
    out.append(text);
    if (spec.leftAlign()) {
        pad(out, fill);
    }
}

// The narrow printf conversion for one number, without * (the values are already in it).
std::string narrowSpec(const Spec& spec) {
    std::string s = "%" + spec.flags;
    if (spec.width >= 0) {
        s += std::to_string(spec.width);
    }
    if (spec.precision >= 0) {
        s += "." + std::to_string(spec.precision);
    }
    s += kLengthModifiers[static_cast<int>(spec.length)];
    s += static_cast<char>(spec.conversion);
    return s;
}

template <class V> bool appendNumber(std::wstring& out, const Spec& spec, V value) {
    const std::string fmt = narrowSpec(spec);
    const int n = std::snprintf(nullptr, 0, fmt.c_str(), value);
    if (n < 0) {
        return false;
    }
    std::string buffer(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(buffer.data(), buffer.size(), fmt.c_str(), value);
    buffer.resize(static_cast<std::size_t>(n));
    out += DecodeUtf8(buffer);
    return true;
}

bool appendSigned(std::wstring& out, const Spec& spec, va_list& ap) {
    switch (spec.length) {
    case Length::l:
        return appendNumber(out, spec, va_arg(ap, long));
    case Length::ll:
        return appendNumber(out, spec, va_arg(ap, long long));
    case Length::j:
        return appendNumber(out, spec, va_arg(ap, std::intmax_t));
    case Length::z:
    case Length::t:
        return appendNumber(out, spec, va_arg(ap, std::ptrdiff_t));
    default: // hh and h are promoted to int; the narrow spec narrows them again
        return appendNumber(out, spec, va_arg(ap, int));
    }
}

bool appendUnsigned(std::wstring& out, const Spec& spec, va_list& ap) {
    switch (spec.length) {
    case Length::l:
        return appendNumber(out, spec, va_arg(ap, unsigned long));
    case Length::ll:
        return appendNumber(out, spec, va_arg(ap, unsigned long long));
    case Length::j:
        return appendNumber(out, spec, va_arg(ap, std::uintmax_t));
    case Length::z:
    case Length::t:
        return appendNumber(out, spec, va_arg(ap, std::size_t));
    default:
        return appendNumber(out, spec, va_arg(ap, unsigned int));
    }
}

void appendText(std::wstring& out, const Spec& spec, va_list& ap) {
    if (spec.narrowText) {
        const char* s = va_arg(ap, const char*);
        appendPadded(out, s ? DecodeUtf8(s) : L"(null)", spec);
    } else {
        const wchar_t* s = va_arg(ap, const wchar_t*);
        appendPadded(out, s ? std::wstring_view(s) : std::wstring_view(L"(null)"), spec);
    }
}

void appendChar(std::wstring& out, Spec spec, va_list& ap) {
    spec.precision = -1;
    if (spec.narrowText) {
        const auto c = static_cast<unsigned char>(va_arg(ap, int));
        // A lone byte is UTF-8 only if it is ASCII; anything else decodes to U+FFFD.
        const char bytes[1] = {static_cast<char>(c)};
        appendPadded(out, DecodeUtf8(std::string_view(bytes, 1)), spec);
    } else {
        const wchar_t c = static_cast<wchar_t>(va_arg(ap, std::wint_t));
        appendPadded(out, std::wstring_view(&c, 1), spec);
    }
}

// Whether c is one of `letters`.
bool isOneOf(wchar_t c, const wchar_t* letters) {
    return c != 0 && std::wcschr(letters, c) != nullptr;
}

// Appends the value of one conversion; an unknown conversion stands as it is written, `raw`.
// False when the value cannot be formatted.
bool appendConversion(std::wstring& out, Spec spec, std::wstring_view raw, va_list& ap) {
    const wchar_t c = spec.conversion;
    if (c == L'%') {
        out += L'%';
    } else if (isOneOf(c, L"di")) {
        return appendSigned(out, spec, ap);
    } else if (isOneOf(c, L"uoxX")) {
        return appendUnsigned(out, spec, ap);
    } else if (isOneOf(c, L"fFeEgGaA")) {
        if (spec.length == Length::L) {
            return appendNumber(out, spec, va_arg(ap, long double));
        }
        spec.length = Length::None; // %lf is a double as well
        return appendNumber(out, spec, va_arg(ap, double));
    } else if (c == L'p') {
        spec.length = Length::None;
        return appendNumber(out, spec, va_arg(ap, void*));
    } else if (isOneOf(c, L"sScC")) {
        // %s and %c are wide text unless h is given; %S and %C narrow unless l is.
        const bool upper = c == L'S' || c == L'C';
        spec.narrowText = upper ? spec.length != Length::l : spec.length == Length::h;
        if (c == L'S' || c == L's') {
            appendText(out, spec, ap);
        } else {
            appendChar(out, spec, ap);
        }
    } else if (c == L'n') {
        (void)va_arg(ap, void*); // nothing is written through it
    } else {
        out.append(raw);
    }
    return true;
}

} // namespace

bool FormatWide(std::wstring& out, const wchar_t* format, va_list args) {
    out.clear();
    if (format == nullptr) {
        return true;
    }
    va_list ap;
    va_copy(ap, args);
    bool ok = true;
    const wchar_t* p = format;
    while (*p != 0 && ok) {
        if (*p != L'%') {
            const wchar_t* run = p;
            while (*p != 0 && *p != L'%') {
                ++p;
            }
            out.append(run, static_cast<std::size_t>(p - run));
            continue;
        }
        const wchar_t* start = p++;
        Spec spec;
        while (isFlag(*p)) {
            spec.flags += static_cast<char>(*p++);
        }
        if (*p == L'*') {
            ++p;
            spec.width = va_arg(ap, int);
            if (spec.width < 0) { // a negative * width means left-aligned
                spec.flags += '-';
                spec.width = spec.width == INT32_MIN ? 0x7FFFFFFF : -spec.width;
            }
        } else if (*p >= L'0' && *p <= L'9') {
            spec.width = readNumber(p);
        }
        if (*p == L'.') {
            ++p;
            if (*p == L'*') {
                ++p;
                spec.precision = va_arg(ap, int); // negative: as if none was given
                if (spec.precision < 0) {
                    spec.precision = -1;
                }
            } else {
                spec.precision = readNumber(p);
            }
        }
        spec.length = readLength(p);
        spec.conversion = *p;
        if (*p != 0) {
            ++p;
        }
        ok = appendConversion(out, spec,
                              std::wstring_view(start, static_cast<std::size_t>(p - start)), ap);
    }
    va_end(ap);
    return ok;
}

} // namespace wkhost
