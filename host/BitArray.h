// A bit set of a given size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class ISave;
class ILoad;

class BitArray {
public:
    BitArray() = default;
    explicit BitArray(int size) { SetSize(size); }

    int GetSize() const { return size; }
    // keep 1 preserves the bits below the new size; keep 0 clears everything.
    void SetSize(int newSize, int keep = 0);

    void ClearAll();
    void SetAll();
    void Set(int i);
    void Set(int i, int value) { value ? Set(i) : Clear(i); }
    void Clear(int i);
    int operator[](int i) const {
        return static_cast<int>((words[static_cast<std::size_t>(i) >> 6] >> (i & 63)) & 1u);
    }

    // The count of set bits.
    int NumberSet() const;
    // No bit set.
    bool IsEmpty() const;
    bool AnyBitSet() const { return !IsEmpty(); }

    BitArray& operator|=(const BitArray& b);
    BitArray& operator&=(const BitArray& b);
    BitArray operator~() const;
    // Same size and same bits.
    bool operator==(const BitArray& b) const = default;

    // Stored form: uint32 bit count, then (count + 31) / 32 little-endian uint32 words, bit i
    // in bit i % 32 of word i / 32. Load answers IO_ERROR, with the array empty, for a count
    // that the chunk's bytes cannot back.
    int Save(ISave& save) const;
    int Load(ILoad& load);

private:
    void clearTail();

    std::vector<std::uint64_t> words;
    int size = 0;
};
