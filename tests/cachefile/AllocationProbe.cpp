#include "tests/cachefile/AllocationProbe.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace allocprobe {
namespace {

std::atomic<int> probes{0};
std::atomic<std::size_t> largest{0};

void note(std::size_t n) {
    if (probes.load(std::memory_order_relaxed) == 0)
        return;
    std::size_t seen = largest.load(std::memory_order_relaxed);
    while (n > seen && !largest.compare_exchange_weak(seen, n))
        ;
}

void* allocate(std::size_t n) {
    note(n);
    void* p = std::malloc(n == 0 ? 1 : n);
    if (p == nullptr)
        throw std::bad_alloc();
    return p;
}

} // namespace

LargestAllocation::LargestAllocation() {
    largest = 0;
    ++probes;
}

LargestAllocation::~LargestAllocation() {
    --probes;
}

std::size_t LargestAllocation::bytes() const {
    return largest.load();
}

} // namespace allocprobe

void* operator new(std::size_t n) {
    return allocprobe::allocate(n);
}
void* operator new[](std::size_t n) {
    return allocprobe::allocate(n);
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return allocprobe::allocate(n);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    return operator new(n, std::nothrow);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}
