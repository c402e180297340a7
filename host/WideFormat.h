// printf-style formatting into wide text, of any length.
//
// The format follows the host's wide convention, which is not the C library's: in a wide
// format %s and %c take wide arguments (wchar_t* and wchar_t), %hs and %hc (and %S, %C)
// take narrow ones, read as UTF-8; %ls, %lc, %ws take wide ones too. Everything else is C's
// printf: flags - + space # 0 ', width and precision as numbers or *, the length modifiers
// hh h l ll L j z t (and I64, I32, I), and the conversions d i u o x X f F e E g G a A p %.
// %n is read past but never written through. An unknown conversion is copied as it stands.
//
// Numbers are formatted by the C library, so the decimal point is that of the C locale
// unless the process has changed LC_NUMERIC.
#pragma once

#include <cstdarg>
#include <string>

namespace wkhost {

// Returns false only when the C library refuses a number (a width beyond INT_MAX, say);
// out then holds what was formatted before it.
bool FormatWide(std::wstring& out, const wchar_t* format, va_list args);

} // namespace wkhost
