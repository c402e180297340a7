#!/usr/bin/env bash
# All tests, twice: in the normal build (build/) and in a build with AddressSanitizer and
# UndefinedBehaviorSanitizer (build-asan/), where any finding fails the test that made it.
# Both runs happen even when the first fails, so that one run reports everything; the exit code
# is non-zero if either failed. Last, clang builds the core and the tool (build-clang/), untested.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

bash "$WKCACHE_ROOT/scripts/setup.sh"

failed=()
run_tests() {
    say "Testing $1"
    ctest --test-dir "$WKCACHE_ROOT/$1" --output-on-failure -j "$JOBS" || failed+=("$1")
}

configure_and_build build -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_tests build

# Optimised with debug info: fast enough, with usable stack traces. The benchmarks are left
# out: they are not tests.
export ASAN_OPTIONS="halt_on_error=1:abort_on_error=1:detect_leaks=1:print_stacktrace=1"
export UBSAN_OPTIONS="halt_on_error=1:abort_on_error=1:print_stacktrace=1"
configure_and_build build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DWKCACHE_SANITIZE=ON \
    -DWKCACHE_BUILD_BENCH=OFF
run_tests build-asan

# The core and the tool with clang too: the code is portable C++20, and the fuzzers
# (scripts/fuzz.sh) build with clang. Built, not tested: the two runs above test the code.
(CC=clang CXX=clang++ configure_and_build build-clang -DCMAKE_BUILD_TYPE=Release \
    -DWKCACHE_BUILD_TESTS=OFF -DWKCACHE_BUILD_BENCH=OFF -DWKCACHE_BUILD_PYTHON=OFF) ||
    failed+=("build-clang (the clang build)")

if [ ${#failed[@]} -ne 0 ]; then
    die "tests failed in: ${failed[*]}"
fi
say "All tests passed, in build/ and in build-asan/ (ASan + UBSan), and clang builds the code"
