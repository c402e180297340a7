// Values at times, kept in time order: the keys and states of the headless objects that change
// over time.
#pragma once

#include "host/Time.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

template <class T> class TimeOrdered {
public:
    struct Entry {
        TimeValue time;
        T value;
    };

    // A value at the time of an existing one replaces it.
    void Put(TimeValue time, T value) {
        const auto at = std::lower_bound(entries.begin(), entries.end(), time,
                                         [](const Entry& e, TimeValue t) { return e.time < t; });
        if (at != entries.end() && at->time == time)
            at->value = std::move(value);
        else
            entries.insert(at, Entry{time, std::move(value)});
    }

    bool Empty() const { return entries.empty(); }
    int Count() const { return static_cast<int>(entries.size()); }
    const Entry& operator[](int i) const { return entries[static_cast<std::size_t>(i)]; }

    // The index of the first entry after t; Count() when there is none.
    int FirstAfter(TimeValue t) const {
        const auto next = std::upper_bound(entries.begin(), entries.end(), t,
                                           [](TimeValue v, const Entry& e) { return v < e.time; });
        return static_cast<int>(next - entries.begin());
    }

private:
    std::vector<Entry> entries;
};
