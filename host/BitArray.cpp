#include "host/BitArray.h"

#include "host/SceneIO.h"

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

int BitArray::Save(ISave& save) const {
    auto put = [&save](std::uint32_t v) {
        const std::uint8_t b[4] = {static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v >> 8),
                                   static_cast<std::uint8_t>(v >> 16),
                                   static_cast<std::uint8_t>(v >> 24)};
        return save.Write(b, 4);
    };
    if (put(static_cast<std::uint32_t>(size)) != IO_OK)
        return IO_ERROR;
    const std::size_t count = (static_cast<std::size_t>(size) + 31) / 32;
    for (std::size_t i = 0; i < count; ++i)
        if (put(static_cast<std::uint32_t>(words[i / 2] >> (32 * (i % 2)))) != IO_OK)
            return IO_ERROR;
    return IO_OK;
}

int BitArray::Load(ILoad& load) {
    SetSize(0);
    auto get = [&load](std::uint32_t& v) {
        std::uint8_t b[4];
        if (load.Read(b, 4) != IO_OK)
            return false;
        v = b[0] | (std::uint32_t{b[1]} << 8) | (std::uint32_t{b[2]} << 16) |
            (std::uint32_t{b[3]} << 24);
        return true;
    };
    std::uint32_t bits = 0;
    if (!get(bits) || bits > 0x7FFFFFFFu)
        return IO_ERROR;
    const std::size_t count = (static_cast<std::size_t>(bits) + 31) / 32;
    if (count > load.Remaining() / 4)
        return IO_ERROR;
    SetSize(static_cast<int>(bits));
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t word = 0;
        if (!get(word)) {
            SetSize(0);
            return IO_ERROR;
        }
        words[i / 2] |= static_cast<std::uint64_t>(word) << (32 * (i % 2));
    }
    clearTail();
    return IO_OK;
}
