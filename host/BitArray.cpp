#include "host/BitArray.h"

#include <algorithm>
#include <bit>
#include <cassert>

namespace {
std::size_t wordCount(int bits) {
    return bits <= 0 ? 0 : (static_cast<std::size_t>(bits) + 63) / 64;
}
} // namespace

void BitArray::SetSize(int newSize, int keep) {
    newSize = std::max(newSize, 0);
    if (!keep)
        words.assign(wordCount(newSize), 0);
    else
        words.resize(wordCount(newSize), 0);
    size = newSize;
    clearTail(); // bits beyond a smaller size are gone, and must not come back on growth
}

void BitArray::ClearAll() {
    std::fill(words.begin(), words.end(), 0);
}

void BitArray::SetAll() {
    std::fill(words.begin(), words.end(), ~std::uint64_t{0});
    clearTail();
}

void BitArray::Set(int i) {
    assert(i >= 0 && i < size);
    words[static_cast<std::size_t>(i) >> 6] |= std::uint64_t{1} << (i & 63);
}

void BitArray::Clear(int i) {
    assert(i >= 0 && i < size);
    words[static_cast<std::size_t>(i) >> 6] &= ~(std::uint64_t{1} << (i & 63));
}

int BitArray::NumberSet() const {
    int n = 0;
    for (const std::uint64_t w : words)
        n += std::popcount(w);
    return n;
}

bool BitArray::IsEmpty() const {
    return std::all_of(words.begin(), words.end(), [](std::uint64_t w) { return w == 0; });
}

BitArray& BitArray::operator|=(const BitArray& b) {
    const std::size_t n = std::min(words.size(), b.words.size());
    for (std::size_t i = 0; i < n; ++i)
        words[i] |= b.words[i];
    clearTail();
    return *this;
}

BitArray& BitArray::operator&=(const BitArray& b) {
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] &= i < b.words.size() ? b.words[i] : 0;
    return *this;
}

BitArray BitArray::operator~() const {
    BitArray r = *this;
    for (std::uint64_t& w : r.words)
        w = ~w;
    r.clearTail();
    return r;
}

void BitArray::clearTail() {
    if (size & 63)
        words.back() &= (std::uint64_t{1} << (size & 63)) - 1;
}
