#include "host/Strings.h"

#include "host/CaseMap.h"
#include "host/Utf8.h"
#include "host/WideFormat.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace {

// The part of [start, start + count) inside [0, length), as (first, size); computed in 64
// bits so that no combination of ints overflows.
std::pair<std::size_t, std::size_t> clipRange(int start, int count, std::size_t length) {
    const long long len = static_cast<long long>(length);
    const long long from = std::clamp<long long>(start, 0, len);
    const long long to = std::clamp<long long>(static_cast<long long>(start) + count, 0, len);
    if (to <= from) {
        return {0, 0};
    }
    return {static_cast<std::size_t>(from), static_cast<std::size_t>(to - from)};
}

} // namespace

WStr::WStr(const wchar_t* text) : s(text ? text : L"") {}

WStr::WStr(const char* utf8) : s(utf8 ? wkhost::DecodeUtf8(utf8) : std::wstring()) {}

WStr::WStr(const CStr& utf8) : s(wkhost::DecodeUtf8(utf8.str())) {}

WStr WStr::FromUTF8(std::string_view bytes) {
    return WStr(wkhost::DecodeUtf8(bytes));
}

wchar_t WStr::operator[](int i) const {
    if (i < 0 || i >= Length()) {
        throw std::out_of_range("WStr index out of range");
    }
    return s[static_cast<std::size_t>(i)];
}

void WStr::Resize(int n) {
    s.resize(n > 0 ? static_cast<std::size_t>(n) : 0, L'\0');
}

WStr WStr::Substr(int start, int count) const {
    const auto [from, size] = clipRange(start, count, s.size());
    return WStr(s.substr(from, size));
}

WStr& WStr::remove(int pos, int count) {
    const auto [from, size] = clipRange(pos, count, s.size());
    s.erase(from, size);
    return *this;
}

WStr& WStr::remove(int pos) {
    if (pos < Length()) {
        s.erase(static_cast<std::size_t>(std::max(pos, 0)));
    }
    return *this;
}

WStr& WStr::toLower() {
    std::transform(s.begin(), s.end(), s.begin(), wkhost::ToLowerChar);
    return *this;
}

int WStr::first(wchar_t c) const {
    const auto i = s.find(c);
    return i == std::wstring::npos ? -1 : static_cast<int>(i);
}

int WStr::last(wchar_t c) const {
    const auto i = s.rfind(c);
    return i == std::wstring::npos ? -1 : static_cast<int>(i);
}

int WStr::printf(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    const bool ok = wkhost::FormatWide(s, format, args);
    va_end(args);
    return ok ? Length() : -1;
}

CStr WStr::ToCStr() const {
    return CStr(wkhost::EncodeUtf8(s));
}

std::strong_ordering operator<=>(const WStr& a, const WStr& b) {
    // wchar_t is signed here; compare as unsigned so that the order is that of code points
    // and no stray negative value sorts before NUL.
    const std::size_t n = std::min(a.s.size(), b.s.size());
    for (std::size_t i = 0; i < n; ++i) {
        const auto x = static_cast<std::uint32_t>(a.s[i]);
        const auto y = static_cast<std::uint32_t>(b.s[i]);
        if (x != y) {
            return x < y ? std::strong_ordering::less : std::strong_ordering::greater;
        }
    }
    return a.s.size() <=> b.s.size();
}

void CStr::Resize(int n) {
    s.resize(n > 0 ? static_cast<std::size_t>(n) : 0, '\0');
}
