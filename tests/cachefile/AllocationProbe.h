// The largest single allocation made while a probe is alive: the test binary replaces the
// global operator new (AllocationProbe.cpp) with one that notes sizes while a probe runs.
#pragma once

#include <cstddef>

namespace allocprobe {

class LargestAllocation {
public:
    LargestAllocation();
    ~LargestAllocation();
    LargestAllocation(const LargestAllocation&) = delete;
    LargestAllocation& operator=(const LargestAllocation&) = delete;

    std::size_t bytes() const;
};

} // namespace allocprobe
