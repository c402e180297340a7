#include "host/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace wkhost {

namespace {

// The well-formed sequences by lead byte: the number of continuation bytes, and the range
// allowed for the first of them (which excludes overlongs, surrogates and values above
// U+10FFFF); later continuation bytes are always 80..BF. Ordered by lead byte.
struct LeadByte {
    unsigned char first;
    unsigned char last;
    int more;
    unsigned char lo;
    unsigned char hi;
};
constexpr LeadByte kLeadBytes[] = {
    {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF}, {0xE1, 0xEC, 2, 0x80, 0xBF},
    {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF}, {0xF0, 0xF0, 3, 0x90, 0xBF},
    {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

void appendUtf8(std::string& out, std::uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

bool isScalarValue(std::uint32_t c) {
    return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}

} // namespace

std::string EncodeUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t w : text) {
        // Through uint32: a negative wchar_t must not look like a small code point.
        const auto c = static_cast<std::uint32_t>(w);
        appendUtf8(out, isScalarValue(c) ? c : ReplacementChar);
    }
    return out;
}

std::wstring DecodeUtf8(std::string_view bytes) {
    std::wstring out;
    out.reserve(bytes.size());
    const std::size_t n = bytes.size();
    std::size_t i = 0;
    while (i < n) {
        const auto lead = static_cast<unsigned char>(bytes[i]);
        if (lead < 0x80) {
            out += static_cast<wchar_t>(lead);
            ++i;
            continue;
        }
        const LeadByte* form = std::find_if(std::begin(kLeadBytes), std::end(kLeadBytes),
                                            [&](const LeadByte& l) { return lead <= l.last; });
        if (form == std::end(kLeadBytes) || lead < form->first) {
            // 80..C1 and F5..FF never start a sequence.
            out += static_cast<wchar_t>(ReplacementChar);
            ++i;
            continue;
        }
        const int more = form->more;
        unsigned char lo = form->lo;
        unsigned char hi = form->hi;
        std::uint32_t c = lead & (0x3Fu >> more);
        std::size_t j = i + 1;
        bool complete = true;
        for (int k = 0; k < more; ++k, ++j) {
            if (j >= n) {
                complete = false;
                break;
            }
            const auto b = static_cast<unsigned char>(bytes[j]);
            if (b < lo || b > hi) {
                complete = false;
                break;
            }
            c = (c << 6) | (b & 0x3F);
            lo = 0x80;
            hi = 0xBF;
        }
        // An incomplete sequence is one maximal subpart: one U+FFFD, and decoding
        // resumes at the byte that broke it.
        out += static_cast<wchar_t>(complete ? c : ReplacementChar);
        i = j;
    }
    return out;
}

} // namespace wkhost
