#!/usr/bin/env bash
# Fuzzes the cache reader: builds the libFuzzer target with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer in build-fuzz/, and runs it for a while on a working copy of the
# corpus in tests/fuzz/corpus.
#
#   scripts/fuzz.sh [SECONDS] [libFuzzer options...]      (SECONDS defaults to 60)
#
# New interesting inputs collect in build-fuzz/corpus/; crashers, hangs and oversized
# allocations in build-fuzz/artifacts/. To keep one, fix the reader and copy the input into
# tests/fuzz/corpus/, where the unit tests replay it (ReaderFuzzCorpus).
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds="${1:-60}"
if [ $# -gt 0 ]; then shift; fi
case "$seconds" in
    '' | *[!0-9]*) die "SECONDS must be a whole number, not '$seconds'" ;;
esac
command -v clang++ >/dev/null || die "clang++ is needed for libFuzzer (apt-get install clang)"

CC=clang CXX=clang++ configure_and_build build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DWKCACHE_SANITIZE=ON -DWKCACHE_FUZZ=ON -DWKCACHE_BUILD_BENCH=OFF -DWKCACHE_BUILD_TOOLS=OFF

work="$WKCACHE_ROOT/build-fuzz/corpus"
artifacts="$WKCACHE_ROOT/build-fuzz/artifacts"
mkdir -p "$work" "$artifacts"

# A small input must not make the reader allocate much: a large allocation is a finding too.
export ASAN_OPTIONS="halt_on_error=1:abort_on_error=1:detect_leaks=1:print_stacktrace=1"
export UBSAN_OPTIONS="halt_on_error=1:abort_on_error=1:print_stacktrace=1"
say "Fuzzing the reader for ${seconds}s"
exec "$WKCACHE_ROOT/build-fuzz/tests/reader_fuzz" \
    -max_total_time="$seconds" -timeout=10 -max_len=65536 -malloc_limit_mb=64 -rss_limit_mb=2048 \
    -artifact_prefix="$artifacts/" -print_final_stats=1 "$@" \
    "$work" "$WKCACHE_ROOT/tests/fuzz/corpus"
