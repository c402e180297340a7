// Conversion between wide text (one code point per wchar_t, 32 bits here) and UTF-8.
//
// Neither direction fails: bad input becomes U+FFFD, so a name read from a damaged or
// hostile file always turns into some text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace wkhost {

inline constexpr char32_t ReplacementChar = 0xFFFD;

// Each wchar_t that is not a Unicode scalar value (a surrogate, above U+10FFFF, or
// negative) is written as U+FFFD.
std::string EncodeUtf8(std::wstring_view text);

// Ill-formed sequences become U+FFFD, one per maximal subpart (the longest prefix of a
// well-formed sequence, or a single byte if none), as Unicode recommends.
std::wstring DecodeUtf8(std::string_view bytes);

} // namespace wkhost
