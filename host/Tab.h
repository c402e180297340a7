// Tab<T>: the host's growable array of plain values, with a count of entries.
//
// The host's allocation primitives map onto this interface as follows:
//   TBMakeSize  -> Resize (capacity only, the count stays)
//   TBCopy      -> copy construction and assignment
//   TBInsertAt  -> Insert, Append
//   TBDelete    -> Delete
//   TBSetCount  -> SetCount
//   zfree       -> Init (drops entries and memory), and the destructor
//
// Positions and counts are ints, as the callers count with ints. Operations that take a
// range clamp it to the entries that exist instead of failing: Insert beyond the end
// appends, Delete past the end stops at the end. Only operator[] and Addr refuse a bad
// index, by throwing, because a read or write through a bad index has no sensible clamp.
#pragma once

#include "host/OutOfRangeException.h"

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <vector>

template <class T> class Tab {
    static_assert(std::is_trivially_copyable_v<T>, "Tab holds plain values only");

public:
    // qsort-style comparison: negative, zero or positive.
    using CompareFnc = int (*)(const void* a, const void* b);

    Tab() = default;

    int Count() const { return static_cast<int>(items.size()); }
    bool IsEmpty() const { return items.empty(); }

    // Sets the count; memory is kept when shrinking. New entries are zero-initialised (the
    // host leaves them undefined; zero is the value nobody can be surprised by).
    void SetCount(int n) { items.resize(clampCount(n)); }

    // Reserves room for n entries; never drops entries. Returns 1, as the host does.
    int Resize(int n) {
        if (n > 0) {
            items.reserve(static_cast<std::size_t>(n));
        }
        return 1;
    }

    // Appends num entries copied from el (which may point into this table). allocExtra
    // reserves room for that many more. Returns the index of the first new entry.
    int Append(int num, const T* el, int allocExtra = 0) {
        const int at = Count();
        insertCopy(at, num, el, allocExtra);
        return at;
    }

    // Inserts num entries copied from el before position at (clamped to 0..Count).
    // Returns the position of the first inserted entry.
    int Insert(int at, int num, const T* el) {
        const int pos = std::clamp(at, 0, Count());
        insertCopy(pos, num, el, 0);
        return pos;
    }

    // Removes num entries from start; the rest keep their order. Returns the new count.
    int Delete(int start, int num) {
        if (start >= 0 && start < Count() && num > 0) {
            const int end = start + std::min(num, Count() - start);
            items.erase(items.begin() + start, items.begin() + end);
        }
        return Count();
    }

    // Count to zero, memory kept.
    void ZeroCount() { items.clear(); }
    // Count to zero, memory freed.
    void Init() { std::vector<T>().swap(items); }

    // Pointer to entry i; i == Count() gives the end pointer.
    T* Addr(int i) {
        checkAddr(i);
        return items.data() + i;
    }
    const T* Addr(int i) const {
        checkAddr(i);
        return items.data() + i;
    }

    T& operator[](int i) {
        checkIndex(i);
        return items[static_cast<std::size_t>(i)];
    }
    const T& operator[](int i) const {
        checkIndex(i);
        return items[static_cast<std::size_t>(i)];
    }

    // Sorts with a qsort-style comparison. Stable, so equal entries keep their order and
    // the result never depends on the sort's internals.
    void Sort(CompareFnc cmp) {
        std::stable_sort(items.begin(), items.end(),
                         [cmp](const T& a, const T& b) { return cmp(&a, &b) < 0; });
    }

    // Index of the first entry equal to value (bytewise equality of plain values), or -1.
    int Find(const T& value) const {
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i] == value) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }

    bool operator==(const Tab&) const = default;

    typename std::vector<T>::iterator begin() { return items.begin(); }
    typename std::vector<T>::iterator end() { return items.end(); }
    typename std::vector<T>::const_iterator begin() const { return items.begin(); }
    typename std::vector<T>::const_iterator end() const { return items.end(); }

private:
    static std::size_t clampCount(int n) { return n > 0 ? static_cast<std::size_t>(n) : 0; }

    void insertCopy(int pos, int num, const T* el, int allocExtra) {
        if (num <= 0 || el == nullptr) {
            return;
        }
        // Copy first: el may point into items, and growing would move it.
        const std::vector<T> copy(el, el + num);
        items.reserve(items.size() + copy.size() + clampCount(allocExtra));
        items.insert(items.begin() + pos, copy.begin(), copy.end());
    }

    void checkIndex(int i) const {
        if (i < 0 || i >= Count()) {
            throw MaxSDK::Util::OutOfRangeException(
                "Invalid index passed into a Max SDK Tab::operator[]");
        }
    }
    void checkAddr(int i) const {
        if (i < 0 || i > Count()) {
            throw MaxSDK::Util::OutOfRangeException(
                "Invalid index passed into a Max SDK Tab::Addr");
        }
    }

    std::vector<T> items;
};
