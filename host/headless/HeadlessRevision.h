// The revision of what animates the headless scene's transforms: key tracks, key controllers,
// transform controllers and links between nodes. Each change counts it up, so what keeps
// evaluated transforms keeps the revision they were made at and trusts them only while it
// stands. One count for the whole process: a change anywhere forgets every kept transform,
// which is never wrong and costs only a new evaluation.
#pragma once

#include <atomic>
#include <cstdint>

namespace HeadlessRevision {

inline std::atomic<std::uint64_t> current{1};

inline std::uint64_t Now() {
    return current.load(std::memory_order_relaxed);
}
inline void Changed() {
    current.fetch_add(1, std::memory_order_relaxed);
}

} // namespace HeadlessRevision
